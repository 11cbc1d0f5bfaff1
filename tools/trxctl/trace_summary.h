// SPDX-License-Identifier: Apache-2.0
// The requests of a ring, a line each. One thread.
#ifndef KW_TRX_TOOLS_TRXCTL_TRACE_SUMMARY_H_
#define KW_TRX_TOOLS_TRXCTL_TRACE_SUMMARY_H_

#include <cstdint>
#include <string>

#include "traces/request_filter.h"

namespace kw::trx::tools {

struct SummaryOptions {
  RequestFilter filter;
  std::string since, until;  ///< as given; empty: any
  bool json = false;
};

/// Prints the requests of the ring `file` that are wanted. Returns the exit status.
int showSummary(const std::string& file, const SummaryOptions& options);

/// Says on standard error that the ring `file` could not be opened, by `errno`.
int failToOpenRing(const std::string& file);

/// Says on standard error how much of a ring is doubtful or missing, if anything.
void sayWhatIsLost(std::uint64_t doubtful, std::uint64_t lost);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRXCTL_TRACE_SUMMARY_H_
