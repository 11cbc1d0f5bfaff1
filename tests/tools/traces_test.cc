// SPDX-License-Identifier: Apache-2.0
// What the room of traces makes of records that the engine did not write so, and of requests.
#include <gtest/gtest.h>

#include <functional>

#include "common/times.h"
#include "records_fixture.h"
#include "trace/record_words.h"

namespace kw::trx::testing {
namespace {

using kw::platform::TraceRecord;

class SuspectTest : public RecordsTest {
 protected:
  /// What the engine writes for a load, a failing HAP and a failing table.
  std::vector<TraceRecord> recordsOfAnEngine() {
    startTables({{"t", ",2,HAP,TST_Fail,mode,STACK,1 2\n,3,CHECK,,,a\na,4,END,OVER\n"}});
    kw::sysobj::Component unit(300, 1, "\xe4\t");
    units = {&unit};
    return recordsOf([&] {
      start();
      trx::TRXInfo info;
      const unsigned int para[] = {0x20001, 8, 1, 2};
      execHAP(info, "TST_FailDetail", "a mode", para);
      info.initialize();
      execTable(info, "t");
    });
  }
};

TEST_F(SuspectTest, NothingThatAnEngineWritesIsSuspectAndWhatItCannotWriteIs) {
  const std::pair<const char*, std::function<void(TraceRecord&)>> damages[] = {
      {"process", [](TraceRecord& record) { record.process_id |= 0x800000; }},
      {"thread", [](TraceRecord& record) { record.thread_id = 0; }},
      {"level", [](TraceRecord& record) { record.level ^= 0x10; }},
      {"other level", [](TraceRecord& record) { record.level ^= trx::kLevelInfo ^ 0x8003; }},
      {"id", [](TraceRecord& record) { record.id ^= 0x20000000; }},
      {"length", [](TraceRecord& record) { record.length += 256; }},
      {"first byte", [](TraceRecord& record) { record.data[0] = 0xff; }},
      {"last byte", [](TraceRecord& record) { record.data.back() = 1; }}};
  const std::vector<TraceRecord> records = recordsOfAnEngine();
  ASSERT_GT(records.size(), 60U);
  std::size_t found_out = 0;
  for (const TraceRecord& record : records) {
    EXPECT_EQ(tools::suspicionOf(record), nullptr) << std::hex << record.id;
    for (const auto& [name, damage] : damages) {
      TraceRecord damaged = record;
      damage(damaged);
      const bool fits = tools::suspicionOf(damaged) == nullptr;
      // A word that the catalogue names may have any value.
      EXPECT_TRUE(!fits || std::string(name).find("byte") != std::string::npos) << name;
      found_out += fits ? 0 : 1;
    }
  }
  EXPECT_GT(found_out, records.size() * 13 / 2) << "of eight each";
}

class SummariesTest : public RecordsTest {};

TEST_F(SummariesTest, EachRequestIsTold) {
  const std::string fail = "HAP,TST_FailDetail,,";
  const std::string code = ",20001 0\n";
  const std::vector<std::pair<std::string, std::string>> tables = {
      {"ignores", ",2," + fail + "NOP" + code + ",3," + fail + "STACK" + code + ",4,END\n"},
      {"checks", ",2," + fail + "STACK" + code + ",3,HAP,TST_Ok\n,a,CHECK,,,x\nx,b,END,OVER\n"},
      {"stops", ",2,TABLE,inner\n,3,END\n"},
      {"inner", ",1c," + fail + code + ",3,END\n"},
      {"calls", ",2,TABLE,nowhere\n,3,END\n"},
      {"nests", ",2,TABLE,nests\n,3,END\n"},
      {"throws", ",2,HAP,TST_Throw,,,1\n,3,END\n"},
      {"waits", ",2,WAIT,,1\n,3,END\n"}};
  startTables(tables);
  kw::sysobj::Component unit(300, 1, "psu");
  const std::vector<TraceRecord> records = recordsOf([&] {
    trx::TRXInfo info(0xabc, 126);
    const auto run = [&](const char* name, const char* mode, std::vector<unsigned int> para) {
      execHAP(info, name, mode, para.data());
      info.initialize();
    };
    units = {&unit};
    run("TST_Ok", "", {0});
    units.clear();
    run("TST_FailDetail", "", {0x20001, 0});
    run("TST_Fail", "", {1, 9});
    run("TST_Call", "TST_Fail", {1, 9});
    run("TST_Throw", "", {0, 0x7000e});
    run("TST_Throw", "", {1});
    run("TST_None", "", {});
    run("None", "", {});
    for (const auto& table : tables) {
      execTable(info, table.first);
      info.initialize();
    }
    execTable(info, "absent");
    engine->setStopFlag(true);
    info.initialize();
    run("TST_Ok", "", {0});
    execTable(info, "waits");
    engine->setStopFlag(false);
    start();
    run("TST_Fail", "", {1, 9});
  });
  const std::string described = "HAP TST_FailDetail: 0x20001, no voltage";
  const std::string own = "HAP TST_Fail: 0x9, an error without detail";
  const std::string stopped =
      " request of " + tools::hexText(trx::TRX::getTRXID()) + " is refused: the engine is stopped";
  const std::vector<std::string> expected = {
      "TST_Ok on psu: succeeded",
      "TST_FailDetail: failed: " + described,
      "TST_Fail: failed: " + own,
      "TST_Call: failed: " + own,
      "TST_Throw: failed: HAP TST_Throw threw an engine exception: 0x7000e",
      "TST_Throw: failed: HAP TST_Throw threw an exception that is not the engine's",
      "TST_None: failed: HAP TST_None: module TST does not export the HAP: 0x1000001, the HAP is "
      "not defined",
      "None: failed: HAP None: no module with the key None is loaded: 0x1000001, the HAP is not "
      "defined",
      "ignores: succeeded",
      "checks: failed: row checks/2: " + described +
          "; ended by row checks/b, an END with a message",
      "stops: failed: row inner/1c: " + described,
      "inner: failed: row inner/1c: " + described,
      "calls: failed: table nowhere is not loaded (0x1000002); ended by row calls/2",
      "nests: failed: table nests is nested too deeply in itself (0x7000b); ended by row nests/2",
      "throws: failed: HAP TST_Throw threw an exception that is not the engine's; ended by row "
      "throws/2",
      "waits: succeeded",
      "absent: failed: table absent is not loaded (0x1000002)",
      "TST_Ok: refused: the HAP" + stopped,
      ": refused: the table" + stopped,
      "TST_Fail: failed: " + own};
  EXPECT_EQ(ReadRequests(records).outcomes, expected);
  EXPECT_EQ(ReadRequests(withoutDebug(records)).outcomes, expected);

  // Of a table whose begin was overwritten, what is left.
  const auto next = [&](auto from, std::uint32_t id) {
    return std::find_if(from, records.end(),
                        [id](const TraceRecord& record) { return record.id == id; });
  };
  const auto row = next(records.begin(), trx::kCmdHAP.id);
  const auto end = next(row, trx::kCmdEnd.id);
  const std::vector<TraceRecord> whole(row, end + 1);
  std::vector<TraceRecord> twice(row, end);
  twice.insert(twice.end(), row, end);
  EXPECT_EQ(
      ReadRequests(withoutDebug(twice)).outcomes,
      (std::vector<std::string>{": its begin and end are not in the ring; row ?/3 has not ended; "
                                "row ?/2 has run 2 times; row ?/2 has failed 2 times: HAP "
                                "TST_FailDetail: 0x20001, no voltage; its last record: the "
                                "HAP row of 0xabc failed with 0x7000a; the failure is kept "
                                "for CHECK"}));
  std::vector<TraceRecord> ended = whole;
  ended.push_back(*next(end, trx::kTrxTableAdmitted.id));
  EXPECT_EQ(ReadRequests(withoutDebug(ended)).outcomes[0],
            ": succeeded; its start is not in the ring");
}
TEST(RecordWordsTest, NoControlCharacterReachesATerminal) {
  EXPECT_EQ(tools::describe(recordAt(1, 1, trx::kTrxTableName, "a\x7f\xc2\x9b\xc2\xa0\xc2")),
            "table a\\x7f\\xc2\\x9b\xc2\xa0\\xc2 is requested");
}

TEST(TimesTest, PointsInTimeAreRead) {
  setenv("TZ", "CET-1", 1);
  tzset();
  constexpr std::uint64_t second = 1000000000;
  constexpr std::uint64_t end = 1795514643 * second + 120345000;
  ASSERT_EQ(tools::localMicrosText(end), "2026-11-24 11:04:03.120345+0100");
  constexpr std::uint64_t midnight = end - 120345000 - (11 * 3600 + 4 * 60 + 3) * second;
  const struct {
    const char* text;
    std::optional<std::uint64_t> time;
  } cases[] = {{"2026-11-24 11:04:03.120345+0100", end},
               {"2026-11-24T10:04:03.120345+0000", end},
               {"2026-11-24 10:04:03.120345Z", end},
               {"2026-11-24 11:04:03.120345", end},
               {"2026-11-24 11:04", end - 3 * second - 120345000},
               {"2026-11-24", midnight},
               {"00:00:01.5", midnight + second * 3 / 2},
               {"00:01", midnight + 60 * second},
               {"5m", end - 300 * second},
               {"90s", end - 90 * second},
               {"2h", end - 7200 * second},
               {"1d", end - 86400 * second},
               {"4000000000d", 0},
               {"", {}},
               {"5", {}},
               {"5w", {}},
               {"-5m", {}},
               {"25:00", {}},
               {"2026-11-24 11:04:03x", {}},
               {"2026-13-01", {}}};
  for (const auto& [text, time] : cases) {
    EXPECT_EQ(tools::timeOf(text, end), time) << text;
  }
  unsetenv("TZ");
  tzset();
}

}  // namespace
}  // namespace kw::trx::testing
