// SPDX-License-Identifier: Apache-2.0
// Runs of a machine looked at row by row, the shortest first. One thread.
#ifndef KW_TRX_TOOLS_ANALYSIS_MACHINE_RUNS_H_
#define KW_TRX_TOOLS_ANALYSIS_MACHINE_RUNS_H_

#include <cstdint>
#include <functional>
#include <unordered_set>
#include <vector>

#include "analysis/machine.h"
#include "analysis/run_path.h"

namespace kw::trx::tools {

/// Looks at all states of a machine together with a value that a follower keeps of the run.
class MachineRuns {
 public:
  /// `max_states`: no further ones are looked at. `machine` must outlive it.
  MachineRuns(Machine& machine, std::size_t max_states);

  /// A row that runs, as its HAP fails or not.
  struct Ran {
    const FlowRow& row;
    RowPlace place;
    bool fails;
    Machine::Action::Kind end;  ///< how the request ends in it; `kGoesOn`: it does not
  };
  /// Takes a row of a run with this value, which it may change. False: enough is found.
  using Follow = std::function<bool(const Ran& ran, std::uint64_t& value)>;

  /// Follows all runs from `from`, those of fewer rows first. False: there are more states, and
  /// `follow` has not found enough.
  bool follow(const MachineState& from, std::uint64_t value, const Follow& follow);

  /// The run up to the row that was taken last, itself included, and where the machine is then.
  RunPath path() const;
  const MachineState& last() const { return last_; }
  std::size_t states() const { return nodes_.size(); }

 private:
  struct Node {
    MachineState at;
    std::uint64_t value;
    std::size_t parent;
    Step::Choice choice;  ///< in the row before
  };
  struct Hash {
    const MachineRuns* owner;
    std::size_t operator()(std::size_t node) const;
  };
  struct Equal {
    const MachineRuns* owner;
    bool operator()(std::size_t a, std::size_t b) const;
  };

  bool expand(std::size_t node, const Follow& follow);
  void push(const Node& node);

  Machine& machine_;
  const std::size_t max_states_;
  bool is_complete_ = true;
  std::vector<Node> nodes_;
  std::unordered_set<std::size_t, Hash, Equal> known_;
  std::size_t last_node_ = 0;
  Step::Choice last_choice_ = Step::Choice::kNone;
  MachineState last_;
};

/// Adds to `path` the shortest run from `from` to an end. False: there is none, or it is too far.
bool addWayToEnd(Machine& machine, const MachineState& from, std::size_t max_states, RunPath& path);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_MACHINE_RUNS_H_
