// SPDX-License-Identifier: Apache-2.0
// Tables as a machine that does one thing after the other, whose HAPs succeed or fail as one likes.
// One thread.
#ifndef KW_TRX_TOOLS_ANALYSIS_MACHINE_H_
#define KW_TRX_TOOLS_ANALYSIS_MACHINE_H_

#include <cstdint>
#include <functional>
#include <unordered_map>
#include <vector>

#include "analysis/program.h"

namespace kw::trx::tools {

/// Where a run is: the tables on its stack with their rows, and the mark that a STACK row failed.
struct MachineState {
  std::uint32_t frame = 0;  ///< the innermost table, with those around it
  std::uint32_t row = 0;
  bool mark = false;

  bool operator==(const MachineState& other) const {
    return frame == other.frame && row == other.row && mark == other.mark;
  }
};

class Machine {
 public:
  /// `nest_limit`: of tables. `program` must outlive it.
  Machine(const Program& program, unsigned int nest_limit);

  /// Before the first row of a table.
  MachineState start(int table);

  /// What a run does next that its machine or its host can see.
  struct Action {
    enum class Kind {
      kCalls,     ///< a HAP, in `row`
      kWaits,     ///< longer than 0, in `row`
      kSucceeds,  ///< the request
      kFails,     ///< the request; `row`: with the message of this one
      kNever,     ///< it goes round in rows without doing anything any more
      kOpen,      ///< too many rows do nothing: it is not known
      kGoesOn,    ///< nothing that can be seen
    };
    Kind kind;
    const FlowRow* row = nullptr;
  };

  /// Called with each row that `next` runs, and whether its HAP fails as no module can have it.
  using OnRow = std::function<void(const FlowRow& row, bool fails)>;

  /// Runs rows until there is something to be done: `at` is then in that row, or at the end.
  Action next(MachineState& at, const OnRow& on_row = {});

  /// Runs one row of any kind, as its HAP fails or not. `kGoesOn`, or the end; `at` is then still
  /// in the row that ends it.
  Action step(MachineState& at, bool fails);

  /// Goes on from a row that calls a HAP, or waits, as its HAP fails or not.
  void goOn(MachineState& at, bool fails = false) const;

  const FlowRow& rowOf(const MachineState& at) const {
    return program_.rowOf(frames_[at.frame].table, at.row);
  }
  int tableOf(const MachineState& at) const { return frames_[at.frame].table; }

 private:
  struct Frame {
    int table;
    std::uint32_t parent;  ///< `kNoFrame`: it is the table of the request
    std::uint32_t row;     ///< that called it
  };

  bool isRefused(const MachineState& at, int callee) const;
  Action stepEnd(MachineState& at, const FlowRow& row);
  Action stepCall(MachineState& at);

  const Program& program_;
  const unsigned int nest_limit_;
  std::vector<Frame> frames_;
  std::unordered_map<std::uint64_t, std::uint32_t> known_;  // frames by parent and row
  std::unordered_map<int, std::uint32_t> first_;            // frames of requests by table
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_MACHINE_H_
