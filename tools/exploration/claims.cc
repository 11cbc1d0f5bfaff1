// SPDX-License-Identifier: Apache-2.0
#include "exploration/claims.h"

#include <algorithm>
#include <array>
#include <utility>

#include "exploration/longest_runs.h"
#include "exploration/row_claims.h"
#include "exploration/shortest_runs.h"

namespace kw::trx::tools {
namespace {

constexpr std::array<std::pair<Claim::Kind, const char*>, 11> kKindNames = {
    {{Claim::Kind::kEndless, "endless"},
     {Claim::Kind::kUnreached, "unreached"},
     {Claim::Kind::kSwallowed, "swallowed"},
     {Claim::Kind::kRecovered, "recovered"},
     {Claim::Kind::kMessage, "message"},
     {Claim::Kind::kNestLimit, "nest-limit"},
     {Claim::Kind::kMissing, "missing"},
     {Claim::Kind::kFails, "fails"},
     {Claim::Kind::kNeverWell, "never-well"},
     {Claim::Kind::kCalls, "calls"},
     {Claim::Kind::kWait, "wait"}}};

/// Where one row of a run too many is written that does not end.
constexpr std::size_t kMostRows = 10000000;

/// The run in which every HAP succeeds that can.
class GoodRun {
 public:
  explicit GoodRun(const RunGraph& graph) : graph_(graph) {}

  /// Follows it through an activation. None: it does not end there; else where it gets to, and
  /// with which mark.
  std::optional<std::pair<int, bool>> follow(int activation) {
    const Activation& at = graph_.at(activation);
    std::size_t state = at.first();
    while (path_.rows.size() < kMostRows && !at.is_left_out) {
      const auto callee = std::find_if(
          at.calls.begin(), at.calls.end(),
          [state](const std::pair<std::size_t, int>& call) { return call.first == state; });
      const std::vector<Step>& steps = at.steps[state];
      path_.rows.push_back({at.table, static_cast<std::uint32_t>(Activation::rowOf(state)),
                            steps.empty() ? Step::Choice::kNone : steps[0].choice});
      if (callee == at.calls.end()) {
        // The step of the success stands first.
        if (steps[0].to < 0) {
          return std::make_pair(steps[0].to, steps[0].mark);
        }
        state = static_cast<std::size_t>(steps[0].to);
        continue;
      }
      const auto called = follow(callee->second);
      if (!called || called->first == kToFailure) {
        return called;
      }
      state =
          static_cast<std::size_t>(Activation::state(Activation::rowOf(state) + 1, called->second));
    }
    return std::nullopt;
  }

  const RunPath& path() const { return path_; }

 private:
  const RunGraph& graph_;
  RunPath path_;
};

class Explorer {
 public:
  Explorer(const Program& program, int entry, unsigned int nest_limit, std::size_t most_states)
      : graph_(program, entry, nest_limit, most_states), shortest_(graph_, Measure::kRows) {
    result_.table = entry;
  }

  Exploration run() {
    result_.states = graph_.states();
    result_.is_complete = graph_.isComplete();
    noteReached();
    add(endlessClaims(graph_, shortest_));
    claimGoodRun();
    if (wellOf(shortest_).second == kNoLength) {
      result_.claims.push_back({Claim::Kind::kNeverWell, "", "no run ends well", std::nullopt});
    }
    add(rowClaims(graph_, shortest_));
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
      result_.reached.emplace_back(table.rows.size());
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
    GoodRun run(graph_);
    const auto end = run.follow(RunGraph::kRoot);
    if (end && end->first == kToFailure) {
      const PathRow& last = run.path().rows.back();
      result_.claims.push_back(
          {Claim::Kind::kFails, rowNameOf(graph_.program(), last.table, last.row, result_.table),
           "every HAP succeeds and the run ends with error at row " +
               rowNameOf(graph_.program(), last.table, last.row, result_.table),
           run.path()});
    }
  }

  /// The goal of the shortest run that ends well, and its length.
  static std::pair<Goal, std::uint64_t> wellOf(const ShortestRuns& shortest) {
    const std::uint64_t unmarked = shortest.ofRequest(Goal::kReturnUnmarked);
    const std::uint64_t marked = shortest.ofRequest(Goal::kReturnMarked);
    return unmarked <= marked ? std::make_pair(Goal::kReturnUnmarked, unmarked)
                              : std::make_pair(Goal::kReturnMarked, marked);
  }

  Bounds measure(Measure measure, Claim::Kind kind, const std::string& what,
                 const std::string& unit) {
    Bounds bounds;
    const ShortestRuns shortest(graph_, measure);
    const auto [goal, length] = wellOf(shortest);
    if (length < kNoLength) {
      bounds.least = ShortestRuns::amountOf(length);
      claimBound(kind, kLeast, what + " of a run that ends well", *bounds.least, unit,
                 shortest.pathOfRequest(goal));
    }
    const LongestRuns longest(graph_, measure);
    Goal most = Goal::kFailure;
    for (const Goal other : {Goal::kReturnMarked, Goal::kReturnUnmarked}) {
      most = longest.ofRequest(other) >= longest.ofRequest(most) ? other : most;
    }
    bounds.is_unbounded = longest.ofRequest(most) == kNoBound;
    if (!bounds.is_unbounded && longest.ofRequest(most) != kNoRun) {
      bounds.most = static_cast<std::uint64_t>(longest.ofRequest(most));
      claimBound(kind, kMost, what, *bounds.most, unit, longest.pathOfRequest(most));
    }
    return bounds;
  }

  void claimBound(Claim::Kind kind, const std::string& which, const std::string& what,
                  std::uint64_t amount, const std::string& unit, const RunPath& witness) {
    result_.claims.push_back(
        {kind, which, which + " " + what + ": " + std::to_string(amount) + unit, witness});
  }

  const RunGraph graph_;
  const ShortestRuns shortest_;
  Exploration result_;
};

}  // namespace

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
                    std::size_t most_states) {
  return Explorer(program, entry, nest_limit, most_states).run();
}

std::vector<Claim> unreachedRows(const Program& program,
                                 const std::vector<Exploration>& explorations) {
  std::vector<Claim> claims;
  for (std::size_t table = 0; table < program.tables.size(); ++table) {
    std::vector<bool> reached(program.tables[table].rows.size());
    for (const Exploration& exploration : explorations) {
      for (std::size_t row = 0; row < reached.size(); ++row) {
        reached[row] = reached[row] || exploration.reached[table][row];
      }
    }
    const bool runs = std::count(reached.begin(), reached.end(), true) != 0;
    for (std::size_t row = 0; runs && row < reached.size(); ++row) {
      if (!reached[row]) {
        const std::string name = rowNameOf(program, static_cast<int>(table), row,
                                           explorations.empty() ? 0 : explorations[0].table);
        claims.push_back(
            {Claim::Kind::kUnreached, name, "no run gets to row " + name, std::nullopt});
      }
    }
  }
  return claims;
}

}  // namespace kw::trx::tools
