// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/hap_controller.h"

#include <filesystem>
#include <stdexcept>

#include "kw/trx/table_driver.h"
#include "kw/trx/testing/engine_fixture.h"
#include "kw/trx/unit_functions.h"

namespace kw::trx::testing {
namespace {

using trx::TRXInfo;

constexpr unsigned int kErrorsAndInfos = kw::platform::kTraceError | kw::platform::kTraceInfo;

class ControllerTest : public EngineFixture {
 protected:
  /// A copy of the test module in a folder of its own.
  std::string copyOfModule(const std::string& name) {
    const std::string file = dir.path() + '/' + name;
    std::filesystem::create_directories(std::filesystem::path(file).parent_path());
    std::filesystem::copy_file(MODULE_TST, file);
    return file;
  }

  std::string load(bool with_debug_modules = false) {
    return outcomeOf([=] { engine->load(with_debug_modules); });
  }
};

TEST_F(ControllerTest, LoadSkipsOrStopsAtUnusableFiles) {
  reset();
  const std::string missing = dir.path() + "/libzq_hap_missing.so";
  const std::string no_key = dir.path() + "/libzq_hap_.so";
  struct Case {
    std::vector<std::string> modules;
    const char* mode;
    const char* outcome;
    const char* trail;
  };
  const Case cases[] = {
      {{MODULE_PLAIN, missing, MODULE_TST},
       "continue",
       "ok",
       "d 1000004 \"libzq_hap_missing.so\"\nd 1000005 (0 0 0 0)\n"},
      {{MODULE_PLAIN, missing, MODULE_TST},
       "stop",
       "TRX 70005",
       "E 1000006 \"libzq_hap_missing.so\"\nE 4001002 (id 0 0 0)\n"},
      {{no_key, "", MODULE_TST, MODULE_PLAIN},
       "continue",
       "ok",
       "d 1000000 \"libzq_hap_.so\"\nd 1000001 (0 0 0 0)\nd 1000000 \"\"\nd 1000001 (0 0 0 0)\n"},
      {{MODULE_PLAIN, no_key},
       "stop",
       "TRX 70005",
       "E 1000002 \"libzq_hap_.so\"\nE 4001002 (id 0 0 0)\n"},
      {{MODULE_PLAIN, MODULE_TORN},
       "continue",
       "ok",
       "d 1000004 \"libzq_hap_torn.so\"\nd 1000005 (0 0 0 0)\n"},
      {{MODULE_PLAIN, dir.path()}, "continue", "ok", nullptr},
      {{MODULE_PLAIN, dir.path() + "/libzq_hap_.foo.so"},
       "continue",
       "ok",
       "d 1000004 \"libzq_hap_.foo.so\"\nd 1000005 (0 0 0 0)\n"},
  };
  for (const Case& c : cases) {
    configure(c.modules, {}, std::string("hapmodule.loading.err.mode=") + c.mode + '\n');
    TraceCapture capture(kErrorsAndInfos | kw::platform::kTraceDebug2);
    EXPECT_EQ(load(), c.outcome);
    std::string trail = capture.trail();
    const std::string absent =
        "d 5002000 \"hapmodule.exec.exclusion.control\"\n"
        "d 5002000 \"haptable.loading.err.mode\"\n"
        "d 5002000 \"haptable.tblcmd.wait.handler\"\n";
    ASSERT_EQ(trail.rfind(absent, 0), 0U) << trail;
    if (c.trail != nullptr) {
      EXPECT_EQ(trail.substr(absent.size()), c.trail);
    }
    EXPECT_TRUE(engine->getHAPController()->isLoaded()) << "what was loaded before stays";
    TRXInfo info(0x51, 126);
    EXPECT_EQ(execHAP(info, "PLAIN_Pass"), "TRX 70008") << "loaded, but no API object is installed";
  }
}

TEST_F(ControllerTest, SkipsDebugModulesInSilenceUnlessAskedFor) {
  configure({MODULE_TST, MODULE_DBGTOOL}, {});
  TraceCapture capture(kErrorsAndInfos);
  start();
  TRXInfo info(0x51, 126);
  EXPECT_EQ(capture.trail(), "");
  EXPECT_EQ(execHAP(info, "DBGTOOL_Ok"), "TRX 7000a");
  EXPECT_EQ(load(true), "ok");
  EXPECT_EQ(execHAP(info, "DBGTOOL_Ok"), "ok");
}

TEST_F(ControllerTest, LaterFileOfAKeyReplacesTheEarlierOnceItIsOpen) {
  const std::string good = copyOfModule("a/libzq_hap_tst.so");
  const std::string bad = dir.write("b/libzq_hap_Tst.so", "no library");
  const std::string continue_mode = "hapmodule.loading.err.mode=continue\n";
  TRXInfo info(0x51, 126);
  TraceCapture capture(kErrorsAndInfos);
  configure({good, bad}, {}, continue_mode);
  start();
  EXPECT_EQ(capture.trail(), "");
  EXPECT_EQ(execHAP(info, "TST_Ok"), "ok") << "the first one stays";
  capture.trail();
  configure({good, MODULE_TST}, {}, continue_mode);
  start();
  EXPECT_EQ(capture.trail(), "I 1000003 \"libzq_hap_tst.so\"\n");
  std::filesystem::remove(good);
  EXPECT_EQ(execHAP(info, "TST_Ok"), "ok");
}

TEST_F(ControllerTest, PassesModeParametersAndResultArea) {
  configure({MODULE_TST}, {});
  start();
  TRXInfo info(0x51, 126);
  TraceCapture capture(kErrorsAndInfos);
  const unsigned int para = 77;
  for (const auto& [mode, length] : {std::pair<const char*, unsigned int>("", ~0U), {" ", 1}}) {
    unsigned int out[2] = {0, 0};
    EXPECT_EQ(execHAP(info, "TST_Ok", mode, &para, out), "ok");
    EXPECT_EQ(out[0], 77U);
    EXPECT_EQ(out[1], length);
  }
  EXPECT_EQ(capture.trail(),
            "I 4003000 \"TST_Ok\"\nI 4003005 \"TST_Ok\"\n"
            "I 4003000 \"TST_Ok\"\nI 4003001 \" \"\nI 4003005 \"TST_Ok\"\n")
      << "a top-level call writes nothing in the controller";
}

TEST_F(ControllerTest, RefusesUndefinedHAPs) {
  configure({MODULE_TST}, {});
  start();
  struct Case {
    const char* name;
    const char* trail;
  };
  const Case cases[] = {
      {"_X", "E 1001005 \"_X\"\n"},
      {"", "E 1001005 \"\"\n"},
      {"_", "E 1001005 \"_\"\n"},
      {"tst_Ok", "E 1001006 \"tst\"\n"},
      {"NONE_Ok", "E 1001006 \"NONE\"\n"},
      {"TST", "E 2 \"TST\"\nE 1001007 \"TST\"\n"},
      {"TST_None", "E 2 \"TST_None\"\nE 1001007 \"TST\"\n"},
  };
  for (const Case& c : cases) {
    TRXInfo info(0x51, 126);
    TraceCapture capture(kw::platform::kTraceError);
    EXPECT_EQ(execHAP(info, c.name), "TRX 7000a");
    std::string trail = capture.trail();
    const std::size_t cached = trail.find("E 2 ");
    EXPECT_EQ(cached == std::string::npos ? trail : trail.substr(cached), c.trail);
    EXPECT_EQ(info.error.getErrCode(), trx::kRecordUndefinedHAP);
    EXPECT_EQ(info.error.getErrHAPName(), c.name);
    EXPECT_TRUE(info.isHAPCtlInfoEmpty());
  }
}

TEST_F(ControllerTest, WritesTheErrorRecordOfAFailedHAP) {
  configure({MODULE_TST}, {});
  start();
  struct Case {
    const char* hap;
    std::vector<unsigned int> para;
    const char* trail;
  };
  std::vector<unsigned int> full = {0x20001, 124};
  std::vector<unsigned int> exact = {0x20001, 32};
  for (unsigned int i = 1; i <= 31; ++i) {
    full.push_back(i);
    exact.push_back(i);
  }
  const Case cases[] = {
      {"TST_Fail", {1, 0x1000007}, "E 1003002 (1000007 0 0 0)\nE 1003003 (0 0 0 0)\n"},
      {"TST_Fail", {~0U, 0x80000}, ""},
      {"TST_Fail", {1, 0x60000}, "E 6004000 (id 0 0 0)\nE 1003004 [0 0 0 0 0 0 0 0]\n"},
      {"TST_FailDetail", full,
       "E 1003004 [20001 7c 7c 80 80 0 0 0]\nE 1003005 [1 2 3 4 5 6 7 8]\n"
       "E 1003005 [9 a b c d e f 10]\nE 1003005 [11 12 13 14 15 16 17 18]\n"
       "E 1003006 [19 1a 1b 1c 1d 1e 1f 0]\n"},
      {"TST_FailDetail", exact,
       "E 1003004 [20001 20 20 20 20 0 0 0]\nE 1003006 [1 2 3 4 5 6 7 0]\n"},
      {"TST_FailDetail",
       {0x20001, 5, 0x04030201, 0x08070605},
       "E 1003004 [20001 5 5 20 20 0 0 0]\nE 1003006 [4030201 5 0 0 0 0 0 0]\n"},
      {"TST_FailAPI",
       {0x40001, 5},
       "E 1003007 [40001 5 5 0 0 0 0 0]\nE 1003008 [3020100 4 0 0 0 0 0 0]\n"},
      {"TST_FailAPI", {0x40001, 0}, "E 1003007 [40001 0 0 0 0 0 0 0]\n"},
      {"TST_FailAPI",
       {0x40001, 161},
       "E 1003007 [40001 a1 a1 0 0 0 0 0]\n"
       "E 1003008 [3020100 7060504 b0a0908 f0e0d0c 13121110 17161514 1b1a1918 1f1e1d1c]\n"
       "E 1003008 [23222120 27262524 2b2a2928 2f2e2d2c 33323130 37363534 3b3a3938 3f3e3d3c]\n"
       "E 1003008 [43424140 47464544 4b4a4948 4f4e4d4c 53525150 57565554 5b5a5958 5f5e5d5c]\n"
       "E 1003008 [63626160 67666564 6b6a6968 6f6e6d6c 73727170 77767574 7b7a7978 7f7e7d7c]\n"},
  };
  for (const Case& c : cases) {
    TRXInfo info(0x51, 126);
    TraceCapture capture(kw::platform::kTraceError);
    EXPECT_EQ(execHAP(info, c.hap, "", c.para.data()), "TRX 7000a");
    std::string trail = capture.trail();
    const std::string head = std::string("E 1003000 (51 0 0 0)\nE 1003001 \"") + c.hap + "\"\n";
    const std::size_t at = trail.find(head);
    ASSERT_NE(at, std::string::npos) << trail;
    EXPECT_EQ(trail.substr(at + head.size()), c.trail);
    EXPECT_EQ(info.error.getErrHAPName(), c.hap);
    info.setErrDisable(true);
    EXPECT_EQ(execHAP(info, c.hap, "", c.para.data()), "ok") << "errors are disabled";
    EXPECT_TRUE(info.isHAPCtlInfoEmpty());
  }
}

TEST_F(ControllerTest, TracesAndPassesOnWhatAHAPThrows) {
  configure({MODULE_TST, MODULE_PLAIN}, {});
  start();
  struct Case {
    const char* hap;
    unsigned int para[2];
    const char* outcome;
    const char* trail;
  };
  const Case cases[] = {
      {"TST_Throw", {0, 0x70001}, "TRX 70001", "E 100100b (51 70001 0 0)\n"},
      {"TST_Throw", {0, 0x7000c}, "TRX 7000c", "E 1001009 (51 0 0 0)\n"},
      {"TST_Throw", {0, 0x7000d}, "TRX 7000d", "E 100100a (51 0 0 0)\n"},
      {"TST_Throw", {1, 0}, "other", "E 100100c (51 0 0 0)\nE 4003004 (51 0 0 0)\n"},
      {"TST_Throw", {2, 0}, "other", "E 100100c (51 0 0 0)\nE 4003004 (51 0 0 0)\n"},
      {"PLAIN_Pass", {0x1234, 0}, "TRX 1234", "E 100100b (51 1234 0 0)\n"},
      {"TST_Reset", {0x55, 0}, "TRX 55", "E 7001000 (id 0 0 0)\nE 100100b (51 55 0 0)\n"},
  };
  TRXInfo info(0x51, 126);
  for (const Case& c : cases) {
    TraceCapture capture(kw::platform::kTraceError);
    EXPECT_EQ(execHAP(info, c.hap, "", c.para), c.outcome);
    EXPECT_EQ(capture.trail(), c.trail);
    EXPECT_TRUE(info.isHAPCtlInfoEmpty());
  }
}

TEST_F(ControllerTest, TracesNestedCallsAndRefusesTooManyOfOneName) {
  configure({MODULE_TST}, {}, "hapmodule.nest.exec.limit=2\n");
  start();
  kw::sysobj::Component board(1, 0, "board");
  kw::sysobj::Component rail(300, 1, "rail", &board);
  units = {&rail};
  TRXInfo info(0x51, 126);
  TraceCapture capture(kErrorsAndInfos | kw::platform::kTraceDebug);
  unsigned int out[1] = {0};
  EXPECT_EQ(execHAP(info, "TST_Nest", "", nullptr, out), "TRX 7000a");
  EXPECT_EQ(out[0], 3U);
  const std::string nested =
      "I 1001001 \"TST_Nest\"\nI 1001003 \"board/rail\"\nD 1001004 (51 0 0 0)\n";
  std::string trail = capture.trail();
  for (std::size_t at = trail.find("D 4000001"); at != std::string::npos;
       at = trail.find("D 4000001")) {
    trail.erase(at, trail.find('\n', at) + 1 - at);
  }
  EXPECT_EQ(trail, "I 4003000 \"TST_Nest\"\nI 4003002 \"board/rail\"\nD 4003003 (51 0 0 0)\n" +
                       nested + nested + nested +
                       "E 1001008 \"TST_Nest\"\nE 100100b (51 7000a 0 0)\n"
                       "E 100100b (51 7000a 0 0)\nE 100100b (51 7000a 0 0)\n");
  EXPECT_EQ(info.error.getErrCode(), 0U) << "the error record is not touched";

  configure({MODULE_TST}, {});
  EXPECT_EQ(load(), "ok");
  out[0] = 0;
  EXPECT_EQ(execHAP(info, "TST_Nest", "", nullptr, out), "TRX 7000a");
  EXPECT_EQ(out[0], 11U) << "the default limit of 10 lets eleven run";
}

TEST_F(ControllerTest, TracesACallOnAContextWithAnInterruptedTable) {
  configure({MODULE_TST}, {});
  start();
  TRXInfo info(0x51, 126);
  info.pushTblCtlInfo(new trx::TblCtlInfo("t", units));
  info.setErrDisable(true);
  const unsigned int para[2] = {1, 0};
  TraceCapture capture(kErrorsAndInfos);
  EXPECT_EQ(execHAP(info, "TST_Fail", "", para), "ok");
  const std::string trail = capture.trail();
  EXPECT_NE(trail.find("I 1001001 \"TST_Fail\"\n"), std::string::npos) << trail;
  EXPECT_NE(trail.find("I 100100d \"TST_Fail\"\n"), std::string::npos)
      << "the end is traced after a failure with errors disabled: " << trail;
}

/// Writes down its notifications; throws when told to.
class NotedAPI : public QuietAPI {
 public:
  explicit NotedAPI(std::string& notes) : notes_(notes) {}
  ~NotedAPI() override { notes_ += "destroyed "; }
  void beginHAPExec(TRXInfo* info) override {
    notes_ += "begin ";
    if (info->getTableName() == "throw") {
      throw std::runtime_error("begin");
    }
    // Whoever takes the object away meanwhile, it gets the end of what it got the beginning of.
    info->setAPI(nullptr);
  }
  void endHAPExec(TRXInfo* info) override {
    notes_ += "end ";
    if (info->getTableName() == "throw at end") {
      throw std::runtime_error("end");
    }
  }

 private:
  std::string& notes_;
};

TEST_F(ControllerTest, NotifiesTheAPIObjectAroundTheOutermostHAP) {
  static std::string notes;  // outlives the engine, which owns the object
  configure({MODULE_TST}, {});
  start();
  engine->setHAPAPI(new NotedAPI(notes));
  TRXInfo info(0x51, 126);
  const unsigned int thrown[2] = {1, 0};
  EXPECT_EQ(execHAP(info, "TST_Call", "TST_Ok"), "ok");
  EXPECT_EQ(notes, "begin end ");
  EXPECT_EQ(execHAP(info, "TST_Throw", "", thrown), "other");
  EXPECT_EQ(notes, "begin end begin end ");
  info.setTableName("throw");
  EXPECT_EQ(execHAP(info, "TST_Ok"), "other");
  EXPECT_EQ(notes, "begin end begin end begin ");
  info.setTableName("throw at end");
  const unsigned int code[2] = {0, 0x99};
  EXPECT_EQ(execHAP(info, "TST_Throw", "", code), "TRX 99") << "the HAP's own exception goes on";
  EXPECT_EQ(execHAP(info, "TST_Ok"), "other");
  notes.clear();
  engine->setHAPAPI(nullptr);
  EXPECT_EQ(notes, "destroyed ");
}

TEST_F(ControllerTest, RefusesANullContextAndSurvivesAStaleLoaderMessage) {
  configure({MODULE_TST}, {});
  start();
  TraceCapture capture(kw::platform::kTraceError);
  EXPECT_EQ(outcomeOf([this] {
              engine->getHAPController()->execHAP(nullptr, units, "TST_Ok", "", nullptr, nullptr,
                                                  false);
            }),
            "TRX 70009");
  EXPECT_EQ(capture.trail(), "E 1001000 (id 0 0 0)\n");
  TRXInfo info(0x51, 126);
  EXPECT_EQ(execHAP(info, "TST_Stale"), "ok");
  EXPECT_EQ(execHAP(info, "TST_Ok"), "ok");
  EXPECT_EQ(load(), "ok");
}

TEST_F(ControllerTest, MakesMaskAndChannelOfTheUnits) {
  configure({MODULE_TST}, {});
  start();
  struct Case {
    std::vector<std::pair<int, int>> units;
    unsigned long long mask;
    int channel;
    int api_value;
  };
  const Case cases[] = {
      {{{300, 3}}, 1ULL << 19, 3, 0},
      {{{301, 3}}, 1ULL << 3, 3, 0},
      {{{301, 5}, {300, 2}}, 1ULL << 5 | 1ULL << 18, 5, 0},
      {{{302, 0}}, 1ULL << 32, 16, 0},
      {{{303, 23}}, 1ULL << 63, 47, 0},
      {{{303, 24}, {301, -1}, {303, 2147483647}, {302, 1}}, 1ULL << 33, 17, 0},
      {{{301, 1}, {299, 1}}, ~0ULL, -1, -1},
      {{}, 0, 48, 0},
  };
  for (const Case& c : cases) {
    std::vector<kw::sysobj::Component> held;
    held.reserve(c.units.size());
    units.clear();
    for (const auto& [type, no] : c.units) {
      units.push_back(&held.emplace_back(type, no, "u"));
    }
    TRXInfo info(0x51, 126);
    unsigned int out[4] = {};
    TraceCapture capture(kw::platform::kTraceError);
    EXPECT_EQ(execHAP(info, "TST_Units", "", nullptr, out), "ok");
    EXPECT_EQ(out[0] | static_cast<unsigned long long>(out[1]) << 32, c.mask);
    EXPECT_EQ(static_cast<int>(out[2]), c.channel);
    EXPECT_EQ(static_cast<int>(out[3]), c.api_value);
    const std::string line = "E 15000001 [12b 12d 12c 12e 12f 0 0 0]\n";
    EXPECT_EQ(capture.trail(), c.channel == -1 ? line + line : "");
  }
  EXPECT_EQ(trx::rsc_value_to_sbc_ch_value(15), 15);
  EXPECT_EQ(trx::rsc_value_to_sbc_ch_value(16), 0);
  EXPECT_EQ(trx::rsc_value_to_sbc_ch_value(-1), -1);
}

}  // namespace
}  // namespace kw::trx::testing
