// SPDX-License-Identifier: Apache-2.0
// The commands of trxctl on real files: each test compares all that a run prints.
#include <elf.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sstream>

#include "command_fixture.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::testing {
namespace {

constexpr trx::TracePoint kPoints[] = {
#define ZQM_TRACE_POINT(class_name, operation, constant, id, level, kind, values, sentence) \
  trx::constant,
#include "zqm_trx/trace_catalogue.def"
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
      {"graph goood.csv", "there is no file 'goood.csv'; did you mean good.csv?"},
      {"modules libzq_hap_pmp.so",
       "No such file or directory; did you mean DIR/libzq_hap_pump.so?"},
  };
  for (const auto& [arguments, says] : cases) {
    const std::string text = run(arguments);
    EXPECT_NE(text.find(says), std::string::npos) << arguments << '\n' << text;
  }
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

TEST_F(CommandTest, NamesOfConfiguredTablesStandForTheirFiles) {
  writeTable("set/morning.csv", ",1,START\n,2,TABLE,noon\n,3,END\n");
  writeTable("set/noon.csv", ",1,START\n,2,TABLE,morning\n,3,HAP,TST_Ok\n,4,END\n");
  writeTable("given/noon.csv", ",1,START\n,2,TABLE,night\n,3,END\n");
  writeTable("set/odd.csv", ",1,START\n,2,WAIT,,x\n,3,END\n");
  writeTable("lone.csv", ",1,START\n,2,TABLE,night\n,3,END\n");
  configure({"set/morning.csv", "set/noon.csv", "set/odd.csv"});
  const std::string fault =
      "odd.csv:4 (E, MODE): error: 'x' is not allowed here: only digits [0x14000000]\n= 2\n";
  const std::pair<const char*, std::string> cases[] = {
      {"explore morning --root . | grep -e '# table' -e TABLES",
       "TABLES,DIR/set/morning.csv,DIR/set/noon.csv\n# table morning:"},
      {"explore morning given/noon.csv --root . | grep TABLES",
       "TABLES,DIR/set/morning.csv,given/noon.csv\n= 0\n"},
      {"explore lone.csv | grep missing:", "# missing: row 2 calls table night which is not there"},
      {"simulate noon --root . --fail TST_Ok --most-rows 3 | head -n 3 | tail -n 1",
       "morning         1  START\n"},
      {"graph noon --root . | grep -c 'cluster'", "2\n= 0\n"},
      {"check --root .", "set/" + fault},
      {"check odd --root .", "set/" + fault},
      {"explore mornin --root .",
       "! trxctl: there is no file 'mornin', and no table of the configuration has that name; did "
       "you mean morning?\n= 2\n"},
      {"check morning.csv odd nigh --root .",
       "there is no file 'nigh', and no table of the configuration has that name\n= 2\n"},
      {"simulate noon.csv --root .", "has that name; name it noon\n"},
      {"simulate morning", "there is no file 'morning'; for the name of a table, give the system"},
      {"graph set --root .", "set: the engine does not load this table"}};
  for (const auto& [arguments, says] : cases) {
    const std::string text = run(arguments);
    EXPECT_NE(text.find(says), std::string::npos) << arguments << '\n' << text;
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
           " as an error code or exception of a HAP, not of the engine\n  means:  " + meaning +
           "\n  do:     give the system root of the host with --root, which tells the meaning if "
           "one "
           "of its modules describes it; else look into the documentation of the HAP that failed\n"
           "= 0\n";
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
  for (const std::string command : {"check", "graph", "modules", "config", "doctor", "hap", "table",
                                    "simulate", "test", "explore", "coverage", "replay", "record",
                                    "trace", "stats", "report", "top", "lock", "explain"}) {
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
      {"check",
       "FILE is required: no configuration names tables; --root gives the system root of a host"},
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
