// SPDX-License-Identifier: Apache-2.0
// Simulated runs are the engine's own, and cases see every way in which one differs.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include <csignal>
#include <stdexcept>

#include "cases/case_run.h"
#include "common/processes.h"
#include "kw/trx/testing/engine_fixture.h"
#include "kw/trx/testing/temp_dir.h"
#include "lint/check.h"

namespace kw::trx::testing {
namespace {

constexpr char kMain[] =
    "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,TST_A,on,STACK,1 2\n,3,WAIT,,20\n,4,TABLE,sub\n"
    ",5,HAP,TST_A,,bad\n,6,HAP,TST_B,,NOP\n,7,CHECK,,,bad\n,8,END\nbad,9,WAIT,,22\n,a,END,NOT_"
    "WELL\n";
constexpr char kSub[] = "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,TST_B\n,3,END\n";
constexpr char kAgain[] = "FORMAT,0\nVERSION,1\nhere,1,START\n,2,HAP,TST_A,,here\n,3,END\n";

/// A case file of main.csv, sub.csv and again.csv.
tools::CaseFile fileOf(const TempDir& dir, const std::string& rows) {
  dir.write("main.csv", kMain);
  dir.write("sub.csv", kSub);
  dir.write("again.csv", kAgain);
  return tools::readCaseFile(
      dir.write("a.cases.csv", "TABLES,main.csv,sub.csv,again.csv\n" + rows));
}

TEST(SimulationTest, CasesTellEveryDifferenceAndNoOther) {
  struct Case {
    const char* rows;
    const char* differences;
  };
  const Case cases[] = {
      // All of it as it is: the wait in decimal, NUMBER in hexadecimal.
      {"ROWS,1,2,3,4,sub/1,sub/2,sub/3,5,6,7,8\nEND,ok\nFIRST,none\nWAIT,20\n"
       "CALLED,TST_A,1 2,on,1\nCALLED,TST_A,,,2\nNOTCALLED,again/2\n",
       ""},
      {"HAP,2,fail 20001 5\nROWS,1,2,3,4,sub/1,sub/2,sub/3,5,6,7,9,a\nEND,error,NOT_WELL\n"
       "FIRST,2\nWAIT,54\n",
       "WAIT is 42 ms, expected 54"},
      {"HAP,TST_A,ok,fail\nHAP,TST_B,fail\nHAP,sub/2,ok\nROWS,1,2,3,4,sub/1,sub/2,sub/3,5,9,a\n"
       "FIRST,5\n",
       ""},
      {"HAP,TST_B,fail\nEND,error\nFIRST,sub/2\nROWS,1,2,3,4,sub/1,sub/2,5\n",
       "ROWS: step 7 is the end, expected row 5, behind row sub/2"},
      // The engine takes an exception of its own for a failure of the row.
      {"HAP,TST_B,throw 70001\nEND,error\nFIRST,sub/2\n", ""},
      {"HAP,6,throw\nEND,ok\n",
       "END is exception an exception that is not the engine's: thrown by a simulated HAP, "
       "expected ok"},
      {"END,error,NOT_WELL\nFIRST,2\nROWS,2\nCALLED,TST_A,3\nNOTCALLED,TST_B\n",
       "ROWS: step 1 is row 1, expected row 2|END is ok, expected error NOT_WELL|"
       "FIRST failing row is none, expected 2|"
       "CALLED: TST_A is called 0 times; but with PARA '1 2', MODE 'on'|"
       "NOTCALLED: TST_B is called 2 times, expected 0"},
  };
  const TempDir dir;
  for (const Case& one : cases) {
    const tools::CaseFile file = fileOf(dir, std::string("CASE,one\n") + one.rows);
    ASSERT_TRUE(file.findings.empty()) << file.findings[0].message;
    const tools::Simulator simulator(file.tables);
    std::string text;
    for (const std::string& difference : tools::differencesOf(file.cases[0], simulator)) {
      text += (text.empty() ? "" : "|") + difference;
    }
    EXPECT_EQ(text, one.differences) << one.rows;
  }
}

TEST(SimulationTest, RunThatNeverEndsIsStopped) {
  const TempDir dir;
  const tools::CaseFile file = fileOf(dir, "CASE,one,again\nHAP,TST_A,fail\nFIRST,2\n");
  const tools::Simulator simulator(file.tables);
  const auto differences = tools::differencesOf(file.cases[0], simulator);
  ASSERT_EQ(differences.size(), 1U);
  EXPECT_EQ(differences[0], "END is none: stopped after 100000 rows");
  const tools::CaseFile never =
      fileOf(dir,
             "CASE,one,again\nHAP,TST_A,fail\nROWS,1,2,1,2\nEND,never\nCASE,two,again\n"
             "HAP,TST_A,ok,again,fail,ok\nEND,never\n");
  EXPECT_EQ(tools::differencesOf(never.cases[0], simulator), std::vector<std::string>());
  EXPECT_EQ(tools::differencesOf(never.cases[1], simulator),
            std::vector<std::string>{"END is ok, expected never"});
  // And the next one is not.
  tools::SimulationRequest request;
  request.table = "again";
  EXPECT_EQ(simulator.run(request).failure, "");
}

TEST(SimulationTest, ProcessesGiveResultsInOrderAndTellHowOneEnded) {
  const std::vector<tools::Texts> results = tools::inProcesses(7, 3, [](std::size_t number) {
    if (number == 3) std::raise(SIGKILL);
    return tools::Texts(number, std::to_string(number));
  });
  std::string text;
  for (const tools::Texts& texts : results) {
    for (const std::string& one : texts) text += one + ' ';
    text += '|';
  }
  EXPECT_EQ(text,
            "|1 |2 2 |its process ended by the signal Killed |4 4 4 4 "
            "|5 5 5 5 5 |its process ended by the signal Killed |");
  const auto fails = [](std::size_t number) -> tools::Texts {
    throw std::runtime_error("on purpose " + std::to_string(number));
  };
  try {
    tools::inProcesses(2, 1, fails);
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "on purpose 0");
  }
}

TEST(SimulationTest, EveryWrongCellIsNamed) {
  struct Wrong {
    const char* rows;
    const char* message;
  };
  const Wrong wrong[] = {
      {"END,ok\n", "2 A END stands before the first CASE"},
      {"CASE,a\nEND,ok\nCASE,a\nEND,ok\n", "4 B the case in line 2 has this name too"},
      {"CASE,a,mian\n", "2 C there is no table 'mian' among those of TABLES; did you mean main?"},
      {"CASE,a\n", "2 A the case expects nothing, not even an END"},
      {"CASE,a\nROWS\n", "3 B there is nothing behind ROWS"},
      {"CASE,a\nEND,fine\nWAIT,1\n",
       "3 B an end is ok, error with the message of the table, exception with its code, or never"},
      {"CASE,a\nWAIT,1,2\nEND,ok\n", "3 C '2' is one cell too many"},
      {"CASE,a\nWAIT,0x10\nEND,ok\n", "3 B '0x10' is no decimal number"},
      {"CASE,a\nEND,exception,7000g\nWAIT,0\n", "3 C '7000g' is no hexadecimal code"},
      {"CASE,a\nHAPS,TST_A,ok\nEND,ok\n",
       "3 A 'HAPS' begins no row of a case file; did you mean HAP?"},
      {"CASE,a\nHAP,TST_C,ok\nEND,ok\n", "3 B no row calls a HAP 'TST_C'; did you mean TST_A?"},
      {"CASE,a\nHAP,b,ok\nEND,ok\n", "3 B no row of table main has the NUMBER b"},
      {"CASE,a\nHAP,1,fail\nEND,ok\n",
       "3 B row 1 of table main is a row of START, which calls no HAP"},
      {"CASE,a\nFIRST,sub/4\n", "3 B no row of table sub has the NUMBER 4"},
      {"CASE,a\nHAP,TST_A,ok 1\nEND,ok\n",
       "3 C 'ok 1' is not ok, fail [CODE [WORD...]] or throw [CODE]"},
      {"CASE,a\nHAP,TST_A,throw 1 2\nEND,ok\n",
       "3 C 'throw 1 2' is not ok, fail [CODE [WORD...]] or throw [CODE]"},
      {"CASE,a\nHAP,TST_A,fail,again\nEND,ok\n", "3 D there is nothing behind again"},
      {"CASE,a\nUNIT,300\nEND,ok\n",
       "3 B '300' is not TYPE:NO or TYPE:NO:PATH, such as 300:2 or 300:2:rack/rail2"},
      {"TABLES,main.csv\nCASE,a\nEND,ok\n", "2 A a second row TABLES"},
      {"NEST,3\nNEST,4\nCASE,a\nEND,ok\n", "3 A a second row NEST"},
      {"CASE,a\nEND,ok\nEND,error\n", "4 A a second row END"},
      {"CASE,a\nFIRST,none\nFIRST,2\nWAIT,1\nWAIT,2\n",
       "4 A a second row FIRST|6 A a second row WAIT"},
      {"CASE,a\nWAIT,99999999999999999999\n", "3 B '99999999999999999999' is no decimal number"},
      {"CASE,a\nEND,ok\nCASE,\"b\nEND,error\nCASE,c\nEND,error\n",
       "4 B the cell begins with a quote that is not closed before the line ends"},
      {"NEST,1001\nCASE,a\nEND,ok\n", "2 B '1001' is more than 1000"},
      {"CASE,a\nEND,ok\nNEST,3\n", "4 A it holds for all cases, and stands before the first CASE"},
      {"\n# nothing else\n", "0  no row begins with CASE"},
  };
  const TempDir dir;
  for (const Wrong& one : wrong) {
    std::string text;
    for (const tools::Finding& finding : fileOf(dir, one.rows).findings) {
      text += (text.empty() ? "" : "|") + std::to_string(finding.line) + ' ' + finding.column +
              ' ' + finding.message;
    }
    const std::size_t at = text.find(dir.path());
    if (at != std::string::npos) text.replace(at, dir.path().size(), "DIR");
    EXPECT_EQ(text, one.message) << one.rows;
  }
}

TEST(SimulationTest, RefusedRowsStopTheirOwnCaseAlone) {
  const TempDir dir;
  const tools::CaseFile file =
      fileOf(dir,
             "CASE,a\nEND,ok\nCASE,b\nEND,fine\nWAIT,1\nCASE,c,mian\nEND,ok\nHAP,TST_C,ok\n"
             "CASE,d\nEND,ok\nWAIT,4294967296\nCASE,e\n");
  EXPECT_EQ(file.findings.size(), 3U);
  ASSERT_EQ(file.cases.size(), 2U);
  EXPECT_EQ(file.refused, 2U);
  EXPECT_EQ(file.cases[0].name + file.cases[1].name, "ad");
  EXPECT_EQ(file.cases[1].wait_ms, std::uint64_t{1} << 32);
  // What holds for all cases is not known.
  EXPECT_EQ(fileOf(dir, "NEST,a\nCASE,a\nEND,ok\n").cases.size(), 0U);
}

/// A table of `count` rows, each with a label, that jump about.
std::string tangled(std::mt19937& random, unsigned int count) {
  const std::string errors[] = {"", "NOP", "STACK"};
  std::string text = "FORMAT,0\nVERSION,1\n,0,START\n";
  for (unsigned int row = 1; row <= count; ++row) {
    const bool is_check = random() % 3 == 0;
    const std::string label = "l" + std::to_string(random() % count + 1);
    text += "l" + std::to_string(row) + "," + std::to_string(row) +
            (is_check ? ",CHECK,,," : ",HAP,TST_A,,") +
            (random() % 2 == 0 ? label : errors[is_check ? 0 : random() % 3]) + "\n";
  }
  return text + ",f,END\n";
}

TEST(SimulationTest, RowsAreWarnedOfExactlyWhenAConstantOutcomeRunsThemForEver) {
  constexpr unsigned int rows = 5;
  std::mt19937 random(20240607);
  const TempDir dir;
  std::map<bool, int> met;
  for (int i = 0; i < 150; ++i) {
    const std::string text = tangled(random, rows);
    const std::string file = dir.write("tangled.csv", text);
    const tools::Simulator simulator({file});
    bool is_endless = false;
    for (unsigned int failing = 0; failing < 1U << rows && !is_endless; ++failing) {
      tools::SimulationRequest request;
      request.table = "tangled";
      request.max_rows = 100;
      request.choose = [failing](const tools::HAPCall& call) {
        tools::HAPOutcome outcome;
        const bool fails = (failing >> (call.row.number - 1) & 1) != 0;
        outcome.kind = fails ? tools::HAPOutcome::Kind::kFailure : outcome.kind;
        return outcome;
      };
      is_endless = simulator.run(request).is_stopped;
    }
    const auto findings = tools::checkFile(file, {}).findings;
    const bool is_warned =
        std::any_of(findings.begin(), findings.end(), [](const tools::Finding& finding) {
          return finding.message.find(" for ever") != std::string::npos;
        });
    EXPECT_EQ(is_warned, is_endless) << text;
    ++met[is_endless];
  }
  EXPECT_GT(met[true], 30);
  EXPECT_GT(met[false], 30);
}

constexpr char kFails[] = "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,TST_Fail,,,1 12345\n,3,END\n";

/// An engine in a process in which tables were simulated before.
class AfterSimulationTest : public EngineFixture {
 protected:
  static void SetUpTestSuite() {
    const TempDir dir;
    tools::SimulationRequest request;
    request.table = "main";
    EXPECT_EQ(tools::Simulator({dir.write("main.csv", kFails)}).run(request).code, 0U);
  }
};

TEST_F(AfterSimulationTest, ModulesHaveTheirHAPsBack) {
  configure({MODULE_TST}, {dir.write("main.csv", kFails)});
  start();
  trx::TRXInfo info;
  EXPECT_EQ(execTable(info, "main"), "TRX 7000b");
}

}  // namespace
}  // namespace kw::trx::testing
