// SPDX-License-Identifier: Apache-2.0
#include "analysis/run_path.h"

namespace kw::trx::tools {

Goal goalOfCallee(const Step& step, Goal goal) {
  if (step.to == kToFailure) {
    return Goal::kFailure;
  }
  return goal == Goal::kQuietReturn ? goal : returnWith(step.mark);
}

void PathWriter::writeToGoal(RunPath& path, int activation, std::size_t state, Goal goal) const {
  struct Open {
    int activation;
    std::size_t state;
    Goal goal;
  };
  std::vector<Open> stack = {{activation, state, goal}};
  while (!stack.empty() && !path.is_cut) {
    const Open at = stack.back();
    const ChosenSteps& chosen = chosen_[static_cast<std::size_t>(at.activation)];
    const int choice = chosen[indexOf(at.goal)][at.state];
    const bool may_see = at.goal == Goal::kSeenReturn;
    const bool sees = may_see && choice % 2 != 0;
    const auto nth = static_cast<std::size_t>(may_see ? choice / 2 : choice);
    const Step& step = graph_.at(at.activation).steps[at.state][nth];
    writeRow(path, at.activation, at.state, step.choice);
    if (step.to < 0) {
      stack.pop_back();
    } else {
      stack.back().state = static_cast<std::size_t>(step.to);
      stack.back().goal = sees ? Goal::kReturnMarked : at.goal;
    }
    if (step.callee != kAbsent) {
      stack.push_back({step.callee, graph_.at(step.callee).first(),
                       sees ? at.goal : goalOfCallee(step, at.goal)});
    }
  }
}

void PathWriter::writeStep(RunPath& path, int activation, std::size_t state, const Step& step,
                           Goal goal) const {
  writeRow(path, activation, state, step.choice);
  if (step.callee != kAbsent) {
    writeToGoal(path, step.callee, graph_.at(step.callee).first(), goalOfCallee(step, goal));
  }
}

void PathWriter::writeRow(RunPath& path, int activation, std::size_t state,
                          Step::Choice choice) const {
  path.is_cut = path.is_cut || path.rows.size() == RunPath::kMaxRows;
  if (path.is_cut) {
    return;
  }
  path.rows.push_back(
      {graph_.at(activation).table, static_cast<std::uint32_t>(Activation::rowOf(state)), choice});
}

}  // namespace kw::trx::tools
