// SPDX-License-Identifier: Apache-2.0
// trxctl check as a program; what it finds is tested with the room of tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "kw/trx/testing/temp_dir.h"
#include "tool.h"

namespace kw::trx::testing {
namespace {

TEST(CheckTest, TheFilesOfTheGuideGiveTheErrorsThatTheyAreNamedFor) {
  EXPECT_EQ(runTool("check right-*.csv wrong-*.csv", GUIDE_TABLES),
            readFile(GOLDEN "/guide_tables.txt"));
}

/// True when the pieces of `pattern`, between its "...", stand in `message` in their order.
bool fits(const std::string& message, const std::string& pattern) {
  std::size_t at = 0;
  for (std::size_t begin = 0; begin <= pattern.size();) {
    const std::size_t end = std::min(pattern.find("...", begin), pattern.size());
    const std::string piece = pattern.substr(begin, end - begin);
    at = message.find(piece, at);
    if (at == std::string::npos) {
      return false;
    }
    at += piece.size();
    begin = end + 3;
  }
  return true;
}

TEST(CheckTest, TheGuideListsEveryMessage) {
  std::istringstream guide(readFile(GUIDE_TABLES "/../table-guide.md"));
  std::vector<std::string> patterns;
  bool listed = false;
  for (std::string line; std::getline(guide, line);) {
    listed = line.rfind("## ", 0) == 0 ? line == "## What trxctl check says" : listed;
    if (listed && line.rfind("| ", 0) == 0) {
      std::istringstream cell(line.substr(2, line.find(" |", 2) - 2));
      for (std::string pattern; std::getline(cell >> std::ws, pattern, ';');) {
        patterns.push_back(pattern);
      }
    }
  }
  for (const char* golden :
       {GOLDEN "/guide_tables.txt", TABLES_GOLDEN "/faults.txt", TABLES_GOLDEN "/warnings.txt"}) {
    std::istringstream output(readFile(golden));
    for (std::string line; std::getline(output, line) && line[0] != '=';) {
      const std::size_t severity = line.find(": ") + 2;
      const std::string message = line.substr(line.find(": ", severity) + 2);
      EXPECT_TRUE(
          std::any_of(patterns.begin(), patterns.end(),
                      [&message](const std::string& pattern) { return fits(message, pattern); }))
          << message;
    }
  }
}

TEST(CheckTest, ErrorsAndStrictWarningsChangeTheExitStatus) {
  const TempDir dir;
  dir.write("well.csv", "FORMAT,0\nVERSION,0\n,1,START\n,2,END\n");
  dir.write("odd.csv", "FORMAT,0\nVERSION,00\n,1,START\n,2,END\n");
  const std::string warning =
      "odd.csv:2 (B): warning: a spreadsheet saves '00' as 0, which means the same here\n";
  EXPECT_EQ(runTool("check --strict well.csv", dir.path()), "= 0\n");
  EXPECT_EQ(runTool("check odd.csv well.csv", dir.path()), warning + "= 0\n");
  EXPECT_EQ(runTool("check --strict odd.csv well.csv", dir.path()), warning + "= 1\n");
  const auto json = nlohmann::json::parse(outputOf("check --json odd.csv none.csv", dir.path()));
  EXPECT_EQ(json[0]["loads"], true);
  EXPECT_EQ(json[0]["findings"][0]["line"], 2);
  EXPECT_EQ(json[1]["findings"][0]["traceId"], "0xa001000");
}

TEST(CheckTest, SarifIsWhatCodeHostsRead) {
  const TempDir dir;
  dir.write("a b.csv", "FORMAT,0\nVERSION,00\n,1,START\n,2,WAIT,,x\n,3,END\n");
  const auto log = nlohmann::json::parse(outputOf("check --sarif 'a b.csv' none.csv", dir.path()));
  EXPECT_EQ(log["version"], "2.1.0");
  const auto& run = log["runs"][0];
  EXPECT_EQ(run["tool"]["driver"]["name"], "trxctl");
  ASSERT_EQ(run["results"].size(), 3U);
  const auto place = [&run](int result) {
    return run["results"][result]["locations"][0]["physicalLocation"];
  };
  EXPECT_EQ(run["results"][0]["level"], "warning");
  EXPECT_EQ(run["results"][1]["level"], "error");
  EXPECT_EQ(run["results"][1]["ruleId"], "0x14000000");
  EXPECT_EQ(run["results"][1]["message"]["text"], "E, MODE: 'x' is not allowed here: only digits");
  EXPECT_EQ(place(1)["artifactLocation"]["uri"], "a%20b.csv");
  EXPECT_EQ(place(1)["region"]["startLine"], 4);
  EXPECT_EQ(place(2)["region"]["startLine"], 1);
}

TEST(CheckTest, FixWritesWhatTheEngineLoadsAndNeverInPlaceUnasked) {
  const TempDir dir;
  const std::string rows = "FORMAT;0\nVERSION;1\n;1;START\n;2;END\n";
  dir.write("a.csv", rows);
  EXPECT_EQ(
      runTool("check a.csv", dir.path()),
      "a.csv: error: its cells are parted by ';' instead of commas; trxctl check --fix writes "
      "it as the engine reads it [0xa005002]\n= 2\n");
  EXPECT_EQ(runTool("check --fix a.csv", dir.path()),
            "a.csv: written to fixed/a.csv: ';' between cells made commas\n= 0\n");
  EXPECT_EQ(readFile(dir.path() + "/a.csv"), rows);
  EXPECT_EQ(runTool("check --fix a.csv", dir.path()),
            "! trxctl: a.csv: not fixed: fixed/a.csv is there already; move it away, or add "
            "--in-place\n= 2\n");
  EXPECT_EQ(runTool("check --fix --in-place a.csv", dir.path()),
            "a.csv: rewritten: ';' between cells made commas\n= 0\n");
  EXPECT_EQ(readFile(dir.path() + "/a.csv"), readFile(dir.path() + "/fixed/a.csv"));
  EXPECT_EQ(runTool("check --fix a.csv", dir.path()), "= 0\n");
}

}  // namespace
}  // namespace kw::trx::testing
