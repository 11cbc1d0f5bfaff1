// SPDX-License-Identifier: Apache-2.0
// What the commands that run a request share: their options, the start of the engine, the outcome
// in words.
#ifndef KW_TRX_TOOLS_TRXCTL_REQUEST_RUN_H_
#define KW_TRX_TOOLS_TRXCTL_REQUEST_RUN_H_

#include <string>
#include <vector>

#include "kw/trx/trx_info.h"
#include "running/name_hints.h"
#include "running/request.h"
#include "trxctl/command_line.h"

namespace kw::trx::tools {

struct RequestOptions {
  std::string name;
  std::vector<std::string> units;
  bool debug_modules = false;
  std::string ring;
};

/// The options of a request; `what` is what NAME stands for.
void addRequestOptions(Command& command, RequestOptions& options, const std::string& what);

/// Opens the ring and starts the engine. False when that failed, after saying why. From then on an
/// interrupt sets the engine's stop flag; a second one ends the tool.
bool beginRun(const RequestOptions& options);

/// Runs `request`, called `what`, on `info` until it has ended, and says in words what came of it.
/// `reason` and `hints` are read afterwards: what the records tell that were written. Returns the
/// exit status.
int runAndTell(trx::TRXInfo& info, const std::string& what, Request request,
               const std::string& reason, const NameHints& hints);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRXCTL_REQUEST_RUN_H_
