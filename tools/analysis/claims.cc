// SPDX-License-Identifier: Apache-2.0
#include "analysis/claims.h"

#include <algorithm>
#include <array>
#include <utility>

#include "analysis/longest_runs.h"
#include "analysis/mark_claims.h"
#include "analysis/row_claims.h"
#include "analysis/shortest_runs.h"

namespace kw::trx::tools {
namespace {

constexpr std::array<std::pair<Claim::Kind, const char*>, 16> kKindNames = {
    {{Claim::Kind::kEndless, "endless"},
     {Claim::Kind::kStuck, "stuck"},
     {Claim::Kind::kUnreached, "unreached"},
     {Claim::Kind::kSwallowed, "swallowed"},
     {Claim::Kind::kRecovered, "recovered"},
     {Claim::Kind::kFinds, "finds"},
     {Claim::Kind::kFindsOther, "finds-other"},
     {Claim::Kind::kMessage, "message"},
     {Claim::Kind::kNestLimit, "nest-limit"},
     {Claim::Kind::kMissing, "missing"},
     {Claim::Kind::kFails, "fails"},
     {Claim::Kind::kNeverSucceeds, "never-succeeds"},
     {Claim::Kind::kCalls, "calls"},
     {Claim::Kind::kWait, "wait"},
     {Claim::Kind::kRule, "rule"},
     {Claim::Kind::kUntested, "untested"}}};

/// The run in which every HAP succeeds that can.
class GoodRun {
 public:
  explicit GoodRun(const RunGraph& graph)
      : graph_(graph), chosen_(graph.activations().size()), ends_(chosen_.size()) {
    for (const int activation : graph.calleesFirst()) {
      follow(activation);
    }
  }

  /// True when the request ends with error in it; else it ends well, or never.
  bool fails() const { return ends_[RunGraph::kRoot] && ends_[RunGraph::kRoot]->to == kToFailure; }

  RunPath path() const {
    RunPath path;
    PathWriter(graph_, chosen_)
        .writeToGoal(path, RunGraph::kRoot, graph_.at(RunGraph::kRoot).first(), Goal::kFailure);
    return path;
  }

  /// The row that ends it, as a table with its row.
  std::pair<int, std::size_t> lastRow() const {
    int activation = RunGraph::kRoot;
    while (lastStep(activation).callee != kAbsent) {
      activation = lastStep(activation).callee;
    }
    const auto& last = ends_[static_cast<std::size_t>(activation)];
    return {graph_.at(activation).table, Activation::rowOf(last->state)};
  }

 private:
  struct End {
    std::size_t state, nth;  ///< the last step
    int to;
    bool mark;
  };

  const Step& lastStep(int activation) const {
    const auto& end = ends_[static_cast<std::size_t>(activation)];
    return graph_.at(activation).steps[end->state][end->nth];
  }

  /// The step that it takes; none: it does not come back from there.
  std::optional<std::size_t> stepFrom(const std::vector<Step>& steps) const {
    if (steps.empty() || steps[0].callee == kAbsent) {
      return steps.empty() ? std::nullopt : std::make_optional<std::size_t>(0);  // the success
    }
    const auto& called = ends_[static_cast<std::size_t>(steps[0].callee)];
    for (std::size_t nth = 0; called && nth < steps.size(); ++nth) {
      const bool fails = steps[nth].to == kToFailure;
      if (fails == (called->to == kToFailure) && (fails || steps[nth].mark == called->mark)) {
        return nth;
      }
    }
    return std::nullopt;
  }

  /// Follows it through an activation, unless it goes round there for ever.
  void follow(int activation) {
    const Activation& at = graph_.at(activation);
    std::vector<int> taken(at.steps.size(), kAbsent);
    for (std::size_t state = at.first(); state < taken.size() && taken[state] == kAbsent;) {
      const auto nth = stepFrom(at.steps[state]);
      if (!nth) {
        return;
      }
      taken[state] = static_cast<int>(*nth);
      const Step& step = at.steps[state][*nth];
      if (step.to < 0) {
        const Goal goal = step.to == kToFailure ? Goal::kFailure : returnWith(step.mark);
        chosen_[static_cast<std::size_t>(activation)][indexOf(goal)] = std::move(taken);
        ends_[static_cast<std::size_t>(activation)] = End{state, *nth, step.to, step.mark};
        return;
      }
      state = static_cast<std::size_t>(step.to);
    }
  }

  const RunGraph& graph_;
  std::vector<ChosenSteps> chosen_;
  std::vector<std::optional<End>> ends_;
};

class Explorer {
 public:
  Explorer(const Program& program, int entry, unsigned int nest_limit, std::size_t max_states)
      : graph_(program, {entry}, nest_limit, max_states), shortest_(graph_, Measure::kRows) {
    result_.table = entry;
  }

  Exploration run() {
    result_.states = graph_.states();
    result_.is_complete = graph_.isComplete();
    noteReached();
    const RowCycles cycles = rowCyclesOf(graph_);
    result_.has_all_cycles = cycles.is_complete;
    add(endlessClaims(graph_, cycles, shortest_, witnesses_));
    if (result_.is_complete) {
      add(stuckClaims(graph_, shortest_, witnesses_));
    }
    claimGoodRun();
    if (result_.is_complete && successOf(shortest_).second == kNoLength) {
      result_.claims.push_back({Claim::Kind::kNeverSucceeds, "", "no run succeeds", std::nullopt});
    }
    add(rowClaims(graph_, shortest_, witnesses_));
    if (result_.is_complete) {
      add(markClaims(graph_));
    }
    result_.calls = measure(Measure::kHAPCalls, Claim::Kind::kCalls, "HAP calls", "");
    result_.wait_ms = measure(Measure::kWaitMs, Claim::Kind::kWait, "waiting", " ms");
    return result_;
  }

 private:
  void add(const std::vector<Claim>& claims) {
    result_.claims.insert(result_.claims.end(), claims.begin(), claims.end());
  }

  void noteReached() {
    for (const ProgramTable& table : graph_.program().tables) {
      result_.reached.emplace_back(table.flow->rows.size());
    }
    for (const Activation& at : graph_.activations()) {
      for (std::size_t state = 0; state < at.reached.size(); ++state) {
        if (at.reached[state]) {
          result_.reached[static_cast<std::size_t>(at.table)][Activation::rowOf(state)] = true;
        }
      }
    }
  }

  void claimGoodRun() {
    const GoodRun run(graph_);
    if (run.fails()) {
      const auto [table, row] = run.lastRow();
      const std::string name = rowNameOf(graph_.program(), table, row, result_.table);
      result_.claims.push_back(witnesses_.give(
          {Claim::Kind::kFails, name,
           "every HAP succeeds and the run ends with error at row " + name, std::nullopt},
          [&] { return run.path(); }));
    }
  }

  /// The goal of the shortest run that succeeds, and its length.
  static std::pair<Goal, std::uint64_t> successOf(const ShortestRuns& shortest) {
    const std::uint64_t unmarked = shortest.ofRequest(Goal::kReturnUnmarked);
    const std::uint64_t marked = shortest.ofRequest(Goal::kReturnMarked);
    return unmarked <= marked ? std::make_pair(Goal::kReturnUnmarked, unmarked)
                              : std::make_pair(Goal::kReturnMarked, marked);
  }

  Bounds measure(Measure measure, Claim::Kind kind, const std::string& what,
                 const std::string& unit) {
    Bounds bounds;
    const LongestRuns longest(graph_, measure);
    bounds.is_unbounded = longest.isUnbounded();
    if (bounds.is_unbounded) {
      result_.claims.push_back({kind, kMax, "max " + what + ": no bound", std::nullopt});
    }
    if (!result_.is_complete) {
      return bounds;
    }
    const ShortestRuns shortest(graph_, measure);
    const auto [goal, length] = successOf(shortest);
    if (length < kNoLength) {
      bounds.min = ShortestRuns::amountOf(length);
      claimBound(kind, kMin, what + " of a run that succeeds", *bounds.min, unit,
                 [&, goal = goal] { return shortest.pathOfRequest(goal); });
    }
    if (!bounds.is_unbounded) {
      measureMax(longest, bounds, kind, what, unit);
    }
    return bounds;
  }

  void measureMax(const LongestRuns& longest, Bounds& bounds, Claim::Kind kind,
                  const std::string& what, const std::string& unit) {
    Goal max = Goal::kFailure;
    for (const Goal other : {Goal::kReturnMarked, Goal::kReturnUnmarked}) {
      max = longest.ofRequest(other) >= longest.ofRequest(max) ? other : max;
    }
    if (longest.ofRequest(max) != kNoRun) {
      bounds.max = static_cast<std::uint64_t>(longest.ofRequest(max));
      claimBound(kind, kMax, what, *bounds.max, unit, [&] { return longest.pathOfRequest(max); });
    }
  }

  void claimBound(Claim::Kind kind, const std::string& which, const std::string& what,
                  std::uint64_t amount, const std::string& unit,
                  const std::function<RunPath()>& witness) {
    result_.claims.push_back(witnesses_.give(
        {kind, which, which + " " + what + ": " + amountText(amount) + unit, std::nullopt},
        witness));
  }

  const RunGraph graph_;
  const ShortestRuns shortest_;
  Witnesses witnesses_;
  Exploration result_;
};

}  // namespace

Claim Witnesses::give(Claim claim, const std::function<RunPath()>& witness) {
  if (rows_left_ == 0) {
    claim.message += "; not run, after cases of " + std::to_string(kMaxRows) + " rows";
    return claim;
  }
  RunPath path = witness();
  rows_left_ -= std::min(rows_left_, path.rows.size());
  if (path.is_cut) {
    claim.message += "; not run, in more than " + std::to_string(RunPath::kMaxRows) + " rows";
    return claim;
  }
  claim.witness = std::move(path);
  return claim;
}

std::string amountText(std::uint64_t amount) {
  return (amount < kMaxAmount ? "" : "at least ") + std::to_string(amount);
}

const char* nameOf(Claim::Kind kind) {
  return std::find_if(kKindNames.begin(), kKindNames.end(),
                      [kind](const auto& one) { return one.first == kind; })
      ->second;
}

std::optional<Claim::Kind> claimKindFrom(const std::string& name) {
  const auto found = std::find_if(kKindNames.begin(), kKindNames.end(),
                                  [&name](const auto& one) { return one.second == name; });
  return found == kKindNames.end() ? std::nullopt : std::make_optional(found->first);
}

std::vector<std::string> claimKinds() {
  std::vector<std::string> names;
  names.reserve(kKindNames.size());
  for (const auto& one : kKindNames) {
    names.emplace_back(one.second);
  }
  return names;
}

Exploration explore(const Program& program, int entry, unsigned int nest_limit,
                    std::size_t max_states) {
  return Explorer(program, entry, nest_limit, max_states).run();
}

std::vector<Claim> unreachedRows(const Program& program,
                                 const std::vector<Exploration>& explorations) {
  std::vector<int> entries;
  for (const Exploration& exploration : explorations) {
    entries.push_back(exploration.table);
    if (!exploration.is_complete) {
      return {};
    }
  }
  std::vector<Claim> claims;
  for (const int table : withCallees(program, entries)) {
    const auto at = static_cast<std::size_t>(table);
    for (std::size_t row = 0; row < program.tables[at].flow->rows.size(); ++row) {
      const auto reaches = [&](const Exploration& one) { return one.reached[at][row]; };
      if (std::none_of(explorations.begin(), explorations.end(), reaches)) {
        const std::string name = rowNameOf(program, table, row, explorations[0].table);
        claims.push_back(
            {Claim::Kind::kUnreached, name, "no run gets to row " + name, std::nullopt});
      }
    }
  }
  return claims;
}

}  // namespace kw::trx::tools
