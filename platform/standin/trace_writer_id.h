// SPDX-License-Identifier: Apache-2.0
// Process and thread of the calling thread, without a system call after the first time.
#ifndef KW_PLATFORM_STANDIN_TRACE_WRITER_ID_H_
#define KW_PLATFORM_STANDIN_TRACE_WRITER_ID_H_

#include <cstdint>

namespace kw::platform {

struct WriterId {
  std::uint32_t process;
  std::uint32_t thread;  ///< kernel thread id
};

/// The ids of the calling thread.
WriterId writerId() noexcept;

/// Forgets the ids of the calling thread; for the child of a fork.
void forgetWriterId() noexcept;

}  // namespace kw::platform

#endif  // KW_PLATFORM_STANDIN_TRACE_WRITER_ID_H_
