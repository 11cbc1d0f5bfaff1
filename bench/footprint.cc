// SPDX-License-Identifier: Apache-2.0
// What the engine holds in memory: heap as the C library counts it, and where modules are mapped.
// One thread; prints rows of the table in docs/performance.md.
#include <malloc.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "support/bench_engine.h"

namespace {

constexpr int kModules = 10;
constexpr int kTables = 200;
constexpr std::size_t kRows = 50;
constexpr int kContexts = 100;

std::size_t heapBytes() {
  const auto info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

/// Bytes of address space that files with `name` in their path take.
std::size_t mappedBytes(const std::string& name) {
  std::ifstream maps("/proc/self/maps");
  std::size_t bytes = 0;
  for (std::string line; std::getline(maps, line);) {
    std::size_t place = 0;
    if (line.find(name) != std::string::npos) {
      const std::size_t begin = std::stoul(line, &place, 16);
      bytes += std::stoul(line.substr(place + 1), nullptr, 16) - begin;
    }
  }
  return bytes;
}

void show(const char* what, std::size_t bytes, std::size_t times = 1) {
  std::printf("| %s | %zu bytes |\n", what, bytes / times);
}

std::vector<std::string> writeTables(const bench::BenchEngine& engine) {
  std::vector<std::string> tables;
  for (int i = 0; i < kTables; ++i) {
    const std::string hap = "BM" + std::to_string(i % kModules) + "_Run";
    tables.push_back(engine.folder().write("table" + std::to_string(i) + ".csv",
                                           bench::tableText(kRows, hap, kModules)));
  }
  return tables;
}

void measureContexts(const bench::BenchEngine& engine) {
  std::vector<std::unique_ptr<kw::trx::trx::TRXInfo>> contexts(kContexts);
  const std::size_t before = heapBytes();
  for (auto& context : contexts) {
    context = std::make_unique<kw::trx::trx::TRXInfo>();
  }
  show("heap of a new context", heapBytes() - before, kContexts);
  std::vector<kw::sysobj::Component*> units;
  for (auto& context : contexts) {
    engine.get()->execTable(context.get(), units, "table0");
  }
  show("the same after it ran a table", heapBytes() - before, kContexts);
}

}  // namespace

int main() {
  const std::size_t at_first = heapBytes();
  const bench::BenchEngine engine;
  const std::vector<std::string> tables = writeTables(engine);
  std::vector<std::string> modules;
  for (int i = 0; i < kModules; ++i) {
    modules.push_back(bench::moduleFile(i));
  }
  engine.load({}, {});
  const std::size_t empty = heapBytes();
  show("heap of the engine with nothing loaded, and of this program", empty - at_first);
  engine.load(modules, {});
  const std::size_t with_modules = heapBytes();
  show("heap of a loaded module", with_modules - empty, kModules);
  show("address space of a loaded module", mappedBytes("libzq_hap_bm"), kModules);
  engine.load(modules, tables);
  show("heap of a loaded table of 50 rows", heapBytes() - with_modules, kTables);
  show("heap of 10 modules and 200 such tables", heapBytes() - empty);
  measureContexts(engine);
}
