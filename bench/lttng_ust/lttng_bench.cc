// SPDX-License-Identifier: Apache-2.0
// What a record of LTTng-UST costs; bench/run starts its session. Without one the benchmark fails
// instead of measuring a record that goes nowhere.
#include "record_tracepoint.h"
#include "support/bench_engine.h"
#include "support/reference.h"

namespace {

void records(benchmark::State& state) {
  if (!lttng_ust_tracepoint_enabled(zqm_trx_bench, record)) {
    state.SkipWithError("no LTTng session takes the record");
    return;
  }
  static const bench::Folder folder;
  const bench::OpenRing ring(folder);
  const bench::Reference reference(state);
  const uint32_t words[4] = {1, 2, 3, 4};
  for ([[maybe_unused]] auto iteration : state) {
    lttng_ust_do_tracepoint(zqm_trx_bench, record, 0x1000, words);
  }
}

BENCHMARK(records)->Name("lttng/record");

}  // namespace

BENCHMARK_MAIN();
