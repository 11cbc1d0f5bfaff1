// SPDX-License-Identifier: Apache-2.0
// How the time of a check of table files grows: each amount of work is done once as it is and once
// four times as large, and the ratio is about 4 where the time grows as the work does.
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "lint/check.h"
#include "support/bench_engine.h"

namespace {

namespace tools = kw::trx::tools;
using Files = std::vector<std::string>;

constexpr std::size_t kRows = 25000;
constexpr std::size_t kTables = 1250;
constexpr std::size_t kGrowth = 4;
constexpr std::size_t kLabelEvery = 10;

/// Work of the size `size`: the table files, written into the folder.
struct Work {
  const char* name;
  std::size_t size;
  std::function<Files(const bench::Folder& folder, std::size_t size)> write;
};

std::string rowsText(std::size_t rows) { return bench::tableText(rows, "BM0_Run", kLabelEvery); }

Files validRows(const bench::Folder& folder, std::size_t rows) {
  return {folder.write("valid.csv", rowsText(rows))};
}

Files oneBadCell(const bench::Folder& folder, std::size_t rows) {
  std::string text = rowsText(rows);
  text.replace(text.find(",,\n", text.size() / 2), 2, ",.");
  return {folder.write("bad.csv", text)};
}

/// Every number is used twice, and every second row jumps to a label that no row has.
Files manyBadCells(const bench::Folder& folder, std::size_t rows) {
  std::string text = "FORMAT,0\nVERSION,1\n,0,START\n";
  for (std::size_t row = 0; row < rows; ++row) {
    text += "l" + std::to_string(row) + "," + std::to_string(row / 2) + ",HAP,BM0_Run,,l" +
            std::to_string(row * 2) + "\n";
  }
  return {folder.write("many.csv", text + ",fffffff,END\n")};
}

/// Each table calls the next one.
Files chain(const bench::Folder& folder, std::size_t tables) {
  Files files;
  for (std::size_t i = 0; i < tables; ++i) {
    const std::string call = i + 1 == tables ? "WAIT" : "TABLE,t" + std::to_string(i + 1);
    files.push_back(
        folder.write("t" + std::to_string(i) + ".csv",
                     "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,BM0_Run\n,3," + call + "\n,4,END\n"));
  }
  return files;
}

double secondsFor(const Work& work, std::size_t size, std::size_t& findings) {
  const bench::Folder folder;
  const Files files = work.write(folder, size);
  const auto begin = std::chrono::steady_clock::now();
  const tools::Environment around = tools::environmentOf(files);
  findings = 0;
  const tools::TableChecker checker(around);
  for (const std::string& file : files) {
    findings += checker.check(file).findings.size();
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

}  // namespace

int main() {
  const Work works[] = {{"rows without a fault", kRows, validRows},
                        {"rows with one bad cell", kRows, oneBadCell},
                        {"rows with faults all over", kRows, manyBadCells},
                        {"tables in a chain", kTables, chain}};
  std::printf("| check of | n | time | 4n | time | ratio | findings |\n");
  std::printf("| --- | --- | --- | --- | --- | --- | --- |\n");
  for (const Work& work : works) {
    std::size_t findings = 0;
    const double once = secondsFor(work, work.size, findings);
    const double grown = secondsFor(work, work.size * kGrowth, findings);
    std::printf("| %s | %zu | %.3f s | %zu | %.3f s | %.2f | %zu |\n", work.name, work.size, once,
                work.size * kGrowth, grown, grown / once, findings);
  }
  return 0;
}
