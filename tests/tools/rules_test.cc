// SPDX-License-Identifier: Apache-2.0
// Rules of small random tables, judged by all runs at once and by each of them.
#include <gtest/gtest.h>

#include "analysis/rule_claims.h"
#include "analysis/witness.h"
#include "cases/case_run.h"
#include "cases/rule_judge.h"
#include "kw/trx/testing/temp_dir.h"
#include "random_tables.h"

namespace kw::trx::testing {
namespace {

constexpr unsigned int kNestLimit = 1;
constexpr std::size_t kStates = 1000000;
constexpr std::size_t kMaxRows = 300;
constexpr std::size_t kMostRuns = 400;

struct AllRuns {
  std::vector<bool> broken, tested;
  bool all_end = true;
};

/// Runs the table a with every sequence of outcomes. None: there are too many.
std::optional<AllRuns> runAll(const tools::Simulator& simulator,
                              const std::vector<tools::LineOfRule>& rules) {
  AllRuns all{std::vector<bool>(rules.size()), std::vector<bool>(rules.size())};
  std::vector<bool> fails;
  for (std::size_t runs = 0; runs < kMostRuns; ++runs) {
    std::size_t made = 0;
    tools::SimulationRequest request;
    request.table = "a";
    request.max_rows = kMaxRows;
    request.choose = [&](const tools::HAPCall&) {
      if (made == fails.size()) fails.push_back(false);
      tools::HAPOutcome outcome;
      if (fails[made++]) outcome.kind = tools::HAPOutcome::Kind::kFailure;
      return outcome;
    };
    const tools::SimulatedRun run = simulator.run(request);
    all.all_end = all.all_end && !run.is_stopped;
    for (std::size_t i = 0; i < rules.size(); ++i) {
      std::vector<bool> tested;
      const bool breaks = !tools::brokenRules({rules[i]}, run, simulator.tables(), tested).empty();
      all.broken[i] = all.broken[i] || breaks;
      all.tested[i] = all.tested[i] || tested[0];
    }
    fails.resize(made);
    while (!fails.empty() && fails.back()) fails.pop_back();
    if (fails.empty()) return all;
    if (!all.all_end) return std::nullopt;
    fails.back() = true;
  }
  return std::nullopt;
}

std::vector<tools::LineOfRule> rulesFor(const tools::TableFlows& tables) {
  const std::vector<std::vector<std::string>> texts = {
      {"always ends"},
      {"TST_A", "never"},
      {"TST_A fails", "before", "TST_B"},
      {"a/2", "before", "TST_B succeeds"},
      {"after", "TST_A fails", "TST_B", "comes before the end"},
      {"after", "table b", "table c", "comes before the end"},
      {"between", "TST_A", "and", "TST_B", "no", "TST_A fails"},
      {"between", "table b", "and", "a/3", "no", "2"},
      {"TST_A", "at most", "2", "times"},
      {"table b", "at most", "0", "times"},
      {"TST_B", "within", "1", "ms of", "TST_A"},
      {"message M0", "never"},
      {"table c", "before", "message M1"}};
  std::vector<tools::LineOfRule> rules;
  for (const std::vector<std::string>& cells : texts) {
    try {
      rules.push_back({tools::ruleFrom(cells, "a", tables), 0});
      rules.back().rule.name = rules.back().rule.text;
    } catch (const tools::RuleProblem&) {  // no row does what it speaks of
    }
  }
  return rules;
}

/// Compares what is said of all runs; returns how many rules are broken.
std::size_t compare(const tools::Simulator& simulator, const AllRuns& all,
                    const std::vector<tools::LineOfRule>& rules) {
  const tools::Program program = tools::programOf(simulator.tables());
  const int entry = program.find("a");
  const tools::Exploration found = tools::explore(program, entry, kNestLimit, kStates);
  const tools::RuleClaims judged = tools::ruleClaims(program, found, kNestLimit, kStates, rules);
  EXPECT_TRUE(judged.is_complete);
  std::vector<bool> broken(rules.size());
  for (const tools::Claim& claim : judged.claims) {
    std::size_t i = 0;
    while (rules[i].rule.name != claim.subject) ++i;
    broken[i] = true;
    if (!claim.witness) continue;
    const tools::TableCase one = tools::confirmingCase(program, entry, claim);
    tools::SimulatedRun run = tools::runCase(one, simulator);
    EXPECT_EQ(tools::differencesOf(one, run), std::vector<std::string>()) << claim.message;
    std::vector<bool> tested;
    EXPECT_EQ(tools::brokenRules({rules[i]}, run, simulator.tables(), tested).size(), 1U)
        << claim.message;
  }
  EXPECT_EQ(broken, all.broken);
  for (std::size_t i = 0; i < rules.size(); ++i) {
    EXPECT_TRUE(judged.tested[i] == all.tested[i] || broken[i]) << rules[i].rule.text;
  }
  return judged.claims.size();
}

TEST(RulesTest, AllRunsBreakWhatOneOfThemBreaks) {
  const TempDir dir;
  std::size_t compared = 0;
  std::size_t broken = 0;
  std::size_t held = 0;
  for (unsigned int seed = 0; seed < 200; ++seed) {
    RandomTables random(seed);
    std::string text;
    std::vector<std::string> files;
    for (const char* name : {"a.csv", "b.csv", "c.csv"}) {
      const std::string table = random.table(seed % 2 != 0);
      files.push_back(dir.write(name, table));
      text += std::string(name) + "\n" + table;
    }
    const tools::Simulator simulator(files, kNestLimit);
    const std::vector<tools::LineOfRule> rules = rulesFor(simulator.tables());
    const std::optional<AllRuns> all = runAll(simulator, rules);
    if (!all || !all->all_end) continue;
    ++compared;
    const std::size_t found = compare(simulator, *all, rules);
    broken += found;
    held += rules.size() - found;
    ASSERT_FALSE(HasFailure()) << "seed " << seed << '\n' << text;
  }
  EXPECT_GT(compared, 100U);
  EXPECT_GT(broken, 200U);
  EXPECT_GT(held, 200U);
}

TEST(RulesTest, EveryWrongCellIsNamed) {
  const struct {
    const char* row;
    const char* message;
  } wrong[] = {
      {"RULE,a,TST_A,nevr", "3 C a rule is one of always ends, A,never, A,before,B"},
      {"RULE,a,TST_C,never", "3 C no row calls a HAP 'TST_C'; did you mean TST_A?"},
      {"RULE,a,TST_A,at most,x,times", "3 E 'x' is no decimal number"},
      {"RULE,a,table b,never", "3 C there is no table 'b' among those of TABLES"},
      {"RULE,a,message BAD,never", "3 C no END row has the message 'BAD'"},
      {"RULE,a,1 fails,never", "3 C row 1 of table a is a row of START, which calls no HAP"},
      {"RULE,a,always ends\nRULE,a,TST_A,never", "4 B the rule in line 3 has this name too"},
      {"RULE,a", "3 C there is nothing behind a"}};
  const TempDir dir;
  dir.write("a.csv", "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,TST_A\n,3,END\n");
  for (const auto& [row, message] : wrong) {
    const tools::CaseFile file = tools::readCaseFile(
        dir.write("a.cases.csv", std::string("TABLES,a.csv\n\n") + row + "\nCASE,a\nEND,ok\n"));
    ASSERT_EQ(file.findings.size(), 1U) << row;
    const tools::Finding& found = file.findings[0];
    const std::string text = std::to_string(found.line) + ' ' + found.column + ' ' + found.message;
    EXPECT_EQ(text.substr(0, std::string(message).size()), message);
    EXPECT_EQ(file.cases.size(), 1U);
  }
}

}  // namespace
}  // namespace kw::trx::testing
