// SPDX-License-Identifier: Apache-2.0
// Whether the kernel could make one more exclusion semaphore. Any thread.
#ifndef KW_TRX_TOOLS_LOCK_SEMAPHORE_SHORTAGE_H_
#define KW_TRX_TOOLS_LOCK_SEMAPHORE_SHORTAGE_H_

#include <string>

namespace kw::trx::tools {

struct SemaphoreShortage {
  std::string message;  ///< which limit is reached; empty: none is, or the limits cannot be read
  std::string advice;   ///< what to do about it
};

/// Compares the sets of this IPC namespace with its limits.
SemaphoreShortage semaphoreShortage();

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_LOCK_SEMAPHORE_SHORTAGE_H_
