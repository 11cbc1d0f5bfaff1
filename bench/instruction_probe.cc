// SPDX-License-Identifier: Apache-2.0
// Does one kind of work N times, to have its instructions counted: instruction_probe KIND N, where
// KIND is request, row, record or load, which counts the rows of loaded tables. The trace ring is
// open. Prints the nanoseconds of the work, for a machine whose clock counts instructions.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "kw/trx/table_data.h"
#include "kw/trx/table_format.h"
#include "support/bench_engine.h"
#include "support/clock.h"
#include "support/log_record.h"

namespace {

constexpr int kRows = 100;

/// Every tenth row of what is loaded has a label, and names another one.
constexpr std::size_t kLabelEvery = 10;

/// Parse, check and build, as the engine does it for one table file.
void loadTable(const std::string& path) {
  using namespace kw::trx::trx;
  auto data = std::make_unique<TableData>();
  data->load(path);
  const std::unique_ptr<TblFmtFactory> format(TblFmtFactory::getTblFmt("rows", data.get()));
  static_cast<void>(data.release());
  const bool is_valid = format->checkFormat() == 0;
  const std::unique_ptr<HAPTable> table(is_valid ? format->createHAPTable() : nullptr);
  if (table == nullptr) {
    std::abort();
  }
}

int usage() {
  std::fputs("usage: instruction_probe request|row|record|load N (rows: N a multiple of 100)\n",
             stderr);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    return usage();
  }
  const std::string kind = argv[1];
  const int count = std::atoi(argv[2]);
  static const bench::BenchEngine engine;
  const std::string table = bench::tableText(kRows, "BM0_Run");
  engine.load({bench::moduleFile(0)}, {engine.folder().write("rows.csv", table)});
  const bench::OpenRing ring(engine.folder());
  kw::trx::trx::TRXInfo info;
  std::vector<kw::sysobj::Component*> units;
  const std::string hap = "BM0_Run";
  const std::string mode;
  const double begin = bench::wallNs();
  if (kind == "request") {
    for (int i = 0; i < count; ++i) {
      engine.get()->execHAP(&info, units, hap, mode, nullptr, nullptr);
    }
  } else if (kind == "row") {
    const std::string name = "rows";
    for (int i = 0; i < count / kRows; ++i) {
      engine.get()->execTable(&info, units, name);
      info.initialize();
    }
  } else if (kind == "record") {
    for (int i = 0; i < count; ++i) {
      bench::logRecord();
    }
  } else if (kind == "load") {
    const std::string path =
        engine.folder().write("loaded.csv", bench::tableText(kRows, hap, kLabelEvery));
    for (int i = 0; i < count / kRows; ++i) {
      loadTable(path);
    }
  } else {
    return usage();
  }
  std::printf("%.0f\n", bench::wallNs() - begin);
  return 0;
}
