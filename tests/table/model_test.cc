// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "kw/trx/table_commands.h"
#include "kw/trx/table_format.h"
#include "kw/trx/testing/trace_capture.h"

namespace kw::trx::testing {
namespace {

using namespace kw::trx::trx;  // NOLINT(google-build-using-namespace)

struct CountedCommand : HAPTableCommand {
  explicit CountedCommand(int& count) : HAPTableCommand(1, 2), living(count) { ++living; }
  ~CountedCommand() override { --living; }
  int exec(TRXInfo*) override { return -1; }
  int& living;
};

HAPTable* makeTable(const char* name, int& living) {
  auto* table = new HAPTable(name, 7);
  table->addEntry(new CountedCommand(living));
  return table;
}

TEST(TableModelTest, ListOwnsTablesAndTablesOwnCommands) {
  int living = 0;
  TraceCapture capture;
  {
    TableList list;
    list.clear();
    list.addTable(nullptr);
    list.addTable(makeTable("a", living));
    list.addTable(makeTable("b", living));
    HAPTable* later = makeTable("a", living);
    list.addTable(later);
    EXPECT_EQ(living, 2);
    EXPECT_EQ(list.getTable("a"), later);
    EXPECT_EQ(list.getTable("A"), nullptr);
    EXPECT_EQ(capture.trail(), "E c000000 (0 0 0 0)\nI c000001 \"a\"\nE c001000 \"A\"\n");
    later->addEntry(nullptr);
    EXPECT_NE(later->getEntry(0), nullptr);
    EXPECT_EQ(later->getEntry(1), later->getEntry(-1));
    EXPECT_EQ(capture.trail().substr(0, 20), "E 3000000 (0 0 0 0)\n");
    list.clear();
    EXPECT_EQ(living, 0);
    list.addTable(new HAPTable("empty", 1));
    list.addTable(makeTable("full", living));
  }
  EXPECT_EQ(living, 0);
  EXPECT_EQ(capture.trail(), "D c002001 (0 0 0 0)\nD c002001 (0 0 0 0)\nI 3002000 (0 0 0 0)\n");
  HAPTable("x", 1).getEntry(-1);
  EXPECT_EQ(capture.trail(), "E 3001000 (ffffffff 0 0 0)\nI 3002000 (0 0 0 0)\n");
}

TEST(TableModelTest, SetMemberReleasesWhatWasHeldBefore) {
  TblCmdHAP hap(3, 4);
  auto* para = new unsigned int[2]{};
  hap.setMember("a", "", new unsigned int[1], new unsigned int[1], 0, 9);
  hap.setMember("a", "", para, nullptr, kErrModeStack, 9);
  hap.setMember("a", "", para, nullptr, kErrModeJump, 9);
  EXPECT_TRUE(hap.isErrJump() && !hap.isErrStack() && !hap.isErrNop() && !hap.isErrStop());
}

}  // namespace
}  // namespace kw::trx::testing
