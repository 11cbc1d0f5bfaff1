// SPDX-License-Identifier: Apache-2.0
#include "replay/recorded_request.h"

#include <algorithm>

#include "trace/request_summaries.h"

namespace kw::trx::tools {

bool RecordedRow::countsAsFailed() const {
  return callsHAP() && (ran.effect == Effect::kKept || ran.effect == Effect::kJumps ||
                        ran.effect == Effect::kStops);
}

std::string RecordedRow::name() const { return rowText(ran.row); }

std::string RecordedRow::action() const {
  return wordOf(ran.command) + (ran.name.empty() ? "" : " " + ran.name) +
         (ran.mode.empty() ? "" : ", mode " + ran.mode) +
         (ran.wait_ms ? " of " + std::to_string(*ran.wait_ms) + " ms" : "") +
         (ran.has_message.value_or(false) ? " with a message" : "");
}

const RecordedRow* RecordedRequest::firstFailing() const {
  const auto found = std::find_if(rows.begin(), rows.end(),
                                  [](const RecordedRow& row) { return row.countsAsFailed(); });
  return found == rows.end() ? nullptr : &*found;
}

}  // namespace kw::trx::tools
