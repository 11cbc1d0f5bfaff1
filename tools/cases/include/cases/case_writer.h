// SPDX-License-Identifier: Apache-2.0
// Cases as rows of a case file.
#ifndef KW_TRX_TOOLS_CASES_CASE_WRITER_H_
#define KW_TRX_TOOLS_CASES_CASE_WRITER_H_

#include <string>
#include <vector>

#include "cases/case_file.h"

namespace kw::trx::tools {

/// The rows that name the tables of a case file, and their nest limit if it is not the usual one.
std::string tablesRows(const std::vector<std::string>& files, unsigned int nest_limit);

/// A row that says `text`, without line ends, to people alone.
std::string commentRow(const std::string& text);

/// The rows of a case, each with its line end. `first_table`: that which cases run that name none.
/// Of its outcomes, those that one rule after the other gives the same calls stand in one row.
std::string caseRows(const TableCase& one, const std::string& first_table);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_CASES_CASE_WRITER_H_
