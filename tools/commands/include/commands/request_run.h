// SPDX-License-Identifier: Apache-2.0
// What the commands that run a request share: their options, the process that runs it, the start of
// the engine.
#ifndef KW_TRX_TOOLS_COMMANDS_REQUEST_RUN_H_
#define KW_TRX_TOOLS_COMMANDS_REQUEST_RUN_H_

#include <functional>
#include <string>
#include <vector>

#include "command_line/command_line.h"
#include "engine/request.h"
#include "engine/row_events.h"
#include "engine/run_report.h"
#include "kw/trx/trx_info.h"

namespace kw::trx::tools {

struct RequestOptions {
  RequestKind kind;
  std::string name;
  std::vector<std::string> units;
  bool debug_modules = false;
  bool in_process = false;
  bool json = false;
  std::string ring;
  std::string crash_ring;  ///< holds the last records when no other ring does; may be empty

  RequestName request() const { return {kind, name}; }
  std::string command() const { return kind == RequestKind::kHAP ? "hap" : "table"; }
};

/// The options of a request; `what` is what NAME stands for.
void addRequestOptions(CommandOptions& command, RequestOptions& options, const std::string& what);

/// Runs `body`, which returns the exit status, in a child process unless the options say otherwise.
/// When that process is taken down, says by what and where. Returns the exit status.
int runApart(RequestOptions& options, const std::function<int()>& body);

/// Opens the ring and starts the engine. False when that failed, after saying why. From then on an
/// interrupt sets the engine's stop flag; a second one ends the process.
bool beginRun(const RequestOptions& options);

/// Runs `call` on `info` until it has ended; `rows` must take its records.
RunReport runRequest(trx::TRXInfo& info, const RequestOptions& options, RequestCall call,
                     RowEvents& rows);

/// The exit status for a request that came to its end.
int statusOf(const RunReport& report);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMANDS_REQUEST_RUN_H_
