// SPDX-License-Identifier: Apache-2.0
// What is tried of tables without modules, and what HAPs say of themselves.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "command_fixture.h"

namespace kw::trx::testing {
namespace {

using nlohmann::json;

TEST_F(CommandTest, DescriptionsOfHAPsAreShownAndUsed) {
  EXPECT_EQ(replaced(run("modules --describe '" MODULE_PLAIN "'"), MODULE_PLAIN, "FILE"),
            "FILE: key PLAIN, would load\n"
            "  PLAIN_Pass\n"
            "      Says \"yes\", or throws what para[0] says\n"
            "      PARA word 0: code, 16 to 256 (10 to 100)\n"
            "      MODE empty: always\n"
            "      MODE fast: at \\x1b[1monce\\xc2\\x9b\n"
            "      result word 0: time, ms\n"
            "      error 0x20077: the pass is closed\n"
            "  describes PLAIN_Gone, which it does not export\n= 0\n");
  const std::string printed = run("modules --json --describe '" MODULE_PLAIN "'");
  const json module = json::parse(printed.substr(0, printed.rfind("= ")))[0];
  const json& gone = module["descriptions"][0];
  EXPECT_EQ(gone["hap"].get<std::string>() + gone["exported"].dump(), "PLAIN_Gonefalse");
  json pass = module["descriptions"][1];
  EXPECT_EQ(pass["modes"][1]["about"], "at \\x1b[1monce\\xc2\\x9b");
  pass.erase("modes");
  EXPECT_EQ(
      pass.dump(),
      R"({"about":"Says \"yes\", or throws what para[0] says",)"
      R"("errors":[{"about":"the pass is closed","code":"0x20077"}],"exported":true,)"
      R"("hap":"PLAIN_Pass","paras":[{"least":16,"most":256,"name":"code","unit":"","word":0}],)"
      R"("results":[{"name":"time","unit":"ms","word":0}]})");
  dir.write("trx.conf",
            "hapmodule.number=1\nhapmodule.file.0=" MODULE_PLAIN "\nhaptable.number=0\n");
  EXPECT_EQ(run("explain 20077 --root " + dir.path()),
            "0x20077 as an error of the HAP PLAIN_Pass\n  means:  the pass is closed\n= 0\n");
  EXPECT_NE(
      run("explain 20076 --root " + dir.path()).find("no configured module describes this code"),
      std::string::npos);
  writeTable("a.csv",
             ",1,START\n,2,HAP,PLAIN_Pass,fast,,100\n,3,HAP,PLAIN_Pass,quick,,f\n"
             ",4,HAP,PLAIN_Pass\n,5,HAP,PLAIN_Pass,,,10 10\n,6,END\n");
  dir.write(
      "a.cases.csv",
      "TABLES,a.csv\nCASE,one\nHAP,2,fail 20077,fail 20078\nHAP,PLAIN_Pass,fail 1\nEND,error\n");
  EXPECT_EQ(
      run("check a.csv a.cases.csv --root " + dir.path()),
      "a.csv:5 (E, MODE): warning: PLAIN_Pass has no mode 'quick', but an empty one and fast\n"
      "a.csv:5 (G, PARA): warning: the code f is 15, and PLAIN_Pass takes 16 to 256\n"
      "a.csv:6 (G, PARA): warning: PLAIN_Pass takes 1 word, not 0: code\n"
      "a.csv:7 (G, PARA): warning: PLAIN_Pass takes 1 word, not 2: code\n"
      "a.cases.csv:3 (D): warning: PLAIN_Pass does not record the error 20078, but 20077\n"
      "a.cases.csv:4 (C): warning: PLAIN_Pass does not record the error 1, but 20077\n= 0\n");
}

TEST_F(CommandTest, NumbersAreTakenAsTheTableHasThem) {
  writeTable("a.csv", ",1,START\n,-2,HAP,TST_A\n,100000003,HAP,TST_B\n,4,END\n");
  const std::pair<const char*, const char*> cases[] = {
      {"simulate a.csv --fail -2", "row: table a, NUMBER 0xfffffffe\n"},
      {"simulate a.csv --fail a/100000003", "row: table a, NUMBER 0xffffffff\n"},
      {"simulate a.csv --fail -3", "no row calls a HAP '-3'\n= 2\n"},
      {"explore a.csv --deny recovered=-2", "\n= 0\n"},
      {"explore a.csv --deny recovered=a/-3",
       "'a/-3' is no row: write NUMBER or TABLE/NUMBER\n= 2\n"}};
  for (const auto& [arguments, words] : cases) {
    const std::string printed = run(arguments);
    EXPECT_NE(printed.find(words), std::string::npos) << arguments << '\n' << printed;
  }
}

TEST_F(CommandTest, SimulationStopsAndAsks) {
  dir.write("keys", "f 20003\nx\n\nc\n");
  dir.write("quit", "q\n");
  const std::string tables =
      "simulate '" EXAMPLE_TABLES "/selftest.csv' '" EXAMPLE_TABLES "/rails.csv' ";
  EXPECT_EQ(
      run(tables + "--break rails/3 <keys | sed 's/^  *0.[01]00 s  //'"),
      "selftest        1  START\nselftest        2  HAP FAN_SetSpeed\n"
      "selftest        3  TABLE rails\nrails           1  START\n"
      "rails           2  HAP ADC_Expect\nrails           3  HAP ADC_Calibrate\n"
      "  at selftest/3 > rails/3; a failure is kept for CHECK: no; first failing row: none\n"
      "step> f 20003\nthe next HAP: fail 20003\n"
      "step> x\nEnter: the next row; c: the next break, or the end; for the next HAP o: succeed,\n"
      "f [CODE [WORD...]]: fail, t [CODE]: throw; q: stop the run\n"
      "step> \n             failed, which is ignored\nrails           4  END\n"
      "  at selftest/3 > rails/4; a failure is kept for CHECK: no; first failing row: none\n"
      "step> c\nselftest        4  WAIT 100 ms\nselftest        5  HAP ADC_Expect\n"
      "selftest        6  CHECK\nselftest        7  END\n"
      "table selftest succeeded; waits of 100 ms, not waited\n= 0\n");
  const std::string stopped = run(tables + "--fail 5 --break switch-off <quit");
  EXPECT_NE(stopped.find("  at selftest/8; a failure is kept for CHECK: yes; first failing row: "
                         "selftest/5\nstep> q\ntable selftest did not end: stopped\n"),
            std::string::npos)
      << stopped;
  EXPECT_EQ(run(tables + "--break nowhere"), "! trxctl: no row calls a HAP 'nowhere'\n= 2\n");
  EXPECT_EQ(run("simulate --case '" EXAMPLE_TABLES "/selftest.cases.csv' --name 'fan too slow' | "
                "tail -1"),
            "  message of the table: SELFTEST_FAILED\n= 0\n");
}

TEST_F(CommandTest, ExploreDeniesWhatItIsToldToAndPrintsCasesThatPass) {
  const struct {
    const char* options;
    const char* status;
  } cases[] = {{"", "= 0\n"},
               {"--deny endless --deny unreached=rails/3 --deny never-well", "= 0\n"},
               {"--deny swallowed --allow swallowed=2", "= 1\n"},
               {"--deny swallowed --allow swallowed=2 --allow swallowed=rails/3", "= 0\n"},
               {"--deny swallowed=selftest/2", "= 1\n"},
               {"--deny message=SELFTEST_FAILED --json", "= 1\n"},
               {"--most-calls 4", "= 1\n"},
               {"--most-wait 100 --table selftest", "= 0\n"}};
  const std::string tables = " '" EXAMPLE_TABLES "/selftest.csv' '" EXAMPLE_TABLES "/rails.csv' ";
  for (const auto& [options, status] : cases) {
    const std::string printed = run("explore" + tables + options);
    const std::size_t end = printed.rfind("= ");
    EXPECT_EQ(printed.substr(end), status) << options;
    dir.write(std::string(options).empty() ? "all.cases.csv" : "other", printed.substr(0, end));
  }
  const std::string tested = run("test all.cases.csv");
  EXPECT_NE(tested.find("\n7 of 7 cases passed\n= 0\n"), std::string::npos) << tested;
  EXPECT_EQ(run("explore" + tables + "--table rail"),
            "! trxctl: there is no table 'rail' in the files; did you mean rails?\n= 2\n");
  writeTable("deep.csv", ",1,START\n,2,TABLE,deep\n,3,END\n");
  const std::string deep = run("explore deep.csv --nest-limit 3");
  dir.write("deep.cases.csv", deep.substr(0, deep.rfind("= ")));
  EXPECT_NE(run("test deep.cases.csv").find(" passed\n= 0\n"), std::string::npos) << deep;
  const struct {
    const char* option;
    const char* words;
  } mistaken[] = {{"--deny swallowed=c", "no row of table selftest has the NUMBER c"},
                  {"--allow swallowed=rails/9", "no row of table rails has the NUMBER 9"},
                  {"--deny fails=rail/3", "there is no table 'rail'; did you mean rails?"},
                  {"--deny recovered=PSU", "'PSU' is no row: write NUMBER or TABLE/NUMBER"},
                  {"--deny message=SELFTEST", "no END row has the message 'SELFTEST'"},
                  {"--deny message=SELFTEST_FAILS",
                   "no END row has the message 'SELFTEST_FAILS'; did you mean SELFTEST_FAILED?"},
                  {"--deny missing=rail", "no TABLE row calls a table 'rail'; did you mean rails?"},
                  {"--deny never-well=2", "never-well is said of whole tables: write it alone"},
                  {"--deny calls=must", "'must' is neither least nor most; did you mean most?"},
                  {"--table rails --deny swallowed=5",
                   "no row of table rails has the NUMBER 5; did you mean selftest/5?"}};
  for (const auto& [option, words] : mistaken) {
    const std::string plain = std::string(option).substr(std::string(option).rfind("--"));
    EXPECT_EQ(run("explore" + tables + option), "! trxctl: " + plain + ": " + words + "\n= 2\n");
  }
  EXPECT_EQ(run("explore" + tables + "--deny swalowed"),
            "! trxctl: --deny: 'swalowed' is no kind of claim; did you mean swallowed?\n"
            "! Run with --help for more information.\n= 2\n");
}

}  // namespace
}  // namespace kw::trx::testing
