// SPDX-License-Identifier: Apache-2.0
// Tests of the supply rails and of the table that switches one on, as any module author would write
// them.
#include "board.h"
#include "kw/trx/testing/module_test.h"

namespace {

using kw::trx::testing::errorOf;
using kw::trx::testing::TraceCapture;
using kw::trx::trx::TRXInfo;

class PsuTest : public kw::trx::testing::ModuleTest {
 protected:
  PsuTest() {
    units = {&rail_};
    info_.setHAPAPIExpandData(new demo::BoardLink(board_));
  }

  kw::sysobj::Component rail_{300, 2, "rail2"};
  demo::Board board_;
  TRXInfo info_;
};

TEST_F(PsuTest, PowerUpSetsTheVoltageAndSwitchesTheRailOn) {
  const unsigned int para[] = {3300};
  TraceCapture capture(kw::platform::kTraceInfo);
  EXPECT_EQ(execHAP(info_, "PSU_PowerUp", "", para), "ok");
  EXPECT_EQ(board_.set_mv[2], 3300U);
  EXPECT_TRUE(board_.enabled[2]);
  // The two HAPs inside it, in the trace.
  EXPECT_EQ(capture.trail(),
            "I 4003000 \"PSU_PowerUp\"\nI 4003002 \"rail2\"\n"
            "I 1001001 \"PSU_SetVoltage\"\nI 1001003 \"rail2\"\nI 100100d \"PSU_SetVoltage\"\n"
            "I 1001001 \"PSU_Enable\"\nI 1001003 \"rail2\"\nI 100100d \"PSU_Enable\"\n"
            "I 4003005 \"PSU_PowerUp\"\n");
}

TEST_F(PsuTest, VoltageBeyondTheLimitIsRefusedWithItsRail) {
  const unsigned int para[] = {99000};
  EXPECT_EQ(execHAP(info_, "PSU_SetVoltage", "", para), "TRX 7000a");
  EXPECT_EQ(errorOf(info_), "PSU_SetVoltage 20001 [2 182b8 157c] units 12c.2");
  EXPECT_EQ(board_.set_mv[2], 0U);
}

TEST_F(PsuTest, InitTableLeavesTheRailWithinItsLimits) {
  EXPECT_EQ(execTable(info_, "init"), "ok") << errorOf(info_);
  EXPECT_EQ(board_.set_mv[2], 3300U);
}

TEST_F(PsuTest, InitTableEndsWithErrorWhenASwitchSticks) {
  stubHAP("PSU_Enable", [](TRXInfo* info, const char*, const unsigned int*, unsigned int*) {
    info->error.setErrCode(0x20007);
    return 1;
  });
  EXPECT_EQ(execTable(info_, "init"), "TRX 7000b");
  EXPECT_EQ(board_.set_mv[2], 3300U);
  EXPECT_FALSE(board_.enabled[2]);
  EXPECT_EQ(errorOf(info_), "PSU_Enable 20007 row init:2");
}

TEST_F(PsuTest, InitTableEndsWithErrorOnARailThatIsNotThere) {
  kw::sysobj::Component no_rail(300, demo::kRails, "no-rail");
  units = {&no_rail};
  EXPECT_EQ(execTable(info_, "init"), "TRX 7000b");
  EXPECT_EQ(errorOf(info_), "PSU_SetVoltage 20002 [4] row init:2");
}

}  // namespace
