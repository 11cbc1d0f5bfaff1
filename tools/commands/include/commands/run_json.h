// SPDX-License-Identifier: Apache-2.0
// Runs of HAPs and tables in JSON: the members of an object that the caller begins and ends.
#ifndef KW_TRX_TOOLS_COMMANDS_RUN_JSON_H_
#define KW_TRX_TOOLS_COMMANDS_RUN_JSON_H_

#include "common/json.h"
#include "engine/run_report.h"

namespace kw::trx::tools {

void writeRun(const RunReport& report, JsonWriter& json);
void writeCrash(const CrashReport& report, JsonWriter& json);
/// A request whose HAP ended the thread that ran it.
void writeThreadEnd(const RequestName& request, JsonWriter& json);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMANDS_RUN_JSON_H_
