// SPDX-License-Identifier: Apache-2.0
// Runs of tables in text: rows as they run, and why one failed.
#ifndef KW_TRX_TOOLS_COMMANDS_RUN_OUTPUT_H_
#define KW_TRX_TOOLS_COMMANDS_RUN_OUTPUT_H_

#include <string>

#include "engine/failure.h"
#include "engine/row_events.h"
#include "engine/run_report.h"

namespace kw::trx::tools {

/// Prints a row that begins `seconds` after its run, or what is said about the one that runs.
void printRow(double seconds, const RowEvent& event);

/// Prints how a request ended.
void printRun(const RunReport& report);
void printCrash(const CrashReport& report);
/// A request whose HAP ended the thread that ran it.
void printThreadEnd(const RequestName& request);

/// Prints what is known of a run that failed, and of its `reason` unless that is empty.
void printFailure(const ReportedFailure& failure, const std::string& reason);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMANDS_RUN_OUTPUT_H_
