// SPDX-License-Identifier: Apache-2.0
// Keeps the page of a report below its greatest size. One thread.
#ifndef KW_TRX_TOOLS_REPORT_SHRINKING_H_
#define KW_TRX_TOOLS_REPORT_SHRINKING_H_

#include <cstddef>
#include <string>

#include "report/report.h"

namespace kw::trx::tools {

/// The greatest size of a page, and what its own parts around the report may take of it.
constexpr std::size_t kPageMostBytes = 5000000;
constexpr std::size_t kPageOwnBytes = 100000;

/// The report as `jsonOf` writes it, so small that its page is below `kPageMostBytes`. As long as
/// it would not be, the bounds of what the report holds are halved; `report` then tells what is
/// left out.
std::string boundedJsonOf(Report& report);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPORT_SHRINKING_H_
