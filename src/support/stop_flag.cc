// SPDX-License-Identifier: Apache-2.0
#include "support/stop_flag.h"

namespace kw::trx::trx {
namespace {

std::atomic<const std::atomic<bool>*> watched{nullptr};

}  // namespace

void watchStopFlag(const std::atomic<bool>* flag) {
  watched.store(flag, std::memory_order_release);
}

bool isEngineStopped() {
  const std::atomic<bool>* flag = watched.load(std::memory_order_acquire);
  return flag != nullptr && *flag;
}

}  // namespace kw::trx::trx
