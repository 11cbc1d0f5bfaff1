// SPDX-License-Identifier: Apache-2.0
// What is said of all runs of small random tables is what all their runs show, one by one.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>

#include "analysis/measure.h"
#include "analysis/witness.h"
#include "cases/case_run.h"
#include "cases/case_writer.h"
#include "common/text.h"
#include "kw/trx/testing/temp_dir.h"
#include "random_tables.h"

namespace kw::trx::testing {
namespace {

using tools::Claim;

constexpr unsigned int kNestLimit = 1;
constexpr std::size_t kMaxRows = 300;
constexpr std::size_t kMostRuns = 400;
constexpr std::size_t kStates = 1000000;

/// Shortest runs in rows, by what they show: a kind and a subject.
using Shown = std::map<std::pair<Claim::Kind, std::string>, std::size_t>;

/// All runs of a table.
struct AllRuns {
  Shown shown;
  std::set<std::string> rows;
  std::map<tools::RowId, std::set<tools::RowId>> found;  // by CHECK row, the STACK rows that failed
  std::optional<std::size_t> least_calls, max_calls;
  std::optional<std::uint64_t> least_wait, most_wait;
  bool all_end = true;
};

template <typename Number>
void widen(std::optional<Number>& bound, Number value, bool most) {
  bound = !bound ? value : most ? std::max(*bound, value) : std::min(*bound, value);
}

const tools::FlowRow& rowOf(const tools::Simulator& simulator, const tools::RowId& id) {
  const std::vector<tools::FlowRow>& rows = simulator.tables().at(id.table).rows;
  return *std::find_if(rows.begin(), rows.end(),
                       [&](const tools::FlowRow& row) { return row.id == id; });
}

/// What the CHECK rows of a run found.
void noteFound(AllRuns& all, const tools::Simulator& simulator, const tools::SimulatedRun& run) {
  std::set<tools::RowId> kept;
  std::size_t call = 0;
  for (const tools::RowId& id : run.rows) {
    const tools::FlowRow& row = rowOf(simulator, id);
    if (row.command == tools::Command::kCheck && !kept.empty()) {
      all.found[id].insert(kept.begin(), kept.end());
    }
    if (row.command == tools::Command::kHAP && call < run.calls.size() &&
        run.calls[call++].outcome.kind != tools::HAPOutcome::Kind::kSuccess &&
        row.error == "STACK") {
      kept.insert(id);
    }
  }
}

/// The same as claims say it.
std::set<std::string> foundTexts(const AllRuns& all, const std::string& entry) {
  std::set<std::string> texts;
  for (const auto& [check, rows] : all.found) {
    for (const bool own : {true, false}) {
      std::vector<std::string> names;
      for (const tools::RowId& row : rows) {
        if ((row.table == check.table) == own) names.push_back(row.text(entry));
      }
      if (!names.empty()) {
        texts.insert("row " + check.text(entry) + " finds failures of " +
                     (names.size() == 1 ? "row " : "rows ") + tools::listed(names));
      }
    }
  }
  return texts;
}

/// The failures of a run that ended well, by what became of them.
void noteFailures(AllRuns& all, const tools::Simulator& simulator, const std::string& entry,
                  const tools::SimulatedRun& run) {
  std::size_t last_check = 0;
  std::vector<std::size_t> calls;  // the steps that call a HAP
  for (std::size_t step = 0; step < run.rows.size(); ++step) {
    for (const tools::FlowRow& row : simulator.tables().at(run.rows[step].table).rows) {
      if (row.id.number == run.rows[step].number) {
        last_check = row.command == tools::Command::kCheck ? step : last_check;
        if (row.command == tools::Command::kHAP) calls.push_back(step);
      }
    }
  }
  for (std::size_t i = 0; i < run.calls.size(); ++i) {
    const tools::HAPCall& call = run.calls[i];
    if (call.outcome.kind == tools::HAPOutcome::Kind::kSuccess) continue;
    const std::string& error = simulator.tables().at(call.row.table).rows[call.place].error;
    const bool unseen = error == "NOP" || (error == "STACK" && calls[i] > last_check);
    std::size_t& best = all.shown
                            .insert({{unseen ? Claim::Kind::kSwallowed : Claim::Kind::kRecovered,
                                      call.row.text(entry)},
                                     run.rows.size()})
                            .first->second;
    best = std::min(best, run.rows.size());
  }
}

void note(AllRuns& all, const tools::Simulator& simulator, const std::string& entry,
          const tools::SimulatedRun& run) {
  for (const tools::RowId& row : run.rows) {
    all.rows.insert(row.text(entry));
  }
  noteFound(all, simulator, run);
  if (run.is_stopped) {
    all.all_end = false;
    return;
  }
  widen(all.max_calls, run.calls.size(), true);
  widen(all.most_wait, run.wait_ms, true);
  if (run.failure.empty()) {
    widen(all.least_calls, run.calls.size(), false);
    widen(all.least_wait, run.wait_ms, false);
    noteFailures(all, simulator, entry, run);
  } else if (!run.record.message.empty()) {
    std::size_t& best =
        all.shown.insert({{Claim::Kind::kMessage, run.record.message}, run.rows.size()})
            .first->second;
    best = std::min(best, run.rows.size());
  }
}

/// Runs a table with every sequence of outcomes. None: there are too many.
std::optional<AllRuns> runAll(const tools::Simulator& simulator, const std::string& entry) {
  AllRuns all;
  std::vector<bool> fails;
  for (std::size_t runs = 0; runs < kMostRuns; ++runs) {
    std::size_t made = 0;
    tools::SimulationRequest request;
    request.table = entry;
    request.max_rows = kMaxRows;
    request.choose = [&](const tools::HAPCall&) {
      if (made == fails.size()) fails.push_back(false);
      tools::HAPOutcome outcome;
      if (fails[made++]) outcome.kind = tools::HAPOutcome::Kind::kFailure;
      return outcome;
    };
    note(all, simulator, entry, simulator.run(request));
    if (!all.all_end) return all;
    fails.resize(made);
    while (!fails.empty() && fails.back()) fails.pop_back();
    if (fails.empty()) return all;
    fails.back() = true;
  }
  return std::nullopt;
}

void compare(const tools::Exploration& exploration, const tools::Simulator& simulator,
             const tools::Program& program, const AllRuns& all) {
  const std::string entry = "a";
  Shown claimed;
  std::set<std::string> found;
  std::set<std::string> messages;
  bool is_endless = false;
  for (const Claim& claim : exploration.claims) {
    EXPECT_TRUE(messages.insert(claim.message).second) << claim.message;
    is_endless = is_endless || claim.kind == Claim::Kind::kEndless;
    if (claim.kind == Claim::Kind::kFinds || claim.kind == Claim::Kind::kFindsOther) {
      found.insert(claim.message);
    }
    if (claim.kind == Claim::Kind::kMessage || claim.kind == Claim::Kind::kSwallowed ||
        claim.kind == Claim::Kind::kRecovered) {
      std::size_t& best =
          claimed.insert({{claim.kind, claim.subject}, claim.witness->rows.size()}).first->second;
      best = std::min(best, claim.witness->rows.size());
    }
    if (claim.witness) {
      const tools::TableCase witness = tools::witnessCase(program, exploration.table, claim);
      EXPECT_EQ(
          tools::differencesOf(tools::confirmingCase(program, exploration.table, claim), simulator),
          std::vector<std::string>())
          << claim.message << '\n'
          << tools::caseRows(witness, entry);
    }
  }
  EXPECT_EQ(is_endless, !all.all_end);
  for (const Claim& claim : tools::unreachedRows(program, {exploration})) {
    EXPECT_EQ(all.rows.count(claim.subject), 0U) << claim.message;
  }
  if (!all.all_end) return;
  std::size_t reached = 0;
  for (const std::vector<bool>& rows : exploration.reached) {
    reached += static_cast<std::size_t>(std::count(rows.begin(), rows.end(), true));
  }
  EXPECT_EQ(reached, all.rows.size());
  EXPECT_EQ(claimed, all.shown);
  EXPECT_EQ(found, foundTexts(all, entry));
  EXPECT_EQ(exploration.calls.min, all.least_calls);
  EXPECT_EQ(exploration.calls.max, all.max_calls);
  EXPECT_EQ(exploration.wait_ms.min, all.least_wait);
  EXPECT_EQ(exploration.wait_ms.max, all.most_wait);
}

TEST(ExplorationTest, SaysOfRandomTablesWhatAllTheirRunsShow) {
  const TempDir dir;
  std::size_t compared = 0;
  std::size_t endless = 0;
  for (unsigned int seed = 0; seed < 250; ++seed) {
    RandomTables random(seed);
    std::string text;
    std::vector<std::string> files;
    for (const char* name : {"a.csv", "b.csv", "c.csv"}) {
      const std::string table = random.table(seed % 2 != 0);
      files.push_back(dir.write(name, table));
      text += std::string(name) + "\n" + table;
    }
    const tools::Simulator simulator(files, kNestLimit);
    const tools::Program program = tools::programOf(simulator.tables());
    const std::optional<AllRuns> all = runAll(simulator, "a");
    if (!all) continue;
    ++compared;
    endless += all->all_end ? 0 : 1;
    compare(tools::explore(program, program.find("a"), kNestLimit, kStates), simulator, program,
            *all);
    ASSERT_FALSE(HasFailure()) << "seed " << seed << '\n' << text;
  }
  EXPECT_GT(compared, 200U);
  EXPECT_GT(endless, 10U);
}

std::string readFile(const std::string& path) {
  std::ifstream in(path);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

TEST(ExplorationTest, FaultsInTablesOfTheDemoRigAreFound) {
  struct Fault {
    const char* from;
    const char* to;
    const char* claim;
  };
  const Fault faults[] = {
      {",6,CHECK,,,switch-off,,,\n", "",
       "swallowed: row 5 fails unseen: no CHECK row comes behind it"},
      {",4,WAIT", "switch-off,4,WAIT", "stuck: from row 6 on the run cannot end any more"},
      {",4,WAIT", "switch-off,4,WAIT",
       "endless: rows 4 to 6 run for ever once a failure is kept for CHECK"},
      {",5,HAP,ADC_Expect,,STACK", "again,5,HAP,ADC_Expect,,again",
       "endless: row 5 runs for ever when it fails each time"},
      {",7,END", "switch-off,7,END",
       "recovered: row 5 fails, a CHECK row finds it and the run succeeds"},
      {",7,END", "switch-off,7,END", "unreached: no run gets to row 8"},
      {",7,END,,,,,,\n", "", "fails: every HAP succeeds and the run ends with error at row 9"},
      {",7,END,", ",7,END,DONE", "fails: every HAP succeeds and the run ends with error at row 7"},
      {",7,END,", ",7,END,DONE", "never-succeeds: no run succeeds"},
      {",3,TABLE,rails", ",3,TABLE,rail", "missing: row 3 calls table rail which is not there"},
      {",3,TABLE,rails", ",3,TABLE,selftest",
       "nest-limit: row 3 calls table selftest once more than the nest limit allows"},
  };
  const TempDir dir;
  const std::string good = readFile(std::string(EXAMPLE_TABLES) + "/selftest.csv");
  dir.write("rails.csv", readFile(std::string(EXAMPLE_TABLES) + "/rails.csv"));
  for (const Fault& fault : faults) {
    std::string bad = replaced(good, fault.from, fault.to);
    // The label that a fault gives to another row goes from its own.
    bad = std::string(fault.to).find("switch-off") == 0 ? replaced(bad, "switch-off,8", ",8") : bad;
    const tools::Simulator simulator({dir.write("selftest.csv", bad), dir.path() + "/rails.csv"},
                                     kNestLimit);
    const tools::Program program = tools::programOf(simulator.tables());
    const tools::Exploration found =
        tools::explore(program, program.find("selftest"), kNestLimit, kStates);
    std::string words;
    bool is_endless = false;
    for (const auto& claims : {found.claims, tools::unreachedRows(program, {found})}) {
      for (const Claim& claim : claims) {
        words += std::string(tools::nameOf(claim.kind)) + ": " + claim.message + "\n";
        is_endless = is_endless || claim.kind == Claim::Kind::kEndless;
      }
    }
    EXPECT_NE(words.find(std::string(fault.claim) + "\n"), std::string::npos)
        << fault.claim << " is not among\n"
        << words;
    // Calls grow in both cycles, waiting does not in row 5.
    EXPECT_EQ(found.calls.is_unbounded, is_endless);
    EXPECT_EQ(found.wait_ms.is_unbounded, is_endless && std::string(fault.to).find("again") != 0);
    // With room for a few states alone no called table is looked at.
    EXPECT_EQ(tools::explore(program, program.find("selftest"), kNestLimit, 2).is_complete,
              words.find("missing") != std::string::npos);
  }
}

// Each table of a chain calls the next one twice: a run has 2 to the power of its length rows.
TEST(ExplorationTest, RunsThatAreTooLongToRunAreStillMeasured) {
  constexpr std::size_t tables = 60;
  struct Row {
    std::size_t first;
    std::optional<std::uint64_t> calls;
    bool is_run;
  };
  const TempDir dir;
  std::vector<std::string> files;
  for (std::size_t i = 0; i < tables; ++i) {
    const std::string row = i + 1 == tables ? "HAP,TST_A" : "TABLE,t" + std::to_string(i + 1);
    files.push_back(
        dir.write("t" + std::to_string(i) + ".csv",
                  "FORMAT,0\nVERSION,1\n,1,START\n,2," + row + "\n,3," + row + "\n,4,END\n"));
  }
  const tools::Simulator simulator(files, kNestLimit);
  const tools::Program program = tools::programOf(simulator.tables());
  for (const Row& row :
       {Row{50, 1U << 10, true}, Row{30, 1U << 30, false}, Row{0, tools::kMaxAmount, false}}) {
    const tools::Exploration found =
        tools::explore(program, program.find("t" + std::to_string(row.first)), kNestLimit, kStates);
    EXPECT_EQ(found.calls.min, row.calls) << row.first;
    EXPECT_EQ(found.calls.max, row.calls) << row.first;
    EXPECT_EQ(found.claims.size(), 4U) << row.first;  // least and most
    for (const Claim& claim : found.claims) {
      EXPECT_EQ(claim.witness.has_value(), row.is_run) << claim.message;
      EXPECT_EQ(claim.message.find("not run") == std::string::npos, row.is_run) << claim.message;
    }
  }
}

// 100 tables call each other round, each as often as it may.
TEST(ExplorationTest, TablesMayBeNestedDeeply) {
  constexpr int tables = 100;
  constexpr unsigned int limit = 400;
  const TempDir dir;
  std::vector<std::string> files;
  for (int i = 0; i < tables; ++i) {
    files.push_back(dir.write("t" + std::to_string(i) + ".csv",
                              "FORMAT,0\nVERSION,1\n,1,START\n,2,TABLE,t" +
                                  std::to_string((i + 1) % tables) + "\n,3,END\n"));
  }
  const tools::Simulator simulator(files, limit);
  const tools::Program program = tools::programOf(simulator.tables());
  const tools::Exploration found = tools::explore(program, program.find("t0"), limit, kStates);
  ASSERT_EQ(found.claims.at(0).kind, Claim::Kind::kFails);
  EXPECT_EQ(found.claims[0].witness->rows.size(), 2U * tables * (limit + 1));
}

}  // namespace
}  // namespace kw::trx::testing
