// SPDX-License-Identifier: Apache-2.0
// What a trace record costs with the recorder before the stand-in.
#include <stdexcept>

#include "kw/platform.h"
#include "kw/trace_recorder.h"
#include "support/bench_engine.h"
#include "support/reference.h"

namespace {

constexpr std::size_t kRingRecords = 16384;

const bench::Folder& folder() {
  static const bench::Folder made;
  return made;
}

void repeat(benchmark::State& state) {
  const bench::Reference reference(state);
  for ([[maybe_unused]] auto iteration : state) {
    bench::writeRecord();
  }
}

/// The same while the recorder writes the records of `levels`.
void repeatRecorded(benchmark::State& state, unsigned int levels) {
  const std::string file = folder().path() + "/recorder.ring";
  if (zqm_trx_recorder_open(file.c_str(), kRingRecords, levels, 1) != 0) {
    throw std::runtime_error("the recorder's ring cannot be opened");
  }
  repeat(state);
  zqm_trx_recorder_close();
}

void recorded(benchmark::State& state) { repeatRecorded(state, ZQM_TRX_RECORD_ALL); }
void filtered(benchmark::State& state) { repeatRecorded(state, ZQM_TRX_RECORD_ERROR); }
void recordedTwice(benchmark::State& state) {
  const bench::OpenRing ring(folder());
  recorded(state);
}
void platformAlone(benchmark::State& state) {
  const bench::OpenRing ring(folder());
  repeat(state);
}

BENCHMARK(recorded)->Name("recorder/ring");
BENCHMARK(recordedTwice)->Name("recorder/both_rings");
BENCHMARK(platformAlone)->Name("recorder/ring_of_platform");
BENCHMARK(filtered)->Name("recorder/filtered");
BENCHMARK(repeat)->Name("recorder/nothing_opened");

}  // namespace

BENCHMARK_MAIN();
