// SPDX-License-Identifier: Apache-2.0
// The units that the benchmarks measure in: one reading of the clock, and one trace record. One
// object per benchmark function, on its thread.
#ifndef BENCH_SUPPORT_REFERENCE_H_
#define BENCH_SUPPORT_REFERENCE_H_

#include <benchmark/benchmark.h>

namespace bench {

/// One `clock_gettime(CLOCK_MONOTONIC)`, its result kept.
void readClock();

/// One record of four words (16 bytes) to the trace facility.
void writeRecord();

/// Median over short blocks of what one call costs in nanoseconds. The median leaves out blocks in
/// which the thread was interrupted.
double costOf(void (*call)());

/// Measures both units right before and right after a benchmark, and stores their mean as the
/// counters "clock_ns" and "record_ns". With no ring open, "record_ns" is what a record costs then.
class Reference {
 public:
  explicit Reference(benchmark::State& state);
  Reference(const Reference&) = delete;
  Reference& operator=(const Reference&) = delete;
  ~Reference();

 private:
  benchmark::State& state_;
  double clock_ns_;
  double record_ns_;
};

}  // namespace bench

#endif  // BENCH_SUPPORT_REFERENCE_H_
