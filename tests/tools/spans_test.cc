// SPDX-License-Identifier: Apache-2.0
// Where tables, rows and HAPs start and end in a trace, and the figures of that.
#include <gtest/gtest.h>

#include "records_fixture.h"
#include "trace/changes.h"

namespace kw::trx::testing {
namespace {

using kw::platform::TraceRecord;
using tools::Command;
using Lines = std::vector<std::string>;

class SpansTest : public RecordsTest {};

const tools::WorkFigures& figuresOf(const ReadRequests& read, const std::string& hap) {
  return read.statistics.all().at({{}, Command::kNone, hap});
}

TEST_F(SpansTest, RowsTablesAndHAPsEndWhereTheyEnd) {
  startTables({{"outer",
                ",2,HAP,TST_Fail,,STACK,1 5\n,3,TABLE,inner\n,4,HAP,TST_Call,TST_Fail,NOP,1 6\n"
                ",5,CHECK,,,a\na,6,TABLE,bad\n,7,END\n"},
               {"inner", ",2,WAIT,,40\n,3,END\n"},
               {"bad", ",2,HAP,TST_Gone\n,3,END\n"}});
  const ReadRequests read(recordsOf([&] {
    trx::TRXInfo info;
    execTable(info, "outer");
    const unsigned int para[] = {1, 7};
    execHAP(info, "TST_Fail", "", para);
  }));
  const Lines expected = {
      "row outer/1 START 4-6", "HAP TST_Fail of outer/2 7-10 failed 5",
      "row outer/2 HAP TST_Fail 6-15 failed 5", "row inner/1 START 17-18", "row inner/2 WAIT 18-22",
      "row inner/3 END 22-22", "table inner 16-22", "row outer/3 TABLE inner 15-24",
      "HAP TST_Fail of outer/4 30-33 failed 6",
      // What it only lets through is the failure of the HAP inside of it.
      "HAP TST_Call of outer/4 25-37 failed 6", "row outer/4 HAP TST_Call 24-39 failed 6",
      "row outer/5 CHECK 39-41 failed", "row bad/1 START 43-45",
      "HAP TST_Gone of bad/2 46-52 failed 1000001", "row bad/2 HAP TST_Gone 45-53 failed 1000001",
      "table bad 42-53 failed 1000001", "row outer/6 TABLE bad 41-54 failed 1000001",
      "table outer 3-54 failed 1000001", "HAP TST_Fail 56-59 failed 7"};
  EXPECT_EQ(read.spans, expected);
  const tools::WorkFigures& caller =
      read.statistics.all().at({{"outer", 3}, Command::kTable, "inner"});
  EXPECT_EQ(caller.calls, 1U);
  EXPECT_EQ(caller.total.quantile(50), 9000U);
  EXPECT_EQ(caller.own.quantile(50), 3000U);
  const tools::WorkFigures& wait = read.statistics.all().at({{"inner", 2}, Command::kWait, ""});
  EXPECT_EQ(wait.wait_ns, 4000U);
  EXPECT_EQ(wait.unfinished, 0U);
  EXPECT_EQ(figuresOf(read, "TST_Call").own.quantile(50), 9000U)
      << "without the HAP that it called";
}

TEST_F(SpansTest, TablesThatWaitAtOnceGoOnInAnyThread) {
  startTables({{"top", ",2,TABLE,waits\n,3,END\n"}, {"waits", ",a,WAIT,,1\n,b,WAIT,,1\n,c,END\n"}});
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
  const ReadRequests read(records);
  for (const auto& [work, figures] : read.statistics.all()) {
    EXPECT_EQ(figures.total.count(), 2U) << tools::textOf(work);
    EXPECT_EQ(figures.unfinished, 0U) << tools::textOf(work);
  }
  EXPECT_EQ(read.statistics.all().size(), 7U) << "three rows and four";
  ASSERT_EQ(read.requests.size(), 2U);
  EXPECT_EQ(read.requests[0].parts.size() + read.requests[1].parts.size(), 6U);
  for (const tools::Request& request : read.requests) {
    EXPECT_EQ(request.ending, tools::Ending::kSucceeded);
    EXPECT_NE(request.parts.front().thread_id, request.parts.back().thread_id);
    EXPECT_NE(request.uncertain.find("several requests of its id wait in table top"),
              std::string::npos)
        << request.uncertain;
  }
}

TEST_F(SpansTest, AHAPThatCaughtAFailureOfItsOwnNameEndsBeforeTheNextOne) {
  const ReadRequests read(
      {recordAt(10, 1, trx::kTrxHAPName, "B"), recordAt(20, 1, trx::kHAPExecNested, "A"),
       recordAt(30, 1, trx::kHAPExecNested, "A"), wordsAt(40, 1, trx::kHAPErrRequest, {}),
       recordAt(50, 1, trx::kHAPExecNestedEnd, "A"), recordAt(60, 1, trx::kHAPExecNested, "C"),
       recordAt(80, 1, trx::kHAPExecNestedEnd, "C"), recordAt(90, 1, trx::kTrxHAPDone, "B"),
       // A request that is refused is no call.
       recordAt(95, 1, trx::kTrxHAPName, "D"), wordsAt(96, 1, trx::kTrxHAPStopped, {})});
  EXPECT_EQ(read.spans, (Lines{"HAP A 30-40 failed", "HAP C 60-80", "HAP A 20-50", "HAP B 10-90"}));
  EXPECT_EQ(figuresOf(read, "A").own.sum(), 30000U);
  EXPECT_EQ(figuresOf(read, "B").own.sum(), 30000U);
  EXPECT_EQ(read.statistics.all().size(), 3U);
}

TEST_F(SpansTest, TheWaitForAnotherHolderOfTheLockIsNotOnesOwnTime) {
  const ReadRequests read(
      {recordAt(1000, 1, trx::kTrxHAPName, "A"), wordsAt(1010, 1, trx::kLockTake, {}),
       recordAt(1015, 2, trx::kTrxHAPName, "B"), wordsAt(1020, 2, trx::kLockTake, {}),
       wordsAt(1050, 1, trx::kLockGiveBack, {}), recordAt(1060, 1, trx::kTrxHAPDone, "A"),
       wordsAt(1080, 2, trx::kLockGiveBack, {}), recordAt(1090, 2, trx::kTrxHAPDone, "B"),
       recordAt(1095, 1, trx::kTrxHAPName, "A"), wordsAt(1096, 1, trx::kLockTake, {})});
  EXPECT_EQ(read.spans, (Lines{"HAP A 1000-1060", "HAP B 1015-1090", "HAP A 1095-1096 open"}));
  const tools::WorkFigures& first = figuresOf(read, "A");
  const tools::WorkFigures& second = figuresOf(read, "B");
  EXPECT_EQ(first.lock_ns, 40000U);
  EXPECT_EQ(first.lock_wait_ns, 0U);
  EXPECT_EQ(first.calls, 2U);
  EXPECT_EQ(first.unfinished, 1U);
  EXPECT_EQ(second.lock_ns, 60000U);
  EXPECT_EQ(second.lock_wait_ns, 30000U);
  EXPECT_EQ(second.total.quantile(50), 75000U);
  EXPECT_EQ(second.own.quantile(50), 45000U);
}

TEST_F(SpansTest, WhatMissingRecordsMakeUncertainIsLeftOut) {
  startTables({{"t", ",2,HAP,TST_Ok\n,3,HAP,TST_Fail,,NOP,0 0\n,4,END\n"}});
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
    const ReadRequests read(records);
    for (const auto& [work, figures] : read.statistics.all()) {
      const bool is_known = work.isHAP() || work.row.table == tools::kUnknownTable ||
                            work.row.number != 2 || work.name == "TST_Ok";
      EXPECT_TRUE(is_known) << textOf(work) << " without record " << missing;
      EXPECT_LE(figures.calls, 2U) << textOf(work) << " without record " << missing;
    }
    left_out += read.statistics.leftOut() != 0 ? 1 : 0;
  }
  EXPECT_GT(left_out, all.size() / 2);
}

TEST_F(SpansTest, AClockThatIsPutBackCostsNoDurationsBehindThat) {
  const ReadRequests read(
      {recordAt(1000, 1, trx::kTrxHAPName, "A"), wordsAt(1010, 1, trx::kLockTake, {}),
       wordsAt(1050, 1, trx::kLockGiveBack, {}), recordAt(1060, 1, trx::kTrxHAPDone, "A"),
       recordAt(1070, 1, trx::kTrxHAPName, "A"), wordsAt(1090, 1, trx::kLockTake, {}),
       wordsAt(480, 1, trx::kLockGiveBack, {}), recordAt(490, 1, trx::kTrxHAPDone, "A"),
       recordAt(500, 1, trx::kTrxHAPName, "A"), wordsAt(510, 1, trx::kLockTake, {}),
       wordsAt(550, 1, trx::kLockGiveBack, {}), recordAt(560, 1, trx::kTrxHAPDone, "A")});
  EXPECT_EQ(read.spans, (Lines{"HAP A 1000-1060", "HAP A 460-490", "HAP A 500-560"}));
  EXPECT_EQ(read.clock_steps.count, 1U);
  EXPECT_EQ(read.clock_steps.largest_ns, 610000U);
  const tools::WorkFigures& figures = figuresOf(read, "A");
  EXPECT_EQ(figures.own.sum(), 150000U);
  EXPECT_EQ(figures.lock_wait_ns, 0U);
}

/// A call, of a HAP or of one in row 0 of a table, from 0 on; it has not ended when that took no
/// time.
tools::Span callOf(const std::string& table, const std::string& name, std::uint64_t duration_ns) {
  tools::Span span;
  span.kind = table.empty() ? tools::Span::Kind::kHAP : tools::Span::Kind::kRow;
  span.row.table = table;
  span.command = table.empty() ? Command::kNone : Command::kHAP;
  span.name = name;
  span.end_ns = duration_ns;
  span.has_ended = duration_ns != 0;
  return span;
}

TEST(StatisticsTest, TheWaitForTheLockInACalledTableIsCountedOnce) {
  tools::Span caller = callOf("outer", "inner", 100);
  caller.command = Command::kTable;
  caller.nested_ns = 90;
  caller.lock_wait_ns = 50;
  tools::Statistics statistics;
  statistics.spanEnded({}, caller);
  EXPECT_EQ(statistics.all().at({{"outer", 0}, Command::kTable, "inner"}).own.sum(), 10U);
}

TEST(StatisticsTest, ChangesForTheWorseAreFoundAndNoiseIsNot) {
  const auto statisticsOf = [](std::uint64_t usual_us, int calls, int slow, std::uint64_t slow_us,
                               int failing) {
    tools::Statistics statistics;
    for (int i = 0; i < calls; ++i) {
      tools::Span hap = callOf("", "HAP", (i < slow ? slow_us : usual_us) * 1000);
      hap.failure.cause = i < failing ? tools::Cause::kError : tools::Cause::kNone;
      statistics.spanEnded({}, hap);
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
      statistics.spanEnded({}, callOf(table, name, us * 1000));
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
  std::string read;
  const std::vector<tools::Change> changes = tools::changesBetween(before, now);
  for (const tools::Change& change : changes) {
    read += textOf(change.work) + "; ";
  }
  EXPECT_EQ(read, "HAP SLOW; row a/0 (HAP SLOW); row c/0 (HAP OTHER); row b/0 (HAP SLOW); ");
  const tools::Unchanged same = tools::unchangedBetween(before, now, changes);
  EXPECT_EQ(same.haps + same.rows, 2U);
  EXPECT_EQ(same.unended_haps, 1U);
  EXPECT_EQ(same.unended_rows, 0U);
}

}  // namespace
}  // namespace kw::trx::testing
