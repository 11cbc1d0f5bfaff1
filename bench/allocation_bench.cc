// SPDX-License-Identifier: Apache-2.0
// How often a trace record, a HAP request and a table row allocate. Times are not told here, as the
// counting costs some.
#include <functional>
#include <string>
#include <vector>

#include "support/bench_engine.h"
#include "support/count_allocations.h"
#include "support/log_record.h"
#include "support/reference.h"

namespace {

constexpr int kRows = 1000;
constexpr char kHAP[] = "BM0_Run";
constexpr char kLongHAP[] = "BM0_RunWithALongerName";

const bench::BenchEngine& engine() {
  static const bench::BenchEngine* const made = [] {
    static const bench::BenchEngine loaded;
    std::vector<std::string> tables;
    for (const std::string hap : {kHAP, kLongHAP}) {
      for (const int rows : {kRows, 2 * kRows}) {
        const std::string name = hap + std::to_string(rows) + ".csv";
        tables.push_back(
            loaded.folder().write(name, bench::tableText(static_cast<std::size_t>(rows), hap)));
      }
    }
    loaded.load({bench::moduleFile(0)}, tables);
    return &loaded;
  }();
  return *made;
}

/// Allocations of one `work` on average, with the ring open, after a first one.
double count(benchmark::State& state, const std::function<void()>& work) {
  const bench::OpenRing ring(engine().folder());
  work();
  const long before = bench::allocations();
  for ([[maybe_unused]] auto iteration : state) {
    work();
  }
  return static_cast<double>(bench::allocations() - before) /
         static_cast<double>(state.iterations());
}

void ofRecord(benchmark::State& state) {
  state.counters["allocations"] = count(state, bench::logRecord);
}

void ofRequest(benchmark::State& state, const std::string& hap) {
  kw::trx::trx::TRXInfo info;
  std::vector<kw::sysobj::Component*> units;
  const std::string mode;
  state.counters["allocations"] =
      count(state, [&] { engine().get()->execHAP(&info, units, hap, mode, nullptr, nullptr); });
}

/// A request on a context made for it alone, which has no room kept from an earlier one.
void ofRequestOnNewContext(benchmark::State& state) {
  std::vector<kw::sysobj::Component*> units;
  const std::string hap = kHAP;
  const std::string mode;
  state.counters["allocations"] = count(state, [&] {
    kw::trx::trx::TRXInfo info;
    engine().get()->execHAP(&info, units, hap, mode, nullptr, nullptr);
  });
}

/// What the request around the rows allocates drops out in the difference of two tables.
void ofRow(benchmark::State& state, const std::string& hap) {
  kw::trx::trx::TRXInfo info;
  std::vector<kw::sysobj::Component*> units;
  const std::string table = hap + std::to_string(kRows);
  const std::string longer_table = hap + std::to_string(2 * kRows);
  const auto run = [&](const std::string& name) {
    const long before = bench::allocations();
    engine().get()->execTable(&info, units, name);
    const long during = bench::allocations() - before;
    info.initialize();
    return during;
  };
  run(table);
  long in_rows = 0;
  count(state, [&] { in_rows = run(longer_table) - run(table); });
  state.counters["allocations"] = static_cast<double>(in_rows) / kRows;
}

BENCHMARK(ofRecord)->Name("allocations/record");
BENCHMARK_CAPTURE(ofRequest, short_name, kHAP);
BENCHMARK_CAPTURE(ofRequest, long_name, kLongHAP);
BENCHMARK(ofRequestOnNewContext)->Name("allocations/request_on_new_context");
BENCHMARK_CAPTURE(ofRow, short_name, kHAP);
BENCHMARK_CAPTURE(ofRow, long_name, kLongHAP);

}  // namespace

BENCHMARK_MAIN();
