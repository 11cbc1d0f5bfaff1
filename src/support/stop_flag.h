// SPDX-License-Identifier: Apache-2.0
// How the table driver sees the stop flag of the engine, which lies above it.
#ifndef KW_TRX_SUPPORT_STOP_FLAG_H_
#define KW_TRX_SUPPORT_STOP_FLAG_H_

#include <atomic>

namespace kw::trx::trx {

/// The stop flag of the engine, which lives until the process ends; null while there is no engine.
inline std::atomic<const std::atomic<bool>*> engine_stop_flag{nullptr};

/// True while it is set. Any thread may call it.
inline bool isEngineStopped() {
  const std::atomic<bool>* flag = engine_stop_flag.load(std::memory_order_acquire);
  return flag != nullptr && *flag;
}

}  // namespace kw::trx::trx

#endif  // KW_TRX_SUPPORT_STOP_FLAG_H_
