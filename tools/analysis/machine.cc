// SPDX-License-Identifier: Apache-2.0
#include "analysis/machine.h"

namespace kw::trx::tools {
namespace {

constexpr std::uint32_t kNoFrame = 0xffffffff;
/// The frame of a request that ended with error in a HAP row.
constexpr std::uint32_t kFailedFrame = 0;
/// A run that does nothing for longer is not followed.
constexpr std::size_t kMaxSilentRows = 4000000;
constexpr unsigned int kWordBits = 32;

}  // namespace

Machine::Machine(const Program& program, unsigned int nest_limit)
    : program_(program), nest_limit_(nest_limit), frames_({{kAbsent, kNoFrame, 0}}) {}

MachineState Machine::start(int table) {
  const auto [known, is_new] = first_.insert({table, static_cast<std::uint32_t>(frames_.size())});
  if (is_new) {
    frames_.push_back({table, kNoFrame, 0});
  }
  return {known->second, 0, false};
}

/// Rows that do nothing lead on to one row each: who comes to a state again stays there for ever.
/// (R. Brent, An improved Monte Carlo factorization algorithm, 1980: the state to be met again is
/// renewed whenever the number of steps has doubled.)
Machine::Action Machine::next(MachineState& at, const OnRow& on_row) {
  MachineState met = at;
  std::size_t renew_at = 1;
  for (std::size_t steps = 1; steps <= kMaxSilentRows; ++steps) {
    if (at.frame == kFailedFrame) {
      return {Action::Kind::kFails};
    }
    const FlowRow& row = rowOf(at);
    if (row.command == Command::kHAP && row.can_succeed) {
      return {Action::Kind::kCalls, &row};
    }
    if (row.wait_ms != 0) {
      return {Action::Kind::kWaits, &row};
    }
    const bool fails = row.command == Command::kHAP;
    if (on_row) {
      on_row(row, fails);
    }
    const Action end = step(at, fails);
    if (end.kind != Action::Kind::kGoesOn) {
      return end;
    }
    if (at == met) {
      return {Action::Kind::kNever};
    }
    if (steps == renew_at) {
      met = at;
      renew_at *= 2;
    }
  }
  return {Action::Kind::kOpen};
}

Machine::Action Machine::step(MachineState& at, bool fails) {
  const FlowRow& row = rowOf(at);
  if (row.endsTable()) {
    return stepEnd(at, row);
  }
  if (row.callsTable()) {
    return stepCall(at);
  }
  if (row.command == Command::kCheck && at.mark) {
    if (row.jump == kAbsent) {
      return {Action::Kind::kFails};
    }
    at.row = static_cast<std::uint32_t>(row.jump);
  } else if (fails && row.on_failure == Effect::kStops) {
    return {Action::Kind::kFails};
  } else {
    goOn(at, fails);
  }
  return {Action::Kind::kGoesOn};
}

Machine::Action Machine::stepEnd(MachineState& at, const FlowRow& row) {
  if (row.endsWithMessage()) {
    return {Action::Kind::kFails, &row};
  }
  const Frame& frame = frames_[at.frame];
  if (frame.parent == kNoFrame) {
    return {Action::Kind::kSucceeds};
  }
  at.frame = frame.parent;
  at.row = frame.row + 1;
  return {Action::Kind::kGoesOn};
}

Machine::Action Machine::stepCall(MachineState& at) {
  const int callee = program_.calleeOf(tableOf(at), at.row);
  if (callee == kAbsent || isRefused(at, callee)) {
    return {Action::Kind::kFails};
  }
  const std::uint64_t key = (std::uint64_t{at.frame} << kWordBits) | at.row;
  const auto [known, is_new] = known_.insert({key, static_cast<std::uint32_t>(frames_.size())});
  if (is_new) {
    frames_.push_back({callee, at.frame, at.row});
  }
  at.frame = known->second;
  at.row = 0;
  return {Action::Kind::kGoesOn};
}

bool Machine::isRefused(const MachineState& at, int callee) const {
  if (!program_.tables[static_cast<std::size_t>(callee)].is_recursive) {
    return false;
  }
  unsigned int depth = 0;
  for (std::uint32_t frame = at.frame; frame != kNoFrame; frame = frames_[frame].parent) {
    depth += frames_[frame].table == callee ? 1 : 0;
  }
  return depth > nest_limit_;
}

void Machine::goOn(MachineState& at, bool fails) const {
  const FlowRow& row = rowOf(at);
  if (fails && row.on_failure == Effect::kStops) {
    at = {kFailedFrame, 0, false};
  } else if (fails && row.on_failure == Effect::kJumps) {
    at.row = static_cast<std::uint32_t>(row.jump);
  } else {
    at.mark = at.mark || (fails && row.on_failure == Effect::kKept);
    ++at.row;
  }
}

}  // namespace kw::trx::tools
