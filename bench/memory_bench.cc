// SPDX-License-Identifier: Apache-2.0
// Whether resident memory grows while tables run and while the engine is loaded again and again.
#include <unistd.h>

#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "support/bench_engine.h"
#include "support/reference.h"

namespace {

constexpr int kRows = 1000;
constexpr int kTableRuns = 10000;
constexpr int kReloads = 1000;
constexpr int kReloadedTables = 10;
constexpr int kParts = 4;

const bench::BenchEngine& engine() {
  static const bench::BenchEngine* const made = [] {
    static const bench::BenchEngine loaded;
    return &loaded;
  }();
  return *made;
}

double residentKB() {
  std::ifstream file("/proc/self/statm");
  double pages_of_all = 0;
  double pages = 0;
  file >> pages_of_all >> pages;
  return pages * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024;
}

/// Runs `work` `times` times. A first quarter takes what is kept for ever; what the other three
/// add is the growth.
void watch(benchmark::State& state, int times, const std::function<void()>& work) {
  const bench::OpenRing ring(engine().folder());
  for ([[maybe_unused]] auto iteration : state) {
    double begin = 0;
    for (int i = 0; i < times; ++i) {
      if (i == times / kParts) {
        begin = residentKB();
      }
      work();
    }
    state.counters["resident_kb"] = residentKB();
    state.counters["growth_kb"] = residentKB() - begin;
  }
}

void rows(benchmark::State& state) {
  engine().load({bench::moduleFile(0)},
                {engine().folder().write("long.csv", bench::tableText(kRows, "BM0_Run"))});
  kw::trx::trx::TRXInfo info;
  std::vector<kw::sysobj::Component*> units;
  watch(state, kTableRuns, [&] {
    engine().get()->execTable(&info, units, "long");
    info.initialize();
  });
}

void reloads(benchmark::State& state) {
  std::vector<std::string> modules;
  std::vector<std::string> files;
  for (int i = 0; i < kReloadedTables; ++i) {
    modules.push_back(bench::moduleFile(i));
    files.push_back(engine().folder().write("table" + std::to_string(i) + ".csv",
                                            bench::tableText(100, "BM0_Run", 10)));
  }
  engine().load(modules, files);
  watch(state, kReloads, [] { engine().get()->load(false); });
}

BENCHMARK(rows)->Name("memory/rows")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(reloads)->Name("memory/reloads")->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
