// SPDX-License-Identifier: Apache-2.0
// What the room of tables says of table files is what the engine does with them.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <sstream>

#include "kw/platform.h"
#include "kw/trx/errors.h"
#include "kw/trx/table_controller.h"
#include "kw/trx/testing/temp_dir.h"
#include "lint/check.h"
#include "lint/fix.h"

namespace kw::trx::testing {
namespace {

namespace fs = std::filesystem;

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// What a check of `files` in `dir` finds, a line each.
std::string checked(const TempDir& dir, const std::vector<std::string>& files) {
  fs::current_path(dir.path());
  const tools::Environment around = tools::environmentOf(files);
  std::ostringstream out;
  const tools::TableChecker checker(around);
  for (const std::string& file : files) {
    for (const tools::Finding& finding : checker.check(file).findings) {
      out << file;
      if (finding.line != 0) {
        out << ':' << std::dec << finding.line << " (" << finding.column << ')';
      }
      out << (finding.is_error ? ": error: " : ": warning: ") << finding.message;
      if (finding.is_error) {
        out << " [0x" << std::hex << finding.id << ']';
      }
      out << '\n';
    }
  }
  fs::current_path("/");
  return out.str();
}

TEST(TablesTest, EveryFaultIsFoundAtItsLineAndCell) {
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
            ",2.0,WAIT\r\n"
            "VERSION,ffffffff,END,\"a\"\"b\"\r\n");
  dir.write("lost.csv", "FORMAT,1\n,1,START\n,2,HAP,A.B\n,3,Start\n,4,START\n,x,CHECK\n");
  dir.write("keys.csv",
            "FORMAT,zz\nFORMAT\nFORMAT,1\nVersion,2,HAP\n VERSION,000000001\n"
            ",1,END\n,2,END\n,3,start\n,4,Start,,,,a\n,5,WAIT,,x\n,6,End\n,7,\"end \"\n,8,CHECK\n");
  dir.write("ends.csv", ",1,START\n,2,END\nFORMAT,0\nFORMAT,0\nVERSION,-1\n");
  dir.write("order.csv", "FORMAT,0\nVERSION,1\n,1,END\n,2,END\n,3,START\n,4,WAIT,,x\n");
  std::filesystem::create_directory(dir.path() + "/folder.csv");
  std::filesystem::resize_file(dir.write("large.csv", ""), (16U << 20) + 1);
  EXPECT_EQ(checked(dir, {"faults.csv", "lost.csv", "keys.csv", "ends.csv", "order.csv",
                          "nowhere.csv", "folder.csv", "large.csv", "notes.txt"}),
            readFile(GOLDEN "/faults.txt"));
}

TEST(TablesTest, TheFirstThousandErrorsAreToldAndThatThereAreMore) {
  const TempDir dir;
  std::string text = "FORMAT,0\nVERSION,1\n,1,START\n";
  for (int row = 0; row < 1001; ++row) {
    text += ",1,WAIT\n";
  }
  const auto findings = tools::checkFile(dir.write("all.csv", text + ",0,END\n"), {}).findings;
  ASSERT_EQ(findings.size(), 1001U);
  EXPECT_EQ(findings[999].line, 1003U);
  EXPECT_EQ(findings[1000].message, "there are more errors than the first 1000; fix these first");
}

/// `text`, of ASCII alone, with `size` bytes for each letter.
std::string wide(const std::string& text, std::size_t size, bool is_little) {
  std::string bytes;
  for (const char c : text) {
    const std::string zeros(size - 1, '\0');
    bytes += is_little ? c + zeros : zeros + c;
  }
  return bytes;
}

TEST(TablesTest, EachDialectIsNamedAndFixedWhereThatChangesNoCell) {
  const std::string rows =
      "FORMAT;0\r\n\"VERSION\";1\r\na \"b\";\"c;\"\"d\r\n\";e,f\r\n;1;START\n;2;END";
  const std::string fixed =
      "FORMAT,0\r\nVERSION,1\r\n\"a \"\"b\"\"\",\"c;\"\"d\r\n\",\"e,f\"\r\n,1,START\n,2,END";
  const std::string plain = "FORMAT,0\n,1,START\n";
  const struct {
    std::string bytes;
    const char* words;  ///< the error up to "instead"
    std::string text;   ///< what it is fixed to; empty: it is not
  } cases[] = {
      {rows, "its cells are parted by ';' ", fixed},
      {"sep=\t\nFORMAT\t1", "its cells are parted by tabs ", "sep=,\nFORMAT,1"},
      {wide(rows, 2, true), "its text is UTF-16 (little endian) ", fixed},
      {"\xfe\xff" + wide(rows, 2, false), "its text is UTF-16 (big endian) ", fixed},
      {std::string("\xff\xfe\0\0", 4) + wide(plain, 4, true), "its text is UTF-32 (little endian) ",
       plain},
      {wide(plain, 4, false), "its text is UTF-32 (big endian) ", plain},
      {std::string("\xff\xfe\xac\x20\x3d\xd8\x00\xde\n\0", 10), "its text is UTF-16 ",
       "\xe2\x82\xac\xf0\x9f\x98\x80\n"},
      {"\xff\xfe\x3d\xd8", "its text is UTF-16 (little endian) instead of UTF-8, and damaged", ""},
      {"", "is empty", ""},
      {"\xef\xbb\xbf" + plain, "no row has VERSION in column A", plain},
      {"PK\x03\x04..xl/workbook.xml", "is a spreadsheet file (xlsx); save it as CSV", ""},
      {"PK\x03\x04mimetypeapplication/vnd.oasis.opendocument.spreadsheet",
       "is a spreadsheet file (ods); ", ""},
      {"FORMAT;0\n,1,START\n", "no row has FORMAT in column A", ""},
  };
  const TempDir dir;
  for (const auto& [bytes, words, text] : cases) {
    const std::string file = dir.write("odd.csv", bytes);
    EXPECT_EQ(tools::checkFile(file, {}).findings.at(0).message.rfind(words, 0), 0U)
        << tools::checkFile(file, {}).findings[0].message;
    const tools::FixedFile done = tools::fixFile(file, false);
    EXPECT_EQ(done.steps.empty(), text.empty()) << words;
    EXPECT_EQ(readFile(file), bytes);
    EXPECT_EQ(readFile(done.file), text.empty() ? bytes : text) << words;
    if (!text.empty()) {
      EXPECT_THROW(tools::fixFile(file, false), std::runtime_error) << "replaces nothing";
    }
    tools::fixFile(file, true);
    EXPECT_EQ(readFile(file), text.empty() ? bytes : text) << words;
    fs::remove_all(dir.path() + "/fixed");
  }
}

/// `module` with another HAP in place of TST_Exit.
std::string withOtherHAP(std::string module) {
  const std::string name = "TST_Exit";
  for (std::size_t at = 0; (at = module.find(name, at)) != std::string::npos;) {
    module.replace(at, name.size(), "TST_Quit");
  }
  return module;
}

TEST(TablesTest, WhatLoadsButIsNotMeantGivesWarnings) {
  const TempDir dir;
  dir.write("kw/etc/kwpath.conf", "path.trx.conf=" + dir.path() + "/trx.conf\n");
  dir.write("trx.conf", "hapmodule.number=3\nhapmodule.file.0=" +
                            dir.write("old/libzq_hap_tst.so", withOtherHAP(readFile(MODULE_TST))) +
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
  const std::vector<std::string> files = {"odd.csv", "even.csv", "odder.csv", "calls.csv"};
  kw::platform::setSystemRoot(dir.path());
  EXPECT_EQ(checked(dir, files), readFile(GOLDEN "/warnings.txt"));
  kw::platform::setSystemRoot("");
  EXPECT_EQ(checked(dir, {"odder.csv"}),
            "odder.csv:4 (D, HAP/TABLE): warning: no table 'even' is among the files or the "
            "configuration\n"
            "odder.csv:5 (D, HAP/TABLE): warning: a HAP row without a name fails: no HAP has it\n");
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

TEST(TablesTest, AnErrorIsReportedForExactlyTheFilesThatTheEngineRefuses) {
  std::mt19937 random(20240607);
  std::vector<std::string> seeds;
  for (const fs::directory_entry& file : fs::directory_iterator(GUIDE_TABLES)) {
    seeds.push_back(readFile(file.path()));
  }
  std::sort(seeds.begin(), seeds.end());
  const TempDir dir;
  std::map<bool, int> met;
  for (int i = 0; i < 1000; ++i) {
    std::string text = seeds[random() % seeds.size()];
    for (auto count = random() % 4; count > 0; --count) {
      mutate(text, random);
    }
    const std::string path = dir.write("t" + std::to_string(i) + ".csv", text);
    const tools::CheckedFile checked = tools::checkFile(path, {});
    const bool loaded = loads(path);
    ASSERT_EQ(!checked.has(true), loaded) << text;
    ++met[loaded];
  }
  EXPECT_GT(met[true], 50) << "files that load came up";
  EXPECT_GT(met[false], 50) << "files that are refused came up";
}

TEST(TablesTest, EachCycleOfRowsThatMayRunForEverIsToldWithItsRows) {
  // Each row: rows 2 and further of a table, and what is said of those that run for ever.
  const struct {
    const char* rows;
    const char* says;
  } cases[] = {
      {"self,2,HAP,P_A,,self", "row 2 runs for ever when it fails each time|"},
      {"a,2,WAIT\n,3,HAP,P_A,,NOP\n,4,TABLE,well\n,5,HAP,P_B,,a",
       "rows 2 to 5 run for ever when row 5 alone fails each time|"},
      {"a,2,HAP,P_A,,b\n,3,HAP,P_B\nb,4,HAP,P_C,,a",
       "rows 2 to 4 run for ever when row 4 alone fails each time|"
       "rows 2 and 4 run for ever when rows 2 and 4 alone fail each time|"},
      {",2,HAP,P_A,,STACK\na,3,WAIT\n,4,CHECK,,,a",
       "rows 3 and 4 run for ever once a failure is kept for CHECK|"},
      {"a,2,CHECK,,,b\n,3,HAP,P_B,,STACK\n,4,END\nb,5,HAP,P_A,,a", ""},
      {",2,TABLE,keeps\na,3,CHECK,,,a", "row 3 runs for ever once a failure is kept for CHECK|"},
      {"a,2,TABLE,bad\n,3,HAP,P_A,,a", ""},
      {"a,2,HAP,P_A\n,3,END\n,4,HAP,P_B,,a", ""},
      {"a,2,WAIT\n,3,CHECK,,,a", ""},
  };
  const TempDir dir;
  const std::string head = "FORMAT,0\nVERSION,1\n,1,START\n";
  dir.write("well.csv", head + ",2,END\n");
  dir.write("keeps.csv", head + ",2,HAP,P_A,,STACK\n,3,END\n");
  dir.write("bad.csv", head + ",2,END,BAD\n");
  for (const auto& [rows, says] : cases) {
    dir.write("main.csv", head + rows + "\n,e,END\n");
    std::istringstream lines(checked(dir, {"main.csv", "well.csv", "keeps.csv", "bad.csv"}));
    std::string said;
    for (std::string line; std::getline(lines, line);) {
      const std::size_t words = line.find("warning: row");
      said += words == std::string::npos ? "" : line.substr(words + 9) + "|";
    }
    EXPECT_EQ(said, says) << rows;
  }
}

}  // namespace
}  // namespace kw::trx::testing
