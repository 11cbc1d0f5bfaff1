// SPDX-License-Identifier: Apache-2.0
// A report as JSON, and the page that shows it: one file of HTML that refers to nothing outside of
// it, of a bounded size. One thread.
#ifndef KW_TRX_TOOLS_REPORT_PAGE_H_
#define KW_TRX_TOOLS_REPORT_PAGE_H_

#include <cstddef>
#include <string>

#include "report/report.h"

namespace kw::trx::tools {

/// One object in one line. Times are nanoseconds since `originNs`, which is since 1970. It may
/// stand inside of an element of HTML: `<`, `>`, `&` and the line ends that only Unicode knows are
/// written by their numbers.
std::string jsonOf(const Report& report);

/// The maximum size of a page, and how much of it its own parts around the report may have.
constexpr std::size_t kMaxPageBytes = 5000000;
constexpr std::size_t kMaxPageOwnBytes = 100000;

/// The report as `jsonOf` writes it, so small that its page is below `kMaxPageBytes`. As long as
/// it would not be, the bounds of what the report holds are halved; `report` then says what is
/// left out.
std::string boundedJsonOf(Report& report);

/// The page with a report as `jsonOf` writes it.
std::string pageOf(const std::string& json);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPORT_PAGE_H_
