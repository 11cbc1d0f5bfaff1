// SPDX-License-Identifier: Apache-2.0
#include "running/failure.h"

#include "kw/sysobj/component.h"
#include "kw/sysobj/tree_path.h"
#include "kw/trx/errors.h"
#include "traces/codes.h"

namespace kw::trx::tools {
namespace {

std::vector<unsigned int> detailOf(trx::TRXError& error) {
  const unsigned int size = error.getHAPErrorDetailSize();
  const std::size_t count = (size + sizeof(unsigned int) - 1) / sizeof(unsigned int);
  std::vector<unsigned int> words(count + 1);
  if (size != 0) {
    error.getHAPErrorDetail(words.data(), size);
  }
  words.resize(count);
  return words;
}

std::optional<ErrorRecord> errorRecordOf(trx::TRXError& error) {
  ErrorRecord record;
  record.code = error.getErrCode();
  if (record.code != trx::kRecordTableNotLoaded) {
    record.hap = error.getErrHAPName();
  }
  if (record.hap.empty() && record.code == 0) {
    return std::nullopt;
  }
  record.meaning = record.code == 0 ? std::string() : recordCodeMeaning(record.code);
  if ((record.code & trx::kRecordClassHAP) != 0) {
    record.detail = detailOf(error);
  }
  if ((record.code & trx::kRecordClassAPI) != 0 && error.getAPIErrorSize() > 0) {
    const auto* bytes = static_cast<const unsigned char*>(error.getAPIError());
    record.api_data.assign(bytes, bytes + error.getAPIErrorSize());
  }
  std::vector<kw::sysobj::Component*> units;
  error.getErrUnitList(units);
  for (const kw::sysobj::Component* unit : units) {
    kw::sysobj::TreePath path;
    unit->getTreePath(path);
    record.units.push_back(std::to_string(unit->getType()) + ":" + std::to_string(unit->getNo()) +
                           " " + path.toString());
  }
  return record;
}

}  // namespace

ReportedFailure failureOf(trx::TRXInfo& info) {
  return {info.error.errTableName, info.error.errCmdNumber, errorRecordOf(info.error),
          info.getTblRtnMsg()};
}

}  // namespace kw::trx::tools
