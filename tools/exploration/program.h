// SPDX-License-Identifier: Apache-2.0
// Tables as what a run can do in each of their rows.
#ifndef KW_TRX_TOOLS_EXPLORATION_PROGRAM_H_
#define KW_TRX_TOOLS_EXPLORATION_PROGRAM_H_

#include <string>
#include <vector>

#include "tables/flow.h"

namespace kw::trx::tools {

constexpr int kAbsent = -1;

/// One row. What goes on at the next row does so at the place behind this one.
struct ProgramRow {
  enum class Kind {
    kGoOn,   ///< START, WAIT
    kHAP,    ///< succeeds, or does what `on_failure` says
    kCheck,  ///< goes on, or jumps or fails when the mark is set
    kCall,   ///< runs the table `callee`; kAbsent: none such is loaded, and the request fails
    kEnd,    ///< ends its table well
    kFail,   ///< ends the request with error
  };
  enum class OnFailure { kGoOn, kMark, kJump, kStop };

  Kind kind = Kind::kGoOn;
  OnFailure on_failure = OnFailure::kGoOn;  ///< of a HAP
  int jump = kAbsent;    ///< place that a HAP or CHECK row jumps to; kAbsent: it fails
  int callee = kAbsent;  ///< table that a row calls
  unsigned int wait_ms = 0;
  bool can_succeed = true;  ///< false: no module can have its HAP
};

struct ProgramTable {
  const TableFlow* flow = nullptr;
  std::vector<ProgramRow> rows;
  bool is_recursive = false;  ///< it can call itself, directly or through others
  std::vector<int>
      recursive_below;  ///< recursive tables that a run of it can get to, itself included
};

/// Tables with their calls resolved.
struct Program {
  std::vector<ProgramTable> tables;

  /// The table of that name; kAbsent: there is none.
  int find(const std::string& name) const;
};

/// `flows` must outlive the result.
Program programOf(const TableFlows& flows);

/// The tables that no other one calls, so that hosts must be the ones that run them; all when each
/// is called.
std::vector<int> entriesOf(const Program& program);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_EXPLORATION_PROGRAM_H_
