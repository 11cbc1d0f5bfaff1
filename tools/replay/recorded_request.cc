// SPDX-License-Identifier: Apache-2.0
#include "replay/recorded_request.h"

#include <algorithm>

#include "zqm_trx/table_words.h"

namespace kw::trx::tools {

bool RecordedRow::callsHAP() const { return ran.command == trx::kCommandHAP; }

bool RecordedRow::callsTable() const {
  return ran.command == trx::kCommandTable && !ran.called.value_or("").empty();
}

bool RecordedRow::countsAsFailed() const {
  return callsHAP() &&
         (effect == Effect::kKept || effect == Effect::kJumps || effect == Effect::kStops);
}

std::string RecordedRow::name() const { return "row " + rowText(ran.table, ran.number, ""); }

std::string RecordedRow::action() const {
  const std::string called = ran.called.value_or("");
  return ran.command + (called.empty() ? "" : " " + called) +
         (mode.empty() ? "" : ", mode " + mode) +
         (ran.wait_ms ? " of " + std::to_string(*ran.wait_ms) + " ms" : "") +
         (ran.has_message.value_or(false) ? " with a message" : "");
}

const RecordedRow* RecordedRequest::firstFailing() const {
  const auto found = std::find_if(rows.begin(), rows.end(),
                                  [](const RecordedRow& row) { return row.countsAsFailed(); });
  return found == rows.end() ? nullptr : &*found;
}

}  // namespace kw::trx::tools
