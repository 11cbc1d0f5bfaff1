// SPDX-License-Identifier: Apache-2.0
// Which requests are wanted.
#ifndef KW_TRX_TOOLS_TRACES_REQUEST_FILTER_H_
#define KW_TRX_TOOLS_TRACES_REQUEST_FILTER_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "traces/request_summaries.h"

namespace kw::trx::tools {

struct RequestFilter {
  std::optional<std::uint64_t> since_ns, until_ns;  ///< requests that ran in between, also in part
  std::size_t process = 0, thread = 0;              ///< ids; 0: any
  std::optional<std::uint32_t> request;             ///< id; none: any
  std::uint32_t request_number = 0;                 ///< among those of its id; 0: any
  bool failed = false;                              ///< those alone that failed or were refused
  std::string text;                                 ///< stands in what is shown of it

  /// `words`: the outcome as it is shown.
  bool takes(const RequestSummary& summary, const std::string& words) const;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACES_REQUEST_FILTER_H_
