// SPDX-License-Identifier: Apache-2.0
// Cases for small random tables: what they do not notice, and what they do not take.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "analysis/missing_cases.h"
#include "analysis/mutant_test.h"
#include "analysis/mutation.h"
#include "analysis/program.h"
#include "cases/case_of_run.h"
#include "cases/case_run.h"
#include "cases/case_writer.h"
#include "cases/ran_rows.h"
#include "kw/trx/testing/temp_dir.h"
#include "random_tables.h"

namespace kw::trx::testing {
namespace {

using Kind = tools::MutantResult::Kind;

constexpr std::size_t kStates = 100000;
constexpr std::size_t kMaxRows = 300;
constexpr std::size_t kMostRuns = 400;
constexpr unsigned int kNestLimit = 1;

class MutantsTest : public ::testing::Test {
 protected:
  /// Tables a, b and c; returns their files.
  std::vector<std::string> writeTables(unsigned int seed) {
    RandomTables random(seed);
    std::vector<std::string> files;
    for (const char* name : {"a.csv", "b.csv", "c.csv"}) {
      files.push_back(dir_.write(name, random.table(false)));
    }
    return files;
  }

  /// The case file with the run in which every HAP succeeds, and `more`. None: it does not end.
  std::optional<tools::CaseFile> casesOf(const std::vector<std::string>& files,
                                         const std::string& more = "") {
    const tools::Simulator simulator(files, kNestLimit);
    tools::SimulationRequest request;
    request.table = "a";
    request.max_rows = kMaxRows;
    const tools::SimulatedRun run = simulator.run(request);
    if (run.is_stopped) return std::nullopt;
    const tools::CaseFile file = tools::readCaseFile(dir_.write(
        "a.cases.csv", "TABLES,a.csv,b.csv,c.csv\nNEST,1\n" +
                           tools::caseRows(tools::caseOf(run, "a", "good"), "a") + more));
    EXPECT_TRUE(file.findings.empty()) << file.findings[0].message << '\n' << more;
    return file;
  }

  TempDir dir_;
};

TEST_F(MutantsTest, CasesThatAreProposedNoticeWhatWasNotNoticed) {
  std::map<Kind, std::size_t> met;
  for (unsigned int seed = 0; seed < 3; ++seed) {
    const std::vector<std::string> files = writeTables(seed);
    const std::optional<tools::CaseFile> file = casesOf(files);
    if (!file) continue;
    std::string more;
    for (const tools::MutantResult& one : tools::testMutants(*file, {2, kStates})) {
      ++met[one.kind];
      EXPECT_EQ(one.kind == Kind::kNoticed, one.noticed_by == "good");
      more += one.rows;
    }
    for (const tools::MutantResult& one : tools::testMutants(*casesOf(files, more), {2, kStates})) {
      EXPECT_TRUE(one.kind != Kind::kNotNoticed || one.rows.empty())
          << "seed " << seed << ": " << one.file << ": " << one.change << '\n'
          << one.rows;
    }
  }
  EXPECT_GT(met[Kind::kNoticed], 5U);
  EXPECT_GT(met[Kind::kNotNoticed], 5U);
  EXPECT_GT(met[Kind::kSame], 5U);
  EXPECT_EQ(met[Kind::kOpen], 0U);
}

TEST_F(MutantsTest, FaultsAreThoseThatAuthorsMake) {
  const std::string head = "FORMAT,0\nVERSION,1\n,1,START\n";
  dir_.write("b.csv", head + ",2,END\n");
  const tools::TableFlows flows = [&] {
    tools::TableFlows all;
    for (const std::string& file :
         {dir_.write("a.csv", head + ",2,HAP,P_A,,STACK\n,3,CHECK,,,bad\n,4,TABLE,b\n,5,END\n"
                                     "bad,6,WAIT\n,7,END,BAD\n"),
          dir_.path() + "/b.csv"}) {
      tools::TableFlow flow;
      EXPECT_TRUE(tools::readFlow(file, flow));
      all[flow.name] = flow;
    }
    return all;
  }();
  std::string changes;
  for (const tools::Mutant& one : tools::mutantsOf(flows.at("a"), flows)) {
    changes += one.change + "|";
    tools::TableFlow flow;
    EXPECT_EQ(tools::readFlow(dir_.write("m.csv", tools::tableText(one.rows)), flow),
              one.change != "row 7: END is lost")
        << one.change;
  }
  EXPECT_EQ(changes,
            "row 2: STACK becomes stop|row 2: STACK becomes NOP|row 2: HAP is lost|"
            "row 2: runs behind row 3|row 3: bad becomes stop|"
            "row 3: jumps to row 5 in place of bad|row 3: jumps to row 7 in place of bad|"
            "row 3: CHECK is lost|row 3: runs behind row 4|row 4: calls table a in place of b|"
            "row 4: TABLE is lost|row 4: runs behind row 5|row 5: END is lost|"
            "row 5: runs behind row 6|row 6: WAIT is lost|row 7: the message BAD is lost|");
}

using Branches = std::set<std::pair<tools::RowId, bool>>;

void addBranches(const tools::SimulatedRun& run, const tools::TableFlows& tables,
                 Branches& branches) {
  bool kept = false;
  for (const tools::RanRow& ran : tools::ranRows(run, tables)) {
    branches.insert(
        {ran.row->id, ran.fails || (ran.row->command == tools::Command::kCheck && kept)});
    kept = kept || (ran.fails && ran.row->error == "STACK");
  }
}

/// What the runs of a table take with every sequence of outcomes. None: there are too many.
std::optional<Branches> branchesOfAll(const tools::Simulator& simulator, const std::string& table) {
  Branches branches;
  std::vector<bool> fails;
  for (std::size_t runs = 0; runs < kMostRuns; ++runs) {
    std::size_t made = 0;
    tools::SimulationRequest request;
    request.table = table;
    request.max_rows = kMaxRows;
    request.choose = [&](const tools::HAPCall&) {
      if (made == fails.size()) fails.push_back(false);
      tools::HAPOutcome outcome;
      if (fails[made++]) outcome.kind = tools::HAPOutcome::Kind::kFailure;
      return outcome;
    };
    const tools::SimulatedRun run = simulator.run(request);
    if (run.is_stopped) return std::nullopt;
    addBranches(run, simulator.tables(), branches);
    fails.resize(made);
    while (!fails.empty() && fails.back()) fails.pop_back();
    if (fails.empty()) return branches;
    fails.back() = true;
  }
  return std::nullopt;
}

TEST_F(MutantsTest, MissingCasesTakeAllThatRunsCanTake) {
  std::size_t compared = 0;
  std::size_t written = 0;
  for (unsigned int seed = 0; seed < 30; ++seed) {
    const std::vector<std::string> files = writeTables(seed);
    const std::optional<tools::CaseFile> file = casesOf(files);
    if (!file) continue;
    const tools::MissingCases missing = tools::missingCases(*file, kStates);
    EXPECT_TRUE(missing.is_complete);
    const tools::Simulator simulator(files, kNestLimit);
    const tools::Program program = tools::programOf(simulator.tables());
    Branches all;
    bool is_known = missing.left.empty();
    std::vector<int> entries = tools::entriesOf(program);
    entries.push_back(program.find("a"));
    for (const int entry : entries) {
      const auto found =
          branchesOfAll(simulator, program.tables[static_cast<std::size_t>(entry)].flow->name);
      is_known = is_known && found;
      if (found) all.insert(found->begin(), found->end());
    }
    if (!is_known) continue;
    ++compared;
    written += missing.cases.size();
    Branches taken;
    addBranches(tools::runCase(file->cases[0], simulator), simulator.tables(), taken);
    for (const tools::TableCase& one : missing.cases) {
      const tools::SimulatedRun run = tools::runCase(one, simulator);
      EXPECT_EQ(tools::differencesOf(one, run), std::vector<std::string>());
      addBranches(run, simulator.tables(), taken);
    }
    EXPECT_EQ(taken, all) << "seed " << seed;
  }
  EXPECT_GT(compared, 20U);
  EXPECT_GT(written, 20U);
}

}  // namespace
}  // namespace kw::trx::testing
