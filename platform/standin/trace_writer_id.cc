// SPDX-License-Identifier: Apache-2.0
#include "trace_writer_id.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace kw::platform {

namespace {

// The general model of thread-local storage may allocate on a thread's first access.
__attribute__((tls_model("initial-exec"))) thread_local WriterId cached_id{0, 0};

}  // namespace

WriterId writerId() noexcept {
  if (cached_id.thread == 0) {
    cached_id.process = static_cast<std::uint32_t>(getpid());
    cached_id.thread = static_cast<std::uint32_t>(syscall(SYS_gettid));
  }
  return cached_id;
}

void forgetWriterId() noexcept { cached_id = {0, 0}; }

}  // namespace kw::platform
