// SPDX-License-Identifier: Apache-2.0
// Clocks as numbers of nanoseconds, and the middle of a list of them.
#ifndef BENCH_SUPPORT_CLOCK_H_
#define BENCH_SUPPORT_CLOCK_H_

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <vector>

namespace bench {

inline double readNs(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// Time that passes for everybody.
inline double wallNs() { return readNs(CLOCK_MONOTONIC); }

/// Time that the calling thread had a CPU, in the kernel too.
inline double threadNs() { return readNs(CLOCK_THREAD_CPUTIME_ID); }

/// The median; 0 of no values.
inline double medianOf(std::vector<double> values) {
  if (values.empty()) {
    return 0;
  }
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace bench

#endif  // BENCH_SUPPORT_CLOCK_H_
