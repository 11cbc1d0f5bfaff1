// SPDX-License-Identifier: Apache-2.0
// Does one kind of work N times, to have its instructions counted: instruction_probe KIND N, where
// KIND is request, row or record. The trace ring is open.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "support/bench_engine.h"
#include "support/reference.h"

namespace {

constexpr int kRows = 100;

int usage() {
  std::fputs("usage: instruction_probe request|row|record N (rows: N a multiple of 100)\n", stderr);
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
  } else {
    return usage();
  }
  return 0;
}
