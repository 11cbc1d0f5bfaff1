// SPDX-License-Identifier: Apache-2.0
#include "support/reference.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <ctime>

#include "kw/trace.h"
#include "support/clock.h"
#include "support/log_record.h"

namespace bench {
namespace {

constexpr unsigned int kLevelDebug = 0x801;
constexpr std::size_t kBlocks = 21;
constexpr int kCallsPerBlock = 1000;

}  // namespace

void readClock() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  benchmark::DoNotOptimize(now);
}

void writeRecord() {
  const unsigned int words[4] = {1, 2, 3, 4};
  benchmark::DoNotOptimize(
      kw_trace_write(101, kLevelDebug, 7, kRecordId, words, static_cast<int>(sizeof(words))));
}

double costOf(void (*call)()) {
  std::array<double, kBlocks> costs{};
  for (double& cost : costs) {
    const double begin = wallNs();
    for (int i = 0; i < kCallsPerBlock; ++i) {
      call();
    }
    cost = (wallNs() - begin) / kCallsPerBlock;
  }
  auto* const middle = costs.begin() + kBlocks / 2;
  std::nth_element(costs.begin(), middle, costs.end());
  return *middle;
}

Reference::Reference(benchmark::State& state)
    : state_(state), clock_ns_(costOf(readClock)), record_ns_(costOf(writeRecord)) {}

Reference::~Reference() {
  state_.counters["clock_ns"] = (clock_ns_ + costOf(readClock)) / 2;
  state_.counters["record_ns"] = (record_ns_ + costOf(writeRecord)) / 2;
}

}  // namespace bench
