// SPDX-License-Identifier: Apache-2.0
// What a context tells of a request that failed.
#ifndef KW_TRX_TOOLS_ENGINE_FAILURE_H_
#define KW_TRX_TOOLS_ENGINE_FAILURE_H_

#include <optional>
#include <string>
#include <vector>

#include "kw/trx/trx_info.h"
#include "trace/request_summaries.h"

namespace kw::trx::tools {

/// The last error record. It holds what was written into it last: by the failure itself, or by an
/// earlier one that a table went on from.
struct ErrorRecord {
  Failure failure;                 ///< HAP, code and detail, as records tell of them
  std::string meaning;             ///< of the code; empty for 0
  std::vector<std::string> units;  ///< units concerned: type, number and path
};

struct ReportedFailure {
  std::optional<RowId> first_failing;
  std::optional<ErrorRecord> record;
  std::string message;  ///< of the table; empty: none
};

/// What the context tells, that of a HAP's code by `meaning`.
ReportedFailure failureOf(trx::TRXInfo& info, const CodeMeaning& meaning);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ENGINE_FAILURE_H_
