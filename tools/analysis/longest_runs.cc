// SPDX-License-Identifier: Apache-2.0
#include "analysis/longest_runs.h"

#include <algorithm>
#include <map>
#include <utility>

#include "analysis/cycles.h"

namespace kw::trx::tools {
namespace {

std::int64_t lengthOfBoth(std::int64_t one, std::int64_t other) {
  return one == kNoBound || other == kNoBound
             ? kNoBound
             : std::min(static_cast<std::int64_t>(kMaxAmount), one + other);
}

}  // namespace

LongestRuns::LongestRuns(const RunGraph& graph, Measure measure)
    : graph_(graph),
      measure_(measure),
      chosen_(graph.activations().size()),
      after_(chosen_.size()) {
  for (const int activation : graph.calleesFirst()) {
    const Activation& at = graph.at(activation);
    for (std::size_t goal = 0; goal < kGoals; ++goal) {
      chosen_[static_cast<std::size_t>(activation)][goal].assign(at.steps.size(), kAbsent);
      after_[static_cast<std::size_t>(activation)][goal].assign(at.steps.size(), kNoRun);
    }
    std::vector<bool> is_inside(at.steps.size());
    for (const Component& component : componentsOf(at)) {
      for (const std::size_t state : component) is_inside[state] = true;
      is_unbounded_ = is_unbounded_ || grows(activation, component, is_inside);
      for (const Goal goal : {Goal::kReturnUnmarked, Goal::kReturnMarked, Goal::kFailure}) {
        measureComponent(activation, component, is_inside, goal);
      }
      for (const std::size_t state : component) is_inside[state] = false;
    }
  }
}

/// Of a step within its activation, with all that it calls; `kNoRun`: it leads elsewhere.
std::int64_t LongestRuns::lengthOfStep(int activation, std::size_t state, const Step& step,
                                       Goal goal) const {
  const auto own =
      static_cast<std::int64_t>(lengthOf(graph_.rowOf(graph_.at(activation), state), measure_));
  if (step.callee == kAbsent) {
    return own;
  }
  const std::int64_t called =
      toGoal(step.callee, graph_.at(step.callee).first(), goalOfCallee(step, goal));
  return called == kNoRun ? kNoRun : lengthOfBoth(own, called);
}

/// Of a step out of its component and all behind it.
std::int64_t LongestRuns::throughStep(int activation, std::size_t state, const Step& step,
                                      Goal goal) const {
  if (step.to < 0 && goal != (step.to == kToFailure ? Goal::kFailure : returnWith(step.mark))) {
    return kNoRun;
  }
  const std::int64_t own = lengthOfStep(activation, state, step, goal);
  const std::int64_t behind =
      step.to < 0 ? 0 : toGoal(activation, static_cast<std::size_t>(step.to), goal);
  return own == kNoRun || behind == kNoRun ? kNoRun : lengthOfBoth(own, behind);
}

void LongestRuns::measureComponent(int activation, const Component& component,
                                   const std::vector<bool>& is_inside, Goal goal) {
  auto& after = after_[static_cast<std::size_t>(activation)][indexOf(goal)];
  auto& chosen = chosen_[static_cast<std::size_t>(activation)][indexOf(goal)];
  std::int64_t most = kNoRun;
  std::vector<std::int64_t> lengths(component.size(), kNoRun);
  for (std::size_t i = 0; i < component.size(); ++i) {
    const auto& steps = graph_.at(activation).steps[component[i]];
    for (std::size_t nth = 0; nth < steps.size(); ++nth) {
      const bool inside = steps[nth].to >= 0 && is_inside[static_cast<std::size_t>(steps[nth].to)];
      const std::int64_t length =
          inside ? kNoRun : throughStep(activation, component[i], steps[nth], goal);
      if (length > lengths[i]) {
        lengths[i] = length;
        chosen[component[i]] = static_cast<int>(nth);
      }
    }
    most = std::max(most, lengths[i]);
  }
  if (most == kNoRun) {
    return;
  }
  most = grows(activation, component, is_inside) ? kNoBound : most;
  for (std::size_t i = 0; i < component.size(); ++i) {
    after[component[i]] = most;
    chosen[component[i]] = lengths[i] == most ? chosen[component[i]] : kAbsent;
  }
  if (most != kNoBound) {
    chooseWithin(activation, component, goal);
  }
}

/// True when a run becomes longer by going round in the component.
bool LongestRuns::grows(int activation, const Component& component,
                        const std::vector<bool>& is_inside) const {
  return std::any_of(component.begin(), component.end(), [&](std::size_t state) {
    const auto& steps = graph_.at(activation).steps[state];
    return std::any_of(steps.begin(), steps.end(), [&](const Step& step) {
      return step.to >= 0 && is_inside[static_cast<std::size_t>(step.to)] &&
             lengthOfStep(activation, state, step, returnWith(step.mark)) > 0;
    });
  });
}

/// States that have no longest way out of their component themselves go to one that has.
void LongestRuns::chooseWithin(int activation, const Component& component, Goal goal) {
  auto& chosen = chosen_[static_cast<std::size_t>(activation)][indexOf(goal)];
  std::map<std::size_t, std::vector<std::pair<std::size_t, int>>> into;
  std::vector<std::size_t> open;
  for (const std::size_t state : component) {
    const auto& steps = graph_.at(activation).steps[state];
    for (std::size_t nth = 0; nth < steps.size(); ++nth) {
      if (steps[nth].to >= 0) {
        into[static_cast<std::size_t>(steps[nth].to)].push_back({state, static_cast<int>(nth)});
      }
    }
    if (chosen[state] != kAbsent) {
      open.push_back(state);
    }
  }
  while (!open.empty()) {
    const std::size_t state = open.back();
    open.pop_back();
    for (const auto& [from, nth] : into[state]) {
      if (chosen[from] == kAbsent) {
        chosen[from] = nth;
        open.push_back(from);
      }
    }
  }
}

RunPath LongestRuns::pathOfRequest(Goal goal) const {
  RunPath path;
  PathWriter(graph_, chosen_)
      .writeToGoal(path, RunGraph::kRoot, graph_.at(RunGraph::kRoot).first(), goal);
  return path;
}

}  // namespace kw::trx::tools
