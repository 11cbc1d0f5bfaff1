// SPDX-License-Identifier: Apache-2.0
// The words that begin a case file, by which it is told from a table file.
#ifndef KW_TRX_TOOLS_TABLE_FIRST_WORDS_H_
#define KW_TRX_TOOLS_TABLE_FIRST_WORDS_H_

namespace kw::trx::tools {

constexpr char kCaseTables[] = "TABLES";  // files, beside this one
constexpr char kCaseBegin[] = "CASE";     // name, table (that of the first file)

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TABLE_FIRST_WORDS_H_
