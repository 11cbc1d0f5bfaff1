// SPDX-License-Identifier: Apache-2.0
// A report as JSON. One thread.
#ifndef KW_TRX_TOOLS_REPORT_REPORT_JSON_H_
#define KW_TRX_TOOLS_REPORT_REPORT_JSON_H_

#include <string>

#include "report/report.h"

namespace kw::trx::tools {

/// One object in one line. Times are nanoseconds since `originNs`, which is since 1970. It may
/// stand inside of an element of HTML: `<`, `>`, `&` and the line ends that only Unicode knows are
/// written by their numbers.
std::string jsonOf(const Report& report);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPORT_REPORT_JSON_H_
