// SPDX-License-Identifier: Apache-2.0
#include "trace_writer.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

namespace kw::platform {

namespace {

// The general model of thread-local storage may allocate on a thread's first access.
__attribute__((tls_model("initial-exec"))) thread_local Writer writer;

}  // namespace

Writer& threadWriter() noexcept {
  if (writer.thread == 0) {
    const auto thread = static_cast<std::uint32_t>(syscall(SYS_gettid));
    writer.process = static_cast<std::uint32_t>(getpid());
    writer.seat = takeSeat(thread);
    writer.thread = thread;
  }
  return writer;
}

// The fork may stand in a signal handler that came in the middle of a record: the child goes on
// with that one in the lane of its parent, which it must neither lose nor give back.
void forgetThreadWriter() noexcept {
  const LaneCursor cursor = writer.cursor;
  const bool storing = writer.storing;
  writer = Writer();
  if (storing) {
    writer.cursor = cursor;
    writer.cursor.ring = 0;
    writer.cursor.left = std::numeric_limits<std::uint32_t>::max();
    writer.storing = true;
  }
}

bool threadLives(std::uint32_t thread) noexcept {
  const int error = errno;
  const bool lives = syscall(SYS_tkill, thread, 0) == 0 || errno != ESRCH;
  errno = error;
  return lives;
}

}  // namespace kw::platform
