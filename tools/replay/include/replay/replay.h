// SPDX-License-Identifier: Apache-2.0
// Recorded requests run again by the simulation. One thread.
#ifndef KW_TRX_TOOLS_REPLAY_REPLAY_H_
#define KW_TRX_TOOLS_REPLAY_REPLAY_H_

#include <optional>
#include <string>
#include <vector>

#include "cases/case_file.h"
#include "replay/recorded_request.h"
#include "simulator/simulator.h"

namespace kw::trx::tools {

struct Replay {
  SimulatedRun run;
  std::vector<RecordedRow> rows;  ///< of the run, as those of the request
  /// The first row, from 0, that is another one or that only one of both has; none: all are the
  /// same.
  std::optional<std::size_t> first_difference;
  bool same_end = false;
  bool same_failing = false;         ///< the first failing row that the requester is told
  std::vector<std::string> changed;  ///< rows that ran and are others in the tables
  std::vector<std::string> assumed;  ///< of outcomes that are not recorded

  bool isSame() const { return !first_difference && same_end && same_failing; }
};

/// Runs the table of `request`, which must be among those of `simulator`, with the outcomes that
/// its HAPs had.
Replay replay(const RecordedRequest& recorded, const Simulator& simulator);

/// The request as a case that expects its rows, first failing row, waits and end.
TableCase caseOf(const RecordedRequest& recorded, const std::string& name);

/// The files of a case of the table `entry`: its own, then those of tables that it calls, and they.
std::vector<std::string> filesFor(const std::string& entry, const TableFlows& tables);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPLAY_REPLAY_H_
