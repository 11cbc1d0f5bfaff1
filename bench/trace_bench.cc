// SPDX-License-Identifier: Apache-2.0
// What a trace record costs.
#include <memory>

#include "kw/platform.h"
#include "support/bench_engine.h"
#include "support/log_record.h"
#include "support/pair_of_threads.h"
#include "support/reference.h"

namespace {

using bench::OpenRing;
using bench::Reference;

const bench::Folder& folder() {
  static const bench::Folder made;
  return made;
}

template <void (*Call)()>
void repeat(benchmark::State& state) {
  const Reference reference(state);
  for ([[maybe_unused]] auto iteration : state) {
    Call();
  }
}

template <void (*Call)()>
void repeatIntoRing(benchmark::State& state) {
  const OpenRing ring(folder());
  repeat<Call>(state);
}

template <void (*Call)()>
void repeatFiltered(benchmark::State& state) {
  const OpenRing ring(folder());
  kw::platform::setTraceLevels(kw::platform::kTraceError);
  repeat<Call>(state);
  kw::platform::setTraceLevels(kw::platform::kTraceAll);
}

template <void (*Call)()>
void repeatInThreads(benchmark::State& state) {
  const OpenRing ring(folder());
  const Reference reference(state);
  bench::compareThreads(state, [](int) {
    constexpr int count = 100;
    for (int i = 0; i < count; ++i) {
      Call();
    }
    return count;
  });
}

BENCHMARK_TEMPLATE(repeat, bench::readClock)->Name("clock");
BENCHMARK_TEMPLATE(repeatIntoRing, bench::writeRecord)->Name("record/ring");
BENCHMARK_TEMPLATE(repeatIntoRing, bench::logRecord)->Name("record_by_logger/ring");
BENCHMARK_TEMPLATE(repeat, bench::writeRecord)->Name("record/nothing_opened");
BENCHMARK_TEMPLATE(repeatFiltered, bench::writeRecord)->Name("record/filtered");
BENCHMARK_TEMPLATE(repeat, bench::logRecord)->Name("record_by_logger/nothing_opened");
BENCHMARK_TEMPLATE(repeatInThreads, bench::writeRecord)
    ->Name("record/ring/two_threads")
    ->UseManualTime()
    ->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
