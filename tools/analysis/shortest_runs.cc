// SPDX-License-Identifier: Apache-2.0
#include "analysis/shortest_runs.h"

#include <algorithm>
#include <functional>
#include <queue>
#include <utility>

namespace kw::trx::tools {
namespace {

using Entry = std::pair<std::uint64_t, std::size_t>;
using Nearest = std::priority_queue<Entry, std::vector<Entry>, std::greater<>>;

/// Of runs that take as much of their measure, the one of fewer rows is the shorter one: rows are
/// counted in the low bits, as far as a path can be written.
constexpr unsigned int kRowsBits = 17;
constexpr std::uint64_t kMaxCounted = (std::uint64_t{1} << kRowsBits) - 1;
static_assert(kMaxCounted > RunPath::kMaxRows);
static_assert(((kMaxAmount << kRowsBits) | kMaxCounted) < kNoLength);

}  // namespace

std::uint64_t lengthOfBoth(std::uint64_t one, std::uint64_t other) {
  if (one >= kNoLength || other >= kNoLength) {
    return kNoLength;
  }
  const std::uint64_t amount = std::min(kMaxAmount, (one >> kRowsBits) + (other >> kRowsBits));
  return (amount << kRowsBits) | std::min(kMaxCounted, (one & kMaxCounted) + (other & kMaxCounted));
}

std::uint64_t ShortestRuns::amountOf(std::uint64_t length) { return length >> kRowsBits; }

ShortestRuns::ShortestRuns(const RunGraph& graph, Measure measure)
    : graph_(graph),
      measure_(measure),
      chosen_(graph.activations().size()),
      after_(chosen_.size()),
      before_(chosen_.size()),
      origins_(chosen_.size()),
      callers_(chosen_.size()) {
  for (const int activation : graph.calleesFirst()) {
    for (const Goal goal :
         {Goal::kReturnUnmarked, Goal::kReturnMarked, Goal::kFailure, Goal::kQuietReturn}) {
      measureBackwards(activation, goal);
    }
    measureForwards(activation);
  }
  for (Caller& caller : callers_[RunGraph::kRoot]) {
    caller.length = 0;
  }
  const std::vector<int>& order = graph.calleesFirst();
  std::for_each(order.rbegin(), order.rend(), [this](int one) { measureCallers(one); });
}

std::uint64_t ShortestRuns::weight(int activation, std::size_t state) const {
  const std::uint64_t amount = lengthOf(graph_.rowOf(graph_.at(activation), state), measure_);
  return (amount << kRowsBits) + 1;
}

/// Of a step within its activation, with all that it calls.
std::uint64_t ShortestRuns::lengthOfStep(int activation, std::size_t state, const Step& step,
                                         Goal goal) const {
  const std::uint64_t own = weight(activation, state);
  return step.callee == kAbsent
             ? own
             : lengthOfBoth(own, toGoal(step.callee, graph_.at(step.callee).first(),
                                        goalOfCallee(step, goal)));
}

void ShortestRuns::measureBackwards(int activation, Goal goal) {
  const Activation& at = graph_.at(activation);
  auto& after = after_[static_cast<std::size_t>(activation)][indexOf(goal)];
  auto& chosen = chosen_[static_cast<std::size_t>(activation)][indexOf(goal)];
  after.assign(at.steps.size(), kNoLength);
  chosen.assign(at.steps.size(), kAbsent);
  std::vector<std::vector<std::pair<std::size_t, int>>> into(at.steps.size());
  Nearest open;
  const auto offer = [&](std::size_t state, int nth, std::uint64_t length) {
    if (length < after[state]) {
      after[state] = length;
      chosen[state] = nth;
      open.push({length, state});
    }
  };
  const bool quiet = goal == Goal::kQuietReturn;
  for (std::size_t state = 0; state < at.steps.size(); ++state) {
    if (quiet &&
        (!Activation::markOf(state) || graph_.rowOf(at, state).command == Command::kCheck)) {
      continue;
    }
    for (std::size_t nth = 0; nth < at.steps[state].size(); ++nth) {
      const Step& step = at.steps[state][nth];
      if (step.to >= 0) {
        into[static_cast<std::size_t>(step.to)].push_back({state, static_cast<int>(nth)});
      } else if (step.to == kToFailure ? goal == Goal::kFailure
                                       : quiet || goal == returnWith(step.mark)) {
        offer(state, static_cast<int>(nth), lengthOfStep(activation, state, step, goal));
      }
    }
  }
  while (!open.empty()) {
    const auto [length, state] = open.top();
    open.pop();
    if (length != after[state]) {
      continue;
    }
    for (const auto& [from, nth] : into[state]) {
      const Step& step = at.steps[from][static_cast<std::size_t>(nth)];
      offer(from, nth, lengthOfBoth(length, lengthOfStep(activation, from, step, goal)));
    }
  }
}

void ShortestRuns::measureForwards(int activation) {
  const Activation& at = graph_.at(activation);
  auto& before = before_[static_cast<std::size_t>(activation)];
  auto& origins = origins_[static_cast<std::size_t>(activation)];
  before.assign(at.steps.size(), kNoLength);
  origins.assign(at.steps.size(), Origin());
  Nearest open;
  before[at.first()] = 0;
  open.push({0, at.first()});
  while (!open.empty()) {
    const auto [length, state] = open.top();
    open.pop();
    if (length != before[state]) {
      continue;
    }
    for (std::size_t nth = 0; nth < at.steps[state].size(); ++nth) {
      const Step& step = at.steps[state][nth];
      if (step.to < 0) {
        continue;
      }
      const auto to = static_cast<std::size_t>(step.to);
      const std::uint64_t found =
          lengthOfBoth(length, lengthOfStep(activation, state, step, returnWith(step.mark)));
      if (found < before[to]) {
        before[to] = found;
        origins[to] = {static_cast<int>(state), static_cast<int>(nth)};
        open.push({found, to});
      }
    }
  }
}

void ShortestRuns::offer(int callee, Goal goal, const Caller& caller) {
  Caller& known = callers_[static_cast<std::size_t>(callee)][indexOf(goal)];
  if (caller.length < known.length) {
    known = caller;
  }
}

/// Offers each activation that this one calls what then stands around it.
void ShortestRuns::measureCallers(int activation) {
  const Activation& at = graph_.at(activation);
  for (const auto& [state, callee] : at.calls) {
    const std::uint64_t up_to = lengthOfBoth(before_[static_cast<std::size_t>(activation)][state],
                                             weight(activation, state));
    offer(callee, Goal::kFailure,
          {lengthOfBoth(callerOf(activation, Goal::kFailure).length, up_to), activation, state,
           kAbsent, Goal::kFailure});
    for (const Step& step : at.steps[state]) {
      if (step.to < 0) {
        continue;
      }
      const Goal goal = goalAfter(activation, step.to, false);
      offer(
          callee, returnWith(step.mark),
          {lengthOfBoth(up_to, rest(activation, step.to, goal)), activation, state, step.to, goal});
      offer(callee, Goal::kQuietReturn,
            {lengthOfBoth(up_to, rest(activation, step.to, Goal::kQuietReturn)), activation, state,
             step.to, Goal::kQuietReturn});
    }
  }
}

/// Of what comes after a step of an activation, around it included.
std::uint64_t ShortestRuns::rest(int activation, int to, Goal goal) const {
  return lengthOfBoth(toGoal(activation, static_cast<std::size_t>(to), goal),
                      callerOf(activation, goal).length);
}

Goal ShortestRuns::goalAfter(int activation, int to, bool quietly) const {
  if (quietly) {
    return Goal::kQuietReturn;
  }
  return rest(activation, to, Goal::kReturnUnmarked) < rest(activation, to, Goal::kReturnMarked)
             ? Goal::kReturnUnmarked
             : Goal::kReturnMarked;
}

std::uint64_t ShortestRuns::throughStep(int activation, std::size_t state, const Step& step,
                                        bool quietly) const {
  if (step.to < 0) {
    return kNoLength;
  }
  return lengthOfBoth(
      lengthOfBoth(before_[static_cast<std::size_t>(activation)][state], weight(activation, state)),
      rest(activation, step.to, goalAfter(activation, step.to, quietly)));
}

std::uint64_t ShortestRuns::upTo(int activation, std::size_t state) const {
  return lengthOfBoth(callerOf(activation, Goal::kFailure).length,
                      before_[static_cast<std::size_t>(activation)][state]);
}

void ShortestRuns::writeWithin(RunPath& path, int activation, std::size_t state) const {
  const auto& origins = origins_[static_cast<std::size_t>(activation)];
  std::vector<Origin> way;
  for (std::size_t at = state; origins[at].state != kAbsent;) {
    way.push_back(origins[at]);
    at = static_cast<std::size_t>(origins[at].state);
  }
  std::for_each(way.rbegin(), way.rend(), [&](const Origin& origin) {
    const auto from = static_cast<std::size_t>(origin.state);
    const Step& step = graph_.at(activation).steps[from][static_cast<std::size_t>(origin.step)];
    writer().writeStep(path, activation, from, step, returnWith(step.mark));
  });
}

template <typename Inner>
void ShortestRuns::writeAround(RunPath& path, int activation, Goal goal, const Inner& inner) const {
  std::vector<Caller> callers;  // the innermost first
  for (int at = activation;;) {
    const Caller& caller = callerOf(at, goal);
    if (caller.activation == kAbsent) {
      break;
    }
    callers.push_back(caller);
    at = caller.activation;
    goal = caller.goal;
  }
  std::for_each(callers.rbegin(), callers.rend(), [&](const Caller& caller) {
    writeWithin(path, caller.activation, caller.state);
    writer().writeRow(path, caller.activation, caller.state, Step::Choice::kNone);
  });
  inner();
  for (const Caller& caller : callers) {
    if (caller.to != kAbsent) {
      writer().writeToGoal(path, caller.activation, static_cast<std::size_t>(caller.to),
                           caller.goal);
    }
  }
}

RunPath ShortestRuns::pathOfRequest(Goal goal) const {
  RunPath path;
  writer().writeToGoal(path, RunGraph::kRoot, graph_.at(RunGraph::kRoot).first(), goal);
  return path;
}

RunPath ShortestRuns::pathThroughStep(int activation, std::size_t state, const Step& step,
                                      bool quietly) const {
  RunPath path;
  const Goal goal = goalAfter(activation, step.to, quietly);
  writeAround(path, activation, goal, [&] {
    writeWithin(path, activation, state);
    writer().writeRow(path, activation, state, step.choice);
    writer().writeToGoal(path, activation, static_cast<std::size_t>(step.to), goal);
  });
  return path;
}

RunPath ShortestRuns::pathUpTo(int activation, std::size_t state) const {
  RunPath path;
  writeAround(path, activation, Goal::kFailure, [&] { writeWithin(path, activation, state); });
  return path;
}

}  // namespace kw::trx::tools
