// SPDX-License-Identifier: Apache-2.0
// The commands of trxctl on real files: each test compares all that a run prints.
#include <elf.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sstream>

#include "kw/trx/testing/temp_dir.h"
#include "tool.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::testing {
namespace {

constexpr trx::TracePoint kPoints[] = {
#define ZQM_TRACE_POINT(class_name, operation, constant, id, level, values, sentence) trx::constant,
#include "zqm_trx/trace_catalogue.def"
};

class CommandTest : public ::testing::Test {
 protected:
  CommandTest() { dir.write("kw/etc/kwpath.conf", "path.trx.conf=" + dir.path() + "/trx.conf\n"); }

  /// A configuration with the module TST, the tables `tables` of the folder, and further lines.
  void configure(const std::vector<std::string>& tables, const std::string& lines = "") const {
    std::string text = "hapmodule.number=1\nhapmodule.file.0=" MODULE_TST "\nhaptable.number=" +
                       std::to_string(tables.size()) + "\n";
    for (std::size_t i = 0; i < tables.size(); ++i) {
      text += "haptable.file." + std::to_string(i) + "=" + dir.path() + "/" + tables[i] + "\n";
    }
    dir.write("trx.conf", text + lines);
  }

  void writeTable(const std::string& name, const std::string& rows) const {
    dir.write(name, "FORMAT,0\nVERSION,1\n" + rows);
  }

  /// What a run in the folder prints, without what changes from run to run.
  std::string run(const std::string& arguments) const {
    std::string text = runTool(arguments, dir.path());
    for (std::size_t at = text.find(" after "); at != std::string::npos;
         at = text.find(" after ", at + 1)) {
      text.erase(at, text.find('\n', at) - at);
    }
    return replaced(replaced(text, dir.path(), "DIR"), MODULE_TST, "TST.so");
  }

  /// The same without the times in front of rows.
  std::string runRows(const std::string& arguments) const {
    std::string text = run(arguments);
    for (std::size_t at = text.find(" s  "); at != std::string::npos; at = text.find(" s  ", at)) {
      const std::size_t begin = text.rfind('\n', at) + 1;
      text.erase(begin, at + 4 - begin);
    }
    return text;
  }

  TempDir dir;
};

TEST_F(CommandTest, ConfigShowsWhereEachValueComesFromAndWhatIsOdd) {
  writeTable("here.csv", ",1,START\n,2,END\n");
  dir.write("trx.conf",
            "# a comment\n"
            "hapmodule.number : 1\n"
            "hapmodule.file.0=" MODULE_TST
            "\n"
            "hapmodule.file.1=/opt/never.so\n"
            "hapmodule.nest.exec.limit=ten\n"
            "hapmodule.exec.exclusion.control=off \n"
            "haptable.number=3\n"
            "haptable.loading.err.mode=Continue\n"
            "haptable.loading.err.mode=\\\n"
            "   continue\n"
            "haptable.file.0=" +
                dir.path() +
                "/here.csv\n"
                "haptable.file.1=/no/such/table.csv\n"
                "haptable.flie.2=gone.csv\n"
                "colour=red\n");
  EXPECT_EQ(run("config --root ."), readFile(GOLDEN "/config.txt"));
  const std::string strict = run("config --root . --strict");
  EXPECT_EQ(strict.substr(strict.size() - 4), "= 1\n");
}

TEST_F(CommandTest, ConfigTellsWhatIsOddOfEachSlip) {
  // Each row: lines added to a sound configuration, and what `config` says of them.
  const struct {
    const char* lines;
    const char* says;
  } cases[] = {
      {"hapmodule.exec.exclusion.control=OFF\n", "3: warning: 'OFF' is not the word 'off'\n"},
      {"haptable.tblcmd.wait.handler=REQUESTER\n",
       "3: warning: 'REQUESTER' is not the word 'requester'\n"},
      {"HAPMODULE.NEST.EXEC.LIMIT=3\n",
       "3: warning: unknown key HAPMODULE.NEST.EXEC.LIMIT; did you mean "
       "hapmodule.nest.exec.limit?\n"},
      {"hapmodule.file.01=a.so\n",
       "3: warning: unknown key hapmodule.file.01; did you mean hapmodule.file.1?\n"},
      {"hapmodule.file=a.so\n",
       "3: warning: unknown key hapmodule.file; did you mean hapmodule.file.0?\n"},
      {"hapmodule.file.9999999999=a.so\n", "3: warning: unknown key hapmodule.file.9999999999\n"},
      {"haptable.nest.exec.limit=-1\n", "3: warning: '-1' is read as the number 4294967295\n"},
      {"hapmodule.number=1\nhapmodule.file.0=\n",
       "4: warning: hapmodule.file.0 is empty\n"
       "1: warning: hapmodule.number is set again in line 3\n"},
      {"haptable.number=1\nhaptable.file.0=/\n",
       "4: warning: / is no file\n"
       "2: warning: haptable.number is set again in line 3\n"},
      {"b=1\n", "3: warning: unknown key b\n"},
  };
  for (const auto& [lines, says] : cases) {
    dir.write("trx.conf", std::string("hapmodule.number=0\nhaptable.number=0\n") + lines);
    EXPECT_EQ(run("config --root . --strict | sed -n 's/.*trx.conf:\\([0-9]*: \\)/\\1/p'"),
              std::string(says) + "= 0\n");
    EXPECT_EQ(run("config --root . --strict >/dev/null; test $? = 1"), "= 0\n") << lines;
  }
  dir.write("trx.conf",
            "hapmodule.number=23\nhapmodule.file.22=/etc/passwd\n"
            "hapmodule.loading.err.mode=continue\nhaptable.number=0\n");
  const std::string long_list = run("config --root .");
  EXPECT_NE(long_list.find("DIR/trx.conf:1: warning: hapmodule.file.19 is missing\n"
                           "hapmodule.file.22 = /etc/passwd  (DIR/trx.conf:2)\n"
                           "DIR/trx.conf:1: warning: 2 further entries are missing\n"),
            std::string::npos)
      << long_list;
}

TEST_F(CommandTest, ConfigTellsWhatTheEngineWouldNotReadToo) {
  dir.write("trx.conf",
            "hapmodule.number=0\nhaptable.numbr=0\nhaptable.nest.exec.limit=3\n"
            "haptable.tblcmd.wait.handler=requester\nhapmodule.exec.exclusion.control=yes\n"
            "haptable.file.0=a.csv\n");
  EXPECT_EQ(run("config --root ."),
            "path.trx.conf = DIR/trx.conf  (DIR/kw/etc/kwpath.conf:1)\n"
            "hapmodule.loading.err.mode = stop  (default)\n"
            "hapmodule.number = 0  (DIR/trx.conf:1)\n"
            "hapmodule.nest.exec.limit = 10  (default)\n"
            "hapmodule.exec.exclusion.control = on  (DIR/trx.conf:5)\n"
            "haptable.loading.err.mode = stop  (default)\n"
            "DIR/trx.conf:6: warning: haptable.file.0 does not count without the key "
            "haptable.number\n"
            "haptable.nest.exec.limit = 3  (DIR/trx.conf:3)\n"
            "haptable.tblcmd.wait.handler = requester  (DIR/trx.conf:4)\n"
            "DIR/trx.conf:2: warning: unknown key haptable.numbr; did you mean haptable.number?\n"
            "! trxctl: the configuration has no key haptable.number, the number of files; correct "
            "DIR/trx.conf\n"
            "= 2\n");
  dir.write("kw/etc/kwpath.conf", "path.trx.cnf=" + dir.path() + "/trx.conf\n");
  EXPECT_EQ(
      run("config --root ."),
      "DIR/kw/etc/kwpath.conf:1: warning: unknown key path.trx.cnf; did you mean path.trx.conf?\n"
      "! trxctl: the path file DIR/kw/etc/kwpath.conf has no value for the key path.trx.conf; "
      "correct DIR/kw/etc/kwpath.conf\n"
      "= 2\n");
  dir.write("kw/etc/kwpath.conf", "path.trx.conf=" + dir.path() + "/trx.conf \n");
  EXPECT_EQ(run("config --root ."),
            "path.trx.conf = DIR/trx.conf   (DIR/kw/etc/kwpath.conf:1)\n"
            "DIR/kw/etc/kwpath.conf:1: warning: the value of path.trx.conf ends with a blank, "
            "which counts\n"
            "! trxctl: the engine configuration 'DIR/trx.conf ' cannot be read: No such file or "
            "directory; correct it or DIR/kw/etc/kwpath.conf\n"
            "= 2\n");
}

TEST_F(CommandTest, ModulesTellWhatTheyExportAndWhetherTheyWouldLoad) {
  const auto copy = [this](const char* from, const std::string& to, std::size_t at, char byte) {
    std::string bytes = readFile(from);
    if (at != 0) {
      bytes[at] = byte;
    }
    dir.write(to, bytes);
  };
  constexpr std::size_t machine_offset = 18;
#ifdef __arm__
  constexpr char other_machine = EM_X86_64;
  const char* const machines = "x86-64 (32 bit); this system is ARM (32 bit)";
#else
  constexpr char other_machine = EM_ARM;
  const char* const machines = "ARM (64 bit); this system is x86-64 (64 bit)";
#endif
  copy(MODULE_TORN, "libzq_hap_torn.so", 0, 0);
  copy(MODULE_DBGTOOL, "libzq_hap_dbgtool.so", 0, 0);
  copy(MODULE_PLAIN, "a/libzq_hap_plain.so", 0, 0);
  copy(MODULE_PLAIN, "libzq_hap_plain.so", 0, 0);
  copy(MODULE_PLAIN, "libzq_hap_other.so", machine_offset, other_machine);
  const auto patch = [this](const std::string& to, const std::string& from,
                            const std::string& into) {
    const std::string with = into + std::string(from.size() - into.size(), '\0');
    dir.write(to, replaced(readFile(MODULE_PLAIN), from, with));
  };
  patch("libzq_hap_newer.so", "CXXABI_1.3", "CXXABI_9.3");
  patch("libzq_hap_cached.so", "libzqm_trx.so.7", "libresolv.so.2");
  // The engine's folder holds such a file, but the loader does not look there by itself.
  patch("libzq_hap_away.so", "libzqm_trx.so.7", "libzqm_trx.so");
  dir.write("libzq_hap_away.so",
            replaced(readFile(dir.path() + "/libzq_hap_away.so"), ENGINE_FOLDER,
                     std::string(std::strlen(ENGINE_FOLDER), '/')));
  const std::string plain = readFile(MODULE_PLAIN);
  dir.write("libzq_hap_bare.so", plain.substr(0, plain.size() - 10));
  dir.write("libzq_hap_text.so", "no library\n");
  dir.write("libzq_hap_short.so", readFile(MODULE_PLAIN).substr(0, 1000));
  ASSERT_EQ(mkfifo((dir.path() + "/libzq_hap_pipe.so").c_str(), 0600), 0);
  const std::string text = run(
      "modules a/libzq_hap_plain.so libzq_hap_plain.so libzq_hap_torn.so libzq_hap_dbgtool.so "
      "libzq_hap_other.so libzq_hap_text.so libzq_hap_short.so libzq_hap_pipe.so libzq_hap_.so "
      "libzq_hap_newer.so libzq_hap_cached.so libzq_hap_away.so libzq_hap_bare.so '' '" MODULE_DEP
      "' '" TRXCTL_FILE "'");
  EXPECT_EQ(replaced(replaced(text, TRXCTL_FILE, "TRXCTL"), MODULE_DEP, "DEP.so"),
            replaced(readFile(GOLDEN "/modules.txt"), "MACHINES", machines));
  configure({});
  EXPECT_EQ(run("modules --root . | head -n 3"),
            "TST.so: key TST, would load\n  TST_Call\n  TST_Exit\n= 0\n");
  dir.write("trx.conf", "hapmodule.number=0\nhaptable.number=0\n");
  EXPECT_EQ(run("modules --root ."),
            "! trxctl: no modules are configured; name module files, or list them in the "
            "configuration\n= 2\n");
}

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
       "    detail: 0x1 0xff\n"
       "= 1\n"},
      {"TST_FailAPI --para 0x40001 --para 6",
       "HAP TST_FailAPI failed with 0x7000a: a HAP failed\n"
       "  last error record, of HAP TST_FailAPI:\n"
       "    error code: 0x40001, an error of the HAP API, with its data\n"
       "    API data: 0x3020100 0x504, as text: ......\n"
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

TEST_F(CommandTest, WhateverIsNamedWrongGetsWhatWasProbablyMeant) {
  writeTable("good.csv", ",1,START\n,2,TABLE,god\n,3,END\n");
  dir.write("libzq_hap_pump.so", readFile(MODULE_PLAIN));
  configure({"good.csv"});
  const struct {
    const char* arguments;
    const char* says;
  } cases[] = {
      {"hap TST_Okk --root .", "module TST does not export the HAP; did you mean TST_Ok?"},
      {"hap TSX_Zzzzzzzz --root .",
       "no module with the key TSX is loaded; did you mean the module TST?"},
      {"table good --root .", "table god is not loaded; did you mean good?"},
      {"table ./good.csv --root .", "table ./good.csv is not loaded; name it good"},
      {"table '' --root .", "NAME: a name is not empty"},
      {"hap '' --root .", "NAME: a name is not empty"},
      {"simulate good.csv --table good.csv", "no table 'good.csv' in the files; name it good"},
      {"simulate good.csv --table god", "no table 'god' in the files; did you mean good?"},
      {"check goood.csv", "No such file or directory; did you mean good.csv?"},
      {"graph goood.csv", "the engine does not load this table; did you mean good.csv?"},
      {"modules libzq_hap_pmp.so",
       "No such file or directory; did you mean DIR/libzq_hap_pump.so?"},
  };
  for (const auto& [arguments, says] : cases) {
    const std::string text = run(arguments);
    EXPECT_NE(text.find(says), std::string::npos) << arguments << '\n' << text;
  }
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

TEST_F(CommandTest, JsonSaysWhatTheTextSays) {
  writeTable("t.csv", ",1,START\n,a,HAP,TST_Fail,,NOP,1 0\n,b,HAP,TST_Fail,,,1 0\n,c,END\n");
  configure({"t.csv"}, "colour=red\n");
  const auto json = [this](const std::string& arguments) {
    return nlohmann::json::parse(outputOf(arguments + " --json --root .", dir.path()));
  };
  const auto well = json("hap TST_Ok --para 5 --mode fast");
  EXPECT_EQ(well["hap"], "TST_Ok");
  EXPECT_EQ(well["end"], "ok");
  EXPECT_EQ(well["results"], nlohmann::json({5, 4}));
  const auto failed = json("hap TST_FailDetail --para 0x20005 --para 4 --para 7");
  EXPECT_EQ(failed["end"], "failed");
  EXPECT_EQ(failed["errorRecord"]["code"], "0x20005");
  EXPECT_EQ(failed["errorRecord"]["detail"], nlohmann::json({7}));
  const auto table = json("table t");
  EXPECT_EQ(table["firstFailingRow"]["number"], 0xb);
  ASSERT_EQ(table["rows"].size(), 3U);
  EXPECT_EQ(table["rows"][1]["words"], "HAP TST_Fail");
  EXPECT_EQ(table["rows"][1]["notes"], nlohmann::json({"failed, which is ignored"}));
  const auto crash = json("hap TST_Kill --para 6");
  EXPECT_EQ(crash["end"], "crashed");
  EXPECT_EQ(crash["signal"], "SIGABRT (Aborted)");
  EXPECT_EQ(crash["module"], MODULE_TST);
  EXPECT_EQ(json("hap TST_Exit")["end"], "threadEnded");
  EXPECT_EQ(json("modules")[0]["key"], "TST");
  EXPECT_EQ(json("modules")[0]["haps"][0], "TST_Call");
  const auto config = json("config");
  EXPECT_EQ(config["values"][2]["key"], "hapmodule.number");
  EXPECT_EQ(config["values"][2]["line"], 1);
  EXPECT_EQ(config["warnings"][0]["words"], "unknown key colour");
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

TEST_F(CommandTest, GraphDrawsRowsErrorsAndCalls) {
  writeTable("flow.csv",
             ",1,START\n,2,HAP,TST_Ok,fast,NOP,1 ff\n,3,HAP,TST_Ok,,out\n,4,TABLE,called\n"
             ",5,CHECK\n,6,END\n,7,WAIT,,5\nout,8,END,FAILED\n");
  writeTable("called.csv", ",1,START\n,2,TABLE,other\n,3,TABLE,wrong\n,4,END\n");
  dir.write("wrong.csv", "FORMAT,0\n");
  configure({"wrong.csv"});
  EXPECT_EQ(run("graph --root . flow.csv called.csv"), readFile(GOLDEN "/graph.txt"));
  EXPECT_EQ(run("graph flow.csv -o flow.svg"), "= 0\n");
  EXPECT_NE(readFile(dir.path() + "/flow.svg").find(">2 &#160;HAP TST_Ok fast 1 ff</text>"),
            std::string::npos);
  EXPECT_EQ(run("graph flow.csv --format png -o none/flow.png 2>/dev/null | grep -c x"),
            "0\n= 1\n");
  EXPECT_EQ(run("graph flow.csv -o flow.PNG && head -c 4 flow.PNG | tail -c 3"), "PNG= 0\n");
  EXPECT_EQ(run("graph flow.csv -o flow.pdf && head -c 5 flow.pdf"), "%PDF-= 0\n");
  EXPECT_EQ(run("graph flow.csv --format dot -o text.svg; head -n 1 text.svg"),
            "digraph tables {\n= 0\n");
  EXPECT_EQ(run("graph wrong.csv"),
            "! trxctl: wrong.csv: the engine does not load this table; trxctl check tells why\n"
            "= 2\n");
}

TEST_F(CommandTest, ExplainKnowsCodesAndTraceIds) {
  EXPECT_EQ(run("explain 1000001"),
            "0x1000001 as an error code: kRecordUndefinedHAP\n"
            "  means:  the HAP is not defined\n"
            "  causes: no loaded module has the key before the first _ of its name, or the module "
            "does not export it; letter case counts\n"
            "  do:     run trxctl modules and compare the names\n"
            "0x1000001 as a trace id: debug2 record of HAPController::load\n"
            "  means:  it is skipped; loading continues\n"
            "= 0\n");
  EXPECT_EQ(run("explain 0x13002002"),
            "0x13002002 as a trace id: error record of TblFmt00::checkNumber\n"
            "  means:  the NUMBER {number} of row {row} is used twice\n"
            "  values: request:x row:u column:u number:x\n"
            "  causes: the file breaks a rule of table files\n"
            "  do:     run trxctl check on the file: it names line, column and reason of every "
            "fault\n"
            "= 0\n");
  const auto own_code = [](const std::string& code, const std::string& meaning) {
    return code +
           " is no code and no trace id of the engine. As the error code or exception of a HAP:\n"
           "  means:  " +
           meaning + "\n  do:     look into the documentation of the HAP that failed\n= 0\n";
  };
  EXPECT_EQ(run("explain 1060001"), own_code("0x1060001", "a HAP's own error, with its detail"));
  EXPECT_EQ(run("explain 0x40001"), own_code("0x40001", "an error of the HAP API, with its data"));
  EXPECT_EQ(run("explain 12"), own_code("0x12", "an error without detail"));
  for (const std::string text : {"7000g", "", "0x", "+7000a", " 7000a"}) {
    EXPECT_EQ(run("explain '" + text + "'"), "! trxctl: '" + text +
                                                 "' is no hexadecimal code; write one such as "
                                                 "7000a or 0x7000a\n= 2\n");
  }
  EXPECT_EQ(run("explain 0x17000000a"),
            "! trxctl: '0x17000000a' is too long: a code has at most 8 hexadecimal digits\n= 2\n");
  EXPECT_EQ(run("explain 458762"),
            "! trxctl: '458762' is no hexadecimal code of the engine; if it is a decimal one, run "
            "trxctl explain 0x7000a\n= 2\n");
}

TEST_F(CommandTest, EveryErrorOfTheCatalogueComesWithAdvice) {
  std::ostringstream codes;
  for (const trx::TracePoint& point : kPoints) {
    if (point.level == trx::kLevelError) {
      codes << " 0x" << std::hex << point.id;
    }
  }
  std::istringstream explained(run("explain" + codes.str()));
  std::string unexplained;
  for (std::string line; std::getline(explained, line);) {
    if (line.find("as a trace id: error") != std::string::npos) {
      EXPECT_EQ(unexplained, "");
      unexplained = line;
    } else if (line.rfind("  do: ", 0) == 0) {
      unexplained.clear();
    }
  }
  EXPECT_EQ(unexplained, "");
}

TEST_F(CommandTest, EveryCommandHasHelpWithAnExampleAndItsExitStatus) {
  for (const std::string command :
       {"check", "graph", "modules", "config", "doctor", "hap", "table", "simulate", "test",
        "explore", "coverage", "trace", "lock", "explain"}) {
    const std::string help = run(command + " --help");
    EXPECT_NE(help.find("Usage: trxctl " + command), std::string::npos) << help;
    EXPECT_NE(help.find("\nExample: trxctl " + command + " "), std::string::npos) << help;
    EXPECT_NE(help.find("\nExit status: 0 "), std::string::npos) << help;
    EXPECT_NE(help.find("--root DIR "), std::string::npos) << help;
  }
  const struct {
    const char* arguments;
    const char* error;
  } cases[] = {
      {"chek pump.csv", "'chek' is no command; did you mean check?"},
      {"x pump.csv", "'x' is no command"},
      {"--root . check pump.csv",
       "'--root' is no option of trxctl itself; write those of a command behind its name"},
      {"check --bogus", "'--bogus' is no option of trxctl check"},
      {"check", "FILE is required"},
  };
  for (const auto& [arguments, error] : cases) {
    EXPECT_EQ(run(arguments), "! trxctl: " + std::string(error) +
                                  "\n! Run with --help for more information.\n= 2\n");
  }
  EXPECT_EQ(run("check ''"), ": error: No such file or directory [0xa000000]\n= 2\n");
  for (const char* command : {"explain 7000c", "--help", "graph --help", "--version"}) {
    EXPECT_EQ(run(std::string(command) + " >/dev/full 2>&1; test $? = 2"), "= 0\n");
  }
}

TEST_F(CommandTest, DescriptionsOfHAPsAreShownAndUsed) {
  EXPECT_EQ(replaced(run("modules --describe '" MODULE_PLAIN "'"), MODULE_PLAIN, "FILE"),
            "FILE: key PLAIN, would load\n"
            "  PLAIN_Pass\n"
            "      Says \"yes\", or throws what para[0] says\n"
            "      PARA word 0: code, 16 to 256 (10 to 100)\n"
            "      MODE empty: always\n"
            "      MODE fast: at once\n"
            "      result word 0: time, ms\n"
            "      error 0x20077: the pass is closed\n"
            "  describes PLAIN_Gone, which it does not export\n= 0\n");
  dir.write("trx.conf",
            "hapmodule.number=1\nhapmodule.file.0=" MODULE_PLAIN "\nhaptable.number=0\n");
  EXPECT_EQ(run("explain 20077 --root " + dir.path()),
            "0x20077 as an error of the HAP PLAIN_Pass\n  means:  the pass is closed\n= 0\n");
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

TEST_F(CommandTest, SimulationStopsAndAsks) {
  dir.write("keys", "f 20003\nx\n\nc\n");
  dir.write("quit", "q\n");
  const std::string tables =
      "simulate " EXAMPLE_TABLES "/selftest.csv " EXAMPLE_TABLES "/rails.csv ";
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
  EXPECT_EQ(run("simulate --case " EXAMPLE_TABLES "/selftest.cases.csv --name 'fan too slow' | "
                "tail -1"),
            "  message of the table: SELFTEST_FAILED\n= 0\n");
}

TEST_F(CommandTest, ExploreDeniesWhatItIsToldToAndPrintsCasesThatPass) {
  const struct {
    const char* options;
    const char* status;
  } cases[] = {{"", "= 0\n"},
               {"--deny endless --deny message=OTHER", "= 0\n"},
               {"--deny swallowed --allow swallowed=2", "= 1\n"},
               {"--deny swallowed --allow swallowed=2 --allow swallowed=rails/3", "= 0\n"},
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
  EXPECT_EQ(run("explore" + tables + "--deny swalowed"),
            "! trxctl: --deny: 'swalowed' is no kind of claim; did you mean swallowed?\n"
            "! Run with --help for more information.\n= 2\n");
}

TEST_F(CommandTest, CompletionOffersWhatTheHelpNames) {
  dir.write("some.csv", "");
  dir.write("try.sh", ". '" COMPLETION "'\ntrxctl() { " TRXCTL
                      " \"$@\"; }\nCOMP_WORDS=(trxctl"
                      " \"$@\") COMP_CWORD=$#\n_trxctl\necho ${COMPREPLY[*]}\n");
  const struct {
    const char* words;
    const char* offered;
  } cases[] = {{"c", "check config coverage"}, {"--", "--help --version"},
               {"check --st", "--strict"},     {"check so", "some.csv"},
               {"graph --format s", "svg"},    {"graph -o s", "some.csv"}};
  for (const auto& [words, offered] : cases) {
    const std::string bash = "cd " + dir.path() + " && bash try.sh " + words + " >out 2>/dev/null";
    EXPECT_EQ(std::system(bash.c_str()), 0);
    EXPECT_EQ(readFile(dir.path() + "/out"), std::string(offered) + "\n") << words;
  }
}

}  // namespace
}  // namespace kw::trx::testing
