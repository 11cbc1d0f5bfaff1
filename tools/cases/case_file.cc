// SPDX-License-Identifier: Apache-2.0
#include "cases/case_file.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "cases/case_reader.h"
#include "cases/case_words.h"
#include "common/paths.h"
#include "trace/record_collector.h"

namespace kw::trx::tools {

bool isCaseFile(const std::string& file) {
  const RecordCollector quiet;
  trx::TableData data;
  if (data.load(absolutePath(file)) != 0) {
    return false;
  }
  for (unsigned int row = 0; row < data.rowSize(); ++row) {
    const Cells cells = cellsOf(data, row);
    if (!saysNothing(cells)) {
      return cells[0] == kCaseTables || cells[0] == kCaseBegin;
    }
  }
  return false;
}

CaseFile readCaseFile(const std::string& file, const HAPDescriptions& descriptions) {
  CaseFile result;
  result.file = file;
  trx::TableData data;
  if (access(file.c_str(), R_OK) != 0) {
    result.findings.push_back({true, 0, "", std::strerror(errno) + nearFileHint(file)});
    return result;
  }
  {
    const RecordCollector quiet;
    if (data.load(absolutePath(file)) != 0) {
      result.findings.push_back({true, 0, "", "cannot be read as a CSV file"});
      return result;
    }
  }
  const CellLines lines(data);
  CaseReader reader(result, lines, descriptions);
  for (unsigned int row = 0; row < data.rowSize(); ++row) {
    const Cells cells = cellsOf(data, row);
    try {
      reader.read(cells, row);
    } catch (const Refusal& refusal) {
      result.findings.push_back({true, lines.lineOf(row, refusal.column),
                                 columnTitle(refusal.column, false), refusal.message});
      reader.refused(cells);
      if (cells[0] == kCaseTables) {
        break;  // what names rows and HAPs of them cannot be judged
      }
    }
  }
  reader.finish();
  if (result.cases.empty() && result.rules.empty() && result.findings.empty()) {
    result.findings.push_back({true, 0, "", std::string("no row begins with ") + kCaseBegin});
  }
  return result;
}

}  // namespace kw::trx::tools
