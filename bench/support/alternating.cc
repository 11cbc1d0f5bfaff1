// SPDX-License-Identifier: Apache-2.0
#include "support/alternating.h"

#include <vector>

#include "support/clock.h"

namespace bench {
namespace {

double timeOf(const Side& side, int times) {
  if (side.prepare) {
    side.prepare();
  }
  const double begin = threadNs();
  for (int i = 0; i < times; ++i) {
    side.work();
  }
  return (threadNs() - begin) / times;
}

int timesFor(const Side& side, double turn_ns) {
  timeOf(side, 1);  // the first run meets cold caches
  const double once = timeOf(side, 1);
  return side.prepare || once >= turn_ns ? 1 : static_cast<int>(turn_ns / once) + 1;
}

}  // namespace

void alternate(benchmark::State& state, const Side& first, const Side& second, double turn_ns) {
  const int first_times = timesFor(first, turn_ns);
  const int second_times = timesFor(second, turn_ns);
  std::vector<double> first_ns;
  std::vector<double> second_ns;
  for ([[maybe_unused]] auto iteration : state) {
    first_ns.push_back(timeOf(first, first_times));
    second_ns.push_back(timeOf(second, second_times));
    state.SetIterationTime(first_ns.back() / 1e9);
  }
  state.counters["first_ns"] = medianOf(first_ns);
  state.counters["second_ns"] = medianOf(second_ns);
}

}  // namespace bench
