// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/table_driver.h"

#include "table_fixture.h"

namespace kw::trx::testing {
namespace {

using trx::TRXInfo;

class DriverTest : public TableFixture {
 protected:
  /// Flow of one call and its outcome.
  std::string flow(TRXInfo& info, const std::string& table = "") {
    TraceCapture capture;
    const std::string outcome = run(info, table);
    return flowOf(capture.trail()) + " -> " + outcome;
  }
};

TEST_F(DriverTest, RunsCalledTablesAndTakesAnErrorEndToTheTop) {
  const std::string end = ",f,END\n";
  load({{"ok", ",1,START\n,2,TABLE,b\n,3,TABLE,b\n" + end},
        {"b", ",11,START\n,12,END\n"},
        {"lost", ",1,START\n,2,TABLE,B\n" + end},
        {"nameless", ",1,START\n,2,TABLE\n,3,HAP,TBL_None\n" + end},
        {"ring", ",1,START\n,2,TABLE,ring2\n" + end},
        {"ring2", ",11,START\n,12,TABLE,ring\n" + end},
        {"stop", ",1,START\n,2,TABLE,stop2\n" + end},
        {"stop2", ",11,START\n,12,HAP,TBL_Run,stop\n" + end},
        {"drop", ",1,START\n,2,TABLE,drop2\n" + end},
        {"drop2", ",11,START\n,12,HAP,TBL_Run,drop\n" + end},
        {"deep", ",1,START\n,2,TABLE,c\n" + end},
        {"c", ",11,START\n,12,TABLE,d\n,13,HAP,TBL_None\n" + end},
        {"d", ",21,START\n,22,HAP,TBL_Run,fail,to\n,23,CHECK\nto,24,HAP,TBL_Run,fail\n" + end}},
       "haptable.nest.exec.limit=0\n");
  struct Case {
    const char* table;
    const char* flow;
    const char* after;  ///< error code, table and NUMBER of the record; error end
  };
  const Case cases[] = {
      {"ok",
       "b000000\"ok\" START1 TABLE2 11000001\"b\" START11 END12 TABLE3 11000001\"b\" START11 END12 "
       "ENDf -> ok",
       "0 0 0"},
      {"lost",
       "b000000\"lost\" START1 TABLE2 11000001\"B\" c001000\"B\" b000002\"B\" b001001\"lost\" "
       "b000004(51 -> TRX 7000b",
       "16777218 0 1"},
      {"x", "b000000\"x\" c001000\"x\" b000002\"x\" b000004(51 -> TRX 7000b", "16777218 0 1"},
      {"nameless", "b000000\"nameless\" START1 TABLE2 11000001\"\" -> ok", "0 0 0"},
      {"ring",
       "b000000\"ring\" START1 TABLE2 11000001\"ring2\" START11 TABLE12 11000001\"ring\" "
       "b001000\"ring\" -> TRX 7000b",
       "0 0 0"},
      {"stop",
       "b000000\"stop\" START1 TABLE2 11000001\"stop2\" START11 HAP12 b000003(51 -> TRX 70002",
       "0 0 0"},
      {"drop",
       "b000000\"drop\" START1 TABLE2 11000001\"drop2\" START11 HAP12 f000004(51 "
       "b000004(51 -> TRX 7000b",
       "119 0 1"},
      {"deep",
       "b000000\"deep\" START1 TABLE2 11000001\"c\" START11 TABLE12 11000001\"d\" START21 HAP22 "
       "f000003(51 HAP24 f000004(51 b001001\"c\" b001001\"deep\" b000004(51 -> TRX 7000b",
       "119 d34 1"},
  };
  for (const Case& c : cases) {
    TRXInfo info(0x51, 126);
    obeyModes(info);
    EXPECT_EQ(flow(info, c.table), c.flow);
    EXPECT_TRUE(info.isTblCtlInfoEmpty());
    const std::string number = std::to_string(info.error.errCmdNumber);
    EXPECT_EQ(std::to_string(info.error.getErrCode()) + " " + info.error.errTableName + number +
                  (info.isTblErrEnd() ? " 1" : " 0"),
              c.after);
    engine->setStopFlag(false);
  }
}

TEST_F(DriverTest, AHandedOverWaitGoesOnBehindItsRowWithTheUnitsOfTheCaller) {
  load({{"a", ",1,START\n,2,WAIT,,500\n,3,WAIT,,0\n,4,TABLE,b\n,5,END\n"},
        {"b", ",11,START\n,12,HAP,TBL_Run\n,13,WAIT,,7\n,14,END\n"}},
       kRequester);
  kw::sysobj::Component unit(300, 1, "u");
  units = {&unit};
  std::vector<kw::sysobj::Component*> seen;
  TRXInfo info(0x51, 126);
  follow(info, [&seen](TRXInfo* context, const std::string&, const unsigned int*) {
    context->getHAPUnitList(seen);
    return 0;
  });
  EXPECT_EQ(flow(info, "a"), "b000000\"a\" START1 WAIT2 -> TRX 70003/500");
  units.clear();
  EXPECT_EQ(flow(info, "other"),
            "b000001\"other\" WAIT3 TABLE4 11000001\"b\" START11 HAP12 WAIT13 -> TRX 70003/7");
  EXPECT_EQ(flow(info), "b000001\"other\" END14 END5 -> ok");
  EXPECT_EQ(seen, std::vector<kw::sysobj::Component*>{&unit});
}

TEST_F(DriverTest, AnInterruptedRequestFindsItsTablesByName) {
  const Tables tables = {{"a", ",1,START\n,2,CHECK\n,3,HAP,TBL_Run,other,NOP\n,4,END\n"}};
  struct Case {
    Tables reloaded;
    const char* flow;
    unsigned int err_code;
  };
  const Case cases[] = {
      {tables, "b000001\"a\" HAP3 f000005(51 9001001(51 -> other", 0},
      {{{"a", ",21,START\n,22,END\n,23,HAP,TBL_None,,NOP\n,24,END\n"}},
       "b000001\"a\" HAP23 f000001(51 END24 -> ok",
       0x1000001},
      {{{"a", ",21,START\n,22,END\n"}},
       "b000001\"a\" b000002\"a\" b000004(51 -> TRX 7000b",
       0x1000002},
      {{}, "b000001\"a\" c001000\"a\" b000002\"a\" b000004(51 -> TRX 7000b", 0x1000002},
  };
  for (const Case& c : cases) {
    load(tables);
    TRXInfo info(0x51, 126);
    obeyModes(info);
    EXPECT_EQ(flow(info, "a"), "b000000\"a\" START1 CHECK2 HAP3 f000005(51 9001001(51 -> other");
    load(c.reloaded);
    EXPECT_EQ(flow(info), c.flow);
    EXPECT_EQ(info.error.getErrCode(), c.err_code);
  }
}

}  // namespace
}  // namespace kw::trx::testing
