// SPDX-License-Identifier: Apache-2.0
// What the room of traces makes of records that the engine did not write so, and of requests.
#include <gtest/gtest.h>

#include <functional>

#include "common/text.h"
#include "common/times.h"
#include "kw/trx/testing/engine_fixture.h"
#include "traces/changes.h"
#include "traces/doubts.h"
#include "traces/record_collector.h"
#include "traces/record_words.h"
#include "traces/request_summaries.h"
#include "traces/statistics.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::testing {
namespace {

using kw::platform::TraceRecord;

class DoubtsTest : public EngineFixture {
 protected:
  /// What the engine writes for a load, a failing HAP and a failing table.
  std::vector<TraceRecord> recordsOfAnEngine() {
    configure({MODULE_TST}, {dir.write("t.csv",
                                       "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,TST_Fail,"
                                       "mode,STACK,1 2\n,3,CHECK,,,a\na,4,END,OVER\n")});
    tools::RecordCollector collector(kw::platform::kTraceAll);
    start();
    trx::TRXInfo info;
    const unsigned int para[] = {0x20001, 8, 1, 2};
    kw::sysobj::Component unit(300, 1, "\xc3\xa4");
    units = {&unit};
    execHAP(info, "TST_FailDetail", "a mode", para);
    info.initialize();
    execTable(info, "t");
    std::vector<TraceRecord> records = collector.taken();
    for (TraceRecord& record : records) {
      record.process_id = record.thread_id = 4711;
    }
    return records;
  }
};

TEST_F(DoubtsTest, NothingThatAnEngineWritesIsDoubtfulAndWhatItCannotWriteIs) {
  const std::pair<const char*, std::function<void(TraceRecord&)>> damages[] = {
      {"process", [](TraceRecord& record) { record.process_id |= 0x800000; }},
      {"thread", [](TraceRecord& record) { record.thread_id = 0; }},
      {"level", [](TraceRecord& record) { record.level ^= 0x10; }},
      {"other level", [](TraceRecord& record) { record.level ^= trx::kLevelInfo ^ 0x8003; }},
      {"id", [](TraceRecord& record) { record.id ^= 0x20000000; }},
      {"class", [](TraceRecord& record) { record.trace_class = 8; }},
      {"length", [](TraceRecord& record) { record.length += 256; }},
      {"first byte", [](TraceRecord& record) { record.data[0] = 0xff; }},
      {"last byte", [](TraceRecord& record) { record.data.back() = 1; }}};
  const std::vector<TraceRecord> records = recordsOfAnEngine();
  ASSERT_GT(records.size(), 60U);
  std::size_t found_out = 0;
  for (const TraceRecord& record : records) {
    EXPECT_EQ(tools::doubtOf(record), nullptr) << std::hex << record.id;
    for (const auto& [name, damage] : damages) {
      TraceRecord damaged = record;
      damage(damaged);
      const bool fits = tools::doubtOf(damaged) == nullptr;
      // A word that the catalogue names may have any value.
      EXPECT_TRUE(!fits || std::string(name).find("byte") != std::string::npos) << name;
      found_out += fits ? 0 : 1;
    }
  }
  EXPECT_GT(found_out, records.size() * 15 / 2) << "of nine each";
}

class RecordsTest : public EngineFixture {
 protected:
  /// The records of what `requests` does, a microsecond apart, as those of one thread.
  template <typename Requests>
  static std::vector<TraceRecord> recordsOf(const Requests& requests) {
    tools::RecordCollector collector(kw::platform::kTraceAll);
    requests();
    std::vector<TraceRecord> records = collector.taken();
    std::uint64_t time_ns = 0;
    for (TraceRecord& record : records) {
      record.process_id = record.thread_id = 4711;
      record.time_ns = time_ns += 1000;
    }
    return records;
  }
};

class SummariesTest : public RecordsTest {
 public:
  /// What the records tell: name, units and outcome of each request.
  static std::vector<std::string> summariesOf(const std::vector<TraceRecord>& records, bool all) {
    std::vector<std::string> lines;
    tools::RequestSummaries summaries([&lines](const tools::RequestSummary& request) {
      EXPECT_LE(request.begin_ns, request.end_ns);
      EXPECT_LT(request.end_ns - request.begin_ns, 100000U) << request.name;
      const auto meaning = [](const std::string& hap, std::uint32_t code) {
        return hap == "TST_FailDetail" && code == 0x20001 ? "no voltage" : std::string();
      };
      lines.push_back(request.name + (request.units.empty() ? "" : " on " + request.units[0]) +
                      ": " + tools::outcomeText(request, meaning));
    });
    for (const TraceRecord& record : records) {
      if (all || record.level == trx::kLevelInfo || record.level == trx::kLevelError) {
        summaries.take(record);
      }
    }
    summaries.finish();
    return lines;
  }
};

TEST_F(SummariesTest, EachRequestIsTold) {
  const std::string head = "FORMAT,0\nVERSION,1\n,1,START\n";
  const std::string fail = "HAP,TST_FailDetail,,";
  const std::string code = ",20001 0\n";
  const std::pair<std::string, std::string> tables[] = {
      {"ignores", ",2," + fail + "NOP" + code + ",3," + fail + "STACK" + code + ",4,END\n"},
      {"checks", ",2," + fail + "STACK" + code + ",3,HAP,TST_Ok\n,a,CHECK,,,x\nx,b,END,OVER\n"},
      {"stops", ",2,TABLE,inner\n,3,END\n"},
      {"inner", ",1c," + fail + code + ",3,END\n"},
      {"calls", ",2,TABLE,nowhere\n,3,END\n"},
      {"nests", ",2,TABLE,nests\n,3,END\n"},
      {"throws", ",2,HAP,TST_Throw,,,1\n,3,END\n"},
      {"waits", ",2,WAIT,,1\n,3,END\n"}};
  std::vector<std::string> files;
  for (const auto& [name, rows] : tables) {
    files.push_back(dir.write(name + ".csv", head + rows));
  }
  configure({MODULE_TST}, files, "haptable.tblcmd.wait.handler=requester\n");
  start();
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
      "TST_Ok on psu: ok",
      "TST_FailDetail: failed: " + described,
      "TST_Fail: failed: " + own,
      "TST_Call: failed: " + own,
      "TST_Throw: failed: HAP TST_Throw threw an engine exception: 0x7000e",
      "TST_Throw: failed: HAP TST_Throw threw an exception that is not the engine's",
      "TST_None: failed: HAP TST_None: module TST does not export the HAP: 0x1000001, the HAP is "
      "not defined",
      "None: failed: HAP None: no module with the key None is loaded: 0x1000001, the HAP is not "
      "defined",
      "ignores: ok",
      "checks: failed: row checks/2: " + described +
          "; ended by row checks/b, an END with a message",
      "stops: failed: row inner/1c: " + described,
      "inner: failed: row inner/1c: " + described,
      "calls: failed: row calls/2: table nowhere is not loaded (0x1000002)",
      "nests: failed: row nests/2: table nests is nested too deeply in itself (0x7000b)",
      "throws: failed: row throws/2: HAP TST_Throw threw an exception that is not the engine's",
      "waits: waits at its requester",
      "waits: ok",
      "absent: failed: table absent is not loaded (0x1000002)",
      "TST_Ok: refused: the HAP" + stopped,
      ": refused: the table" + stopped,
      "TST_Fail: failed: " + own};
  EXPECT_EQ(summariesOf(records, true), expected);
  EXPECT_EQ(summariesOf(records, false), expected);

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
  EXPECT_EQ(summariesOf(twice, false),
            (std::vector<std::string>{": its begin and end are not in the ring; row ?/2 has run 2 "
                                      "times; row ?/2 has failed 2 times: HAP TST_FailDetail: "
                                      "0x20001, no voltage; its last record: row ?/3: the HAP row "
                                      "of 0xabc failed with 0x7000a; the failure is kept for "
                                      "CHECK"}));
  std::vector<TraceRecord> ended = whole;
  ended.push_back(*next(end, trx::kTrxTableAdmitted.id));
  EXPECT_EQ(summariesOf(ended, false)[0], ": ok; its begin is not in the ring");
}

class SlicesTest : public RecordsTest {
 protected:
  /// Rows, tables and HAPs in the order of their ends, with the microseconds of begin and end.
  static std::vector<std::string> slicesOf(const std::vector<TraceRecord>& records,
                                           tools::Statistics& statistics) {
    std::vector<std::string> lines;
    tools::SliceTracker tracker([&](const tools::Slice& slice) {
      statistics.take(slice);
      if (slice.kind != tools::Slice::Kind::kRequest) {
        lines.push_back((slice.kind == tools::Slice::Kind::kTable ? "table "
                         : slice.kind == tools::Slice::Kind::kHAP ? "HAP "
                                                                  : "row ") +
                        slice.table + '/' + tools::hexDigits(slice.row) + ' ' + slice.command +
                        ' ' + slice.name + ' ' + std::to_string(slice.begin_ns / 1000) + '-' +
                        std::to_string(slice.end_ns / 1000) + (slice.cut ? " cut" : "") +
                        (slice.resumed ? " resumed" : "") + (slice.thrown ? " thrown" : "") +
                        (slice.failed ? " failed " + tools::hexDigits(slice.code) : ""));
      }
    });
    for (const TraceRecord& record : records) {
      tracker.take(record);
    }
    tracker.finish();
    statistics.finish();
    return lines;
  }
};

TEST_F(SlicesTest, RowsTablesAndHAPsEndWhereTheyEnd) {
  const std::string head = "FORMAT,0\nVERSION,1\n,1,START\n";
  configure({MODULE_TST},
            {dir.write("outer.csv", head + ",2,HAP,TST_Fail,,STACK,1 5\n,3,TABLE,inner\n,4,HAP,"
                                           "TST_Call,TST_Fail,NOP,1 6\n,5,CHECK,,,a\na,6,TABLE,"
                                           "bad\n,7,END\n"),
             dir.write("inner.csv", head + ",2,WAIT,,40\n,3,END\n"),
             dir.write("bad.csv", head + ",2,HAP,TST_Gone\n,3,END\n")},
            "haptable.tblcmd.wait.handler=requester\n");
  start();
  std::vector<TraceRecord> records = recordsOf([&] {
    trx::TRXInfo info;
    execTable(info, "outer");
    const unsigned int para[] = {1, 7};
    execHAP(info, "TST_Fail", "", para);
  });
  tools::Statistics statistics;
  const std::vector<std::string> expected = {"row outer/1 START  4-6",
                                             "HAP outer/2  TST_Fail 7-10 failed 5",
                                             "row outer/2 HAP TST_Fail 6-15 failed 5",
                                             "row inner/1 START  17-18",
                                             "row inner/2 WAIT  18-18 cut",
                                             "table inner/0  inner 16-18 cut",
                                             "row outer/3 TABLE inner 15-18 cut",
                                             "table outer/0  outer 3-18 cut",
                                             "row inner/2 WAIT  18-22 resumed",
                                             "row inner/3 END  22-22",
                                             "table inner/0  inner 21-22 resumed",
                                             "row outer/3 TABLE inner 21-24 resumed",
                                             "HAP outer/4  TST_Fail 30-33 failed 6",
                                             "HAP outer/4  TST_Call 25-37 thrown failed 7000a",
                                             "row outer/4 HAP TST_Call 24-39 thrown failed 7000a",
                                             "row outer/5 CHECK  39-41 failed 0",
                                             "row bad/1 START  43-45",
                                             "HAP bad/2  TST_Gone 46-52 failed 1000001",
                                             "row bad/2 HAP TST_Gone 45-53 failed 1000001",
                                             "table bad/0  bad 42-53 failed 0",
                                             "row outer/6 TABLE bad 41-54 failed 0",
                                             "table outer/0  outer 21-54 resumed failed 0",
                                             "HAP /0  TST_Fail 56-59 failed 7"};
  EXPECT_EQ(slicesOf(records, statistics), expected);
  // A row that was interrupted is one call, from its first begin on.
  const tools::WorkFigures& caller = statistics.all().at({"outer", 3, "TABLE", "inner"});
  EXPECT_EQ(caller.calls, 1U);
  EXPECT_EQ(caller.total.quantile(50), 9000U);
  EXPECT_EQ(caller.own.quantile(50), 3000U);
  const tools::WorkFigures& wait = statistics.all().at({"inner", 2, "WAIT", ""});
  EXPECT_EQ(wait.wait_ns, 4000U);
  EXPECT_EQ(wait.unfinished, 0U);
  const tools::WorkFigures& hap = statistics.all().at({"", 0, "", "TST_Call"});
  EXPECT_EQ(hap.own.quantile(50), 9000U) << "without the HAP that it called";
}

/// A record of a process with one thread, `time` microseconds after some point.
TraceRecord recordAt(std::uint64_t time, std::uint32_t process, std::uint32_t id,
                     const std::string& text) {
  TraceRecord record{};
  record.time_ns = time * 1000;
  record.process_id = record.thread_id = process;
  record.id = id;
  record.data.assign(text.begin(), text.end());
  record.data.push_back(0);
  record.length = static_cast<std::uint32_t>(record.data.size());
  return record;
}

TEST_F(SlicesTest, TablesThatWaitAtOnceGoOnInAnyThread) {
  const std::string head = "FORMAT,0\nVERSION,1\n,1,START\n";
  configure({MODULE_TST},
            {dir.write("top.csv", head + ",2,TABLE,waits\n,3,END\n"),
             dir.write("waits.csv", head + ",a,WAIT,,1\n,b,WAIT,,1\n,c,END\n")},
            "haptable.tblcmd.wait.handler=requester\n");
  start();
  std::vector<TraceRecord> records = recordsOf([&] {
    trx::TRXInfo one, other;
    one.setTableName("top");
    other.setTableName("top");
    for (trx::TRXInfo* const info : {&one, &other, &other, &other, &one, &one}) {
      outcomeOf([&] { engine->execTable(info); });
    }
  });
  std::uint32_t thread = 1;
  for (TraceRecord& record : records) {
    thread += record.id == trx::kTrxTableAdmitted.id ? 1 : 0;
    record.thread_id = thread;
  }
  tools::Statistics statistics;
  slicesOf(records, statistics);
  for (const auto& [work, figures] : statistics.all()) {
    EXPECT_EQ(figures.total.count(), 2U) << tools::textOf(work);
    EXPECT_EQ(figures.unfinished, 0U) << tools::textOf(work);
  }
  EXPECT_EQ(statistics.all().size(), 7U) << "three rows and four";
  const std::string waits = "top: waits at its requester";
  EXPECT_EQ(SummariesTest::summariesOf(records, true),
            (std::vector<std::string>{waits, waits, waits, "top: ok", waits, "top: ok"}));
}

TEST_F(SlicesTest, AHAPThatCaughtAFailureOfItsOwnNameEndsBeforeTheNextOne) {
  const std::vector<TraceRecord> records = {
      recordAt(10, 1, trx::kTrxHAPName.id, "B"), recordAt(20, 1, trx::kHAPExecNested.id, "A"),
      recordAt(30, 1, trx::kHAPExecNested.id, "A"), recordAt(40, 1, trx::kHAPErrRequest.id, ""),
      recordAt(50, 1, trx::kHAPExecNestedEnd.id, "A"), recordAt(60, 1, trx::kHAPExecNested.id, "C"),
      recordAt(80, 1, trx::kHAPExecNestedEnd.id, "C"), recordAt(90, 1, trx::kTrxHAPDone.id, "B"),
      // A request that is refused is no call.
      recordAt(95, 1, trx::kTrxHAPName.id, "D"), recordAt(96, 1, trx::kTrxHAPStopped.id, "")};
  tools::Statistics statistics;
  EXPECT_EQ(slicesOf(records, statistics),
            (std::vector<std::string>{"HAP /0  A 30-40 failed 0", "HAP /0  C 60-80",
                                      "HAP /0  A 20-50", "HAP /0  B 10-90", "HAP /0  D 95-96"}));
  EXPECT_EQ(statistics.all().at({"", 0, "", "A"}).own.sum(), 30000U);
  EXPECT_EQ(statistics.all().at({"", 0, "", "B"}).own.sum(), 30000U);
  EXPECT_EQ(statistics.all().size(), 3U);
  tools::Slice caller{tools::Slice::Kind::kRow, "inner"};
  caller.table = "outer";
  caller.command = "TABLE";
  caller.end_ns = 100;
  caller.nested_ns = 90;
  caller.lock_wait_ns = 50;  // in the table that it called
  statistics.take(caller);
  EXPECT_EQ(statistics.all().at({"outer", 0, "TABLE", "inner"}).own.sum(), 10U);
}

TEST_F(SlicesTest, TheWaitForAnotherHolderOfTheLockIsNotOnesOwnTime) {
  const std::vector<TraceRecord> records = {
      recordAt(1000, 1, trx::kTrxHAPName.id, "A"),  recordAt(1010, 1, trx::kLockTake.id, ""),
      recordAt(1015, 2, trx::kTrxHAPName.id, "B"),  recordAt(1020, 2, trx::kLockTake.id, ""),
      recordAt(1050, 1, trx::kLockGiveBack.id, ""), recordAt(1060, 1, trx::kTrxHAPDone.id, "A"),
      recordAt(1080, 2, trx::kLockGiveBack.id, ""), recordAt(1090, 2, trx::kTrxHAPDone.id, "B"),
      recordAt(1095, 1, trx::kTrxHAPName.id, "A"),  recordAt(1096, 1, trx::kLockTake.id, "")};
  tools::Statistics statistics;
  EXPECT_EQ(slicesOf(records, statistics),
            (std::vector<std::string>{"HAP /0  A 1000-1060", "HAP /0  B 1015-1090",
                                      "HAP /0  A 1095-1096 cut"}));
  const tools::WorkFigures& first = statistics.all().at({"", 0, "", "A"});
  const tools::WorkFigures& second = statistics.all().at({"", 0, "", "B"});
  EXPECT_EQ(first.lock_ns, 40000U);
  EXPECT_EQ(first.lock_wait_ns, 0U);
  EXPECT_EQ(first.calls, 2U);
  EXPECT_EQ(first.unfinished, 1U);
  EXPECT_EQ(second.lock_ns, 60000U);
  EXPECT_EQ(second.lock_wait_ns, 30000U);
  EXPECT_EQ(second.total.quantile(50), 75000U);
  EXPECT_EQ(second.own.quantile(50), 45000U);
}

TEST_F(SlicesTest, WhatMissingRecordsMakeDoubtfulIsLeftOut) {
  configure({MODULE_TST}, {dir.write("t.csv",
                                     "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,TST_Ok\n,3,"
                                     "HAP,TST_Fail,,NOP,0 0\n,4,END\n")});
  start();
  const std::vector<TraceRecord> all = recordsOf([&] {
    for (int i = 0; i < 2; ++i) {
      trx::TRXInfo info;
      execTable(info, "t");
    }
  });
  std::size_t left_out = 0;
  for (std::size_t missing = 0; missing < all.size(); ++missing) {
    std::vector<TraceRecord> records;
    for (std::size_t i = 0; i < all.size(); ++i) {
      if (i != missing) {
        records.push_back(all[i]);
        records.back().sequence = i;
      }
    }
    tools::Statistics statistics;
    slicesOf(records, statistics);
    for (const auto& [work, figures] : statistics.all()) {
      const bool is_known = work.table.empty() || work.table == tools::kUnknownTable ||
                            work.row != 2 || work.name == "TST_Ok";
      EXPECT_TRUE(is_known) << textOf(work) << " without record " << missing;
      EXPECT_LE(figures.calls, 2U) << textOf(work) << " without record " << missing;
    }
    left_out += statistics.doubtful() != 0 ? 1 : 0;
  }
  EXPECT_GT(left_out, all.size() / 2);
}

TEST_F(SlicesTest, AClockThatIsPutBackCostsNoDurationsBehindThat) {
  const std::vector<TraceRecord> records = {
      recordAt(1000, 1, trx::kTrxHAPName.id, "A"),  recordAt(1010, 1, trx::kLockTake.id, ""),
      recordAt(1050, 1, trx::kLockGiveBack.id, ""), recordAt(1060, 1, trx::kTrxHAPDone.id, "A"),
      recordAt(1070, 1, trx::kTrxHAPName.id, "A"),  recordAt(1090, 1, trx::kLockTake.id, ""),
      recordAt(480, 1, trx::kLockGiveBack.id, ""),  recordAt(490, 1, trx::kTrxHAPDone.id, "A"),
      recordAt(500, 1, trx::kTrxHAPName.id, "A"),   recordAt(510, 1, trx::kLockTake.id, ""),
      recordAt(550, 1, trx::kLockGiveBack.id, ""),  recordAt(560, 1, trx::kTrxHAPDone.id, "A")};
  tools::Statistics statistics;
  EXPECT_EQ(
      slicesOf(records, statistics),
      (std::vector<std::string>{"HAP /0  A 1000-1060", "HAP /0  A 460-490", "HAP /0  A 500-560"}));
  const tools::WorkFigures& figures = statistics.all().at({"", 0, "", "A"});
  EXPECT_EQ(figures.own.sum(), 150000U);
  EXPECT_EQ(figures.lock_wait_ns, 0U);
}

TEST(RecordWordsTest, NoControlCharacterReachesATerminal) {
  EXPECT_EQ(tools::describe(recordAt(1, 1, trx::kTrxTableName.id, "a\x7f\xc2\x9b\xc2\xa0\xc2")),
            "table a??\xc2\xa0\xc2 is requested");
}

TEST(StatisticsTest, ChangesForTheWorseAreFoundAndNoiseIsNot) {
  const auto statisticsOf = [](std::uint64_t usual_us, int calls, int slow, std::uint64_t slow_us,
                               int failing) {
    tools::Statistics statistics;
    for (int i = 0; i < calls; ++i) {
      tools::Slice hap{tools::Slice::Kind::kHAP, "HAP"};
      hap.end_ns = (i < slow ? slow_us : usual_us) * 1000;
      hap.failed = i < failing;
      statistics.take(hap);
    }
    return statistics;
  };
  const tools::Statistics before = statisticsOf(100, 1000, 5, 900, 10);
  const struct {
    tools::Statistics now;
    std::vector<std::string> changes;
  } cases[] = {{statisticsOf(100, 1000, 5, 900, 10), {}},
               {statisticsOf(149, 1000, 0, 0, 0), {"fails less"}},  // a half more is not reached
               {statisticsOf(150, 1000, 0, 0, 10), {"slower"}},
               {statisticsOf(100, 1000, 11, 500, 10), {"slower"}},  // the tail alone
               {statisticsOf(100, 299, 11, 500, 3), {}},            // too few for a tail
               {statisticsOf(40, 1000, 0, 0, 15), {"fails more", "faster"}},
               {statisticsOf(0, 0, 0, 0, 0), {"gone"}}};
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    std::vector<std::string> names;
    for (const tools::Change& change : tools::changesBetween(before, cases[i].now)) {
      names.emplace_back(tools::nameOf(change.kind));
    }
    EXPECT_EQ(names, cases[i].changes) << i;
  }
}

TEST(StatisticsTest, AHAPIsToldBeforeItsRowsAndWhatDidNotChangeIsCounted) {
  const auto statisticsOf = [](std::uint64_t factor) {
    tools::Statistics statistics;
    const auto take = [&](const char* table, const char* name, std::uint64_t us) {
      tools::Slice slice{*table == '\0' ? tools::Slice::Kind::kHAP : tools::Slice::Kind::kRow,
                         name};
      slice.table = table;
      slice.command = *table == '\0' ? "" : "HAP";
      slice.end_ns = us * 1000;
      slice.cut = us == 0;
      statistics.take(slice);
    };
    take("", "SLOW", 100 * factor);
    take("a", "SLOW", 400 * factor);
    take("b", "SLOW", 110 * factor);
    take("c", "OTHER", 300 * factor);
    take("d", "EVEN", 10);
    take("", "EVEN", 9);
    take("", "HANGS", 10 / factor / factor);
    return statistics;
  };
  const tools::Statistics before = statisticsOf(1), now = statisticsOf(4);
  std::string told;
  const std::vector<tools::Change> changes = tools::changesBetween(before, now);
  for (const tools::Change& change : changes) {
    told += textOf(change.work) + "; ";
  }
  EXPECT_EQ(told, "HAP SLOW; row a/0 (HAP SLOW); row c/0 (HAP OTHER); row b/0 (HAP SLOW); ");
  const tools::Unchanged same = tools::unchangedBetween(before, now, changes);
  EXPECT_EQ(same.haps + same.rows, 2U);
  EXPECT_EQ(same.unended_haps, 1U);
  EXPECT_EQ(same.unended_rows, 0U);
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
