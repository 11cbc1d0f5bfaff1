// SPDX-License-Identifier: Apache-2.0
// The requests of a ring, a line each. One thread.
#ifndef KW_TRX_TOOLS_TRXCTL_TRACE_SUMMARY_H_
#define KW_TRX_TOOLS_TRXCTL_TRACE_SUMMARY_H_

#include <cstdint>
#include <string>

#include "traces/request_filter.h"

namespace kw::trx::tools {

/// Prints the requests of the ring `file` that are wanted. Returns the exit status.
int showSummary(const std::string& file, const RequestFilter& filter, bool json);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRXCTL_TRACE_SUMMARY_H_
