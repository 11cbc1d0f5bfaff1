// SPDX-License-Identifier: Apache-2.0
#include "analysis/row_claims.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <utility>

#include "common/text.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kStretchesNamed = 12;

/// A place in a run, and how long the shortest run is that shows something there.
struct Best {
  std::uint64_t length = kNoLength;
  int activation = kAbsent;
  std::size_t state = 0;
  const Step* step = nullptr;

  void take(const Best& other) {
    if (other.length < length) {
      *this = other;
    }
  }
};

/// What the runs show of one row.
struct RowEvidence {
  Best quiet;   ///< it fails, no CHECK row comes behind it, and the run succeeds
  Best found;   ///< it fails, a CHECK row finds it, and the run succeeds
  Best any;     ///< it fails, and the run succeeds
  Best ending;  ///< the request ends with error in it, other than by a failure of its HAP
};

class RowClaims {
 public:
  RowClaims(const RunGraph& graph, const ShortestRuns& shortest, Witnesses& witnesses)
      : graph_(graph),
        shortest_(shortest),
        witnesses_(witnesses),
        entry_(graph.at(RunGraph::kRoot).table) {}

  std::vector<Claim> run() {
    for (const int activation : graph_.calleesFirst()) {
      const Activation& at = graph_.at(activation);
      for (std::size_t state = 0; state < at.steps.size(); ++state) {
        for (const Step& step : at.steps[state]) {
          takeStep(activation, state, step);
        }
      }
    }
    for (const auto& [place, events] : events_) {
      const FlowRow& row = graph_.program().rowOf(place.first, place.second);
      claimFailures(place, row, events);
      claimEnding(place, row, events.ending);
    }
    return claims_;
  }

 private:
  using Checks = ShortestRuns::Checks;

  void takeStep(int activation, std::size_t state, const Step& step) {
    const Activation& at = graph_.at(activation);
    const FlowRow& row = graph_.rowOf(at, state);
    RowEvidence& events = events_[{at.table, Activation::rowOf(state)}];
    if (step.choice == Step::Choice::kFailure) {
      const auto take = [&](Best& best, Checks checks) {
        best.take(
            {shortest_.throughStep(activation, state, step, checks), activation, state, &step});
      };
      take(events.quiet, Checks::kNone);
      take(events.found, Checks::kFinding);
      take(events.any, Checks::kAny);
    } else if (step.to == kToFailure && step.callee == kAbsent && row.command != Command::kCheck) {
      events.ending.take({shortest_.upTo(activation, state), activation, state, &step});
    }
  }

  void claimFailures(const RowPlace& place, const FlowRow& row, const RowEvidence& events) {
    const std::string name = nameOf(place);
    if (row.on_failure == Effect::kKept) {
      claimThrough(events.quiet, Checks::kNone, Claim::Kind::kSwallowed, name,
                   "row " + name + " fails unseen: no CHECK row comes behind it");
      claimThrough(events.found, Checks::kFinding, Claim::Kind::kRecovered, name,
                   "row " + name + " fails, a CHECK row finds it and the run succeeds");
    } else if (row.on_failure == Effect::kIgnored) {
      claimThrough(events.any, Checks::kAny, Claim::Kind::kSwallowed, name,
                   "row " + name + " fails unseen: NOP ignores it");
    } else {
      claimThrough(events.any, Checks::kAny, Claim::Kind::kRecovered, name,
                   "row " + name + " fails and the run succeeds");
    }
  }

  void claimThrough(const Best& best, Checks checks, Claim::Kind kind, const std::string& name,
                    const std::string& message) {
    if (best.length < kNoLength) {
      add(kind, name, message, [&] {
        return shortest_.pathThroughStep(best.activation, best.state, *best.step, checks);
      });
    }
  }

  void claimEnding(const RowPlace& place, const FlowRow& row, const Best& best) {
    if (best.length >= kNoLength) {
      return;
    }
    const std::string name = nameOf(place);
    const auto path = [&] {
      RunPath up_to = shortest_.pathUpTo(best.activation, best.state);
      shortest_.writer().writeRow(up_to, best.activation, best.state, Step::Choice::kNone);
      return up_to;
    };
    if (row.endsWithMessage()) {
      add(Claim::Kind::kMessage, row.name,
          "the run ends with error " + row.name + " at row " + name, path);
    } else if (graph_.program().calleeOf(place.first, place.second) == kAbsent) {
      add(Claim::Kind::kMissing, row.name,
          "row " + name + " calls table " + row.name + " which is not there", path);
    } else {
      add(Claim::Kind::kNestLimit, row.name,
          "row " + name + " calls table " + row.name + " once more than the nest limit allows",
          path);
    }
  }

  void add(Claim::Kind kind, const std::string& subject, const std::string& message,
           const std::function<RunPath()>& witness) {
    claims_.push_back(witnesses_.give({kind, subject, message, std::nullopt}, witness));
  }

  std::string nameOf(const RowPlace& place) const {
    return rowNameOf(graph_.program(), place.first, place.second, entry_);
  }

  const RunGraph& graph_;
  const ShortestRuns& shortest_;
  Witnesses& witnesses_;
  const int entry_;
  std::map<RowPlace, RowEvidence> events_;
  std::vector<Claim> claims_;
};

/// Rows that a run gets to and then cannot end any more.
class StuckRows {
 public:
  StuckRows(const RunGraph& graph, const ShortestRuns& shortest)
      : graph_(graph), shortest_(shortest) {
    takeFirst(RunGraph::kRoot);
    for (const int activation : graph.calleesFirst()) {
      const Activation& at = graph.at(activation);
      for (std::size_t state = 0; state < at.steps.size(); ++state) {
        for (const Step& step : at.steps[state]) {
          if (step.to >= 0 && !isStuck(activation, state)) {
            take(activation, static_cast<std::size_t>(step.to));
          }
        }
      }
      for (const auto& [state, callee] : at.calls) {
        if (!isStuck(activation, state)) {
          takeFirst(callee);
        }
      }
    }
  }

  std::vector<Claim> claims(Witnesses& witnesses) const {
    std::vector<Claim> claims;
    for (const auto& [place, best] : rows_) {
      const std::string name =
          rowNameOf(graph_.program(), place.first, place.second, graph_.at(RunGraph::kRoot).table);
      claims.push_back(
          witnesses.give({Claim::Kind::kStuck, name,
                          "from row " + name + " on the run cannot end any more", std::nullopt},
                         [&, &best = best] { return path(best); }));
    }
    return claims;
  }

 private:
  bool isStuck(int activation, std::size_t state) const {
    return shortest_.toGoal(activation, state, Goal::kFailure) >= kNoLength &&
           shortest_.toGoal(activation, state, Goal::kReturnUnmarked) >= kNoLength &&
           shortest_.toGoal(activation, state, Goal::kReturnMarked) >= kNoLength;
  }

  void takeFirst(int activation) { take(activation, graph_.at(activation).first()); }

  void take(int activation, std::size_t state) {
    if (isStuck(activation, state)) {
      rows_[{graph_.at(activation).table, Activation::rowOf(state)}].take(
          {shortest_.upTo(activation, state), activation, state});
    }
  }

  /// The run up to the row, and on until it comes to a state again.
  RunPath path(const Best& best) const {
    RunPath path = shortest_.pathUpTo(best.activation, best.state);
    std::map<std::pair<int, std::size_t>, std::size_t> met;
    std::pair<int, std::size_t> at = {best.activation, best.state};
    while (!path.is_cut && met.insert({at, path.rows.size()}).second) {
      const auto [activation, state] = at;
      const Activation& around = graph_.at(activation);
      if (around.steps[state].empty()) {  // what it calls does not end
        const auto call =
            std::find_if(around.calls.begin(), around.calls.end(),
                         [from = state](const auto& one) { return one.first == from; });
        shortest_.writer().writeRow(path, activation, state, Step::Choice::kNone);
        at = {call->second, graph_.at(call->second).first()};
        continue;
      }
      const Step& step = around.steps[state][0];
      shortest_.writer().writeStep(path, activation, state, step, returnWith(step.mark));
      at = {activation, static_cast<std::size_t>(step.to)};
    }
    path.repeats_from = path.is_cut ? RunPath::kEnds : met.at(at);
    return path;
  }

  const RunGraph& graph_;
  const ShortestRuns& shortest_;
  std::map<RowPlace, Best> rows_;
};

/// A run up to the start of a cycle and round from there.
RunPath endlessPath(const RunGraph& graph, const ShortestRuns& shortest, const RowCycle& cycle,
                    int activation) {
  const Activation& at = graph.at(activation);
  auto steps = stepsOf(cycle, at);
  std::rotate(steps.begin(),
              std::min_element(steps.begin(), steps.end(),
                               [&](const auto& a, const auto& b) {
                                 return shortest.upTo(activation, a.first) <
                                        shortest.upTo(activation, b.first);
                               }),
              steps.end());
  RunPath path = shortest.pathUpTo(activation, steps[0].first);
  path.repeats_from = path.rows.size();
  for (const auto& [state, nth] : steps) {
    const Step& step = at.steps[state][nth];
    shortest.writer().writeStep(path, activation, state, step, returnWith(step.mark));
  }
  return path;
}

/// The activation in which the shortest run gets to a cycle.
int nearestOf(const RowCycle& cycle, const RunGraph& graph, const ShortestRuns& shortest) {
  Best best;
  for (const int activation : graph.calleesFirst()) {
    if (graph.at(activation).table != cycle.table) {
      continue;
    }
    for (const auto& [state, nth] : stepsOf(cycle, graph.at(activation))) {
      best.take({shortest.upTo(activation, state), activation, state});
    }
  }
  return best.activation;
}

}  // namespace

std::string rowNameOf(const Program& program, int table, std::size_t row, int entry) {
  return program.rowOf(table, row)
      .id.text(program.tables[static_cast<std::size_t>(entry)].flow->name);
}

std::vector<Claim> rowClaims(const RunGraph& graph, const ShortestRuns& shortest,
                             Witnesses& witnesses) {
  return RowClaims(graph, shortest, witnesses).run();
}

std::vector<Claim> stuckClaims(const RunGraph& graph, const ShortestRuns& shortest,
                               Witnesses& witnesses) {
  return StuckRows(graph, shortest).claims(witnesses);
}

std::vector<Claim> endlessClaims(const RunGraph& graph, const RowCycles& cycles,
                                 const ShortestRuns& shortest, Witnesses& witnesses) {
  const Program& program = graph.program();
  const int entry = graph.at(RunGraph::kRoot).table;
  std::vector<Claim> claims;
  std::set<std::string> messages;
  for (const RowCycle& cycle : cycles.found) {
    const std::string subject = rowNameOf(program, cycle.table, cycle.jump(), entry);
    const RowId& row = program.rowOf(cycle.table, cycle.jump()).id;
    const std::string prefix = cycle.table == entry ? "" : row.table + kRowSeparator;
    std::string message = cycleText(cycle, program, kStretchesNamed, prefix);
    if (!messages.insert(message).second) {
      message = cycleText(cycle, program, kAllNames, prefix);
    }
    claims.push_back(witnesses.give({Claim::Kind::kEndless, subject, message, std::nullopt}, [&] {
      return endlessPath(graph, shortest, cycle, nearestOf(cycle, graph, shortest));
    }));
  }
  return claims;
}

}  // namespace kw::trx::tools
