// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <thread>

#include "kw/trx/table_driver.h"
#include "kw/trx/testing/engine_fixture.h"
#include "kw/trx/trx_info.h"

namespace kw::trx::trx {
namespace {

using testing::TraceCapture;
using Units = std::vector<kw::sysobj::Component*>;

TEST(ErrorTest, KeepsHAPAndAPIErrorsByTheirSizeInBytes) {
  TRXError error;
  const unsigned int detail[2] = {0x04030201, 0x08070605};
  error.setHAPError(0x20007, detail, 8);
  EXPECT_EQ(error.getErrCode(), 0x20007U);
  HAP_ERR_T record;
  std::memset(&record, 0xee, sizeof(record));
  error.getHAPError(&record);
  EXPECT_EQ(record.code, 0x20007U);
  EXPECT_EQ(record.detail[1], 0x08070605U);
  EXPECT_EQ(record.detail[2], 0U) << "what follows the detail is zero";
  EXPECT_EQ(record.detail[30], 0U);
  unsigned int words[2] = {0, 9};
  error.getHAPErrorDetail(words, 4);
  EXPECT_EQ(words[0], 0x04030201U);
  EXPECT_EQ(words[1], 9U) << "only four bytes were asked for";

  record.code = 3;
  error.setHAPError(&record);
  EXPECT_EQ(error.getHAPErrorDetailSize(), 124U);

  char block[] = "block";
  error.setAPIError(block, 5);
  error.setAPIError(static_cast<char*>(error.getAPIError()) + 1, 3);
  EXPECT_EQ(std::string(static_cast<char*>(error.getAPIError()), 3), "loc");
  EXPECT_EQ(error.getAPIErrorSize(), 3);
}

TEST(ErrorTest, TracesMisuseAndChangesNothing) {
  TRXError error;
  char block = 'b';
  error.setAPIError(&block, 1);
  const unsigned int detail = 1;
  TraceCapture capture;
  error.setAPIError(nullptr, 4);
  error.setHAPError(nullptr);
  error.setHAPError(5, nullptr, 8);
  error.getHAPErrorDetail(nullptr, 4);
  error.getHAPError(nullptr);
  error.addErrUnit(nullptr);
  EXPECT_EQ(capture.trail(),
            "E 6000000 (id 0 4 0)\nE 6001000 (id 0 0 0)\nI 6002000 (id 0 8 0)\n"
            "E 6004000 (id 0 4 0)\nE 6003000 (id 0 0 0)\nE 6005000 (id 0 0 0)\n");
  error.setAPIError(&block, -1);
  EXPECT_EQ(error.getAPIErrorSize(), 1);
  error.setHAPError(6, &detail, 0);
  EXPECT_EQ(error.getErrCode(), 6U) << "the codes are set all the same";
  EXPECT_EQ(error.getHAPErrorCode(), 6U);
  EXPECT_EQ(error.getHAPErrorDetailSize(), 0U);
}

TEST(ErrorTest, ClearsAllButTheHAPName) {
  TRXError error;
  kw::sysobj::Component unit(300, 1, "u");
  Units units = {&unit, nullptr};
  char block = 'b';
  error.setErrHAPName("A_B");
  error.setAPIError(&block, 1);
  error.setHAPError(5, reinterpret_cast<const unsigned int*>("abcd"), 4);
  error.addErrUnit(&unit);
  error.addErrUnitList(units);
  error.errTableName = "t";
  error.errCmdNumber = 4;
  Units named;
  error.getErrUnitList(named);
  EXPECT_EQ(named, (Units{&unit, &unit, nullptr}));
  error.clear();
  error.getErrUnitList(named);
  EXPECT_EQ(named, Units{});
  EXPECT_EQ(error.getErrHAPName(), "A_B");
  EXPECT_EQ(error.getErrCode() + error.getHAPErrorCode() + error.getHAPErrorDetailSize(), 0U);
  EXPECT_EQ(error.getAPIError(), nullptr);
  EXPECT_EQ(error.getAPIErrorSize(), 0);
  EXPECT_EQ(error.errTableName, "");
  EXPECT_EQ(error.errCmdNumber, 0U);
}

TEST(ErrorTest, ExceptionsTellCodeAndDetail) {
  const TRXException exception(kCodeWaitHandOver, 500);
  EXPECT_STREQ(exception.what(), "KWException");
  EXPECT_EQ(exception.getCode(), 0x70003U);
  EXPECT_EQ(exception.getDetail(), 500U);
  EXPECT_EQ(TRXException(kCodeConfig).getDetail(), 0U);
}

TEST(ContextTest, AnswersFromTheTopOfTheHAPStack) {
  TRXInfo info;
  Units units;
  const std::string a = "A_X";
  const std::string b = "B_X";
  const std::string mode;
  HAPCtlInfo first(units, a, mode, nullptr, nullptr, true);
  HAPCtlInfo second(units, b, mode, nullptr, nullptr, false);
  HAPCtlInfo third(units, a, mode, nullptr, nullptr, false);
  info.setAPIAutoRtn(7);
  info.setAPIRtnValue(7);
  EXPECT_EQ(info.getAPIAutoRtn(), 1) << "nothing runs: nothing is set";
  EXPECT_EQ(info.getAPIRtnValue(), 0);
  Units out = {nullptr};
  info.getHAPUnitList(out);
  EXPECT_EQ(out.size(), 1U) << "nothing runs: left alone";

  info.pushHAPCtlInfo(&first);
  EXPECT_TRUE(info.isErrDisables());
  info.setAPIRtnValue(-1);
  info.setAPIAutoRtn(7);
  info.pushHAPCtlInfo(&second);
  EXPECT_FALSE(info.isErrDisables());
  EXPECT_EQ(info.getAPIRtnValue(), 0);
  EXPECT_EQ(info.getAPIAutoRtn(), 1);
  info.getHAPUnitList(out);
  EXPECT_TRUE(out.empty()) << "an empty unit list is copied as well";
  info.pushHAPCtlInfo(&third);
  EXPECT_EQ(info.getSameNameHAPNestCount("A_X"), 2);
  EXPECT_EQ(info.getSameNameHAPNestCount("a_x"), 0);
  EXPECT_EQ(info.popHAPCtlInfo(), &third);
  EXPECT_EQ(info.popHAPCtlInfo(), &second);
  EXPECT_EQ(info.getAPIRtnValue(), -1);
  EXPECT_EQ(info.getAPIAutoRtn(), 7);
  info.releaseHAPCtlInfo();
  EXPECT_TRUE(info.isHAPCtlInfoEmpty());
}

TEST(ContextTest, TracesMisuseOfItsStacks) {
  TRXInfo info;
  TraceCapture capture;
  EXPECT_EQ(info.pushHAPCtlInfo(nullptr), -1);
  EXPECT_EQ(info.popHAPCtlInfo(), nullptr);
  EXPECT_EQ(info.pushTblCtlInfo(nullptr), -1);
  EXPECT_EQ(info.popTblCtlInfo(), nullptr);
  EXPECT_EQ(capture.trail(),
            "E 7000000 (id 0 0 0)\nE 7001000 (id 0 0 0)\n"
            "E 7002000 (id 0 0 0)\nE 7003000 (id 0 0 0)\n");
}

/// Counts how many of its kind live.
template <typename Base>
class Counted : public Base {
 public:
  template <typename... Arguments>
  explicit Counted(int& living, Arguments&&... arguments)
      : Base(std::forward<Arguments>(arguments)...), living_(living) {
    ++living_;
  }
  ~Counted() override { --living_; }

 private:
  int& living_;
};

TEST(ContextTest, OwnsTableRecordsAndExpandDataUntilInitialize) {
  int living = 0;
  {
    TRXInfo info(0x55, 3);
    const Units units;
    for (int round = 0; round < 2; ++round) {
      info.pushTblCtlInfo(new Counted<TblCtlInfo>(living, "t", units));
      info.pushTblCtlInfo(new Counted<TblCtlInfo>(living, "t", units));
      info.setHAPAPIExpandData(new Counted<hapapi::HAPAPIExpandData>(living));
      EXPECT_EQ(living, 3);
      EXPECT_EQ(info.getSameNameTblNestCount("t"), 2);
      if (round == 0) {
        info.initialize();
        EXPECT_EQ(living, 0);
        EXPECT_TRUE(info.isTblCtlInfoEmpty());
        EXPECT_EQ(info.getHAPAPIExpandData(), nullptr);
      }
    }
    delete info.popTblCtlInfo();
    EXPECT_EQ(living, 2) << "a record taken off is the caller's";
  }
  EXPECT_EQ(living, 0);
}

TEST(ContextTest, InitializeKeepsWhoAskedAndWhatToRun) {
  TRXInfo info(0x55, 3);
  testing::QuietAPI api;
  Units units = {nullptr};
  info.setAPI(&api);
  KWTrace* product = info.getProductHAPAPITrace();
  info.setTableName("t");
  info.setTableUnitList(units);
  info.setTblCmdErrStack();
  info.setTblErrEnd();
  info.setTblRtnMsg("m");
  info.setErrDisable(true);
  info.error.setErrCode(1);
  EXPECT_TRUE(info.isErrDisables());
  info.initialize();
  EXPECT_EQ(info.trxId, 0x55U);
  EXPECT_EQ(info.getProductHAPAPITrace(), product);
  EXPECT_EQ(info.getTableName(), "t");
  EXPECT_EQ(info.getTableUnitList(), units);
  EXPECT_EQ(info.getAPI(), nullptr);
  EXPECT_FALSE(info.isTblCmdErrStack() || info.isTblErrEnd() || info.isErrDisables());
  EXPECT_EQ(info.getTblRtnMsg(), "");
  EXPECT_EQ(info.error.getErrCode(), 0U);
}

TEST(ContextTest, ProductTraceHasTheClassOfTheAPIObjectOrEight) {
  testing::QuietAPI api;
  TRXInfo with(0x55, 3);
  with.setAPI(&api);
  TRXInfo without;
  TraceCapture capture;
  with.getProductHAPAPITrace()->error(1UL, "w");
  without.getProductHAPAPITrace()->error(1UL, "w");
  EXPECT_EQ(capture.trail(), "E 1 \"w\" region 3 class 9\nE 1 \"w\" region 7e class 8\n");
}

TEST(ContextTest, CarriesTheIdOfTheConstructingThread) {
  TRXInfo here;
  unsigned int there = 0;
  std::thread([&there] { there = TRXInfo().trxId; }).join();
  EXPECT_EQ(here.trxId, TRX::getTRXID());
  EXPECT_EQ(there >> 16, here.trxId >> 16) << "one process";
  EXPECT_NE(there, here.trxId);
}

}  // namespace
}  // namespace kw::trx::trx
