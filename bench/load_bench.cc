// SPDX-License-Identifier: Apache-2.0
// What reading CSV text, loading a table and loading a whole configuration cost, each in turn with
// what it is measured against.
#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <limits>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "kw/trx/table.h"
#include "kw/trx/table_data.h"
#include "kw/trx/table_format.h"
#include "kw/util/config/comma_separated_values.h"
#include "support/alternating.h"
#include "support/bench_engine.h"
#include "support/reference.h"
#ifdef BENCH_WITH_LIBCSV
#include <csv.h>
#endif

namespace {

using bench::Folder;
using bench::Side;
using kw::util::config::CommaSeparatedValues;

constexpr int kModules = 10;
constexpr int kTables = 200;
constexpr int kTableRows = 50;
constexpr std::size_t kCSVRows = 20000;

// Memory that one turn frees stays with the process for the next one: whether the C library returns
// it, and the kernel hands out zeroed pages again, depends on what lies at the end of the heap and
// would decide the figures of both sides.
[[maybe_unused]] const bool kKeepMemory =
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max()) != 0 &&
    mallopt(M_MMAP_THRESHOLD, std::numeric_limits<int>::max()) != 0;

void readCSV(const std::string& path) {
  std::ifstream stream(path);
  CommaSeparatedValues csv;
  csv.load(stream);
  benchmark::DoNotOptimize(csv.size());
}

/// Parse, check and build, as the engine does it for one table file.
void loadTable(const std::string& path) {
  auto data = std::make_unique<kw::trx::trx::TableData>();
  if (data->load(path) != 0) {
    throw std::runtime_error("not read: " + path);
  }
  const std::unique_ptr<kw::trx::trx::TblFmtFactory> format(
      kw::trx::trx::TblFmtFactory::getTblFmt("bench", data.get()));
  static_cast<void>(data.release());
  if (format == nullptr || format->checkFormat() != 0) {
    throw std::runtime_error("not valid: " + path);
  }
  const std::unique_ptr<kw::trx::trx::HAPTable> table(format->createHAPTable());
  benchmark::DoNotOptimize(table.get());
}

/// The first side loads a table of range(0) rows, of which each range(1)-th has a label and an
/// error label (0: none); the second side reads the same file as CSV alone.
void tables(benchmark::State& state) {
  const Folder folder;
  const auto rows = static_cast<std::size_t>(state.range(0));
  const std::string path = folder.write(
      "table.csv", bench::tableText(rows, "BM0_Run", static_cast<std::size_t>(state.range(1))));
  const bench::Reference reference(state);
  alternate(state, Side{{}, [&] { loadTable(path); }}, Side{{}, [&] { readCSV(path); }});
  state.counters["rows"] = static_cast<double>(rows);
}

#ifdef BENCH_WITH_LIBCSV
using Rows = std::vector<std::vector<std::string>>;

struct LibcsvResult {
  Rows rows;
  std::vector<std::string> row;
};

void keepCell(void* text, std::size_t size, void* result) {
  static_cast<LibcsvResult*>(result)->row.emplace_back(static_cast<const char*>(text), size);
}

void keepRow(int, void* result) {
  auto* kept = static_cast<LibcsvResult*>(result);
  kept->rows.push_back(std::move(kept->row));
  kept->row.clear();
}

void dropCell(void*, std::size_t, void* count) { ++*static_cast<long*>(count); }
void dropRow(int, void*) {}

void parseWithLibcsv(const std::string& path, void (*cell)(void*, std::size_t, void*),
                     void (*row)(int, void*), void* result) {
  std::ifstream stream(path);
  std::vector<char> block(65536);
  csv_parser parser;
  csv_init(&parser, CSV_APPEND_NULL);
  while (stream.rdbuf() != nullptr) {
    const std::streamsize got =
        stream.rdbuf()->sgetn(block.data(), static_cast<std::streamsize>(block.size()));
    if (got <= 0) {
      break;
    }
    csv_parse(&parser, block.data(), static_cast<std::size_t>(got), cell, row, result);
  }
  csv_fini(&parser, cell, row, result);
  csv_free(&parser);
}

void readLibcsvRows(const std::string& path) {
  LibcsvResult result;
  parseWithLibcsv(path, keepCell, keepRow, &result);
  benchmark::DoNotOptimize(result.rows.size());
}

void countLibcsvCells(const std::string& path) {
  long cells = 0;
  parseWithLibcsv(path, dropCell, dropRow, &cells);
  benchmark::DoNotOptimize(cells);
}
#endif

/// The first side is the CSV reader, the second one `other` on the same file.
void csv(benchmark::State& state, void (*other)(const std::string& path)) {
  const Folder folder;
  const std::string text = bench::tableText(kCSVRows, "BM0_Run");
  const std::string path = folder.write("table.csv", text);
  const bench::Reference reference(state);
  alternate(state, Side{{}, [&] { readCSV(path); }}, Side{{}, [&] { other(path); }});
  state.counters["bytes"] = static_cast<double>(text.size());
}

/// The whole file with the fewest system calls.
void readFile(const std::string& path, std::string& content) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status {};
  if (file < 0 || fstat(file, &status) != 0) {
    throw std::runtime_error("not read: " + path);
  }
  content.resize(static_cast<std::size_t>(status.st_size));
  benchmark::DoNotOptimize(read(file, content.data(), content.size()));
  close(file);
}

/// The first side is a load into an empty engine, the second one the `dlopen` calls and file reads
/// that it cannot do without.
void configurations(benchmark::State& state) {
  static const bench::BenchEngine engine;
  std::vector<std::string> modules;
  std::vector<std::string> files;
  for (int i = 0; i < kModules; ++i) {
    modules.push_back(bench::moduleFile(i));
  }
  for (int i = 0; i < kTables; ++i) {
    files.push_back(engine.folder().write("table" + std::to_string(i) + ".csv",
                                          bench::tableText(kTableRows, "BM0_Run")));
  }
  engine.load(modules, files);
  const std::string full = [] {
    std::ostringstream text;
    text << std::ifstream(engine.folder().path() + "/trx.conf").rdbuf();
    return text.str();
  }();
  const auto empty = [] { engine.load({}, {}); };
  std::vector<void*> handles;
  const auto close_all = [&] {
    for (void* handle : handles) {
      dlclose(handle);
    }
    handles.clear();
  };
  const Side load{[&] {
                    close_all();
                    empty();
                    engine.folder().write("trx.conf", full);
                  },
                  [] { engine.get()->load(false); }};
  const Side floor{[&] {
                     empty();
                     close_all();
                   },
                   [&] {
                     for (const std::string& module : modules) {
                       handles.push_back(dlopen(module.c_str(), RTLD_NOW));
                     }
                     std::string content;
                     for (const std::string& file : files) {
                       readFile(file, content);
                     }
                   }};
  const bench::Reference reference(state);
  alternate(state, load, floor);
  close_all();
}

BENCHMARK(tables)
    ->Name("table")
    ->ArgNames({"rows", "label_every"})
    ->Args({10, 0})
    ->Args({1000, 0})
    ->Args({100000, 0})
    ->Args({1000, 10})
    ->Args({10000, 10})
    ->Args({100000, 10})
    ->UseManualTime()
    ->Iterations(5);
BENCHMARK_CAPTURE(csv, itself, readCSV)->UseManualTime()->Iterations(11);
#ifdef BENCH_WITH_LIBCSV
BENCHMARK_CAPTURE(csv, libcsv_same_rows, readLibcsvRows)->UseManualTime()->Iterations(11);
BENCHMARK_CAPTURE(csv, libcsv_counting_only, countLibcsvCells)->UseManualTime()->Iterations(11);
#endif
BENCHMARK(configurations)->Name("load")->UseManualTime()->Iterations(21);

}  // namespace

BENCHMARK_MAIN();
