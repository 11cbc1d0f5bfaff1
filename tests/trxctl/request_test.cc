// SPDX-License-Identifier: Apache-2.0
// Requests that the tool runs, in a process of their own.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "command_fixture.h"

namespace kw::trx::testing {
namespace {

TEST_F(CommandTest, HAPRunsOneHAPAndSaysWhatCameOfIt) {
  const struct {
    const char* arguments;
    const char* output;
  } cases[] = {
      {"TST_Ok --para 0xce4 --mode fast",
       "HAP TST_Ok succeeded\n"
       "  result word 0: 3300 (0xce4)\n"
       "  result word 1: 4 (0x4)\n"
       "= 0\n"},
      {"TST_Units --unit 300:2:rack/rail --unit 301:1 --results 3",
       "HAP TST_Units succeeded\n"
       "  result word 0: 262146 (0x40002)\n"
       "  result word 1: 0 (0x0)\n"
       "  result word 2: 1 (0x1)\n"
       "= 0\n"},
      {"TST_FailDetail --para 0x20005 --para 8 --para 1 --para 0xff",
       "HAP TST_FailDetail failed with 0x7000a: a HAP failed\n"
       "  last error record, of HAP TST_FailDetail:\n"
       "    error code: 0x20005, a HAP's own error, with its detail\n"
       "    detail: 0x1 0xff (255)\n"
       "= 1\n"},
      {"TST_Throw --para 1",
       "HAP TST_Throw failed with an exception that is not the engine's: test\n= 1\n"},
      {"TST_Throw --para 0 --para 0x70003",
       "HAP TST_Throw failed with 0x70003, by which a WAIT row hands its wait over: the HAP threw "
       "it, or ran a table that waits\n= 1\n"},
      {"TST_Exit", "HAP TST_Exit failed: its HAP ended the thread that ran it\n= 1\n"},
      {"TST_Throw --para 0 --para 0x12345",
       "HAP TST_Throw failed with 0x12345\n"
       "  reason: the HAP threw an exception with code 0x12345\n= 1\n"},
      {"TST_Nest --para 1 --results 1",
       "HAP TST_Nest failed with 0x7000a: a HAP failed\n"
       "  reason: HAP TST_Nest is nested too deeply in itself\n"
       "  result word 0: 11 (0xb)\n"
       "= 1\n"},
      {"NO_Such",
       "HAP NO_Such failed with 0x7000a: a HAP failed\n"
       "  reason: no module with the key NO is loaded\n"
       "  last error record, of HAP NO_Such:\n"
       "    error code: 0x1000001, the HAP is not defined\n"
       "= 1\n"},
  };
  configure({});
  for (const auto& [arguments, output] : cases) {
    EXPECT_EQ(run(std::string("hap --root . ") + arguments), output);
  }
  for (const char* unit : {"rail2", "300", "300:2:", "300:2:rack//rail2", "-1:2", "300 :2", ":2"}) {
    EXPECT_EQ(run("hap TST_Ok --root . --unit '" + std::string(unit) + "'"),
              "! trxctl: --unit: '" + std::string(unit) +
                  "' is not TYPE:NO or TYPE:NO:PATH, such as 300:2 or 300:2:rack/rail2\n"
                  "! Run with --help for more information.\n"
                  "= 2\n");
  }
  for (const char* word : {"010", "0x", "-1", "1e5", "0x100000000", "4294967296"}) {
    EXPECT_EQ(run("hap TST_Ok --root . --para=" + std::string(word)).rfind("! trxctl: --para: ", 0),
              0U)
        << word;
  }
  configure({"gone.csv"});
  EXPECT_EQ(
      run("hap TST_Ok --root ."),
      "! trxctl: 0x70006: the HAP tables cannot be loaded\n"
      "!   table file gone.csv cannot be opened\n"
      "!   table file gone.csv cannot be read; loading stops\n"
      "!   run trxctl check on the files; haptable.loading.err.mode=continue skips such tables\n"
      "= 2\n");
}

TEST_F(CommandTest, ModuleWithThePlatformOfABoardIsNotRun) {
  configure({});
  dir.write("trx.conf", replaced(readFile(dir.path() + "/trx.conf"), MODULE_TST, MODULE_BRD));
  for (const char* request : {"hap BRD_Read", "table t"}) {
    const std::string text = run(std::string(request) + " --root .");
    EXPECT_EQ(text.rfind("! trxctl: the module " MODULE_BRD " needs the platform library ", 0), 0U)
        << text;
    EXPECT_NE(text.find("libzq_trx_board.so, and"), std::string::npos) << text;
    EXPECT_NE(text.find("= 2\n"), std::string::npos) << text;
  }
}

TEST_F(CommandTest, TableShowsItsRowsAsTheyRun) {
  writeTable("outer.csv",
             ",1,START\n,2,HAP,TST_Ok,,STACK,5\n,3,HAP,TST_Fail,,NOP,1 0\n,4,TABLE,inner\n"
             ",5,HAP,TST_None,,jump\n,6,END\njump,7f,CHECK,,,last\n,8,TABLE,gone\nlast,9,END\n");
  writeTable("inner.csv", ",1,START\n,2,WAIT,,20\n,a,HAP,TST_Fail,,STACK,1 99\n,3,END\n");
  writeTable("bad.csv", ",1,START\n,2,TABLE,gone\n,3,END\n");
  writeTable("no.csv", ",1,START\n,2,END,NO_POWER\n");
  writeTable("stale.csv",
             ",1,START\n,2,HAP,TST_FailDetail,,NOP,20005 4 7\n,3,HAP,NO_Such,,NOP\n"
             ",4,HAP,TST_Throw,,,0 12345\n,5,END\n");
  configure({"outer.csv", "inner.csv", "bad.csv", "no.csv", "stale.csv"},
            "haptable.tblcmd.wait.handler=requester\n");
  EXPECT_EQ(runRows("table outer --root . --unit 300:2:rack/rail"), readFile(GOLDEN "/table.txt"));
  EXPECT_EQ(runRows("table bad --root ."),
            "bad             1  START\n"
            "bad             2  TABLE gone\n"
            "             table gone is not loaded\n"
            "table bad failed with 0x7000b: the table ended with error\n"
            "  reason: table gone is not loaded\n"
            "  last error record:\n"
            "    error code: 0x1000002, a table that the run names is not loaded\n"
            "= 1\n");
  EXPECT_EQ(runRows("table stale --root ."), readFile(GOLDEN "/stale.txt"));
  EXPECT_EQ(runRows("table no --root ."),
            "no              1  START\n"
            "no              2  END NO_POWER\n"
            "table no failed with 0x7000b: the table ended with error\n"
            "  message of the table: NO_POWER\n"
            "= 1\n");
}

TEST_F(CommandTest, CrashIsToldWithItsSignalHAPModuleAndLastRecords) {
  writeTable("outer.csv", ",1,START\n,2,TABLE,inner\n,3,END\n");
  writeTable("inner.csv", ",1,START\n,2,HAP,TST_Ok,,,1\n,3,HAP,TST_Kill,,,9\n,4,END\n");
  configure({"outer.csv", "inner.csv"});
  const struct {
    const char* arguments;
    const char* says;
  } cases[] = {
      {"hap TST_Kill --para 6",
       "HAP TST_Kill crashed: SIGABRT (Aborted) in HAP TST_Kill of module TST.so\n"},
      {"hap TST_Kill --para 0 --para 7 --ring kept.ring",
       "HAP TST_Kill crashed: the process was ended with exit status 7 in HAP TST_Kill of module "
       "TST.so\n"},
      {"table outer",
       "inner           3  HAP TST_Kill\ntable outer crashed: SIGKILL (Killed) in HAP TST_Kill of "
       "module TST.so\n"},
  };
  for (const auto& [arguments, says] : cases) {
    const std::string text = runRows(std::string(arguments) + " --root .");
    const std::size_t head = text.find(says);
    ASSERT_NE(head, std::string::npos) << text;
    const std::string rest = text.substr(head + std::strlen(says));
    EXPECT_EQ(rest.rfind("  last trace records:\n    ", 0), 0U) << rest;
    EXPECT_NE(rest.find("    HAP TST_Kill "), std::string::npos) << rest;
    EXPECT_EQ(rest.substr(rest.size() - 4), "= 3\n");
  }
  EXPECT_NE(run("trace --hap TST_Kill kept.ring").find("HAP TST_Kill is requested"),
            std::string::npos);
  EXPECT_EQ(run("hap TST_Kill --root . --para 0 --para 7 --in-process"), "= 7\n");
}

TEST_F(CommandTest, InterruptOfTheToolStopsTheTableInItsChild) {
  writeTable("slow.csv", ",1,START\n,2,WAIT,,20000\n,3,END\n");
  configure({"slow.csv"}, "haptable.tblcmd.wait.handler=requester\n");
  const std::string text =
      run("--version >/dev/null; " TRXCTL
          " table slow --root . >rows & while ! grep -qs WAIT rows; do sleep 0.05; done; "
          "kill -INT $!; wait $!; echo status $? >>rows; cat rows");
  EXPECT_NE(text.find("the engine's stop flag is set\nstatus 1\n"), std::string::npos) << text;
}

TEST_F(CommandTest, TerminalShowsHowLongAWaitStillTakes) {
  if (std::system("script -qec true /dev/null >/dev/null 2>&1 </dev/null") != 0) {
    GTEST_SKIP() << "no terminal can be opened here";
  }
  writeTable("slow.csv", ",1,START\n,2,WAIT,,250\n,3,END\n");
  for (const char* handler : {"requester", "engine"}) {
    configure({"slow.csv"}, std::string("haptable.tblcmd.wait.handler=") + handler + "\n");
    const std::string terminal = "cd " + dir.path() +
                                 " && script -qec \"" TRXCTL
                                 " table slow --root .\" /dev/null >out 2>&1 </dev/null";
    EXPECT_EQ(std::system(terminal.c_str()), 0);
    const std::string shown = readFile(dir.path() + "/out");
    const std::size_t wait = shown.find("waits, 0.2 s left");
    EXPECT_LT(wait, shown.find("\r\x1b[K", wait)) << handler << shown;
    EXPECT_EQ(shown.find("waits,", shown.find("   3  END")), std::string::npos) << shown;
  }
}

}  // namespace
}  // namespace kw::trx::testing
