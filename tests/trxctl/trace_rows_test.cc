// SPDX-License-Identifier: Apache-2.0
// What tables say beside the records of a ring.
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "kw/platform.h"
#include "kw/trx/testing/engine_fixture.h"
#include "tool.h"

namespace kw::trx::testing {
namespace {

using nlohmann::json;

/// A ring of a table that calls another one, which hands its wait to the requester.
class TraceRowsTest : public EngineFixture {
 protected:
  void runTables() {
    configure({MODULE_TST}, {dir.write("outer.csv", outer), dir.write("inner.csv", inner)},
              "haptable.tblcmd.wait.handler=requester\n");
    start();
    ASSERT_EQ(kw::platform::openTraceRing(dir.path() + "/trace.ring", 4096), 0);
    trx::TRXInfo info;
    EXPECT_EQ(outcomeOf([&] { engine->execTable(&info, units, "outer"); }), "TRX 70003/1");
    EXPECT_EQ(outcomeOf([&] { engine->execTable(&info); }), "TRX 7000b");
    kw::platform::closeTraceRing();
  }

  /// The lines that do not show records.
  std::string notes(const std::string& options) {
    std::string all;
    std::istringstream lines(runTool("trace " + options + " trace.ring", dir.path()));
    for (std::string line; std::getline(lines, line);) {
      all += line.rfind("    ", 0) == 0 || line[0] == '!' ? line.substr(4) + "\n" : "";
    }
    return all;
  }

  const std::string head = "FORMAT,0\nVERSION,1\n,1,START\n";
  const std::string outer = head + ",2,HAP,TST_Fail,,NOP,1 0\n,3,TABLE,inner\n,4,END,OVER\n";
  const std::string inner = head + ",2,WAIT,,1\n,3,HAP,TST_Ok,,a\na,4,END\n";
};

TEST_F(TraceRowsTest, RowsOfTablesStandBesideTheirRecords) {
  runTables();
  const std::string called =
      "inner.csv:3 | ,1,START,,,,,,\n"
      "inner.csv:4 | ,2,WAIT,,1,,,,\n"
      "inner.csv:5 | ,3,HAP,TST_Ok,,a,,,\ninner.csv:6 | a,4,END,,,,,,\n";
  const std::string failing = "outer.csv:4 | ,2,HAP,TST_Fail,,NOP,1 0,,\n";
  const std::string all = "outer.csv:3 | ,1,START,,,,,,\n" + failing +
                          "outer.csv:5 | ,3,TABLE,inner,,,,,\n" + called +
                          "outer.csv:6 | ,4,END,OVER,,,,,\n";
  const std::string changed = "outer.csv has changed since: ";
  const struct {
    std::string options, outer, inner, expected;
  } cases[] = {
      {"--tables .", outer, inner, all},
      {"--tables outer.csv --tables inner.csv --level info", outer, inner, all},
      {"--rows --root '" + dir.path() + "'", outer, inner, all},
      {"--tables . --level error", outer, inner, failing},
      {"--tables . --hap TST_Ok --level info", outer, inner, "inner.csv:5 | ,3,HAP,TST_Ok,,a,,,\n"},
      {"--tables outer.csv --level error", outer, "", failing},
      {"--tables outer.csv --table inner --level info", outer, "",
       "outer.csv:5 | ,3,TABLE,inner,,,,,\n"
       "xctl: 4 rows that ran stand in no table inner among the files\n"},
      {"--tables . --hap TST_Ok", outer, "no table",
       "xctl: 1 rows ran of table inner, whose file the engine does not load; trxctl check tells "
       "why\n"},
      // Another HAP, another table, no such row, no message
      {"--tables .", head + ",2,HAP,TST_Fai\n,3,TABLE,sub\n,5,END\n", inner,
       "outer.csv:3 | ,1,START,,,,,,\n" + changed + "row 2 is now ,2,HAP,TST_Fai,,,,,\n" + changed +
           "row 3 is now ,3,TABLE,sub,,,,,\n" + called + changed + "it has no row 4 now\n"},
      // Another time, another command
      {"--tables . --table inner --level info", outer, head + ",2,WAIT,,2\n,3,WAIT,,2\na,4,END,X\n",
       "outer.csv:5 | ,3,TABLE,inner,,,,,\ninner.csv:3 | ,1,START,,,,,,\n"
       "inner.csv has changed since: row 2 is now ,2,WAIT,,2,,,,\n"
       "inner.csv has changed since: row 3 is now ,3,WAIT,,2,,,,\n"
       "inner.csv has changed since: row 4 is now a,4,END,X,,,,,\n"}};
  for (const auto& [options, outer_text, inner_text, expected] : cases) {
    dir.write("outer.csv", outer_text);
    dir.write("inner.csv", inner_text);
    EXPECT_EQ(notes(options), expected) << options;
  }
}

TEST_F(TraceRowsTest, RowsAreMembersOfJSONAndMissingTablesAreRefused) {
  runTables();
  const std::string record =
      outputOf("trace --json --tables '" + dir.path() + "/inner.csv' --hap TST_Ok --level info " +
               dir.path() + "/trace.ring");
  const json told = json::parse(record.substr(0, record.find('\n')));
  EXPECT_EQ(told["file"], dir.path() + "/inner.csv");
  EXPECT_EQ(told["line"], 5);
  EXPECT_EQ(told["row"]["HAP/TABLE"], "TST_Ok");
  const std::pair<const char*, const char*> refused[] = {
      {"--rows trace.ring", "which tables? "},
      {"--tables tables trace.ring", "tables: No such file or directory"},
      {"--tables trace.ring trace.ring", "--tables: the engine loads no table of these"},
      {"--tables . --summary trace.ring", "--tables excludes --summary"}};
  for (const auto& [options, words] : refused) {
    const std::string printed = runTool(std::string("trace ") + options, dir.path());
    EXPECT_EQ(printed.rfind(std::string("! trxctl: ") + words, 0), 0U) << printed;
    EXPECT_EQ(printed.substr(printed.size() - 4), "= 2\n");
  }
}

TEST_F(TraceRowsTest, ThePictureTellsOfRunsAndOfTheWayOfARequest) {
  runTables();
  const auto drawn = [this](const std::string& options) {
    return std::regex_replace(runTool("graph " + options, dir.path()),
                              std::regex("[0-9]+\\.[0-9]{3} ms"), "T");
  };
  const std::string summary = outputOf("trace --json --level info " + dir.path() + "/trace.ring");
  const std::string id = json::parse(summary.substr(0, summary.find('\n')))["request"];
  EXPECT_EQ(drawn("--trace trace.ring --root . --request " + id + ".1"),
            readFile(GOLDEN "/way.txt"));
  const struct {
    std::string options;
    std::vector<std::string> expected;
  } cases[] = {
      {"outer.csv --trace trace.ring",
       {"[label=\"2  HAP TST_Fail 1 0\\n1 run, failed\\nT\" style=filled fillcolor=\"#d8f0d8\"]\n",
        "\"outer:1\" -> \"outer:2\" [label=\"NOP 1\"]\n", "label=\"calls 1\"]\n",
        "! trxctl: 4 rows that ran stand in no table inner among the files\n= 0\n"}},
      {"inner.csv --trace trace.ring",
       {"2  WAIT 1\\n1 run\\nT\"", "\"inner:1\" -> \"inner:2\" [label=\"1\"]"}},
      {"inner.csv --trace trace.ring --request " + id + ".1",
       {"2  WAIT 1\\n#5\\nT\" style=filled",
        "\"inner:1\" -> \"inner:2\" [penwidth=2.5] [label=\"1\"]"}},
      {"new.csv/outer.csv --trace trace.ring",
       {"2  HAP TST_Ok\" style=filled fillcolor=\"#f8d8d8\"]",
        "! trxctl: outer.csv has changed since: row 2 is now ,2,HAP,TST_Ok,,,,,\n"}},
      {"outer.csv --trace trace.ring --request " + id + ".9",
       {"! trxctl: no record tells of request " + id + ".9; its last one is " + id + ".1\n= 2\n"}},
      {"outer.csv --trace trace.ring --request " + id,
       {"may be many requests; add the number of one, as in " + id + ".1", "= 2\n"}},
      {"outer.csv --trace outer.csv", {"! trxctl: outer.csv: is no trace ring", "= 2\n"}},
      {"--trace trace.ring", {"! trxctl: which tables? ", "= 2\n"}},
      {"outer.csv --request 1.1", {"! trxctl: --request requires --trace", "= 2\n"}}};
  dir.write("new.csv/outer.csv", head + ",2,HAP,TST_Ok\n,3,TABLE,inner\n,4,END,OVER\n");
  for (const auto& [options, expected] : cases) {
    const std::string graph = drawn(options);
    for (const std::string& part : expected) {
      EXPECT_NE(graph.find(part), std::string::npos) << part << " in\n" << graph;
    }
  }
}

}  // namespace
}  // namespace kw::trx::testing
