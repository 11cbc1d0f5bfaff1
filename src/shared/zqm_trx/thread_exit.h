// SPDX-License-Identifier: Apache-2.0
// What unwinds the stack of a thread that is cancelled or calls pthread_exit.
#ifndef KW_TRX_SHARED_THREAD_EXIT_H_
#define KW_TRX_SHARED_THREAD_EXIT_H_

#include <cxxabi.h>

/// Marks a function with a handler for it. There is no object behind the exit of a thread, and a
/// sanitizer would take the reference of the handler for one to a null pointer.
#define ZQM_TRX_HANDLES_THREAD_EXIT __attribute__((no_sanitize("null")))

namespace kw::trx::trx {

/// It passes through `catch (...)` like an exception, and whoever does not throw it on ends the
/// process. A handler that turns any exception into another one lets it go first.
using ThreadExit = abi::__forced_unwind;

}  // namespace kw::trx::trx

#endif  // KW_TRX_SHARED_THREAD_EXIT_H_
