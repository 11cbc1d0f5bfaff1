// SPDX-License-Identifier: Apache-2.0
// The failures of a report as JSON. One thread.
#ifndef KW_TRX_TOOLS_REPORT_FAILURE_JSON_H_
#define KW_TRX_TOOLS_REPORT_FAILURE_JSON_H_

#include "report/report.h"
#include "report/timed_json.h"

namespace kw::trx::tools {

/// Writes the members `failures` and `otherFailures` into the open object.
void writeFailures(const Report& report, const TimedJson& json);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPORT_FAILURE_JSON_H_
