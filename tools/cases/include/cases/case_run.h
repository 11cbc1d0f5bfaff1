// SPDX-License-Identifier: Apache-2.0
// Cases that are run.
#ifndef KW_TRX_TOOLS_CASES_CASE_RUN_H_
#define KW_TRX_TOOLS_CASES_CASE_RUN_H_

#include <string>
#include <vector>

#include "cases/case_file.h"
#include "simulator/simulator.h"

namespace kw::trx::tools {

/// Runs a case on a simulator with its tables; `listener`, which may be null, hears what ran.
SimulatedRun runCase(const TableCase& expected, const Simulator& simulator,
                     RequestListener* listener = nullptr);

/// What of its run is not as the case expects it, a line each; empty when all is.
std::vector<std::string> differencesOf(const TableCase& expected, const SimulatedRun& run);

/// Both one after the other.
std::vector<std::string> differencesOf(const TableCase& expected, const Simulator& simulator,
                                       RequestListener* listener = nullptr);

/// How a run ended, in words.
std::string endText(const SimulatedRun& run);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_CASES_CASE_RUN_H_
