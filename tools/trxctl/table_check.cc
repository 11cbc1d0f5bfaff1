// SPDX-License-Identifier: Apache-2.0
#include "trxctl/table_check.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <set>

#include "kw/trx/file_path.h"
#include "support/trace.h"
#include "tablefile/words.h"
#include "trxctl/commands.h"
#include "trxctl/patched_format.h"
#include "trxctl/trace_catalogue.h"

namespace kw::trx::trxctl {
namespace {

using kw::platform::TraceRecord;

/// More findings than anybody reads: each one costs another run of a check.
constexpr std::size_t kFindingsMax = 1000;

/// Which of the printable characters a cell may hold, in words.
std::string allowedText(const std::string& allowed) {
  const auto has = [&](const std::string& set) {
    return std::all_of(set.begin(), set.end(),
                       [&](char c) { return allowed.find(c) != std::string::npos; });
  };
  std::vector<std::string> names;
  const auto name = [&](const std::string& set, const std::string& words) {
    if (has(set)) {
      names.push_back(words);
    }
  };
  const bool letters = has("ghijzGHIJZ");
  name("0123456789", has("abcdefABCDEF") && !letters ? "hexadecimal digits" : "digits");
  name("abcxyzABCXYZ", "letters");
  name("_", "_");
  name("-", "-");
  name(" ", "blank");
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + names[i];
  }
  return text;
}

/// Runs the checks on one file and notes what they find.
class FaultFinder {
 public:
  explicit FaultFinder(const std::string& file) : file_(file) {}

  std::vector<Finding> run() {
    auto data = std::make_unique<trx::TableData>();
    errno = 0;
    if (data->load(absolutePath(file_)) != 0) {
      const unsigned int id = collector_.taken().at(0).id;
      const bool extension = id == trx::kDataNotCSV.id;
      add(0, "", extension ? "its extension is not csv" : std::strerror(errno), id);
      return findings_;
    }
    format_ = std::make_unique<PatchedFormat>(tableNameOf(file_), data.get());
    static_cast<void>(data.release());
    checkKey(trx::kKeyFormat);
    checkKey(trx::kKeyVersion);
    unsigned int start = 0;
    unsigned int end = 0;
    if (!runStep([this] { return format_->checkFileFmt(); }) ||
        !runStep([this] { return format_->checkNumber(); }) ||
        !runStep([this] { return format_->checkLabel(); }) ||
        format_->getRowOfTblArea(start, end) != 0) {
      return findings_;
    }
    for (unsigned int row = start; row <= end; ++row) {
      if (!runStep([this, row] { return format_->checkRow(row); })) {
        break;
      }
    }
    return findings_;
  }

 private:
  void add(unsigned int line, const std::string& column, const std::string& words,
           unsigned int id) {
    findings_.push_back({true, line, column, words, id});
  }

  void addCell(unsigned int row, unsigned int column, const std::string& words, unsigned int id,
               bool is_named = true) {
    unsigned int line = format_->lines[row];
    for (unsigned int before = 0; before < column; ++before) {
      line += lineEndsIn(format_->data.getMember(row, before));
    }
    add(line, columnTitle(column, is_named), words, id);
  }

  /// Checks a header key as the choice of the format does.
  void checkKey(const char* key) {
    const Rows rows = format_->findEntry(trx::kKeyColumn, key);
    const int value = format_->data.getTblDefKey(key);
    const std::vector<TraceRecord> records = collector_.taken();
    const unsigned int id = records.empty() ? trx::kTblLoadNoFormat.id : records[0].id;
    const std::string name = key;
    if (id == trx::kDataKeyNotOnce.id) {
      format_->searches[{trx::kKeyColumn, name}] = {0};
      if (rows.empty()) {
        add(0, "", "no row has " + name + " in column A", id);
        return;
      }
      addCell(rows[1], trx::kKeyColumn,
              "a second " + name + " row; exactly one may stand in a file", id, false);
      return;
    }
    const std::string cell = format_->data.getMember(rows[0], trx::kKeyColumn + 1);
    if (id == trx::kDataKeyLength.id) {
      addCell(rows[0], trx::kKeyColumn + 1,
              cell.empty() ? name + " has no value: a hexadecimal number of 1 to 8 characters"
                           : quoted(cell) + " is longer than 8 characters",
              id, false);
    } else if (id == trx::kDataKeyNotHex.id) {
      addCell(rows[0], trx::kKeyColumn + 1, quoted(cell) + " is not a hexadecimal number", id,
              false);
    } else if (name == trx::kKeyFormat ? value != 0 : value == -1) {
      addCell(rows[0], trx::kKeyColumn + 1,
              name == trx::kKeyFormat
                  ? quoted(cell) + " is no format that the engine knows: only 0 is"
                  : quoted(cell) + " cannot be told from a missing version",
              id, false);
    }
  }

  /// Runs a check until it finds nothing more. False when the next one cannot run.
  bool runStep(const std::function<int()>& check) {
    collector_.taken();
    while (check() != 0) {
      if (findings_.size() >= kFindingsMax) {
        add(0, "", "there are more errors than these", findings_.back().id);
        return false;
      }
      if (!note(collector_.taken().at(0))) {
        return false;
      }
      collector_.taken();
    }
    return true;
  }

  /// Notes the fault told by `record` and patches it. False when there is no way to go on.
  bool note(const TraceRecord& record) {
    const unsigned int row = wordOf(record, "row", format_->last_row);
    const unsigned int column = wordOf(record, "column", 0);
    const unsigned int id = record.id;
    if (id < trx::kFmtNumberNoArea.id) {
      return noteArea(id);
    }
    const std::string cell = format_->data.getMember(row, column);
    if (id == trx::kFmtUnknownCommand.id) {
      noteCommand(row, id);
      return true;
    }
    std::string& patch = format_->cells[{row, column}];
    if (id == trx::kFmtNumberNotHex.id) {
      addCell(row, column, quoted(cell) + " is not a hexadecimal number", id);
      patch = unusedNumber();
    } else if (id == trx::kFmtNumberTwice.id) {
      addCell(row, column,
              "the number " + hexText(wordOf(record, "number", 0)) +
                  (cell.empty() ? ", which an empty cell stands for," : "") + " is used twice",
              id);
      patch = unusedNumber();
    } else if (id == trx::kFmtLabelTwice.id) {
      addCell(row, column, "the label " + quoted(cell) + " is used twice", id);
    } else if (id == trx::kFmtHAPParameter.id) {
      addCell(row, column, "fields have 1 to 8 characters and one blank between them", id);
    } else if (id == trx::kFmtHAPLabel.id || id == trx::kFmtCheckLabel.id) {
      addCell(row, column,
              quoted(cell) +
                  (id == trx::kFmtHAPLabel.id ? " is neither NOP nor STACK nor" : " is not") +
                  " the label of a row from START to the last END",
              id);
    } else if (id == trx::kFmtCharacter.id) {
      addCell(row, column, characterWords(row, column, cell), id);
    } else {
      add(0, "", describe(record), id);
      return false;
    }
    return true;
  }

  std::string characterWords(unsigned int row, unsigned int column, const std::string& cell) {
    const std::string allowed = format_->allowedIn(row, column, collector_);
    if (allowed.empty()) {
      const std::string command = format_->getMember(row, trx::kColumnCommand);
      return quoted(cell) + ": the cell must be empty in a row of the command " + command;
    }
    const std::size_t wrong = cell.find_first_not_of(allowed);
    return quoted(cell.substr(wrong, 1)) + " is not allowed here: only " + allowedText(allowed);
  }

  /// A row with an unknown command passes from now on, whatever its other cells hold.
  void noteCommand(unsigned int row, unsigned int id) {
    const unsigned int column = trx::kPlaceCommand;
    const std::string cell = format_->data.getMember(row, column);
    trx::FilePath upper(cell);
    upper.toUpper();
    const std::string near = nearestOf(upper.value, commandWords());
    if (cell.empty()) {
      addCell(row, column, "a row between START and the last END needs a command", id);
    } else {
      addCell(
          row, column,
          quoted(cell) + " is no command" + (near.empty() ? "" : "; did you mean " + near + "?"),
          id);
    }
    for (unsigned int other = column + 1; other < trx::kColumns; ++other) {
      format_->cells[{row, other}] = "";
    }
    format_->cells[{row, column}] = trx::kCommandStart;
  }

  /// A number that no row has.
  std::string unusedNumber() {
    if (used_numbers_.empty()) {
      for (unsigned int row = 0; row < format_->data.rowSize(); ++row) {
        const std::string cell = format_->data.getMember(row, trx::kPlaceNumber);
        used_numbers_.insert(
            static_cast<std::uint32_t>(std::strtoul(cell.c_str(), nullptr, trx::kHexBase)));
      }
    }
    while (used_numbers_.count(--next_number_) != 0) {
    }
    return hexText(next_number_);
  }

  /// Notes a fault of the header, START or END, and goes on with a table area that was probably
  /// meant.
  bool noteArea(unsigned int id) {
    const unsigned int column = trx::kPlaceCommand;
    const Rows starts = format_->findEntry(column, trx::kCommandStart);
    Rows ends = format_->findEntry(column, trx::kCommandEnd);
    if (id == trx::kFmtNotOneStart.id) {
      if (starts.empty()) {
        add(0, "", "no row has the command START", id);
        return assumeArea(trx::kCommandStart, 0);
      }
      for (std::size_t i = 1; i < starts.size(); ++i) {
        addCell(starts[i], column, "a second START row; exactly one may stand in a file", id);
      }
      format_->searches[{column, trx::kCommandStart}] = {starts[0]};
      return true;
    }
    if (id == trx::kFmtNoEnd.id) {
      add(0, "", "no row has the command END", id);
      return assumeArea(trx::kCommandEnd, starts[0]);
    }
    if (id == trx::kFmtStartTooEarly.id) {
      addCell(starts[0], column, "START stands before the FORMAT row or the VERSION row", id);
      format_->searches[{trx::kKeyColumn, trx::kKeyFormat}] = {0};
      format_->searches[{trx::kKeyColumn, trx::kKeyVersion}] = {0};
      return true;
    }
    addCell(ends[0], column, "this END row stands before the START row", id);
    ends.erase(ends.begin(), std::upper_bound(ends.begin(), ends.end(), starts[0]));
    format_->searches[{column, trx::kCommandEnd}] = ends;
    return !ends.empty() || assumeArea(trx::kCommandEnd, starts[0]);
  }

  /// Takes the first command row (for START) or the last one (for END) from `first` on for the row
  /// that is missing.
  bool assumeArea(const char* missing, unsigned int first) {
    const unsigned int column = trx::kPlaceCommand;
    const std::vector<std::string> commands = commandWords();
    std::optional<unsigned int> found;
    for (unsigned int row = first; row < format_->data.rowSize(); ++row) {
      const std::string command = format_->data.getMember(row, column);
      const bool known = std::find(commands.begin(), commands.end(), command) != commands.end();
      if (known && (!found || missing == std::string(trx::kCommandEnd))) {
        found = row;
      }
    }
    if (found) {
      format_->searches[{column, missing}] = {*found};
    }
    return found.has_value();
  }

  std::string file_;
  RecordCollector collector_;
  std::unique_ptr<PatchedFormat> format_;
  std::vector<Finding> findings_;
  std::set<std::uint32_t> used_numbers_;
  std::uint32_t next_number_ = 0xffffffff;
};

}  // namespace

std::vector<Finding> findFaults(const std::string& file) { return FaultFinder(file).run(); }

}  // namespace kw::trx::trxctl
