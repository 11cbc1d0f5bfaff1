// SPDX-License-Identifier: Apache-2.0
// Commands as they are built from rows, and what one row does.
#include "kw/trx/table_commands.h"

#include <signal.h>
#include <sys/time.h>

#include <chrono>
#include <memory>

#include "kw/trx/table_format.h"
#include "table_fixture.h"

namespace kw::trx::testing {
namespace {

using trx::TRXInfo;

class CommandTest : public TableFixture {
 protected:
  void SetUp() override { load({}, kRequester); }

  std::unique_ptr<trx::HAPTable> build(const std::string& rows) const {
    auto* data = new trx::TableData;
    data->load(dir.write("t.csv", "FORMAT,00\nVERSION,1f\n" + rows));
    const std::unique_ptr<trx::TblFmtFactory> format(trx::TblFmtFactory::getTblFmt("name", data));
    EXPECT_EQ(format->checkFormat(), 0) << rows;
    return std::unique_ptr<trx::HAPTable>(format->createHAPTable());
  }

  static void push(TRXInfo& info) { info.pushTblCtlInfo(new trx::TblCtlInfo("t", {})); }
};

TEST_F(CommandTest, EachRowTracesMovesAndRecords) {
  struct Case {
    const char* row;  ///< entry 1 of a table whose entry 2 has the label "to"
    const char* records;
    int index;
    const char* after;  ///< error end, called table, message, table that failed, mark
  };
  const Case cases[] = {
      {",0,START", "I 10000000 (51 0 0 0)\n", 1, ""},
      {",1e,TABLE,b", "I 11000000 (51 1e 0 0)\nI 11000001 \"b\"\n", 2, " b"},
      {",1e,END", "I e000001 (51 1e 0 0)\n", -1, ""},
      {",1e,END,M", "I e000000 (51 1e 0 0)\n", -1, "end M"},
      {",1e,WAIT,,0", "I 12000000 (51 1e 0 0)\n", 2, ""},
      {",1e,WAIT,,3599999", "I 12000000 (51 1e 36ee7f 0)\n", 2, "TRX 70003/3599999"},
      {",1e,WAIT,,3600001", "I 12000000 (51 1e 36ee80 0)\n", 2, "TRX 70003/3600000"},
      {",1e,WAIT,,4294967297", "I 12000000 (51 1e 36ee80 0)\n", 2, "TRX 70003/3600000"},
      {",1e,HAP,TBL_Run", "I f000000 (51 1e 0 0)\n", 2, ""},
      {",1e,HAP,TBL_Run,fail", "I f000000 (51 1e 0 0)\nE f000004 (51 7000a 0 0)\n", -1, "end t1e"},
      {",1e,HAP,TBL_Run,fail,NOP", "I f000000 (51 1e 0 0)\n", 2, ""},
      {",1e,HAP,TBL_Run,trx,NOP", "I f000000 (51 1e 0 0)\nd f000001 (51 12345 0 0)\n", 2, ""},
      {",1e,HAP,TBL_Run,trx,STACK", "I f000000 (51 1e 0 0)\nE f000002 (51 12345 0 0)\n", 2,
       " t1e mark"},
      {"x,1e,HAP,TBL_Run,trx,x", "I f000000 (51 1e 0 0)\nE f000003 (51 12345 0 0)\n", 1, " t1e"},
      {",1e,HAP,TBL_Run,other,NOP", "I f000000 (51 1e 0 0)\nE f000005 (51 0 0 0)\n", 1, "other"},
      {",1e,CHECK,,,to", "I d000000 (51 1e 0 0)\n", 2, ""},
      {"mark,1e,CHECK,,,mark", "I d000000 (51 1e 0 0)\nE d000001 (51 0 0 0)\n", 1, " mark"},
      {"NOP,1e,CHECK,,,NOP", "I d000000 (51 1e 0 0)\n", 2, ""},
      {"mark,1e,CHECK", "I d000000 (51 1e 0 0)\nE d000002 (51 0 0 0)\n", -1, "end mark"},
  };
  for (const Case& c : cases) {
    const bool start = c.records[2] == '1' && c.records[3] == '0';
    const auto table = build((start ? "" : ",0,START\n") + std::string(c.row) + "\nto,ff,END\n");
    EXPECT_EQ(table->name + std::to_string(table->getVersion()), "name31");
    TRXInfo info(0x51, 126);
    push(info);
    obeyModes(info);
    if (c.row[0] == 'm') info.setTblCmdErrStack();
    trx::TblCtlInfo* current = info.getCurTblCtlInfo();
    current->index = 1;
    TraceCapture capture;
    const std::string outcome = outcomeOf([&] { table->getEntry(start ? 0 : 1)->exec(&info); });
    EXPECT_EQ(recordsOf(capture.trail()), c.records) << c.row;
    EXPECT_EQ(current->index, c.index) << c.row;
    std::string after = outcome != "ok" ? outcome : current->errEnd ? "end" : "";
    if (!current->callTableName.empty()) after += " " + current->callTableName;
    if (!info.getTblRtnMsg().empty()) after += " " + info.getTblRtnMsg();
    if (info.error.errCmdNumber == 0x1e) after += " " + info.error.errTableName + "1e";
    EXPECT_EQ(after + (info.isTblCmdErrStack() ? " mark" : ""), c.after) << c.row;
  }
}

TEST_F(CommandTest, ParametersAreHexadecimalWordsOfThirtyTwoBits) {
  using Words = std::vector<unsigned int>;
  const std::pair<const char*, Words> cases[] = {
      {"", {}}, {"ffffffff", {0xffffffff}}, {"-1 -fffffff 1-2 - 0", {~0U, 0xf0000001, 1, 0, 0}}};
  for (const auto& [para, words] : cases) {
    TRXInfo info(0x51, 126);
    push(info);
    Words seen{42};
    follow(info, [&, &want = words](TRXInfo*, const std::string& mode, const unsigned int* got) {
      EXPECT_EQ(mode, "M_1");
      seen = got == nullptr ? Words{} : Words(got, got + want.size());
      return 0;
    });
    build(std::string(",0,START\n,1,HAP,TBL_Run,M_1,,") + para + "\n,2,END\n")
        ->getEntry(1)
        ->exec(&info);
    EXPECT_EQ(seen, words);
  }
}

TEST_F(CommandTest, WaitIsFixedWhenItIsMadeAndSurvivesSignals) {
  TRXInfo info(0x51, 126);
  push(info);
  trx::TblCmdWait handed_over(3, 4);
  load({});
  trx::TblCmdWait slept(3, 4);
  handed_over.setTime(1150);
  slept.setTime(1150);
  EXPECT_EQ(outcomeOf([&] { handed_over.exec(&info); }), "TRX 70003/1150");

  struct sigaction action = {};
  action.sa_handler = [](int) {};
  sigaction(SIGALRM, &action, nullptr);
  const itimerval every_30_ms = {{0, 30000}, {0, 30000}};
  setitimer(ITIMER_REAL, &every_30_ms, nullptr);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(slept.exec(&info), 4);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1150));
  const itimerval never = {};
  setitimer(ITIMER_REAL, &never, nullptr);
}

}  // namespace
}  // namespace kw::trx::testing
