// SPDX-License-Identifier: Apache-2.0
// Why a load failed, from the records that the engine wrote meanwhile.
#ifndef KW_TRX_TOOLS_ENGINE_FAILURE_REASON_H_
#define KW_TRX_TOOLS_ENGINE_FAILURE_REASON_H_

#include <string>
#include <vector>

#include "kw/platform.h"

namespace kw::trx::tools {

/// An exception's code, and its meaning when it is one of the engine.
std::string exceptionText(unsigned int code);

/// What the records of a failed load say, a line each, in the order of its steps.
std::string loadFailureText(const std::vector<kw::platform::TraceRecord>& records);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ENGINE_FAILURE_REASON_H_
