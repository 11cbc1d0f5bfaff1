// SPDX-License-Identifier: Apache-2.0
#include "analysis/missing_cases.h"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include "analysis/machine_runs.h"
#include "cases/case_of_run.h"
#include "cases/case_run.h"
#include "cases/ran_rows.h"

namespace kw::trx::tools {
namespace {

/// A row, with whether it fails or a CHECK row finds a failure, as far as it can.
using Branch = std::pair<RowId, bool>;
using Branches = std::set<Branch>;

bool canBranch(const FlowRow& row) {
  return row.command == Command::kHAP || row.command == Command::kCheck;
}

Branches branchesOf(const SimulatedRun& run, const TableFlows& tables) {
  Branches branches;
  bool mark = false;
  for (const RanRow& ran : ranRows(run, tables)) {
    const bool finds = ran.row->command == Command::kCheck && mark;
    branches.insert({ran.row->id, ran.fails || finds});
    mark = mark || (ran.fails && ran.row->on_failure == Effect::kKept);
  }
  return branches;
}

std::string textOf(const Branch& branch, const FlowRow& row) {
  const std::string name = "row " + branch.first.text();
  if (!canBranch(row)) {
    return name + " runs";
  }
  return name + (row.command == Command::kCheck
                     ? (branch.second ? " finds a failure" : " finds no failure")
                     : (branch.second ? " fails" : " succeeds"));
}

class MissingSearch {
 public:
  MissingSearch(const CaseFile& file, std::size_t max_states)
      : file_(file),
        max_states_(max_states),
        simulator_(file.tables, file.nest_limit),
        program_(programOf(simulator_.tables())) {
    for (const TableCase& one : file.cases) {
      known_.push_back(branchesOf(runCase(one, simulator_), simulator_.tables()));
      taken_.insert(known_.back().begin(), known_.back().end());
      tables_.insert(program_.find(one.table));
    }
    for (const int entry : entriesOf(program_)) {
      tables_.insert(entry);
    }
  }

  MissingCases run() {
    for (const int table : tables_) {
      while (const std::optional<Branch> branch = farthest(table)) {
        take(table, *branch);
      }
    }
    dropNeedless();
    return result_;
  }

 private:
  static Branch branchOf(const MachineRuns::Ran& ran, bool mark) {
    return {ran.row.id, ran.fails || (ran.row.command == Command::kCheck && mark)};
  }

  bool isMissing(const Branch& branch) const {
    return taken_.count(branch) == 0 && left_.count(branch) == 0;
  }

  /// The missing branch that the longest of shortest runs is needed for: it takes others on its
  /// way.
  std::optional<Branch> farthest(int table) {
    Machine machine(program_, file_.nest_limit);
    MachineRuns runs(machine, max_states_);
    Branches met;
    std::optional<Branch> last;
    const bool is_complete =
        runs.follow(machine.start(table), 0, [&](const MachineRuns::Ran& ran, std::uint64_t& mark) {
          const Branch branch = branchOf(ran, mark != 0);
          mark = mark != 0 || (ran.fails && ran.row.on_failure == Effect::kKept) ? 1 : 0;
          if (isMissing(branch) && met.insert(branch).second) {
            last = branch;
          }
          return true;
        });
    result_.is_complete = result_.is_complete && is_complete;
    return last;
  }

  /// Adds the case of a shortest run to the branch, and from there to an end.
  void take(int table, const Branch& branch) {
    Machine machine(program_, file_.nest_limit);
    MachineRuns runs(machine, max_states_);
    const FlowRow* row = nullptr;
    Machine::Action::Kind end = Machine::Action::Kind::kGoesOn;
    runs.follow(machine.start(table), 0, [&](const MachineRuns::Ran& ran, std::uint64_t& mark) {
      row = &ran.row;
      end = ran.end;
      const bool is_there = branchOf(ran, mark != 0) == branch;
      mark = mark != 0 || (ran.fails && ran.row.on_failure == Effect::kKept) ? 1 : 0;
      return !is_there;
    });
    RunPath path = runs.path();
    const std::string text = textOf(branch, *row);
    if (end == Machine::Action::Kind::kGoesOn &&
        !addWayToEnd(machine, runs.last(), max_states_, path)) {
      left_.insert(branch);
      result_.left.push_back(text);
      return;
    }
    add(table, path, text);
  }

  void add(int table, const RunPath& path, const std::string& text) {
    std::vector<bool> fails;
    for (const PathRow& row : path.rows) {
      if (row.choice != Step::Choice::kNone && program_.rowOf(row.table, row.row).can_succeed) {
        fails.push_back(row.choice == Step::Choice::kFailure);
      }
    }
    SimulationRequest request;
    request.table = program_.tables[static_cast<std::size_t>(table)].flow->name;
    request.choose = failingInTurn(fails);
    const SimulatedRun run = simulator_.run(request);
    known_.push_back(branchesOf(run, simulator_.tables()));
    taken_.insert(known_.back().begin(), known_.back().end());
    result_.cases.push_back(caseOf(run, request.table, request.table + ": " + text));
  }

  /// Drops cases that take nothing that the others do not take too, the first ones first.
  void dropNeedless() {
    const std::size_t there = known_.size() - result_.cases.size();
    for (std::size_t i = 0; i < result_.cases.size();) {
      const std::size_t place = there + i;
      const Branches own = known_[place];
      const bool is_needed = std::any_of(own.begin(), own.end(), [&](const Branch& branch) {
        return std::count_if(known_.begin(), known_.end(),
                             [&](const Branches& one) { return one.count(branch) != 0; }) == 1;
      });
      if (is_needed) {
        ++i;
        continue;
      }
      known_.erase(known_.begin() + static_cast<std::ptrdiff_t>(place));
      result_.cases.erase(result_.cases.begin() + static_cast<std::ptrdiff_t>(i));
    }
  }

  const CaseFile& file_;
  const std::size_t max_states_;
  const Simulator simulator_;
  const Program program_;
  std::set<int> tables_;
  std::vector<Branches> known_;  // of the cases there, then of those added
  Branches taken_, left_;
  MissingCases result_;
};

}  // namespace

MissingCases missingCases(const CaseFile& file, std::size_t max_states) {
  return MissingSearch(file, max_states).run();
}

}  // namespace kw::trx::tools
