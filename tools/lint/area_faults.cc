// SPDX-License-Identifier: Apache-2.0
// Faults of START and END.
#include <algorithm>
#include <optional>

#include "common/characters.h"
#include "common/text.h"
#include "lint/fault_log.h"
#include "zqm_trx/table_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

/// Notes that START or END is missing from the row `first` on, and takes the row in which it is
/// nearly written for it; else, with `words`, the first command row (for START) or the last one
/// (for END). False when there is none.
bool noteMissing(FaultLog& log, const char* missing, unsigned int first, const std::string& message,
                 unsigned int id) {
  const std::vector<std::string> commands = commandWords();
  const bool first_wins = missing == std::string(trx::kCommandStart);
  std::optional<unsigned int> near;
  std::optional<unsigned int> known;
  for (unsigned int row = first; row < log.format->data.rowSize(); ++row) {
    const std::string cell = log.format->data.getMember(row, trx::kPlaceCommand);
    if (isNearly(cell, missing) && (!near || !first_wins)) {
      near = row;
    } else if (std::count(commands.begin(), commands.end(), cell) != 0 && (!known || !first_wins)) {
      known = row;
    }
  }
  if (near) {
    const std::string cell = log.format->data.getMember(*near, trx::kPlaceCommand);
    log.addCell(*near, trx::kPlaceCommand,
                inQuotes(cell) + " is no command; did you mean " + missing + "?", id);
    log.format->cells[{*near, trx::kPlaceCommand}] = missing;
  } else {
    log.add(0, "", message, id);
  }
  if (near || known) {
    log.format->searches[{trx::kPlaceCommand, missing}] = {near ? *near : *known};
  }
  return near || known;
}

}  // namespace

bool noteAreaFault(FaultLog& log, unsigned int id) {
  const unsigned int column = trx::kPlaceCommand;
  const Rows starts = log.format->findEntry(column, trx::kCommandStart);
  Rows ends = log.format->findEntry(column, trx::kCommandEnd);
  if (id == trx::kFmtNotOneStart.id) {
    if (starts.empty()) {
      return noteMissing(log, trx::kCommandStart, 0, "no row has the command START", id);
    }
    for (std::size_t i = 1; i < starts.size(); ++i) {
      log.addCell(starts[i], column, "a second START row; exactly one may stand in a file", id);
    }
    log.format->searches[{column, trx::kCommandStart}] = {starts[0]};
    return true;
  }
  if (id == trx::kFmtNoEnd.id) {
    return noteMissing(log, trx::kCommandEnd, starts[0], "no row has the command END", id);
  }
  if (id == trx::kFmtStartTooEarly.id) {
    log.addCell(starts[0], column, "START stands before the FORMAT row or the VERSION row", id);
    log.format->searches[{trx::kKeyColumn, trx::kKeyFormat}] = {0};
    log.format->searches[{trx::kKeyColumn, trx::kKeyVersion}] = {0};
    return true;
  }
  const auto behind = std::upper_bound(ends.begin(), ends.end(), starts[0]);
  for (auto end = ends.begin(); end != behind; ++end) {
    log.addCell(*end, column, "this END row stands before the START row", id);
  }
  ends.erase(ends.begin(), behind);
  log.format->searches[{column, trx::kCommandEnd}] = ends;
  return !ends.empty() || noteMissing(log, trx::kCommandEnd, starts[0],
                                      "no row behind START has the command END", trx::kFmtNoEnd.id);
}

}  // namespace kw::trx::tools
