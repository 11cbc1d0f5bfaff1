// SPDX-License-Identifier: Apache-2.0
// Where requests, tables, rows and HAPs begin and end in a trace, and the figures of that.
#include <gtest/gtest.h>

#include "common/text.h"
#include "records_fixture.h"
#include "traces/changes.h"
#include "traces/statistics.h"

namespace kw::trx::testing {
namespace {

using kw::platform::TraceRecord;

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
  EXPECT_EQ(summariesOf(records, true),
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

}  // namespace
}  // namespace kw::trx::testing
