// SPDX-License-Identifier: Apache-2.0
// What is told of a request that was run.
#ifndef KW_TRX_TOOLS_ENGINE_RUN_REPORT_H_
#define KW_TRX_TOOLS_ENGINE_RUN_REPORT_H_

#include <string>

#include "engine/crash.h"
#include "engine/failure.h"
#include "engine/request.h"

namespace kw::trx::tools {

enum class RequestKind { kHAP, kTable };

/// A request as it was asked for.
struct RequestName {
  RequestKind kind;
  std::string name;
};

/// A request that came to its end.
struct RunReport {
  RequestName request;
  Outcome outcome;
  ReportedFailure failure;  ///< of one that failed
  std::string reason;       ///< why it failed, as the records say; may be empty
};

/// A request whose process did not come to its end.
struct CrashReport {
  RequestName request;
  int signal;       ///< that ended the process; 0: none did
  int exit_status;  ///< then, of the process
  Crash crash;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ENGINE_RUN_REPORT_H_
