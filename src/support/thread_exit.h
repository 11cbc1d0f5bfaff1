// SPDX-License-Identifier: Apache-2.0
// What unwinds the stack of a thread that is cancelled or calls pthread_exit.
#ifndef KW_TRX_SUPPORT_THREAD_EXIT_H_
#define KW_TRX_SUPPORT_THREAD_EXIT_H_

#include <cxxabi.h>

namespace kw::trx::trx {

/// It passes through `catch (...)` like an exception, and whoever does not throw it on ends the
/// process. A handler that turns any exception into another one lets it go first.
using ThreadExit = abi::__forced_unwind;

}  // namespace kw::trx::trx

#endif  // KW_TRX_SUPPORT_THREAD_EXIT_H_
