// SPDX-License-Identifier: Apache-2.0
// Compares the costs of two pieces of work that are done in turn, so that both meet the same
// machine. Used by one thread.
#ifndef BENCH_SUPPORT_ALTERNATING_H_
#define BENCH_SUPPORT_ALTERNATING_H_

#include <benchmark/benchmark.h>

#include <functional>

namespace bench {

/// One side of a comparison: `prepare`, which may be empty, is not measured, `work` is.
struct Side {
  std::function<void()> prepare;
  std::function<void()> work;
};

/// Runs the sides in turn for each iteration of `state`, which has to use manual time, and repeats
/// `work` in a turn until about `turn_ns` have passed. Stores the medians of the thread's CPU time
/// of one `work` in nanoseconds as the counters "first_ns" and "second_ns". A side with a `prepare`
/// is run once in a turn.
void alternate(benchmark::State& state, const Side& first, const Side& second,
               double turn_ns = 1e6);

}  // namespace bench

#endif  // BENCH_SUPPORT_ALTERNATING_H_
