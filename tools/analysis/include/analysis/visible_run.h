// SPDX-License-Identifier: Apache-2.0
// What the machine and the host see of a run. One thread.
#ifndef KW_TRX_TOOLS_ANALYSIS_VISIBLE_RUN_H_
#define KW_TRX_TOOLS_ANALYSIS_VISIBLE_RUN_H_

#include <string>
#include <vector>

#include "analysis/machine.h"
#include "simulator/simulator.h"

namespace kw::trx::tools {

/// Further steps of a run are not looked at.
constexpr std::size_t kMaxVisible = 10000;

/// The HAP of a row with its mode and words, such as "HAP PSU_Enable, mode off, words ce4".
std::string callText(const FlowRow& row);

/// "fails with SELFTEST_FAILED".
std::string endText(const Machine::Action& end);

/// A line for each HAP call, wait, and the end with the first failing row by what it calls; with
/// `rows` one for each row too. The calls fail as `fails` says in their order; further ones
/// succeed.
std::vector<std::string> visibleRun(Machine& machine, int table, const std::vector<bool>& fails,
                                    bool rows);

/// The same run by the engine, which is stopped after `max_rows` rows.
std::vector<std::string> visibleRun(const Simulator& simulator, const std::string& table,
                                    const std::vector<bool>& fails, bool rows,
                                    std::size_t max_rows = SimulationRequest().max_rows);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ANALYSIS_VISIBLE_RUN_H_
