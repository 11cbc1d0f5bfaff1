// SPDX-License-Identifier: Apache-2.0
// HAPs that do what a run chooses for them.
#ifndef KW_TRX_TOOLS_SIMULATOR_SIMULATED_HAPS_H_
#define KW_TRX_TOOLS_SIMULATOR_SIMULATED_HAPS_H_

#include <string>

#include "kw/trx/trx_info.h"
#include "simulator/outcome.h"

namespace kw::trx::tools {

/// What the HAP `name` does that a row of `info` calls.
using ChooseOutcome = HAPOutcome (*)(const trx::TRXInfo& info, const std::string& name);

/// Lets `choose` decide, from now on in the whole process, for every HAP whose name has a module
/// key; null: modules have their HAPs back. Only while no request is in progress; simulated
/// requests run on one thread at a time.
void simulateHAPs(ChooseOutcome choose);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_SIMULATOR_SIMULATED_HAPS_H_
