// SPDX-License-Identifier: Apache-2.0
// The page that shows a report: one file of HTML that refers to nothing outside of it. Any thread.
#ifndef KW_TRX_TOOLS_REPORT_PAGE_H_
#define KW_TRX_TOOLS_REPORT_PAGE_H_

#include <string>

namespace kw::trx::tools {

/// The page with a report as `jsonOf` writes it.
std::string pageOf(const std::string& json);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPORT_PAGE_H_
