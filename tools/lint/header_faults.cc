// SPDX-License-Identifier: Apache-2.0
// Faults of FORMAT and VERSION.
#include <cstdint>

#include "common/characters.h"
#include "common/text.h"
#include "lint/fault_log.h"
#include "table/cell_number.h"
#include "zqm_trx/table_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

using kw::platform::TraceRecord;

/// The version that cannot be told from a missing one.
constexpr std::uint32_t kNoVersion = 0xffffffff;

/// Notes that `key` is missing. Returns the row in which it is nearly written, if there is one.
Rows noteMissingKey(FaultLog& log, const std::string& key, unsigned int id) {
  for (unsigned int row = 0; row < log.format->data.rowSize(); ++row) {
    const std::string cell = log.format->data.getMember(row, trx::kKeyColumn);
    if (isNearly(cell, key) && log.format->data.getMember(row, trx::kPlaceCommand).empty()) {
      log.addCell(row, trx::kKeyColumn,
                  inQuotes(cell) + " is no header key; did you mean " + key + "?", id, false);
      return {row};
    }
  }
  log.add(0, "", "no row has " + key + " in column A", id);
  return {};
}

/// Notes what is wrong with the value of a row of `key`, if anything.
void noteKeyValue(FaultLog& log, const std::string& key, unsigned int row) {
  const std::string cell = log.format->data.getMember(row, trx::kKeyColumn + 1);
  const auto value = cellNumber(cell, trx::kHexBase).value;
  constexpr std::size_t key_value_max = 8;
  std::string message;
  unsigned int id = trx::kDataKeyLength.id;
  if (cell.empty()) {
    message = key + " has no value: a hexadecimal number of 1 to 8 characters";
  } else if (cell.size() > key_value_max) {
    message = inQuotes(cell) + " is longer than 8 characters";
  } else if (!log.format->isHex(cell, log.collector)) {
    message = inQuotes(cell) + " is not a hexadecimal number";
    id = trx::kDataKeyNotHex.id;
  } else if (key == trx::kKeyFormat ? value != 0 : value == kNoVersion) {
    message =
        inQuotes(cell) + (key == trx::kKeyFormat ? " is no format that the engine knows: only 0 is"
                                                 : " cannot be told from a missing version");
    id = trx::kTblLoadNoFormat.id;
  }
  if (!message.empty()) {
    log.addCell(row, trx::kKeyColumn + 1, message, id, false);
  }
}

}  // namespace

void checkKey(FaultLog& log, const std::string& key) {
  const int value = log.format->data.getTblDefKey(key);
  const std::vector<TraceRecord> records = log.collector.taken();
  Rows rows = log.format->findEntry(trx::kKeyColumn, key);
  if (!records.empty() && records[0].id == trx::kDataKeyNotOnce.id) {
    if (rows.empty()) {
      rows = noteMissingKey(log, key, records[0].id);
    }
    for (std::size_t i = 1; i < rows.size(); ++i) {
      log.addCell(rows[i], trx::kKeyColumn,
                  "a second " + key + " row; exactly one may stand in a file", records[0].id,
                  false);
    }
    log.format->searches[{trx::kKeyColumn, key}] = {rows.empty() ? 0U : rows[0]};
  }
  if (key == trx::kKeyFormat ? value != 0 : value == -1) {
    for (const unsigned int row : rows) {
      noteKeyValue(log, key, row);
    }
  }
}

}  // namespace kw::trx::tools
