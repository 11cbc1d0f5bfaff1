// SPDX-License-Identifier: Apache-2.0
#include "engine/failure.h"

#include <cstring>

#include "kw/sysobj/component.h"
#include "kw/sysobj/tree_path.h"
#include "kw/trx/errors.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kWordBytes = sizeof(std::uint32_t);

/// Detail or data of the HAP API, the last word filled up with zeros.
void takeDetail(trx::TRXError& error, Failure& failure) {
  const bool of_hap = (failure.code & trx::kRecordClassHAP) != 0;
  failure.of_api = !of_hap && (failure.code & trx::kRecordClassAPI) != 0;
  if (of_hap) {
    failure.detail_bytes = error.getHAPErrorDetailSize();
  } else if (failure.of_api && error.getAPIError() != nullptr && error.getAPIErrorSize() > 0) {
    failure.detail_bytes = static_cast<std::uint32_t>(error.getAPIErrorSize());
  }
  if (failure.detail_bytes == 0) {
    return;
  }
  failure.detail.resize((failure.detail_bytes + kWordBytes - 1) / kWordBytes);
  if (of_hap) {
    error.getHAPErrorDetail(failure.detail.data(), failure.detail_bytes);
  } else {
    std::memcpy(failure.detail.data(), error.getAPIError(), failure.detail_bytes);
  }
}

std::optional<ErrorRecord> errorRecordOf(trx::TRXError& error, const CodeMeaning& meaning) {
  ErrorRecord record;
  Failure& failure = record.failure;
  failure.cause = Cause::kError;
  failure.code = error.getErrCode();
  failure.has_code = failure.code != 0;
  if (failure.code != trx::kRecordTableNotLoaded) {
    failure.hap = error.getErrHAPName();
  }
  if (failure.hap.empty() && !failure.has_code) {
    return std::nullopt;
  }
  record.meaning = codeMeaningOf(failure, meaning);
  takeDetail(error, failure);
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

ReportedFailure failureOf(trx::TRXInfo& info, const CodeMeaning& meaning) {
  const std::string& table = info.error.errTableName;
  return {table.empty() ? std::nullopt : std::optional(RowId{table, info.error.errCmdNumber}),
          errorRecordOf(info.error, meaning), info.getTblRtnMsg()};
}

}  // namespace kw::trx::tools
