// SPDX-License-Identifier: Apache-2.0
// Counts what the whole process allocates with `operator new`. Linked into a program, its source
// replaces that operator.
#ifndef BENCH_SUPPORT_COUNT_ALLOCATIONS_H_
#define BENCH_SUPPORT_COUNT_ALLOCATIONS_H_

namespace bench {

/// Allocations so far, of all threads. Any thread may call it.
long allocations();

}  // namespace bench

#endif  // BENCH_SUPPORT_COUNT_ALLOCATIONS_H_
