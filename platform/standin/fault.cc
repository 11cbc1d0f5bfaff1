// SPDX-License-Identifier: Apache-2.0
#include "fault.h"

#include <array>
#include <atomic>

namespace kw::platform {

namespace {

constexpr std::size_t kFaults = 3;

/// Calls left until the one that fails; 0 while no call is to fail.
std::array<std::atomic<int>, kFaults> calls_left{};

std::atomic<int>& callsLeft(Fault fault) { return calls_left[static_cast<std::size_t>(fault)]; }

}  // namespace

void failCall(Fault fault, int nth) { callsLeft(fault).store(nth > 0 ? nth : 0); }

bool mustFail(Fault fault) noexcept {
  std::atomic<int>& left = callsLeft(fault);
  int seen = left.load();
  while (seen > 0 && !left.compare_exchange_weak(seen, seen - 1)) {
  }
  return seen == 1;
}

}  // namespace kw::platform
