// SPDX-License-Identifier: Apache-2.0
#include "analysis/run_graph.h"

#include <algorithm>
#include <iterator>

namespace kw::trx::tools {
namespace {

/// An activation takes as much memory as so many states, beside its own.
constexpr std::size_t kStatesOfActivation = 8;

}  // namespace

RunGraph::RunGraph(const Program& program, const std::vector<int>& entries, unsigned int nest_limit,
                   std::size_t max_states)
    : program_(program), nest_limit_(nest_limit), max_states_(max_states) {
  std::for_each(entries.begin(), entries.end(), [this](int entry) { follow(entry); });
}

void RunGraph::follow(int entry) {
  const int first = activationFor(entry, false, nullptr);
  if (finished_[static_cast<std::size_t>(first)]) {
    return;
  }
  std::vector<Open> stack = {{first, {0}}};
  while (!stack.empty()) {
    // A callee that is opened moves the stack: nothing of it may be held across `expand`.
    if (stack.back().states.empty()) {
      finished_[static_cast<std::size_t>(stack.back().activation)] = true;
      callees_first_.push_back(stack.back().activation);
      stack.pop_back();
      continue;
    }
    Open open = std::move(stack.back());
    stack.pop_back();
    const auto state = static_cast<std::size_t>(open.states.back());
    open.states.pop_back();
    std::vector<Open> called;
    if (!at(open.activation).reached[state]) {
      if (expand(open, state, called)) {
        activations_[static_cast<std::size_t>(open.activation)].reached[state] = true;
        ++states_;
      } else {
        open.states.push_back(static_cast<int>(state));
      }
    }
    stack.push_back(std::move(open));
    std::move(called.begin(), called.end(), std::back_inserter(stack));
  }
}

bool RunGraph::isRefused(const Activation& caller, int callee) const {
  const ProgramTable& table = program_.tables[static_cast<std::size_t>(caller.table)];
  const auto& names = table.recursive_below;
  const auto found = std::find(names.begin(), names.end(), callee);
  const bool is_recursive = program_.tables[static_cast<std::size_t>(callee)].is_recursive;
  return is_recursive && found != names.end() &&
         caller.depth[static_cast<std::size_t>(found - names.begin())] > nest_limit_;
}

int RunGraph::activationFor(int table, bool mark, const Activation* caller) {
  const ProgramTable& called = program_.tables[static_cast<std::size_t>(table)];
  std::vector<unsigned int> depth;
  for (const int name : called.recursive_below) {
    unsigned int count = name == table ? 1 : 0;
    if (caller != nullptr) {
      const auto& names = program_.tables[static_cast<std::size_t>(caller->table)].recursive_below;
      const auto found = std::find(names.begin(), names.end(), name);
      count +=
          found == names.end() ? 0 : caller->depth[static_cast<std::size_t>(found - names.begin())];
    }
    depth.push_back(count);
  }
  const auto added = known_.insert({{table, mark, depth}, static_cast<int>(activations_.size())});
  if (added.second) {
    Activation activation{table, mark, depth, {}, {}, {}};
    activation.is_left_out = !activations_.empty() && allocated_ >= max_states_;
    is_complete_ = is_complete_ && !activation.is_left_out;
    activation.steps.resize(activation.is_left_out ? 0 : called.flow->rows.size() * 2);
    activation.reached.resize(activation.steps.size());
    allocated_ += activation.steps.size() + kStatesOfActivation;
    activations_.push_back(std::move(activation));
    finished_.push_back(activations_.back().is_left_out);
  }
  return added.first->second;
}

bool RunGraph::expand(Open& open, std::size_t state, std::vector<Open>& stack) {
  const FlowRow& row = rowOf(at(open.activation), state);
  const bool mark = Activation::markOf(state);
  const int next = static_cast<int>(state) + 2;
  if (row.endsTable()) {
    addStep(open, state, {row.endsWithMessage() ? kToFailure : kToReturn, kAbsent, mark});
  } else if (row.callsTable()) {
    return expandCall(open, state, stack);
  } else if (row.command == Command::kHAP) {
    expandHAP(open, state, row);
  } else {
    const bool fails = row.command == Command::kCheck && mark;
    addStep(open, state,
            {!fails                ? next
             : row.jump == kAbsent ? kToFailure
                                   : Activation::state(static_cast<std::size_t>(row.jump), mark),
             kAbsent, mark});
  }
  return true;
}

void RunGraph::expandHAP(Open& open, std::size_t state, const FlowRow& row) {
  const bool mark = Activation::markOf(state);
  const int next = static_cast<int>(state) + 2;
  if (row.can_succeed) {
    addStep(open, state, {next, kAbsent, mark, Step::Choice::kSuccess});
  }
  Step failure{next, kAbsent, mark, Step::Choice::kFailure};
  if (row.on_failure == Effect::kKept) {
    failure.mark = true;
    failure.to = Activation::state(Activation::rowOf(state) + 1, true);
  } else if (row.on_failure == Effect::kJumps) {
    failure.to = Activation::state(static_cast<std::size_t>(row.jump), mark);
  } else if (row.on_failure == Effect::kStops) {
    failure.to = kToFailure;
  }
  addStep(open, state, failure);
}

bool RunGraph::expandCall(Open& open, std::size_t state, std::vector<Open>& stack) {
  const bool mark = Activation::markOf(state);
  const int called = program_.calleeOf(at(open.activation).table, Activation::rowOf(state));
  if (called == kAbsent || isRefused(at(open.activation), called)) {
    addStep(open, state, {kToFailure, kAbsent, mark});
    return true;
  }
  const int callee = activationFor(called, mark, &at(open.activation));
  if (!finished_[static_cast<std::size_t>(callee)]) {
    stack.push_back({callee, {static_cast<int>(at(callee).first())}});
    return false;
  }
  activations_[static_cast<std::size_t>(open.activation)].calls.push_back({state, callee});
  for (const bool after : {false, true}) {
    if (at(callee).returns[after ? 1 : 0]) {
      addStep(open, state, {Activation::state(Activation::rowOf(state) + 1, after), callee, after});
    }
  }
  if (at(callee).fails) {
    addStep(open, state, {kToFailure, callee, mark});
  }
  return true;
}

void RunGraph::addStep(Open& open, std::size_t from, Step step) {
  Activation& activation = activations_[static_cast<std::size_t>(open.activation)];
  activation.steps[from].push_back(step);
  if (step.to >= 0) {
    open.states.push_back(step.to);
  } else if (step.to == kToReturn) {
    activation.returns[step.mark ? 1 : 0] = true;
  } else {
    activation.fails = true;
  }
}

}  // namespace kw::trx::tools
