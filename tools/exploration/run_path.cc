// SPDX-License-Identifier: Apache-2.0
#include "exploration/run_path.h"

namespace kw::trx::tools {

Goal goalOfCallee(const Step& step, Goal goal) {
  if (step.to == kToFailure) {
    return Goal::kFailure;
  }
  return goal == Goal::kQuietReturn ? goal : returnWith(step.mark);
}

void PathWriter::writeToGoal(RunPath& path, int activation, std::size_t state, Goal goal) const {
  const ChosenSteps& chosen = chosen_[static_cast<std::size_t>(activation)];
  for (;;) {
    const auto nth = static_cast<std::size_t>(chosen[indexOf(goal)][state]);
    const Step& step = graph_.at(activation).steps[state][nth];
    writeStep(path, activation, state, step, goal);
    if (step.to < 0) {
      return;
    }
    state = static_cast<std::size_t>(step.to);
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
  path.rows.push_back(
      {graph_.at(activation).table, static_cast<std::uint32_t>(Activation::rowOf(state)), choice});
}

}  // namespace kw::trx::tools
