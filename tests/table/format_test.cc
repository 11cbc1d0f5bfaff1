// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/table_format.h"

#include <algorithm>
#include <memory>
#include <sstream>

#include "kw/trx/table.h"
#include "table_fixture.h"
#include "untyped_format.h"

namespace kw::trx::testing {
namespace {

using trx::TableData;
using trx::TblFmt00;
using trx::TblFmtFactory;

class FormatTest : public ::testing::Test {
 protected:
  TableData* read(const std::string& content) const {
    auto* data = new TableData;
    EXPECT_EQ(data->load(dir_.write("t.csv", content)), 0);
    return data;
  }

  /// "good", or the first error record of the check and the last digit of its last one.
  std::string check(const std::string& content) const {
    TblFmt00 format("t", read(content));
    TraceCapture capture(kw::platform::kTraceError);
    const int result = format.checkFormat();
    std::istringstream trail(capture.trail());
    std::string reason, step;
    std::getline(trail, reason);
    std::getline(trail, step);
    return result == 0 ? "good" + reason : reason.substr(2) + " " + step.substr(9, 1);
  }

  TempDir dir_;
};

TEST_F(FormatTest, AFileFailsForTheFirstRuleThatItBreaks) {
  const std::string start = kHead + ",0,START\n";
  const std::string end = ",ff,END\n";
  const std::pair<std::string, const char*> cases[] = {
      {start + end, "good"},
      {start + "rest,2,HAP,h_A,M_1,to,-1 ff 1-2\n,3,WAIT,,500\n,4,END,a-Z\nto,5,TABLE,b\n" + end,
       "good"},
      {start + ",2,HAP,h,,NOP\n,3,HAP,,,STACK\n,4,HAP\n,5,WAIT\n,6,TABLE\n,7,CHECK\n" + end,
       "good"},
      {start + end + ",0,WHAT,!,!\n\n,,,,\nx,,HAP,?,?,?,?,?,?\n", "good"},
      {kHead + ",-1,START\n,0X1f,END\n, \t20,END\n,+30,END\n,,END\n,000000000005,END\n", "good"},
      {start + "STACK,1,CHECK,,,NOP\nto-do,2,CHECK,,,to-do\nNOP,3,CHECK,,,STACK\n" + end, "good"},
      {start + ",1,END,,,,,,,!?,\n", "good"},
      {"\xEF\xBB\xBF" + kHead + ",0,START\r\n,1,\"END\"", "good"},
      {"VERSION,1\nFORMAT,0,START\n,1,END\n", "good"},
      // Header keys and the table area.
      {"", "13001000 (id 0 0 0) 0"},
      {start + "FORMAT,1,END\n", "13001000 (id 0 0 0) 0"},
      {start + end + "VERSION,1\n", "13001001 (id 0 0 0) 0"},
      {kHead + ",0,start\n" + end, "13001002 (id 0 0 0) 0"},
      {start + ",1,end\n", "13001003 (id 0 0 0) 0"},
      {"FORMAT,0\n,0,START\nVERSION,1\n,1,END\n", "13001004 (id 0 0 0) 0"},
      {"VERSION,0\n,0,START\nFORMAT,1\n,1,END\n", "13001004 (id 0 0 0) 0"},
      {"VERSION,0\nFORMAT,1,END\n,0,START\n,1,END\n", "13001005 (id 0 0 0) 0"},
      // NUMBER counts by its value, which has 32 bits on every host.
      {start + ", ,HAP\n" + end, "13002001 (id 3 1 0) 1"},
      {start + std::string(",1\0,HAP\n", 8) + end, "13002001 (id 3 1 0) 1"},
      {kHead + ",1ffffffff,START\n,-1,END\n", "13002002 (id 3 1 ffffffff) 1"},
      {kHead + ",-ffffffff,START\n,1,END\n", "13002002 (id 3 1 1) 1"},
      {kHead + ",-10000000000000000,START\n,FFFFFFFF,END\n", "13002002 (id 3 1 ffffffff) 1"},
      // LABEL
      {start + "a,1,END\na,2,END\n", "13003001 (id 4 0 0) 2"},
      {start + "\xC3\xA4,1,END\n", "14000000 (id 3 0 0) 2"},
      // COMMAND and its columns, the leftmost wrong one first.
      {start + ",1,,\n" + end, "13007000 \"\" 3"},
      {start + ",1,Hap\n" + end, "13007000 \"Hap\" 3"},
      {kHead + ",0,START,x\n" + end, "14000000 (id 2 3 0) 3"},
      {start + ",1,END,a b,0,0,0,0\n", "14000000 (id 3 3 0) 3"},
      {start + ",1,END,a,0,0,0,0\n", "14000000 (id 3 4 0) 3"},
      {start + ",1,WAIT,,-5\n" + end, "14000000 (id 3 4 0) 3"},
      {start + ",1,TABLE,a-b\n" + end, "14000000 (id 3 3 0) 3"},
      {start + ",1,HAP,a,,,,,x\n" + end, "14000000 (id 3 8 0) 3"},
      {start + ",1,HAP,a,,,, \n" + end, "14000000 (id 3 7 0) 3"},
      {start + ",1,HAP,a,,x-y\nx-y,2,END\n", "14000000 (id 3 5 0) 3"},
      {start + ",1,HAP,a,,,0x1\n" + end, "14000000 (id 3 6 0) 3"},
      {start + ",1,CHECK,a\n" + end, "14000000 (id 3 3 0) 3"},
      {start + ",1,CHECK,,,,1\n" + end, "14000000 (id 3 6 0) 3"},
      // PARA and ERROR
      {start + ",1,HAP,a,,,1 \n" + end, "1300a001 (id 3 6 0) 3"},
      {start + ",1,HAP,a,,,1 000000001\n" + end, "1300a001 (id 3 6 0) 3"},
      {start + ",1,HAP,a,,out\n" + end + "out,2\n", "1300a003 (id 3 5 0) 3"},
      {kHead + "out\n,0,START\n,1,CHECK,,,out\n" + end, "1300c002 (id 4 5 0) 3"},
      {start + ",1,CHECK,,,NOP\n" + end, "1300c002 (id 3 5 0) 3"},
  };
  for (const auto& [file, result] : cases) EXPECT_EQ(check(file), result) << file;
}

TEST_F(FormatTest, EachLookUpOfAMissingCellIsTraced) {
  TblFmt00 format("t", read(kHead + ",0,START\n,1,HAP\n,2,END\n"));
  TraceCapture capture(kw::platform::kTraceDebug2);
  const auto look_ups = [&capture] {
    const std::string trail = capture.trail();
    return std::count(trail.begin(), trail.end(), '\n');
  };
  // COMMAND of the two header rows in four searches; six columns per row, PARA and ERROR of HAP.
  EXPECT_EQ(format.checkFormat(), 0);
  EXPECT_EQ(look_ups(), 2 * 4 + 3 * 6 + 2);
  // Four columns of HAP, one of END.
  const std::unique_ptr<trx::HAPTable> table(format.createHAPTable());
  EXPECT_EQ(look_ups(), 4 + 1);
}

/// Reads the cell HAP/TABLE from another column.
class OtherFormat : public TblFmt00 {
 public:
  using TblFmt00::getMember;
  using TblFmt00::TblFmt00;
  std::string getMember(const unsigned int& row, const std::string& column) override {
    return TblFmt00::getMember(row, column == "HAP/TABLE" ? "RSV1" : column);
  }
};

TEST_F(FormatTest, ADerivedFormatReadsCellsInItsOwnWay) {
  OtherFormat good("t", read(kHead + ",0,START\n,1,TABLE,!,,,,sub\n,2,END\n"));
  TraceCapture capture(kw::platform::kTraceError);
  EXPECT_EQ(good.checkCmdTABLE(3), -1) << "RSV1 itself must be empty";
  EXPECT_EQ(capture.trail(), "E 14000000 (id 3 7 0)\n") << "HAP/TABLE is not looked at";
}

TEST_F(FormatTest, ADerivedFormatNeedsNoTypeInformation) {
  const std::unique_ptr<TblFmt00> format(
      makeUntypedFormat(read(kHead + "a,0,START\n,1,HAP,A_B,,a\n,2,END\n")));
  EXPECT_EQ(format->checkFormat(), 0);
  const std::unique_ptr<trx::HAPTable> table(format->createHAPTable());
  EXPECT_NE(table->getEntry(2), nullptr);
}

/// Knows a label that stands in no cell, for the row behind START.
class AliasFormat : public TblFmt00 {
 public:
  using TblFmt00::findEntry;
  using TblFmt00::TblFmt00;
  std::vector<unsigned int> findEntry(const unsigned int& col, const std::string& value,
                                      const unsigned int& from, const unsigned int& to) override {
    return value == "alias" ? std::vector<unsigned int>{from + 1}
                            : TblFmt00::findEntry(col, value, from, to);
  }
};

TEST_F(FormatTest, ADerivedFormatFindsLabelsInItsOwnWay) {
  AliasFormat format("t", read(kHead + ",0,START\n,1,HAP,A_B,,alias\n,2,CHECK,,,alias\n,3,END\n"));
  EXPECT_EQ(format.checkCmdHAP(3), 0);
  EXPECT_EQ(format.checkFormat(), 0) << "one row by one rule";
  const std::unique_ptr<trx::HAPTable> table(format.createHAPTable());
  trx::TRXInfo info;
  info.pushTblCtlInfo(new trx::TblCtlInfo("t", {}));
  info.setTblCmdErrStack();
  EXPECT_EQ(table->getEntry(2)->exec(&info), 1) << "jumps where the format says";
}

TEST_F(FormatTest, EachStepSaysThatItFindsNoTableArea) {
  TblFmt00 format("t", read(kHead + ",1,HAP,A_B,,x\n,2,CHECK,,,x\n"));
  const struct {
    std::function<bool()> fails;
    const char* reason;
  } steps[] = {{[&] { return format.checkNumber() == -1; }, "E 13002000 (id 0 0 0)\n"},
               {[&] { return format.checkLabel() == -1; }, "E 13003000 (id 0 0 0)\n"},
               {[&] { return format.checkTblCmd() == -1; }, ""},
               {[&] { return format.checkCmdHAP(2) == -1; }, "E 1300a002 (id 0 0 0)\n"},
               {[&] { return format.checkCmdCHECK(3) == -1; }, "E 1300c001 (id 0 0 0)\n"},
               {[&] { return format.createHAPTable() == nullptr; }, ""}};
  TraceCapture capture(kw::platform::kTraceError);
  for (const auto& step : steps) {
    EXPECT_TRUE(step.fails());
    EXPECT_EQ(capture.trail(), std::string("E 13004000 (id 0 0 0)\nE 13005000 (id 0 0 0)\n"
                                           "E 13006000 (id 0 0 0)\n") +
                                   step.reason);
  }
}

TEST_F(FormatTest, TheFactoryTakesTheDataOnlyWithAFormat) {
  EXPECT_EQ(TblFmtFactory::getTblFmt("t", nullptr), nullptr);
  for (const char* refused : {"FORMAT,1\nVERSION,1\n", "FORMAT,0\n", "VERSION,1\n",
                              "FORMAT,0\nVERSION,ffffffff\n", "FORMAT,0\nVERSION,-1\n"}) {
    const std::unique_ptr<TableData> data(read(refused));
    EXPECT_EQ(TblFmtFactory::getTblFmt("t", data.get()), nullptr) << refused;
  }
  TableData* known = read("FORMAT,5\nVERSION,7\n");
  known->formatNo = 0;
  const std::unique_ptr<TblFmtFactory> format(TblFmtFactory::getTblFmt("t", known));
  EXPECT_NE(dynamic_cast<TblFmt00*>(format.get()), nullptr) << "a value that is known is kept";
  EXPECT_EQ(known->versionNo, 7);
}

TEST_F(FormatTest, SearchesAndCharacterChecks) {
  using Rows = std::vector<unsigned int>;
  TblFmt00 format("t", read("a\nb\na,x\n\n"));
  EXPECT_EQ(format.findEntry(0, "a"), (Rows{0, 2}));
  EXPECT_EQ(format.findEntry(0, "a", 0, 4), Rows{}) << "a range is not clipped";
  EXPECT_EQ(format.findEntry(0, "a", 3, 2), Rows{});
  EXPECT_EQ(TblFmt00("t", read("")).findEntry(0, ""), Rows{});
  TraceCapture capture;
  TblFmtFactory::item_check_list_t list[] = {
      {"none", 0, {}}, {"LABEL", 2, {{'b', 'b'}, {'a', 'a'}}}, {"NUMBER", 0, {}}};
  EXPECT_EQ(format.checkItemString(9, 0, list) + format.checkItemString(2, 2, list), 0);
  EXPECT_EQ(capture.trail(), "");
  EXPECT_EQ(format.checkItemString(2, 3, list), -1);
  EXPECT_EQ(capture.trail(), "E 14000000 (id 2 1 0)\n");
  EXPECT_EQ(format.checkItemString(0, 3, list), 0) << "a missing cell is empty";
}

}  // namespace
}  // namespace kw::trx::testing
