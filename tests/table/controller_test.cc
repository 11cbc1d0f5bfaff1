// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/table_controller.h"

#include <cstdio>
#include <random>

#include "table_fixture.h"

namespace kw::trx::testing {
namespace {

using trx::TRXInfo;

constexpr char kContinue[] = "haptable.loading.err.mode=continue\n";

class TableControllerTest : public TableFixture {
 protected:
  std::string load(const std::vector<std::string>& files, const std::string& lines) const {
    configure({}, files, lines);
    return outcomeOf([this] { engine->load(false); });
  }

  /// Whether the table "bad" of `content` is taken, with the table "good" listed behind it.
  bool isTaken(const std::string& content) {
    const std::string good = dir.write("good.csv", kHead + ",1,START\n,2,END\n");
    EXPECT_EQ(load({dir.write("bad.csv", content), good}, std::string(kContinue) + kRequester),
              "ok");
    TRXInfo good_info;
    EXPECT_EQ(run(good_info, "good"), "ok");
    TRXInfo info;
    info.setTableName("bad");
    TraceCapture capture(kw::platform::kTraceInfo);
    while (run(info).rfind("TRX 70003", 0) == 0) {
    }
    return capture.trail().find("I 10000000") != std::string::npos;
  }
};

TEST_F(TableControllerTest, UnusableFilesStopTheLoadOrAreLeftOut) {
  const std::string folder = dir.write("d.csv/file", "");
  struct Case {
    std::string file;
    std::string reason;  ///< before the records of the controller
    const char* name;
    char event;  ///< last digit of the first of its three records
  };
  const Case cases[] = {
      {"", "", "", '0'},
      {"tables/", "", "", '0'},
      {"/no/none.csv", "E a001000 \"none.csv\"\n", "none.csv", '3'},
      {"/.csv", "E a000001 (id 0 0 0)\n", ".csv", '3'},
      {dir.write("f.csv", "FORMAT,1\nVERSION,1\n"), "", "f.csv", '7'},
      {folder.substr(0, folder.size() - 5), "E a001000 \"d.csv\"\n", "d.csv", '3'},
      {dir.write("r.csv", kHead + ",1,START,x\n,2,END\n"),
       "E 14000000 (id 2 3 0)\nE 13000003 (id 0 0 0)\n", "r.csv", 'a'}};
  const std::string first = dir.write("first.csv", kHead + ",1,START\n,2,END,,,,,,\n");
  const std::string last = dir.write("last.csv", kHead + ",1,START\n,2,END\n");
  for (const Case& c : cases) {
    const auto record = [&c](char level, int offset) {
      return level + std::string(" 900000") + static_cast<char>(c.event + offset);
    };
    const std::string name = std::string(" \"") + c.name + "\"\n";
    TraceCapture stop(kw::platform::kTraceError);
    EXPECT_EQ(load({first, c.file, last}, ""), "TRX 70006");
    EXPECT_EQ(stop.trail(), c.reason + record('E', 2) + name +
                                (c.event == '3' ? "E 9000006 (id 0 0 0)\n" : "") +
                                "E 4001003 (id 0 0 0)\n");
    TRXInfo infos[4];
    EXPECT_EQ(run(infos[0], "first"), "ok");
    EXPECT_EQ(run(infos[1], "last"), "TRX 7000b");
    TraceCapture skip(kw::platform::kTraceError | kw::platform::kTraceDebug2);
    EXPECT_EQ(load({first, c.file, last}, kContinue), "ok");
    const std::string trail = skip.trail();
    EXPECT_NE(trail.find(record('d', 0) + name + record('d', 1) + " (0 0 0 0)\n"), trail.npos);
    EXPECT_EQ(trail.find("E 9"), trail.npos) << trail;
    EXPECT_EQ(run(infos[2], "first"), "ok");
    EXPECT_EQ(run(infos[3], "last"), "ok");
  }
}

TEST_F(TableControllerTest, EachLoadReplacesAllTablesAndTheLaterFileOfANameStays) {
  std::vector<std::string> files = {dir.write("a.csv", kHead + ",1,START\n,2,TABLE,a\n,3,END\n"),
                                    dir.write("sub/a.csv", kHead + ",1,START\n,2,END\n"),
                                    dir.write("a.b.CSV", kHead + ",1,START\n,2,TABLE,a\n,3,END\n")};
  TRXInfo info;
  TraceCapture capture(kw::platform::kTraceInfo);
  load(files, "haptable.nest.exec.limit=-1\n");
  EXPECT_EQ(capture.trail(), "I c000001 \"a\"\n");
  EXPECT_EQ(run(info, "a"), "ok");
  EXPECT_EQ(run(info, "a.b"), "TRX 7000b") << "this limit allows no call";
  load(files, "");
  EXPECT_EQ(run(info, "a.b"), "ok");
  load({files[0]}, "");
  EXPECT_EQ(run(info, "a.b"), "TRX 7000b");

  trx::TableController controller;
  TraceCapture errors(kw::platform::kTraceError);
  EXPECT_EQ(outcomeOf([&] { controller.execTable(nullptr); }), "TRX 70009");
  EXPECT_EQ(errors.trail(), "E 9001000 (id 0 0 0)\n");
  controller.load(files);
  controller.releaseTable();
  EXPECT_EQ(outcomeOf([&] { controller.execTable(&info); }), "TRX 7000b");
}

TEST_F(TableControllerTest, AnyBytesAreTakenOrRefused) {
  const std::string big(10 << 20, 'x');
  const std::string start = kHead + ",1,START\n";
  const std::pair<std::string, bool> extremes[] = {
      {"", false},
      {std::string(1 << 20, '\0'), false},
      {"\"" + start + ",2,END\n", false},
      {start + ",2,END\n" + std::string(1 << 20, '\n') + big + ",\"3", true},
      {start + ",2,END," + big + "\n", true},
      {start + ",2,HAP,TBL_Run,,NOP," + std::string(1 << 20, ' ') + "\n,3,END\n", false},
      {start + "," + std::string(1 << 20, '0') + "2,END\n", true},
      {start + big + ",2,WAIT,," + std::string(1 << 20, '9') + "\n,3,END\n", true},
      {start + std::string(",2,END\0\n", 8), false},
  };
  for (const auto& [content, taken] : extremes) {
    EXPECT_EQ(isTaken(content), taken) << content.substr(0, 60);
  }
  const std::string whole = start +
                            ",2,HAP,TBL_None,a,NOP,1 ff\n,3,WAIT,,5\n,4,TABLE,good\n"
                            "to,5,CHECK,,,end\nend,6,END,M\n";
  std::mt19937 random(20240607);
  const auto below = [&random](std::size_t limit) { return random() % limit; };
  int taken = 0;
  for (int round = 0; round < 300; ++round) {
    std::string content = whole;
    for (auto changes = below(5); changes > 0; --changes) {
      const auto at = below(content.size());
      const auto from = below(content.size());
      const auto length = below(30);
      const auto kind = below(3);
      if (kind == 0) content[at] = static_cast<char>(random());
      if (kind == 1) content.erase(at, length / 8);
      if (kind == 2) content.insert(at, content.substr(from, length));
    }
    taken += isTaken(content) ? 1 : 0;
  }
  EXPECT_TRUE(taken > 30 && taken < 270) << taken << ": files of both kinds came up";
}

TEST_F(TableControllerTest, LoadsALargeTableOfJumpsInLinearTime) {
  // With a scan of the whole table for each jump this would run into the time limit of the test.
  std::string rows = ",0,START\n";
  char row[64];
  for (unsigned int number = 1; number <= 50000; ++number) {
    std::snprintf(row, sizeof(row), "l%x,%x,HAP,TBL_None,,l%x\n", number, number, 50001 - number);
    rows += row;
  }
  EXPECT_EQ(load({dir.write("large.csv", kHead + rows + ",ffffffff,END\n")}, ""), "ok");
}

}  // namespace
}  // namespace kw::trx::testing
