// SPDX-License-Identifier: Apache-2.0
// The record of the benchmarks by way of the engine's logger. Any thread.
#ifndef BENCH_SUPPORT_LOG_RECORD_H_
#define BENCH_SUPPORT_LOG_RECORD_H_

namespace bench {

constexpr unsigned long kRecordId = 0x1000;

/// One record of four words by way of the engine's logger.
void logRecord();

}  // namespace bench

#endif  // BENCH_SUPPORT_LOG_RECORD_H_
