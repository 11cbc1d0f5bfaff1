// SPDX-License-Identifier: Apache-2.0
// What is said of an edit of small random tables is what their runs before and after it show.
#include "analysis/comparison.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "analysis/visible_run.h"
#include "kw/trx/testing/temp_dir.h"
#include "random_tables.h"

namespace kw::trx::testing {
namespace {

using Lines = std::vector<std::string>;

constexpr unsigned int kNestLimit = 1;
/// Outcomes of so many calls are tried, further ones succeed.
constexpr std::size_t kOutcomes = 5;
/// A run of more rows is one without an end, and as long as that runs are compared.
constexpr std::size_t kMaxRows = 600;
constexpr std::size_t kMaxLines = 100;

std::vector<bool> outcomesOf(unsigned int number) {
  std::vector<bool> fails(kOutcomes);
  for (std::size_t i = 0; i < kOutcomes; ++i) fails[i] = (number >> i & 1U) != 0;
  return fails;
}

Lines firstLines(Lines lines) {
  lines.resize(std::min(lines.size(), kMaxLines));
  return lines;
}

/// The runs of the table a with all outcomes, and with those of `differences`, by the engine.
struct Runs {
  std::vector<Lines> all, differing;
};

class ComparisonTest : public ::testing::Test {
 protected:
  using Texts = std::map<std::string, std::string>;

  Runs run(const Texts& tables, const std::vector<std::vector<bool>>& differing) {
    const tools::Simulator simulator(write(tables), kNestLimit);
    Runs runs;
    for (unsigned int number = 0; number < 1U << kOutcomes; ++number) {
      runs.all.push_back(
          firstLines(tools::visibleRun(simulator, "a", outcomesOf(number), false, kMaxRows)));
    }
    for (const std::vector<bool>& fails : differing) {
      runs.differing.push_back(tools::visibleRun(simulator, "a", fails, false, kMaxRows));
    }
    return runs;
  }

  Lines write(const Texts& tables) const {
    Lines files;
    for (const auto& [name, text] : tables) files.push_back(dir_.write(name + ".csv", text));
    return files;
  }

  tools::TableFlows flowsOf(const Texts& tables) const {
    tools::TableFlows flows;
    for (const std::string& file : write(tables)) {
      tools::TableFlow flow;
      EXPECT_TRUE(tools::readFlow(file, flow)) << file;
      flows[flow.name] = flow;
    }
    return flows;
  }

  static std::size_t sameLines(const Lines& a, const Lines& b) {
    const auto end = a.begin() + static_cast<std::ptrdiff_t>(std::min(a.size(), b.size()));
    return static_cast<std::size_t>(std::mismatch(a.begin(), end, b.begin()).first - a.begin());
  }

  /// Whether the tables do the same; compares with what the engine runs.
  bool compare(const Texts& before, const Texts& after) {
    const tools::TableFlows old_flows = flowsOf(before);
    const tools::TableFlows new_flows = flowsOf(after);
    const tools::Program old_program = tools::programOf(old_flows);
    const tools::Program new_program = tools::programOf(new_flows);
    const tools::Comparison found = tools::compare(old_program, old_program.find("a"), new_program,
                                                   new_program.find("a"), {kNestLimit, 100000});
    EXPECT_TRUE(found.is_complete);
    std::vector<std::vector<bool>> old_fails;
    std::vector<std::vector<bool>> new_fails;
    for (const tools::Difference& one : found.differences) {
      old_fails.push_back(one.old_fails);
      new_fails.push_back(one.new_fails);
    }
    const Runs then = run(before, old_fails);
    const Runs now = run(after, new_fails);
    std::size_t shortest = tools::kMaxVisible;
    for (std::size_t i = 0; i < found.differences.size(); ++i) {
      EXPECT_NE(then.differing[i], now.differing[i])
          << found.differences[i].old_text << "; now " << found.differences[i].new_text;
      shortest = std::min(shortest, sameLines(then.differing[i], now.differing[i]));
    }
    for (std::size_t i = 0; i < then.all.size(); ++i) {
      EXPECT_TRUE(then.all[i] == now.all[i] || !found.differences.empty()) << "run " << i;
      EXPECT_TRUE(then.all[i] == now.all[i] || shortest <= sameLines(then.all[i], now.all[i]));
    }
    tools::Machine machine(old_program, kNestLimit);
    for (unsigned int number = 0; number < then.all.size(); ++number) {
      EXPECT_EQ(
          firstLines(tools::visibleRun(machine, old_program.find("a"), outcomesOf(number), false)),
          then.all[number]);
    }
    return found.differences.empty();
  }

  const TempDir dir_;
};

std::string replacedAll(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos;
       at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

TEST_F(ComparisonTest, SaysOfEditsOfRandomTablesWhatTheirRunsShow) {
  const std::pair<const char*, const char*> edits[] = {
      {",STACK\n", ",NOP\n"},       {",NOP\n", ",\n"},       {"TST_A,,r", "TST_B,,r"},
      {"WAIT,,1", "WAIT,,2"},       {"END,M0", "END,M1"},    {"TABLE,b", "TABLE,c"},
      {"TST_B,,\n", "TST_B,on,\n"}, {"TABLE,none", "WAIT,"}, {"r", "q"}};
  std::map<bool, int> met;
  for (unsigned int seed = 0; seed < 300; ++seed) {
    RandomTables random(seed);
    Texts before;
    for (const char* name : {"a", "b", "c"}) before[name] = random.table(false);
    const auto& [from, to] = edits[seed % std::size(edits)];
    Texts after = before;
    for (auto& [name, text] : after) text = replacedAll(text, from, to);
    const bool is_same = compare(before, after);
    ++met[is_same];
    EXPECT_TRUE(is_same || *from != 'r') << "labels alone make no difference";
    ASSERT_FALSE(HasFailure()) << "seed " << seed << ": " << from << " to " << to << '\n'
                               << before["a"] << before["b"] << before["c"];
  }
  EXPECT_GT(met[true], 30);
  EXPECT_GT(met[false], 30);
}

TEST_F(ComparisonTest, TellsKindsOfDifferencesAndWhatMakesNone) {
  const std::string head = "FORMAT,0\nVERSION,1\n,1,START\n";
  const std::string old_rows = ",2,HAP,P_A,,STACK,1\n,3,CHECK,,,bad\n,4,END\nbad,5,END,BAD\n";
  const struct {
    const char* rows;
    const char* kinds;
    bool rows_differ;
  } cases[] = {
      {",2,HAP,P_A,,STACK,1\n,3,CHECK,,,bad\n,4,END\nbad,5,END,BAD\n", "", false},
      {",2,HAP,P_A,,STACK,1\n,3,CHECK,,,worse\n,4,END\n,6,WAIT\nworse,7,END,BAD\n", "", true},
      {",2,HAP,P_A,,bad,1\n,4,END\nbad,5,END,BAD\n", "", true},
      {",2,HAP,P_A,,STACK,2\n,3,CHECK,,,bad\n,4,END\nbad,5,END,BAD\n", "words ", false},
      {",2,HAP,P_A,on,STACK,1\n,3,CHECK,,,bad\n,4,END\nbad,5,END,BAD\n", "mode ", false},
      {",2,HAP,P_B,,STACK,1\n,3,CHECK,,,bad\n,4,END\nbad,5,END,BAD\n", "calls ", false},
      {",2,HAP,P_A,,NOP,1\n,3,CHECK,,,bad\n,4,END\nbad,5,END,BAD\n", "end first-failing ", true},
      {",2,HAP,P_A,,STACK,1\n,3,CHECK,,,bad\n,4,END\nbad,5,END,WORSE\n", "message ", false},
      {",2,HAP,P_A,,STACK,1\nr,3,CHECK,,,r\n,4,END\nbad,5,END,BAD\n", "end ", true},
      {",2,HAP,P_A,,STACK,1\n,3,CHECK,,,bad\n,6,WAIT,,5\n,4,END\nbad,5,END,BAD\n", "waits ", true},
      // A call more, and what differs behind it.
      {",6,HAP,P_B,,NOP\n,2,HAP,P_A,,STACK,7\n,3,CHECK,,,bad\n,4,END\nbad,5,END,BAD\n",
       "calls words ", true},
  };
  for (const auto& one : cases) {
    for (const bool with_rows : {false, true}) {
      const tools::TableFlows before = flowsOf({{"a", head + old_rows}});
      const tools::TableFlows after = flowsOf({{"a", head + one.rows}});
      const tools::Comparison found = tools::compare(
          tools::programOf(before), 0, tools::programOf(after), 0, {kNestLimit, 1000, with_rows});
      std::string kinds;
      bool rows_differ = false;
      for (const tools::Difference& difference : found.differences) {
        rows_differ = rows_differ || difference.kind == tools::Difference::Kind::kRows;
        kinds += difference.kind == tools::Difference::Kind::kRows
                     ? ""
                     : nameOf(difference.kind) + std::string(" ");
      }
      EXPECT_EQ(kinds, one.kinds) << one.rows;
      EXPECT_EQ(rows_differ, with_rows && one.rows_differ) << one.rows;
    }
  }
}

TEST_F(ComparisonTest, WhatIsNotLookedAtIsOpen) {
  const Texts tables = {{"a", "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,P_A\n,3,HAP,P_B\n,4,END\n"}};
  const tools::TableFlows flows = flowsOf(tables);
  const tools::Program program = tools::programOf(flows);
  EXPECT_TRUE(tools::compare(program, 0, program, 0, {kNestLimit, 5}).is_complete);
  EXPECT_FALSE(tools::compare(program, 0, program, 0, {kNestLimit, 4}).is_complete);
}

}  // namespace
}  // namespace kw::trx::testing
