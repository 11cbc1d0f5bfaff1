// SPDX-License-Identifier: Apache-2.0
#include "analysis/machine_runs.h"

#include <algorithm>

namespace kw::trx::tools {
namespace {

constexpr std::size_t kNoParent = static_cast<std::size_t>(-1);

}  // namespace

std::size_t MachineRuns::Hash::operator()(std::size_t node) const {
  const Node& one = owner->nodes_[node];
  std::uint64_t hash = (std::uint64_t{one.at.frame} << 32U) | one.at.row;
  for (const std::uint64_t part : {one.value, std::uint64_t{one.at.mark}}) {
    hash = (hash ^ part) * 0x9e3779b97f4a7c15U;
    hash ^= hash >> 29U;
  }
  return static_cast<std::size_t>(hash);
}

bool MachineRuns::Equal::operator()(std::size_t a, std::size_t b) const {
  return owner->nodes_[a].at == owner->nodes_[b].at &&
         owner->nodes_[a].value == owner->nodes_[b].value;
}

MachineRuns::MachineRuns(Machine& machine, std::size_t max_states)
    : machine_(machine), max_states_(max_states), known_(0, Hash{this}, Equal{this}) {}

bool MachineRuns::follow(const MachineState& from, std::uint64_t value, const Follow& follow) {
  push({from, value, kNoParent, Step::Choice::kNone});
  for (std::size_t node = 0; node < nodes_.size(); ++node) {
    if (!expand(node, follow)) {
      return true;
    }
  }
  return is_complete_;
}

bool MachineRuns::expand(std::size_t node, const Follow& follow) {
  const FlowRow& row = machine_.rowOf(nodes_[node].at);
  const RowPlace place = {machine_.tableOf(nodes_[node].at), nodes_[node].at.row};
  const bool is_call = row.command == Command::kHAP;
  for (const bool fails : {false, true}) {
    if (fails ? !is_call : is_call && !row.can_succeed) {
      continue;
    }
    MachineState at = nodes_[node].at;
    std::uint64_t value = nodes_[node].value;
    const Machine::Action::Kind end = machine_.step(at, fails).kind;
    last_node_ = node;
    last_choice_ = !is_call ? Step::Choice::kNone
                   : fails  ? Step::Choice::kFailure
                            : Step::Choice::kSuccess;
    last_ = at;
    if (!follow({row, place, fails, end}, value)) {
      return false;
    }
    if (end == Machine::Action::Kind::kGoesOn) {
      push({at, value, node, last_choice_});
    }
  }
  return true;
}

void MachineRuns::push(const Node& node) {
  if (nodes_.size() >= max_states_) {
    is_complete_ = false;
    return;
  }
  nodes_.push_back(node);
  if (!known_.insert(nodes_.size() - 1).second) {
    nodes_.pop_back();
  }
}

RunPath MachineRuns::path() const {
  RunPath path;
  Step::Choice choice = last_choice_;
  for (std::size_t node = last_node_; node != kNoParent; node = nodes_[node].parent) {
    const MachineState& at = nodes_[node].at;
    path.rows.push_back({machine_.tableOf(at), at.row, choice});
    choice = nodes_[node].choice;
  }
  std::reverse(path.rows.begin(), path.rows.end());
  return path;
}

bool addWayToEnd(Machine& machine, const MachineState& from, std::size_t max_states,
                 RunPath& path) {
  MachineRuns runs(machine, max_states);
  bool ends = false;
  runs.follow(from, 0, [&ends](const MachineRuns::Ran& ran, std::uint64_t&) {
    ends = ran.end != Machine::Action::Kind::kGoesOn;
    return !ends;
  });
  const RunPath rest = runs.path();
  path.rows.insert(path.rows.end(), rest.rows.begin(), rest.rows.end());
  return ends && path.rows.size() <= RunPath::kMaxRows;
}

}  // namespace kw::trx::tools
