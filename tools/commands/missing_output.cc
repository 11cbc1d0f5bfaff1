// SPDX-License-Identifier: Apache-2.0
#include "commands/missing_output.h"

#include <iostream>

#include "analysis/missing_cases.h"
#include "cases/case_writer.h"
#include "command_line/command_line.h"
#include "command_line/text_output.h"
#include "table/finding.h"

namespace kw::trx::tools {

int printMissing(const CaseFile& file, std::size_t max_states) {
  const MissingCases missing = missingCases(file, max_states);
  std::cout << tablesRows(file.tables, file.nest_limit);
  for (const TableCase& one : missing.cases) {
    std::cout << '\n' << caseRows(one, tableNameOf(file.tables[0]));
  }
  for (const std::string& branch : missing.left) {
    std::cerr << "trxctl: only runs without a near end take this: " << branch << '\n';
  }
  return missing.is_complete
             ? kExitOk
             : fail("there are more states than --max-states: more cases may be missing");
}

}  // namespace kw::trx::tools
