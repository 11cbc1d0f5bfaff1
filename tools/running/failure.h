// SPDX-License-Identifier: Apache-2.0
// What a context tells of a request that failed.
#ifndef KW_TRX_TOOLS_RUNNING_FAILURE_H_
#define KW_TRX_TOOLS_RUNNING_FAILURE_H_

#include <optional>
#include <string>
#include <vector>

#include "kw/trx/trx_info.h"

namespace kw::trx::tools {

/// The last error record. It holds what was written into it last: by the failure itself, or by an
/// earlier one that a table went on from.
struct ErrorRecord {
  std::string hap;  ///< empty: of no HAP
  unsigned int code = 0;
  std::string meaning;                  ///< of the code; empty for 0
  std::vector<unsigned int> detail;     ///< of a HAP's own error
  std::vector<unsigned char> api_data;  ///< of an error of the HAP API
  std::vector<std::string> units;       ///< units concerned: type, number and path
};

struct ReportedFailure {
  std::string table;        ///< of the first failing row; empty: none failed
  unsigned int number = 0;  ///< its NUMBER
  std::optional<ErrorRecord> record;
  std::string message;  ///< of the table; empty: none
};

ReportedFailure failureOf(trx::TRXInfo& info);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_RUNNING_FAILURE_H_
