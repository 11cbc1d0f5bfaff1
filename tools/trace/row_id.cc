// SPDX-License-Identifier: Apache-2.0
#include "trace/row_id.h"

#include <cstddef>

#include "common/json.h"
#include "common/text.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {

std::string RowId::text(const std::string& within) const {
  return (table == within ? "" : table + kRowSeparator) + hexDigits(number);
}

const char* wordOf(Command command) {
  constexpr const char* words[] = {"",
                                   trx::kCommandStart,
                                   trx::kCommandHAP,
                                   trx::kCommandCheck,
                                   trx::kCommandWait,
                                   trx::kCommandTable,
                                   trx::kCommandEnd};
  return words[static_cast<std::size_t>(command)];
}

Command commandFrom(const std::string& word) {
  for (const Command command : {Command::kStart, Command::kHAP, Command::kCheck, Command::kWait,
                                Command::kTable, Command::kEnd}) {
    if (word == wordOf(command)) {
      return command;
    }
  }
  return Command::kNone;
}

void write(const RowId& row, JsonWriter& json) {
  json.beginObject().member("table", row.table).member("number", hexDigits(row.number));
  json.endObject();
}

void write(const std::optional<RowId>& row, JsonWriter& json) {
  row ? write(*row, json) : void(json.raw("null"));
}

}  // namespace kw::trx::tools
