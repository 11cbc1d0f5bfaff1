// SPDX-License-Identifier: Apache-2.0
// trxctl replay on rings of real HAPs, with the tables that ran and with others.
#include <nlohmann/json.hpp>

#include "command_fixture.h"

namespace kw::trx::testing {
namespace {

using nlohmann::json;

class ReplayCommandTest : public CommandTest {
 protected:
  /// Runs table main with its rows, and that of inner; the trace is in main.ring.
  void runMain(const std::string& rows) {
    writeTable("main.csv", ",1,START\n" + rows);
    run("table main --root . --ring main.ring >/dev/null");
  }

  /// The id of the requests in a ring.
  std::string id(const std::string& ring = "main.ring") const {
    const std::string text = outputOf("trace --summary --json " + ring, dir.path());
    return json::parse(text.substr(0, text.find('\n')))["request"];
  }

  std::string replay(const std::string& arguments, const std::string& ring = "main.ring") const {
    return replaced(run("replay " + ring + " --request " + id(ring) + " " + arguments), id(ring),
                    "ID");
  }
};

TEST_F(ReplayCommandTest, WhateverHAPsDoIsReplayed) {
  configure({"main.csv", "inner.csv"}, "haptable.tblcmd.wait.handler=requester\n");
  writeTable("inner.csv",
             ",1,START\n,2,HAP,TST_Throw,,NOP,0 7\n,3,HAP,TST_Fail,,STACK,1 9\n,4,END\n");
  // Each row: rows of the table, and what is in the case.
  const struct {
    const char* rows;
    const char* outcomes;
  } cases[] = {
      {",2,TABLE,inner\n,3,WAIT,,1\n,4,CHECK\n,5,END\n",
       "HAP,inner/2,throw 7\nHAP,inner/3,fail 9\n"
       "ROWS,1,2,inner/1,inner/2,inner/3,inner/4,3,4\nFIRST,inner/3\nEND,error\nWAIT,1\n"},
      {",2,HAP,TST_FailDetail,,NOP,20005 6 1 2\n,3,HAP,TST_FailAPI,,bad,40001 4\nbad,4,END,BAD\n",
       "HAP,2,fail 20005 1 2\nHAP,3,fail\nROWS,1,2,3,4\nFIRST,3\nEND,error\nWAIT,0\n"},
      // HAPs inside of one: what it lets through counts, and what was undefined
      {",2,HAP,TST_Call,TST_Fail,NOP,1 "
       "5\n,3,HAP,TST_Call,TST_None,NOP\n,4,HAP,TST_None,,NOP\n,5,END\n",
       "HAP,2,throw 7000a\nHAP,3,throw 7000a\nHAP,4,throw 7000a\nROWS,1,2,3,4,5\nFIRST,none\n"
       "END,ok\nWAIT,0\n"},
      {",2,HAP,TST_Call,TST_Ok,a\na,3,HAP,TST_Fail,,a,0 5\n,4,END\n",
       "ROWS,1,2,3,4\nFIRST,none\nEND,ok\nWAIT,0\n"},
      {",2,HAP,TST_Throw,,NOP,1\n,3,END\n",
       "HAP,2,throw\nROWS,1,2\nFIRST,none\nEND,exception,1\nWAIT,0\n"},
      {",2,TABLE,gone\n,3,END\n", "ROWS,1,2\nFIRST,none\nEND,error\nWAIT,0\n"},
      {",2,TABLE,main\n,3,END\n", nullptr},  // to the nest limit
  };
  for (const auto& [rows, outcomes] : cases) {
    runMain(rows);
    const std::string said = replay("--root . -o a.cases.csv");
    EXPECT_NE(said.find("the replay runs the same rows to the same end\n"), std::string::npos)
        << said;
    const std::string text = readFile(dir.path() + "/a.cases.csv");
    if (outcomes != nullptr) {
      EXPECT_EQ(text.substr(text.find('\n', text.find("CASE,request")) + 1), outcomes);
    }
    EXPECT_NE(run("test a.cases.csv").find("1 of 1 cases passed\n= 0\n"), std::string::npos)
        << text;
  }
}

TEST_F(ReplayCommandTest, AnotherTableRunsAnotherWay) {
  configure({"main.csv"});
  const std::string rows =
      ",2,HAP,TST_Ok\n,3,HAP,TST_Fail,m,bad,1 5\n,4,END\nbad,5,HAP,TST_Ok\n,6,END,BAD\n";
  runMain(rows);
  const std::string same = "the replay runs the same rows to the same end\n";
  const std::string step3 = "the replay differs: 4 rows, end: ok\nstep 4: ";
  const struct {
    const char* from;
    const char* to;
    std::string says;
  } cases[] = {
      {"", "", same},
      {"m,bad", "m,NOP",
       "the replay differs: 4 rows, end: ok\nstep 4: row main/4 END; recorded row main/5 HAP "
       "TST_Ok; "
       "behind row main/3 HAP TST_Fail, mode m: fail 5\n"
       "first failing row: none; recorded main/3\n"
       "changed: row main/3 has now NOP in ERROR; it ran with a label\n"},
      {"m,bad", "n,bad",
       "the replay differs: 5 rows, end: error BAD\nstep 3: row main/3 HAP TST_Fail, mode n; "
       "recorded "
       "row main/3 HAP TST_Fail, mode m; behind row main/2 HAP TST_Ok: ok\n"
       "changed: row main/3 now has the mode n; it ran as HAP TST_Fail, mode m\n"},
      {",3,HAP,TST_Fail", ",7,HAP,TST_Fail",
       "the replay differs: 5 rows, end: error BAD\nstep 3: row main/7 HAP TST_Fail, mode m; "
       "recorded "
       "row main/3 HAP TST_Fail, mode m; behind row main/2 HAP TST_Ok: ok\n"
       "first failing row: main/7; recorded main/3\n"
       "changed: main.csv has changed since: it has no row 3 now; it ran as HAP TST_Fail, mode m\n"
       "assumed: row main/7: HAP TST_Fail does what it did in the row that called it\n"},
      {",5,HAP,TST_Ok", ",5,HAP,TST_Off,,bad",
       "the replay differs: 5 rows, end: error BAD\nstep 4: row main/5 HAP TST_Off; recorded "
       "row main/5 HAP TST_Ok; behind row main/3 HAP TST_Fail, mode m: fail 5\n"
       "changed: main.csv has changed since: row 5 is now bad,5,HAP,TST_Off,,bad,,,; it ran as HAP "
       "TST_Ok\nassumed: row main/5: HAP TST_Off is not recorded here: it succeeds\n"},
      {",2,HAP,TST_Ok\n,3,HAP,TST_Fail,m,bad", "a,2,HAP,TST_Ok\n,3,HAP,TST_Fail,m,a",
       "the replay differs: 100005 rows, end: none: stopped\nstep 4: row main/2 "
       "HAP TST_Ok; recorded row main/5 HAP TST_Ok; behind row main/3 HAP TST_Fail, mode m: fail "
       "5\n"
       "assumed: row main/2: HAP TST_Ok is called more often than recorded: it does again what it "
       "did last, ok\nassumed: row main/3: HAP TST_Fail is called more often than recorded: it "
       "does "
       "again what it did last, fail 5\n"},
      {",5,HAP,TST_Ok", ",5,TABLE,other",
       "the replay differs: 4 rows, end: error\nstep 4: row main/5 TABLE other; recorded row "
       "main/5 "
       "HAP TST_Ok; behind row main/3 HAP TST_Fail, mode m: fail 5\nchanged: main.csv has changed "
       "since: row 5 is now bad,5,TABLE,other,,,,,; it ran as HAP TST_Ok\n"},
  };
  for (const auto& [from, to, says] : cases) {
    std::string edited = "FORMAT,0\nVERSION,1\n,1,START\n" + rows;
    edited.replace(edited.find(from), std::string(from).size(), to);
    dir.write("new/main.csv", edited);
    const std::string said = replay("--root . new/main.csv");
    const std::string expected =
        says +
        "note: traces do not tell what HAPs were given (PARA) and gave back, nor the message "
        "of a table\n= " +
        (says == same ? "0\n" : "1\n");
    EXPECT_EQ(said.substr(said.find('\n') + 1), expected);
  }
  const json told = json::parse(
      outputOf("replay main.ring --request " + id() + " --json new/main.csv", dir.path()));
  EXPECT_EQ(told["same"], false);
  EXPECT_EQ(told["firstDifference"], 4);
  EXPECT_EQ(
      told["recorded"]["rows"][2],
      json::parse(
          R"({"table": "main", "number": 3, "action": "HAP TST_Fail, mode m", "outcome": "fail 5"})"));
  EXPECT_EQ(told["replayed"]["rows"].size(), 4U);
}

TEST_F(ReplayCommandTest, WhatCannotBeReplayedIsSaid) {
  configure({"main.csv"}, "haptable.tblcmd.wait.handler=requester\n");
  writeTable("main.csv", ",1,START\n,2,END\n");
  run("hap TST_Ok --root . --ring hap.ring");
  EXPECT_EQ(replay("--root .", "hap.ring"),
            "! trxctl: no table request of ID begins in the ring; those of HAPs cannot be "
            "simulated\n= 2\n");
  const struct {
    const char* rows;
    const char* options;
    const char* says;
  } cases[] = {
      {",2,HAP,TST_Kill,,,9\n,3,END\n", "--root .",
       "its end is not in the ring: it still runs, or its process ended in it; its last record: "},
      {",2,HAP,TST_Reset,,NOP,7\n,3,END\n", "--root .",
       "it ended with error though none of its rows did"},
      {",2,END\n", "gone.csv", "gone.csv: the engine does not load it; see trxctl check"},
      {",2,END\n", "",
       "table main of the request is neither among the files nor in a configuration"},
      {",2,END\n", "--root . -o no/such/file.csv", "no/such/file.csv: No such file or directory"},
  };
  for (const auto& [rows, options, says] : cases) {
    runMain(rows);
    const std::string said = replay(options);
    EXPECT_NE(said.find(says), std::string::npos) << said;
    EXPECT_EQ(said.substr(said.size() - 4), "= 2\n");
  }
}

}  // namespace
}  // namespace kw::trx::testing
