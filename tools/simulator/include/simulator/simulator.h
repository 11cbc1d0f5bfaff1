// SPDX-License-Identifier: Apache-2.0
// Tables run by the engine itself, with simulated HAPs in place of modules. One simulator in a
// process, used by one thread.
#ifndef KW_TRX_TOOLS_SIMULATOR_SIMULATOR_H_
#define KW_TRX_TOOLS_SIMULATOR_SIMULATOR_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "engine/failure.h"
#include "engine/row_events.h"
#include "kw/platform.h"
#include "simulator/outcome.h"
#include "table/flow.h"

namespace kw::trx::tools {

/// A HAP that a row calls.
struct HAPCall {
  RowId row;
  std::size_t place;  ///< of the row in its table, from 0
  std::string hap;
  std::string mode;
  std::string para;    ///< as the row writes it
  HAPOutcome outcome;  ///< what it does
};

struct SimulationRequest {
  std::string table;
  std::vector<std::string> units;  ///< such as `unitProblem` takes
  /// Gives the outcome of a call, whose own is not set yet. Null: every HAP succeeds.
  std::function<HAPOutcome(const HAPCall& call)> choose;
  std::function<void(const RowEvent& event)> on_event;  ///< called as it runs; may be null
  RequestListener* listener = nullptr;                  ///< hears what ran; may be null
  std::size_t max_rows = 100000;  ///< where a run is stopped that may never end
};

struct SimulatedRun {
  std::vector<RowId> rows;     ///< in their order
  std::vector<HAPCall> calls;  ///< in their order
  std::uint64_t wait_ms = 0;   ///< what all waits come to; none was slept
  unsigned int code =
      0;  ///< of the exception that it ended with, 1 for a foreign one; 0: it ended well
  std::string failure;      ///< the exception in words; empty: it ended well
  std::string reason;       ///< what the records say of it
  ReportedFailure record;   ///< what the context says of it
  bool is_stopped = false;  ///< it was stopped after `most_rows` rows
};

/// As often a table runs within itself when a configuration does not say it.
constexpr unsigned int kTableNestLimit = 10;
/// Deeper ones are not simulated.
constexpr unsigned int kMaxNestLimit = 1000;

class Simulator {
 public:
  /// Loads the tables of `files` into the engine. `nest_limit`: of tables. Throws
  /// `std::runtime_error` with the reason in words when the engine does not take them.
  explicit Simulator(const std::vector<std::string>& files,
                     unsigned int nest_limit = kTableNestLimit);

  /// The loaded tables, by name.
  const TableFlows& tables() const { return tables_; }

  /// Lets the run in progress end before its next row; to be called by what it calls.
  static void stop();

  /// Runs a table once. Throws `std::invalid_argument` for a unit that cannot be read.
  SimulatedRun run(const SimulationRequest& request) const;

 private:
  TableFlows tables_;
};

/// What HAPs do in one run: its n-th call fails where `fails` says so, all others succeed.
std::function<HAPOutcome(const HAPCall& call)> failingInTurn(std::vector<bool> fails);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_SIMULATOR_SIMULATOR_H_
