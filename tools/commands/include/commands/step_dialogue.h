// SPDX-License-Identifier: Apache-2.0
// The dialogue of a run that is stopped at its rows.
#ifndef KW_TRX_TOOLS_COMMANDS_STEP_DIALOGUE_H_
#define KW_TRX_TOOLS_COMMANDS_STEP_DIALOGUE_H_

#include <optional>
#include <string>
#include <vector>

#include "simulator/rules.h"
#include "simulator/simulator.h"

namespace kw::trx::tools {

/// Shows where a run is and asks what to do, on standard output and input. Without further input
/// the run goes on to its end.
class StepDialogue {
 public:
  /// Stops at each row, or with `breaks` at the rows of these alone: HAP, LABEL or NUMBER in
  /// `table`, TABLE/LABEL or TABLE/NUMBER. Throws `std::invalid_argument` for one that does not
  /// exist.
  StepDialogue(const std::vector<std::string>& breaks, const std::string& table,
               const TableFlows& tables);

  /// Follows the run; to be called with each row as it starts.
  void stopAt(const RowEvent& row);

  /// What was chosen for the HAP that is called now; none: nothing was.
  std::optional<HAPOutcome> chosen();

 private:
  bool isBreak(const RowEvent& row) const;
  void noteRow(const RowEvent& row);
  void printContext(const trx::TRXInfo& info) const;
  void ask();
  /// False: it is no answer.
  bool obey(const std::string& answer);

  const TableFlows& tables_;
  std::vector<CallPattern> breaks_;
  bool steps_;
  std::vector<RowId> stack_;  // the outermost table first
  std::optional<HAPOutcome> next_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMANDS_STEP_DIALOGUE_H_
