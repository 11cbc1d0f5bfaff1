// SPDX-License-Identifier: Apache-2.0
// Compares the throughput of two threads, each on a CPU of its own, with that of one.
#ifndef BENCH_SUPPORT_PAIR_OF_THREADS_H_
#define BENCH_SUPPORT_PAIR_OF_THREADS_H_

#include <benchmark/benchmark.h>

#include <functional>

namespace bench {

/// Does some work as thread 0 or 1 and returns how many operations it was. It has to take much less
/// than a millisecond.
using ThreadWork = std::function<int(int thread)>;

/// Runs slices of a few milliseconds with one thread and with two in turn. A slice in which a
/// thread was ready but had to wait for its CPU tells of other processes, not of this one: it is
/// left out, and repeated. Stores the medians of the accepted slices: "one_ns", what an operation
/// of the one thread takes, "two_ns", what it takes each of the two, and "speedup", the throughput
/// of two against that of one; and "disturbed", the share of slices left out. `state` has to use
/// manual time.
void compareThreads(benchmark::State& state, const ThreadWork& work);

}  // namespace bench

#endif  // BENCH_SUPPORT_PAIR_OF_THREADS_H_
