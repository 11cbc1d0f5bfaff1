// SPDX-License-Identifier: Apache-2.0
// Requests are read from their records as they ran, and run again the same.
#include <gtest/gtest.h>

#include <random>

#include "cases/case_run.h"
#include "kw/trx/errors.h"
#include "kw/trx/testing/temp_dir.h"
#include "random_tables.h"
#include "records_fixture.h"
#include "replay/replay.h"
#include "replay/request_recording.h"
#include "trace/record_words.h"

namespace kw::trx::testing {
namespace {

using kw::platform::TraceRecord;
using tools::HAPOutcome;

constexpr unsigned int kNestLimit = 2;

/// A run with the records that it wrote, as a ring gives them.
struct TracedRun {
  tools::SimulatedRun run;
  std::vector<TraceRecord> records;
  std::uint32_t id = 0;
};

TracedRun runTable(const tools::Simulator& simulator,
                   const std::function<HAPOutcome(const tools::HAPCall&)>& choose) {
  TracedRun result;
  tools::SimulationRequest request;
  request.table = "a";
  request.max_rows = 300;
  request.choose = choose;
  RecordKeeper keeper;
  request.listener = &keeper;
  result.run = simulator.run(request);
  result.records = std::move(keeper.records);
  result.id = tools::eventOf(result.records.at(0)).request;
  return result;
}

tools::RecordedRequest requestOf(const std::vector<TraceRecord>& records, std::uint32_t id,
                                 std::uint32_t number = 0) {
  tools::RequestRecording recording(id, number);
  readRecords(records, recording);
  return recording.result();
}

class RandomOutcomes {
 public:
  explicit RandomOutcomes(unsigned int seed) : random_(seed) {}

  HAPOutcome next() {
    HAPOutcome outcome;
    const unsigned int kind = random_() % 32;
    if (kind < 14) return outcome;
    outcome.kind = kind < 24 ? HAPOutcome::Kind::kFailure : HAPOutcome::Kind::kThrow;
    constexpr unsigned int codes[] = {0, 0x20001, 0x7000a, 0x20003, 0x7000c, 0x20002, 0x1000001};
    outcome.code = codes[random_() % (kind == 31 ? 1 : std::size(codes))];
    if (outcome.kind == HAPOutcome::Kind::kThrow && outcome.code == 0 && kind != 31) {
      outcome.code = 0x7000d;
    }
    for (auto words = kind < 20 ? random_() % 32 : 0; words > 0; --words) {
      outcome.detail.push_back(static_cast<unsigned int>(random_()));
    }
    return outcome;
  }

 private:
  std::mt19937 random_;
};

/// What a record tells of an outcome: of eight words of detail and their multiples not the last.
/// A HAP that fails without a code leaves that of the last failure.
void expectTold(const tools::RecordedRow& row, HAPOutcome did) {
  EXPECT_EQ(row.outcome.kind, did.kind);
  if (did.kind == HAPOutcome::Kind::kFailure && did.code == 0) return;
  EXPECT_EQ(row.outcome.code, did.code);
  if (!did.detail.empty() && did.detail.size() % 8 == 0) did.detail.back() = 0;
  if ((did.code & trx::kRecordClassHAP) == 0) did.detail.clear();
  EXPECT_EQ(row.outcome.detail, did.detail);
}

void expectSame(const TracedRun& ran, const tools::RecordedRequest& request,
                const tools::Simulator& simulator) {
  ASSERT_EQ(request.rows.size(), ran.run.rows.size());
  std::size_t calls = 0;
  for (std::size_t i = 0; i < request.rows.size(); ++i) {
    const tools::RecordedRow& row = request.rows[i];
    EXPECT_EQ(row.ran.row.table, ran.run.rows[i].table);
    EXPECT_EQ(row.ran.row.number, ran.run.rows[i].number);
    const bool called = calls < ran.run.calls.size() && row.ran.name == ran.run.calls[calls].hap;
    if (row.callsHAP() && called) expectTold(row, ran.run.calls[calls++].outcome);
  }
  EXPECT_EQ(calls, ran.run.calls.size());
  const tools::Replay again = tools::replay(request, simulator);
  EXPECT_TRUE(again.isSame());
  EXPECT_EQ(again.run.code, ran.run.code);
  EXPECT_EQ(again.run.wait_ms, ran.run.wait_ms);
  EXPECT_EQ(again.run.record.message, ran.run.record.message);
  EXPECT_EQ(again.changed, std::vector<std::string>());
  EXPECT_EQ(again.assumed, std::vector<std::string>());
  EXPECT_EQ(tools::differencesOf(tools::caseOf(request, "a case"), simulator),
            std::vector<std::string>());
}

TEST(ReplayTest, RandomRunsAreReadAndRunAgainTheSame) {
  const TempDir dir;
  std::size_t well = 0, badly = 0, foreign = 0, stopped = 0, limited = 0, parts = 0;
  for (unsigned int seed = 0; seed < 600; ++seed) {
    RandomTables random(seed);
    std::string text;
    std::vector<std::string> files;
    for (const char* name : {"a.csv", "b.csv", "c.csv"}) {
      std::string table = random.table(seed % 2 != 0);
      // A HAP that no module can have.
      if (seed % 5 == 0 && table.find("TST_B,,") != std::string::npos) {
        table.replace(table.find("TST_B,,"), 7, "_B,M,");
      }
      files.push_back(dir.write(name, table));
      text += std::string(name) + "\n" + table;
    }
    const tools::Simulator simulator(files, kNestLimit);
    RandomOutcomes outcomes(seed);
    const TracedRun ran =
        runTable(simulator, [&](const tools::HAPCall&) { return outcomes.next(); });
    SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + text);
    if (ran.run.is_stopped) {
      ++stopped;
      EXPECT_THROW(requestOf(ran.records, ran.id), tools::NotReplayable);
    } else {
      const tools::RecordedRequest request = requestOf(ran.records, ran.id);
      expectSame(ran, request, tools::Simulator(files, request.nest_limit));
      limited += request.nest_limit == kNestLimit ? 1 : 0;
      parts += request.request.parts.size() - 1;
      ++(ran.run.code == 0 ? well : ran.run.code == trx::kCodeTableFailed ? badly : foreign);
    }
    ASSERT_FALSE(HasFailure());
  }
  EXPECT_GT(stopped, 0U);
  for (const std::size_t count : {well, badly, foreign, limited, parts}) {
    EXPECT_GT(count, 20U) << well << ' ' << badly << ' ' << foreign << ' ' << limited << ' '
                          << parts;
  }
}

constexpr char kWaiting[] =
    "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,TST_A,,STACK\n,3,WAIT,,5\n,4,TABLE,b\n,5,CHECK\n"
    ",6,END\n";
constexpr char kCalled[] = "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,TST_B,m,NOP\n,3,END\n";

TEST(ReplayTest, WhatIsMissingOrDamagedIsTold) {
  const TempDir dir;
  const std::vector<std::string> files = {dir.write("a.csv", kWaiting),
                                          dir.write("b.csv", kCalled)};
  const tools::Simulator simulator(files);
  const TracedRun ran = runTable(simulator, [](const tools::HAPCall& call) {
    return HAPOutcome{HAPOutcome::Kind::kFailure, call.row.table == "a" ? 0x20005U : 0x20006U, {1}};
  });
  const auto upTo = [&](unsigned int id) {
    return std::find_if(ran.records.begin(), ran.records.end(),
                        [id](const TraceRecord& record) { return record.id == id; });
  };
  using Records = std::vector<TraceRecord>;
  const auto with = [&](unsigned int at, const std::function<void(TraceRecord&)>& change) {
    Records records = ran.records;
    change(records[static_cast<std::size_t>(upTo(at) - ran.records.begin())]);
    return records;
  };
  const auto without = [&](unsigned int at) {
    Records records = ran.records;
    records.erase(records.begin() + (upTo(at) - ran.records.begin()));
    return records;
  };
  Records twice = ran.records;
  twice.insert(twice.end(), ran.records.begin(), ran.records.end());
  Records stopped(ran.records.begin(), upTo(trx::kCmdTable.id) + 1);
  stopped.back().id = trx::kDriverStopped.id;
  stopped.back().level = trx::kDriverStopped.level;
  stopped.back().data[4] = 0;  // the NUMBER
  const struct {
    const char* what;
    Records records;
    std::uint32_t number;
    std::string problem;
  } cases[] = {
      {"the first half", Records(ran.records.begin(), upTo(trx::kDriverResume.id) - 2), 1,
       "is in a WAIT row, and that it went on is not in the ring"},
      {"the second half", Records(upTo(trx::kDriverResume.id) - 2, ran.records.end()), 1,
       "records of it are missing"},
      {"no end", Records(ran.records.begin(), upTo(trx::kCmdTable.id)), 1, "its end is not in the"},
      {"a damaged record", with(trx::kCmdHAP.id, [](auto& record) { record.doubtful = true; }), 1,
       "records of it are missing"},
      {"two of them", twice, 0, "say which request it is"},
      {"another number", ran.records, 9, ".9 is not in the ring: the last one"},
      {"a mark of before", without(trx::kCmdHAPStack.id), 1,
       "a failure that no row of the request"},
      {"no reason", without(trx::kHAPErrRequest.id), 1, "records of it are missing"},
      {"no start", without(trx::kDriverStart.id), 1, "records of it are missing"},
      {"a long name",
       with(trx::kHAPExecNested.id,
            [](auto& record) {
              record.data.assign(80, 'A');
              record.length = 99;
            }),
       1, "is longer than the 80 bytes"},
      {"a stop", stopped, 1, "its host stopped the engine"},
  };
  for (const auto& [what, records, number, problem] : cases) {
    try {
      requestOf(records, ran.id, number);
      ADD_FAILURE() << what << " is not told";
    } catch (const tools::NotReplayable& told) {
      EXPECT_NE(std::string(told.what()).find(problem), std::string::npos)
          << what << ": " << told.what();
    }
  }
  // Whatever is missing, it is read or refused.
  for (std::size_t i = 0; i < ran.records.size(); ++i) {
    Records records = ran.records;
    records.erase(records.begin() + static_cast<std::ptrdiff_t>(i));
    try {
      tools::replay(requestOf(records, ran.id, 1), simulator);
    } catch (const tools::NotReplayable&) {
    }
  }
}

TEST(ReplayTest, WhatFollowsAForeignExceptionIsLeftOut) {
  const TempDir dir;
  const tools::Simulator simulator({dir.write("a.csv", kWaiting), dir.write("b.csv", kCalled)});
  std::vector<TraceRecord> records = runTable(simulator, [](const tools::HAPCall&) {
                                       return HAPOutcome{HAPOutcome::Kind::kThrow, 0, {}};
                                     }).records;
  const TracedRun well = runTable(simulator, [](const tools::HAPCall&) { return HAPOutcome(); });
  const auto resumed =
      std::find_if(well.records.begin(), well.records.end(),
                   [](const TraceRecord& record) { return record.id == trx::kDriverResume.id; });
  records.insert(records.end(), resumed - 2, well.records.end());
  const tools::RecordedRequest request = requestOf(records, well.id, 1);
  EXPECT_EQ(request.request.parts.size(), 1U);
  EXPECT_EQ(request.rows.size(), 2U);
  EXPECT_TRUE(tools::replay(request, simulator).isSame());
  EXPECT_THROW(requestOf(records, well.id, 2), tools::NotReplayable);
}

TEST(ReplayTest, RequestsOfOneIdMayWaitAtOnce) {
  const TempDir dir;
  const tools::Simulator simulator({dir.write("a.csv", kWaiting), dir.write("b.csv", kCalled)});
  // One thread runs two contexts in turn. Those of one table are not told apart.
  for (const bool is_other_table : {false, true}) {
    std::vector<std::vector<TraceRecord>> halves;
    for (const bool is_other : {false, true}) {
      const TracedRun ran = runTable(simulator, [&](const tools::HAPCall& call) {
        return HAPOutcome{
            HAPOutcome::Kind::kFailure, call.row.number + (is_other ? 0x20000U : 0x20010U), {}};
      });
      std::vector<TraceRecord> records = ran.records;
      for (TraceRecord& record : records) {
        const bool names = record.id == trx::kTrxTableName.id ||
                           record.id == trx::kDriverStart.id || record.id == trx::kDriverResume.id;
        record.data[0] = names && is_other && is_other_table ? 'x' : record.data[0];
      }
      const auto middle = std::find_if(records.begin() + 5, records.end(), [](const auto& record) {
        return record.id == trx::kTrxTableAdmitted.id;
      });
      halves.emplace_back(records.begin(), middle);
      halves.emplace_back(middle, records.end());
    }
    std::vector<TraceRecord> all;
    for (const std::size_t half : {0, 2, 3, 1}) {
      all.insert(all.end(), halves[half].begin(), halves[half].end());
    }
    const std::uint32_t id = tools::eventOf(halves[0][0]).request;
    for (const std::uint32_t number : {1U, 2U}) {
      const tools::RecordedRequest request = requestOf(all, id, number);
      EXPECT_EQ(request.request.parts.size(), 2U);
      EXPECT_EQ(request.rows[1].outcome.code, number == 1 ? 0x20012U : 0x20002U);
      EXPECT_EQ(request.notes.size(), is_other_table ? 0U : 1U);
      EXPECT_TRUE(!is_other_table || number == 2 || tools::replay(request, simulator).isSame());
    }
  }
}

}  // namespace
}  // namespace kw::trx::testing
