// SPDX-License-Identifier: Apache-2.0
#include "analysis/row_claims.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <utility>

#include "analysis/cycles.h"
#include "cases/case_file.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kRowsNamed = 8;

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
  Best quiet;   ///< it fails, no CHECK row comes behind it, and the run ends well
  Best well;    ///< it fails, and the run ends well
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
  using Place = std::pair<int, std::size_t>;  // table and row

  void takeStep(int activation, std::size_t state, const Step& step) {
    const Activation& at = graph_.at(activation);
    const FlowRow& row = graph_.rowOf(at, state);
    RowEvidence& events = events_[{at.table, Activation::rowOf(state)}];
    if (step.choice == Step::Choice::kFailure) {
      events.quiet.take(
          {shortest_.throughStep(activation, state, step, true), activation, state, &step});
      events.well.take(
          {shortest_.throughStep(activation, state, step, false), activation, state, &step});
    } else if (step.to == kToFailure && step.callee == kAbsent && row.command != Command::kCheck) {
      events.ending.take({shortest_.upTo(activation, state), activation, state, &step});
    }
  }

  void claimFailures(const Place& place, const FlowRow& row, const RowEvidence& events) {
    const std::string name = nameOf(place);
    const bool is_kept = row.on_failure == Effect::kKept;
    const Best& unseen = is_kept ? events.quiet : events.well;
    const bool is_ignored = row.on_failure == Effect::kIgnored;
    if ((is_kept || is_ignored) && unseen.length < kNoLength) {
      add(Claim::Kind::kSwallowed, name,
          "row " + name +
              " fails unseen: " + (is_kept ? "no CHECK row comes behind it" : "NOP ignores it"),
          [&] {
            return shortest_.pathThroughStep(unseen.activation, unseen.state, *unseen.step,
                                             is_kept);
          });
    } else if (events.well.length < kNoLength) {
      add(Claim::Kind::kRecovered, name, "row " + name + " fails and the run ends well", [&] {
        return shortest_.pathThroughStep(events.well.activation, events.well.state,
                                         *events.well.step, false);
      });
    }
  }

  void claimEnding(const Place& place, const FlowRow& row, const Best& best) {
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

  std::string nameOf(const Place& place) const {
    return rowNameOf(graph_.program(), place.first, place.second, entry_);
  }

  const RunGraph& graph_;
  const ShortestRuns& shortest_;
  Witnesses& witnesses_;
  const int entry_;
  std::map<Place, RowEvidence> events_;
  std::vector<Claim> claims_;
};

/// The steps of a cycle, as pairs of a state and the place of its step.
using Cycle = std::vector<std::pair<std::size_t, std::size_t>>;

/// A run up to a state and round from there.
RunPath endlessPath(const RunGraph& graph, const ShortestRuns& shortest, const Best& best,
                    const Cycle& cycle) {
  RunPath path = shortest.pathUpTo(best.activation, best.state);
  path.repeats_from = path.rows.size();
  const Activation& at = graph.at(best.activation);
  for (const auto& [state, nth] : cycle) {
    const Step& step = at.steps[state][nth];
    shortest.writer().writeStep(path, best.activation, state, step, returnWith(step.mark));
  }
  return path;
}

/// The rows of the table itself that a cycle goes through, in their order.
std::string rowsOfCycle(const RunGraph& graph, int table, const Cycle& cycle) {
  std::string names;
  for (std::size_t i = 0; i < cycle.size() && i < kRowsNamed; ++i) {
    names += " " + rowNameOf(graph.program(), table, Activation::rowOf(cycle[i].first),
                             graph.at(RunGraph::kRoot).table);
  }
  return (cycle.size() == 1 ? "row" : "rows") + names +
         (cycle.size() > kRowsNamed ? " and " + std::to_string(cycle.size() - kRowsNamed) + " more"
                                    : "");
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

std::vector<Claim> endlessClaims(const RunGraph& graph, const ShortestRuns& shortest,
                                 Witnesses& witnesses) {
  std::map<std::pair<int, std::size_t>, Best> cycles;  // by table and first row
  for (const int activation : graph.calleesFirst()) {
    const Activation& at = graph.at(activation);
    for (const std::vector<std::size_t>& component : componentsOf(at)) {
      if (!isCycle(at, component)) {
        continue;
      }
      const std::size_t first = *std::min_element(component.begin(), component.end());
      Best& best = cycles[{at.table, Activation::rowOf(first)}];
      for (const std::size_t state : component) {
        best.take({shortest.upTo(activation, state), activation, state});
      }
    }
  }
  std::vector<Claim> claims;
  for (const auto& [place, best] : cycles) {
    const Cycle cycle = cycleThrough(graph.at(best.activation), best.state);
    claims.push_back(witnesses.give(
        {Claim::Kind::kEndless,
         rowNameOf(graph.program(), place.first, place.second, graph.at(RunGraph::kRoot).table),
         rowsOfCycle(graph, place.first, cycle) + " can run for ever", std::nullopt},
        [&, &best = best] { return endlessPath(graph, shortest, best, cycle); }));
  }
  return claims;
}

}  // namespace kw::trx::tools
