// SPDX-License-Identifier: Apache-2.0
// How the table driver sees the stop flag of the engine, which lies above it.
#ifndef KW_TRX_SUPPORT_STOP_FLAG_H_
#define KW_TRX_SUPPORT_STOP_FLAG_H_

#include <atomic>

namespace kw::trx::trx {

/// Makes `flag` the one that `isEngineStopped` looks at. It must live until the process ends.
void watchStopFlag(const std::atomic<bool>* flag);

/// True while the engine's stop flag is set; false while there is no engine. Any thread may call
/// it.
bool isEngineStopped();

}  // namespace kw::trx::trx

#endif  // KW_TRX_SUPPORT_STOP_FLAG_H_
