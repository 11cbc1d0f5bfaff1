// SPDX-License-Identifier: Apache-2.0
#include "lint/row_faults.h"

#include <algorithm>
#include <vector>

#include "common/characters.h"
#include "common/text.h"
#include "kw/trx/file_path.h"
#include "table/cell_number.h"
#include "trace/record_words.h"
#include "zqm_trx/table_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

/// Which of the printable characters a cell may hold, in words.
std::string allowedText(const std::string& allowed) {
  const auto has = [&](const std::string& set) {
    return std::all_of(set.begin(), set.end(),
                       [&](char c) { return allowed.find(c) != std::string::npos; });
  };
  std::vector<std::string> names;
  const auto name = [&](const std::string& set, const std::string& message) {
    if (has(set)) {
      names.push_back(message);
    }
  };
  const bool letters = has("ghijzGHIJZ");
  name("0123456789", has("abcdefABCDEF") && !letters ? "hexadecimal digits" : "digits");
  name("abcxyzABCXYZ", "letters");
  name("_", "_");
  name("-", "-");
  name(" ", "blank");
  return listed(names);
}

}  // namespace

bool RowFaults::note(const kw::platform::TraceRecord& record) {
  const unsigned int row = wordOf(record, "row", format().last_row);
  const unsigned int column = wordOf(record, "column", 0);
  const unsigned int id = record.id;
  if (id < trx::kFmtNumberNoArea.id) {
    return noteAreaFault(log_, id);
  }
  const std::string cell = format().data.getMember(row, column);
  if (id == trx::kFmtUnknownCommand.id) {
    noteCommand(row, id);
    return true;
  }
  std::string& patch = format().cells[{row, column}];
  if (id == trx::kFmtNumberNotHex.id) {
    log_.addCell(row, column, inQuotes(cell) + " is not a hexadecimal number", id);
    patch = unusedNumber();
  } else if (id == trx::kFmtNumberTwice.id) {
    noteNumberTwice(row, wordOf(record, "number", 0));
  } else if (id == trx::kFmtLabelTwice.id) {
    noteLabelTwice(row);
  } else if (id == trx::kFmtHAPParameter.id) {
    log_.addCell(row, column, "fields have 1 to 8 characters and one blank between them", id);
    patch.clear();
  } else if (id == trx::kFmtHAPLabel.id || id == trx::kFmtCheckLabel.id) {
    const bool mode = cell == trx::kErrorNop || cell == trx::kErrorStack;
    const char* const message =
        id == trx::kFmtHAPLabel.id
            ? " is neither NOP nor STACK nor the label of a row from START to the last END"
        : mode ? " is an error mode, which only HAP rows have: write a label or nothing"
               : " is not the label of a row from START to the last END";
    log_.addCell(row, column, inQuotes(cell) + message, id);
  } else if (id == trx::kFmtCharacter.id) {
    noteCharacters(row, column, cell, id);
  } else {
    log_.add(0, "", describe(record), id);
    return false;
  }
  return true;
}

void RowFaults::noteNumberTwice(unsigned int row, std::uint32_t number) {
  const bool is_empty = format().data.getMember(row, trx::kPlaceNumber).empty();
  log_.addCell(row, trx::kPlaceNumber,
               "the number " + hexText(number) +
                   (is_empty ? ", which an empty cell stands for," : "") + " is used twice",
               trx::kFmtNumberTwice.id);
  format().cells[{row, trx::kPlaceNumber}] = unusedNumber();
}

void RowFaults::noteLabelTwice(unsigned int row) {
  const std::string label = format().data.getMember(row, trx::kPlaceLabel);
  log_.addCell(row, trx::kPlaceLabel, "the label " + inQuotes(label) + " is used twice",
               trx::kFmtLabelTwice.id);
  format().cells[{row, trx::kPlaceLabel}] = "";
}

void RowFaults::noteCharacters(unsigned int row, unsigned int column, const std::string& cell,
                               unsigned int id) {
  const std::string allowed = format().allowedIn(row, column, log_.collector);
  if (allowed.empty()) {
    log_.addCell(row, column,
                 inQuotes(cell) + ": the cell must be empty in a row of the command " +
                     format().getMember(row, trx::kPlaceCommand),
                 id);
    return;
  }
  std::vector<std::string> wrong;
  std::string fixed;
  for (const std::string& character : charactersOf(cell)) {
    const bool is_allowed = allowed.find(character) != std::string::npos;
    fixed += is_allowed ? character : "0";
    if (!is_allowed && std::count(wrong.begin(), wrong.end(), inQuotes(character)) == 0) {
      wrong.push_back(inQuotes(character));
    }
  }
  log_.addCell(row, column,
               listed(wrong) + (wrong.size() == 1 ? " is" : " are") + " not allowed here: only " +
                   allowedText(allowed),
               id);
  if (column == trx::kPlacePara) {
    format().cells[{row, column}] = fixed;
  }
}

void RowFaults::noteCommand(unsigned int row, unsigned int id) {
  const unsigned int column = trx::kPlaceCommand;
  const std::string cell = format().data.getMember(row, column);
  trx::FilePath upper(cell);
  upper.toUpper();
  const std::string near = nearestOf(upper.value, commandWords());
  if (cell.empty()) {
    log_.addCell(row, column, "a row between START and the last END needs a command", id);
  } else {
    log_.addCell(
        row, column,
        inQuotes(cell) + " is no command" + (near.empty() ? "" : "; did you mean " + near + "?"),
        id);
  }
  for (unsigned int other = column + 1; other < trx::kColumns; ++other) {
    format().cells[{row, other}] = "";
  }
  format().cells[{row, column}] = trx::kCommandStart;
}

std::string RowFaults::unusedNumber() {
  if (used_numbers_.empty()) {
    for (unsigned int row = 0; row < format().data.rowSize(); ++row) {
      const std::string cell = format().data.getMember(row, trx::kPlaceNumber);
      used_numbers_.insert(cellNumber(cell, trx::kHexBase).value);
    }
  }
  while (used_numbers_.count(--next_number_) != 0) {
  }
  return hexText(next_number_);
}

}  // namespace kw::trx::tools
