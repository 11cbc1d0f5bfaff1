// SPDX-License-Identifier: Apache-2.0
#include "running/failure_reason.h"

#include <algorithm>
#include <iterator>

#include "common/text.h"
#include "traces/codes.h"
#include "traces/record_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

constexpr unsigned long kRequestReasons[] = {
    trx::kHAPExecNoKey.id,        trx::kHAPExecNoModule.id,   trx::kHAPExecUnresolved.id,
    trx::kHAPExecNestLimit.id,    trx::kHAPExecLockFailed.id, trx::kHAPExecUnlockFailed.id,
    trx::kTrxNoModule.id,         trx::kTrxNoAPI.id,          trx::kDriverNoTable.id,
    trx::kDriverNestLimit.id,     trx::kErrorNoAPIData.id,    trx::kErrorNoRecord.id,
    trx::kErrorNoUnit.id,         trx::kInfoHAPStackEmpty.id, trx::kInfoNoHAPRecord.id,
    trx::kInfoTableStackEmpty.id, trx::kInfoNoTableRecord.id, trx::kUnitType.id,
};

}  // namespace

std::string exceptionText(unsigned int code) {
  const CodeText* text = findCode(code);
  return hexText(code) + (text == nullptr ? "" : std::string(": ") + text->meaning);
}

std::string loadFailureText(const std::vector<kw::platform::TraceRecord>& records) {
  std::string loader;
  std::string reason;
  for (const kw::platform::TraceRecord& record : records) {
    if (record.id == trx::kLibLoadReason.id) {
      loader += textOf(record);
    } else if (record.id == trx::kLibLoadFailed.id) {
      loader.clear();
    } else if (record.level == trx::kLevelError && record.id != trx::kTblLoadException.id &&
               record.id != trx::kTrxLoadHAPFailed.id && record.id != trx::kTrxLoadTableFailed.id) {
      const bool module = record.id == trx::kHAPLoadNotOpened.id;
      reason += "\n  " + describe(record) + (module ? ": " + loader : "");
    }
  }
  return reason;
}

std::string requestFailureText(const kw::platform::TraceRecord& record) {
  if (record.id == trx::kHAPExecThrew.id) {
    const unsigned int code = wordOf(record, "code", 0);
    return findCode(code) != nullptr ? std::string()
                                     : "the HAP threw an exception with code " + hexText(code);
  }
  const bool tells = std::find(std::begin(kRequestReasons), std::end(kRequestReasons), record.id) !=
                     std::end(kRequestReasons);
  return tells ? describe(record) : std::string();
}

}  // namespace kw::trx::tools
