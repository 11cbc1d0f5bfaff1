// SPDX-License-Identifier: Apache-2.0
// trxctl check says of table files what the engine does with them.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <random>

#include "kw/trx/errors.h"
#include "kw/trx/table_controller.h"
#include "kw/trx/testing/temp_dir.h"
#include "tool.h"

namespace kw::trx::testing {
namespace {

namespace fs = std::filesystem;

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
  for (const char* golden : {"/guide_tables.txt", "/faults.txt", "/warnings.txt"}) {
    std::istringstream output(readFile(std::string(GOLDEN) + golden));
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

TEST(CheckTest, EveryFaultIsFoundAtItsLineAndCell) {
  const TempDir dir;
  dir.write("faults.csv",
            "FORMAT,00\r\n"
            "VERSION,1g\r\n"
            "\"a title\r\nof two lines\"\r\n"
            "top,1,START,,,top\r\n"
            ",2,HAP,P\xc3\xa4.On!.\xe2\x82,\"off\t\x01\",nowhere,1  G1234567\xe2\x82\xac,x\r\n"
            ",\"two\nlines\",WAIT,,1s\r\n"
            ",,wait,,5,NOP,G\r\n"
            "a b,0,CHECK,,,NOP\r\n"
            "top,3,TABLE,init\r\n"
            "VERSION,ffffffff,END,\"a\"\"b\"\r\n");
  dir.write("lost.csv", "FORMAT,1\n,1,START\n,2,HAP,A.B\n,3,Start\n,4,START\n,x,CHECK\n");
  dir.write("keys.csv",
            "FORMAT,zz\nFORMAT\nFORMAT,1\nVersion,2,HAP\n VERSION,000000001\n"
            ",1,END\n,2,END\n,3,start\n,4,Start,,,,a\n,5,WAIT,,x\n,6,End\n,7,\"end \"\n,8,CHECK\n");
  dir.write("ends.csv", ",1,START\n,2,END\nFORMAT,0\nFORMAT,0\nVERSION,-1\n");
  dir.write("order.csv", "FORMAT,0\nVERSION,1\n,1,END\n,2,END\n,3,START\n,4,WAIT,,x\n");
  EXPECT_EQ(runTool("check faults.csv lost.csv keys.csv ends.csv order.csv nowhere.csv notes.txt",
                    dir.path()),
            readFile(GOLDEN "/faults.txt"));
}

TEST(CheckTest, WhatLoadsButIsNotMeantGivesWarnings) {
  const TempDir dir;
  dir.write("kw/etc/kwpath.conf", "path.trx.conf=" + dir.path() + "/trx.conf\n");
  dir.write("trx.conf", "hapmodule.number=3\nhapmodule.file.0=" +
                            dir.write("old/libzq_hap_tst.so",
                                      replaced(readFile(MODULE_TST), "TST_Exit", "TST_Quit")) +
                            "\nhapmodule.file.1=" MODULE_TST "\nhapmodule.file.2=" MODULE_TORN
                            "\nhaptable.number=3\nhaptable.file.0=" +
                            dir.write("listed.csv", "FORMAT,0\nVERSION,0\n,1,START\n,2,END\n") +
                            "\nhaptable.file.1=" + dir.write("broken.csv", "FORMAT,0\n") +
                            "\nhaptable.file.2=/no/such/gone.csv\n");
  dir.write("odd.csv",
            "FORMAT,00\nVERSION,1e5\n,1,START\n"
            "unused,2,HAP,TST_OK,007\n,3,HAP,TST_Fail,,lost,1e5\n,3a,HAP,TST_Ok,,,1ee5\n,+4,TABLE,"
            "listed\n"
            ",5,TABLE,litsed\n,6,WAIT,,3600001\n,7,WAIT,,0500\n,8,TABLE,even\n,9,END,DONE\n"
            ",a,WAIT\nlost,b,END,0001E0\n");
  dir.write("calls.csv",
            "FORMAT,0\nVERSION,0\n,1,START\n,2,TABLE,broken\n,3,TABLE,gone\n,4,TABLE,borken\n,5,"
            "HAP,TST_Quit,1234567890123456\n,6,HAP,TST_Exit,123456789012345\n,7,HAP,TORN_Ok\n,"
            "\"\n8\",WAIT,,03600001\n,9,END\n");
  dir.write("even.csv", "FORMAT,0\nVERSION,0\n,1,START\n,2,TABLE,odder\n,3,END\n");
  dir.write("odder.csv", "FORMAT,0\nVERSION,0\n,1,START\n,2,TABLE,even\n,3,HAP\n,4,END\n");
  EXPECT_EQ(runTool("check --strict --root . odd.csv even.csv odder.csv calls.csv", dir.path()),
            readFile(GOLDEN "/warnings.txt"));
  EXPECT_EQ(runTool("check --strict odder.csv listed.csv", dir.path()),
            "odder.csv:4 (D, HAP/TABLE): warning: no table 'even' is among the files or the "
            "configuration\n"
            "odder.csv:5 (D, HAP/TABLE): warning: a HAP row without a name fails: no HAP has it\n"
            "= 1\n");
}

/// Whether the engine itself loads a file.
bool loads(const std::string& file) {
  trx::TableController controller;
  std::vector<std::string> files = {file};
  try {
    controller.load(files);
  } catch (const trx::TRXException&) {
    return false;
  }
  return true;
}

/// Changes one place of a table file to something that such files are made of.
void mutate(std::string& text, std::mt19937& random) {
  const auto below = [&random](std::size_t limit) { return random() % limit; };
  const std::string pieces[] = {",", "\n",     "\"",    "0",     "f",   "-",  "_",  " ",
                                "x", "HAP",    "START", "CHECK", "END", "A",  "\r", "+",
                                ".", "FORMAT", "NOP",   "again", "0x",  ",,", "1",  "z"};
  const std::size_t at = below(text.size() + 1);
  switch (below(3)) {
    case 0:
      text.insert(at, pieces[below(std::size(pieces))]);
      break;
    case 1:
      text.erase(at, 1 + below(3));
      break;
    default:
      text.insert(text.find('\n', at) + 1, text.substr(at, below(20)));
      break;
  }
}

TEST(CheckTest, AnErrorIsReportedForExactlyTheFilesThatTheEngineRefuses) {
  std::mt19937 random(20240607);
  std::vector<std::string> seeds;
  for (const fs::directory_entry& file : fs::directory_iterator(GUIDE_TABLES)) {
    seeds.push_back(readFile(file.path()));
  }
  std::sort(seeds.begin(), seeds.end());
  const TempDir dir;
  for (int i = 0; i < 1000; ++i) {
    std::string text = seeds[random() % seeds.size()];
    for (auto count = random() % 4; count > 0; --count) {
      mutate(text, random);
    }
    dir.write("t" + std::to_string(i) + ".csv", text);
  }
  std::map<bool, int> met;
  for (const auto& file : nlohmann::json::parse(outputOf("check --json *.csv", dir.path()))) {
    const std::string path = dir.path() + "/" + file["file"].get<std::string>();
    const bool loaded = loads(path);
    ASSERT_EQ(file["loads"], loaded) << readFile(path) << file;
    ASSERT_NE(file.dump().find("\"error\"") != std::string::npos, loaded) << file;
    ++met[loaded];
  }
  EXPECT_EQ(met[true] + met[false], 1000);
  EXPECT_GT(met[true], 50) << "files that load came up";
}

}  // namespace
}  // namespace kw::trx::testing
