// SPDX-License-Identifier: Apache-2.0
// Why a load or a request failed, from the records that the engine wrote meanwhile.
#ifndef KW_TRX_TOOLS_RUNNING_FAILURE_REASON_H_
#define KW_TRX_TOOLS_RUNNING_FAILURE_REASON_H_

#include <string>
#include <vector>

#include "kw/platform.h"

namespace kw::trx::tools {

/// An exception's code, and its meaning when it is one of the engine.
std::string exceptionText(unsigned int code);

/// What the records of a failed load say, a line each, in the order of its steps.
std::string loadFailureText(const std::vector<kw::platform::TraceRecord>& records);

/// What `record` says of why a HAP or a table was not run, or not well; empty when it says nothing
/// of that. An error of a HAP's own has none: it stands in the error record of the context.
std::string requestFailureText(const kw::platform::TraceRecord& record);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_RUNNING_FAILURE_REASON_H_
