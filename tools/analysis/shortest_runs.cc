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
    for (const Goal goal : {Goal::kReturnUnmarked, Goal::kReturnMarked, Goal::kFailure,
                            Goal::kQuietReturn, Goal::kSeenReturn}) {
      measureBackwards(activation, goal);
    }
    measureForwards(activation);
  }
  for (Caller& caller : callers_[RunGraph::kRoot]) {
    caller.length = 0;
  }
  callers_[RunGraph::kRoot][indexOf(Goal::kSeenReturn)].length = kNoLength;
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

/// Whether a way to the goal may lead through a state without getting to it there.
bool ShortestRuns::isOnWay(int activation, std::size_t state, Goal goal) const {
  return (goal != Goal::kQuietReturn && goal != Goal::kSeenReturn) ||
         (Activation::markOf(state) &&
          graph_.rowOf(graph_.at(activation), state).command != Command::kCheck);
}

/// Steps in which a CHECK row finds the mark, in the activation itself or in one that it calls.
void ShortestRuns::addFindingSteps(int activation, std::size_t state,
                                   std::vector<LastStep>& last) const {
  const Activation& at = graph_.at(activation);
  const bool is_check = graph_.rowOf(at, state).command == Command::kCheck;
  for (std::size_t nth = 0; Activation::markOf(state) && nth < at.steps[state].size(); ++nth) {
    const Step& step = at.steps[state][nth];
    if (step.to >= 0 && (is_check || step.callee != kAbsent)) {
      const std::uint64_t found =
          is_check ? 0 : toGoal(step.callee, graph_.at(step.callee).first(), Goal::kSeenReturn);
      const std::uint64_t behind =
          toGoal(activation, static_cast<std::size_t>(step.to), Goal::kReturnMarked);
      last.push_back({state, chosenSeen(static_cast<int>(nth), true),
                      lengthOfBoth(weight(activation, state), lengthOfBoth(found, behind))});
    }
  }
}

std::vector<ShortestRuns::LastStep> ShortestRuns::lastSteps(int activation, Goal goal) const {
  const Activation& at = graph_.at(activation);
  std::vector<LastStep> last;
  for (std::size_t state = 0; state < at.steps.size(); ++state) {
    if (goal == Goal::kSeenReturn) {
      addFindingSteps(activation, state, last);
      continue;
    }
    for (std::size_t nth = 0; nth < at.steps[state].size(); ++nth) {
      const Step& step = at.steps[state][nth];
      const bool ends = step.to == kToFailure
                            ? goal == Goal::kFailure
                            : step.to == kToReturn &&
                                  (goal == Goal::kQuietReturn || goal == returnWith(step.mark));
      if (ends && isOnWay(activation, state, goal)) {
        last.push_back({state, static_cast<int>(nth), lengthOfStep(activation, state, step, goal)});
      }
    }
  }
  return last;
}

void ShortestRuns::measureBackwards(int activation, Goal goal) {
  const Activation& at = graph_.at(activation);
  auto& after = after_[static_cast<std::size_t>(activation)][indexOf(goal)];
  auto& chosen = chosen_[static_cast<std::size_t>(activation)][indexOf(goal)];
  after.assign(at.steps.size(), kNoLength);
  chosen.assign(at.steps.size(), kAbsent);
  std::vector<std::vector<std::pair<std::size_t, int>>> into(at.steps.size());
  Nearest open;
  const auto offer = [&](std::size_t state, int choice, std::uint64_t length) {
    if (length < after[state]) {
      after[state] = length;
      chosen[state] = choice;
      open.push({length, state});
    }
  };
  for (std::size_t state = 0; state < at.steps.size(); ++state) {
    for (std::size_t nth = 0; nth < at.steps[state].size(); ++nth) {
      const int to = at.steps[state][nth].to;
      if (to >= 0 && isOnWay(activation, state, goal)) {
        into[static_cast<std::size_t>(to)].push_back({state, static_cast<int>(nth)});
      }
    }
  }
  for (const LastStep& last : lastSteps(activation, goal)) {
    offer(last.state, last.chosen, last.length);
  }
  while (!open.empty()) {
    const auto [length, state] = open.top();
    open.pop();
    if (length != after[state]) {
      continue;
    }
    for (const auto& [from, nth] : into[state]) {
      const Step& step = at.steps[from][static_cast<std::size_t>(nth)];
      offer(from, goal == Goal::kSeenReturn ? chosenSeen(nth, false) : nth,
            lengthOfBoth(length, lengthOfStep(activation, from, step, goal)));
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
           kAbsent, Goal::kFailure, Goal::kFailure});
    for (const Step& step : at.steps[state]) {
      if (step.to < 0) {
        continue;
      }
      for (const auto& [goal, checks] : {std::pair(returnWith(step.mark), Checks::kAny),
                                         std::pair(Goal::kQuietReturn, Checks::kNone),
                                         std::pair(Goal::kSeenReturn, Checks::kFinding)}) {
        const Rest rest = restAfter(activation, step.to, checks);
        offer(
            callee, goal,
            {lengthOfBoth(up_to, rest.length), activation, state, step.to, rest.goal, rest.around});
      }
    }
  }
}

ShortestRuns::Rest ShortestRuns::restTo(int activation, int to, Goal goal, Goal around) const {
  return {lengthOfBoth(toGoal(activation, static_cast<std::size_t>(to), goal),
                       callerOf(activation, around).length),
          goal, around};
}

ShortestRuns::Rest ShortestRuns::restAfter(int activation, int to, Checks checks) const {
  if (checks == Checks::kNone) {
    return restTo(activation, to, Goal::kQuietReturn, Goal::kQuietReturn);
  }
  const bool finds = checks == Checks::kFinding;
  const Goal one_goal = finds ? Goal::kSeenReturn : Goal::kReturnUnmarked;
  const Rest one =
      restTo(activation, to, one_goal, finds ? Goal::kReturnMarked : Goal::kReturnUnmarked);
  const Rest other =
      restTo(activation, to, Goal::kReturnMarked, finds ? Goal::kSeenReturn : Goal::kReturnMarked);
  return one.length < other.length ? one : other;
}

std::uint64_t ShortestRuns::throughStep(int activation, std::size_t state, const Step& step,
                                        Checks checks) const {
  if (step.to < 0) {
    return kNoLength;
  }
  return lengthOfBoth(
      lengthOfBoth(before_[static_cast<std::size_t>(activation)][state], weight(activation, state)),
      restAfter(activation, step.to, checks).length);
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
    goal = caller.around;
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
                                      Checks checks) const {
  RunPath path;
  const Rest rest = restAfter(activation, step.to, checks);
  writeAround(path, activation, rest.around, [&] {
    writeWithin(path, activation, state);
    writer().writeRow(path, activation, state, step.choice);
    writer().writeToGoal(path, activation, static_cast<std::size_t>(step.to), rest.goal);
  });
  return path;
}

RunPath ShortestRuns::pathUpTo(int activation, std::size_t state) const {
  RunPath path;
  writeAround(path, activation, Goal::kFailure, [&] { writeWithin(path, activation, state); });
  return path;
}

}  // namespace kw::trx::tools
