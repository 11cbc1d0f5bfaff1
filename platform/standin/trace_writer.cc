// SPDX-License-Identifier: Apache-2.0
#include "trace_writer.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

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

void forgetThreadWriter() noexcept { writer = Writer(); }

bool threadLives(std::uint32_t thread) noexcept {
  const int error = errno;
  const bool lives = syscall(SYS_tkill, thread, 0) == 0 || errno != ESRCH;
  errno = error;
  return lives;
}

}  // namespace kw::platform
