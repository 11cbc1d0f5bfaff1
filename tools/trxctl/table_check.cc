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

/// The version that cannot be told from a missing one.
constexpr std::uint32_t kNoVersion = 0xffffffff;

std::string listed(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + names[i];
  }
  return text;
}

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
  return listed(names);
}

/// True when `cell` is `word` but for letter case and blanks around it.
bool isNearly(const std::string& cell, const std::string& word) {
  const std::size_t begin = std::min(cell.find_first_not_of(" \t"), cell.size());
  trx::FilePath upper(cell.substr(begin, cell.find_last_not_of(" \t") + 1 - begin));
  upper.toUpper();
  return upper.value == word;
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
    // Row by row, each label is looked for in the whole table anew.
    if (findings_.empty() && format_->checkTblCmd() == 0) {
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
    add(format_->lines.lineOf(row, column), columnTitle(column, is_named), words, id);
  }

  /// Checks a header key as the choice of the format does.
  void checkKey(const std::string& key) {
    const int value = format_->data.getTblDefKey(key);
    const std::vector<TraceRecord> records = collector_.taken();
    Rows rows = format_->findEntry(trx::kKeyColumn, key);
    if (!records.empty() && records[0].id == trx::kDataKeyNotOnce.id) {
      if (rows.empty()) {
        rows = noteMissingKey(key, records[0].id);
      }
      for (std::size_t i = 1; i < rows.size(); ++i) {
        addCell(rows[i], trx::kKeyColumn,
                "a second " + key + " row; exactly one may stand in a file", records[0].id, false);
      }
      format_->searches[{trx::kKeyColumn, key}] = {rows.empty() ? 0U : rows[0]};
    }
    if (key == trx::kKeyFormat ? value != 0 : value == -1) {
      for (const unsigned int row : rows) {
        noteKeyValue(key, row);
      }
    }
  }

  /// Notes that `key` is missing. Returns the row in which it is nearly written, if there is one.
  Rows noteMissingKey(const std::string& key, unsigned int id) {
    for (unsigned int row = 0; row < format_->data.rowSize(); ++row) {
      const std::string cell = format_->data.getMember(row, trx::kKeyColumn);
      if (isNearly(cell, key) && format_->data.getMember(row, trx::kPlaceCommand).empty()) {
        addCell(row, trx::kKeyColumn,
                inQuotes(cell) + " is no header key; did you mean " + key + "?", id, false);
        return {row};
      }
    }
    add(0, "", "no row has " + key + " in column A", id);
    return {};
  }

  /// Notes what is wrong with the value of a row of `key`, if anything.
  void noteKeyValue(const std::string& key, unsigned int row) {
    const std::string cell = format_->data.getMember(row, trx::kKeyColumn + 1);
    const auto value =
        static_cast<std::uint32_t>(std::strtoul(cell.c_str(), nullptr, trx::kHexBase));
    constexpr std::size_t key_value_max = 8;
    std::string words;
    unsigned int id = trx::kDataKeyLength.id;
    if (cell.empty()) {
      words = key + " has no value: a hexadecimal number of 1 to 8 characters";
    } else if (cell.size() > key_value_max) {
      words = inQuotes(cell) + " is longer than 8 characters";
    } else if (!format_->isHex(cell, collector_)) {
      words = inQuotes(cell) + " is not a hexadecimal number";
      id = trx::kDataKeyNotHex.id;
    } else if (key == trx::kKeyFormat ? value != 0 : value == kNoVersion) {
      words = inQuotes(cell) + (key == trx::kKeyFormat
                                    ? " is no format that the engine knows: only 0 is"
                                    : " cannot be told from a missing version");
      id = trx::kTblLoadNoFormat.id;
    }
    if (!words.empty()) {
      addCell(row, trx::kKeyColumn + 1, words, id, false);
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
      addCell(row, column, inQuotes(cell) + " is not a hexadecimal number", id);
      patch = unusedNumber();
    } else if (id == trx::kFmtNumberTwice.id) {
      addCell(row, column,
              "the number " + hexText(wordOf(record, "number", 0)) +
                  (cell.empty() ? ", which an empty cell stands for," : "") + " is used twice",
              id);
      patch = unusedNumber();
    } else if (id == trx::kFmtLabelTwice.id) {
      addCell(row, column, "the label " + inQuotes(cell) + " is used twice", id);
    } else if (id == trx::kFmtHAPParameter.id) {
      addCell(row, column, "fields have 1 to 8 characters and one blank between them", id);
      patch.clear();
    } else if (id == trx::kFmtHAPLabel.id || id == trx::kFmtCheckLabel.id) {
      const bool mode = cell == trx::kErrorNop || cell == trx::kErrorStack;
      const char* const words =
          id == trx::kFmtHAPLabel.id
              ? " is neither NOP nor STACK nor the label of a row from START to the last END"
          : mode ? " is an error mode, which only HAP rows have: write a label or nothing"
                 : " is not the label of a row from START to the last END";
      addCell(row, column, inQuotes(cell) + words, id);
    } else if (id == trx::kFmtCharacter.id) {
      noteCharacters(row, column, cell, id);
    } else {
      add(0, "", describe(record), id);
      return false;
    }
    return true;
  }

  /// Notes the characters of a cell that may not stand there. Fields of PARA are checked all the
  /// same, with a digit in place of each of them.
  void noteCharacters(unsigned int row, unsigned int column, const std::string& cell,
                      unsigned int id) {
    const std::string allowed = format_->allowedIn(row, column, collector_);
    if (allowed.empty()) {
      addCell(row, column,
              inQuotes(cell) + ": the cell must be empty in a row of the command " +
                  format_->getMember(row, trx::kPlaceCommand),
              id);
      return;
    }
    std::vector<std::string> wrong;
    std::string mended;
    for (const std::string& character : charactersOf(cell)) {
      const bool is_allowed = allowed.find(character) != std::string::npos;
      mended += is_allowed ? character : "0";
      if (!is_allowed && std::count(wrong.begin(), wrong.end(), inQuotes(character)) == 0) {
        wrong.push_back(inQuotes(character));
      }
    }
    addCell(row, column,
            listed(wrong) + (wrong.size() == 1 ? " is" : " are") + " not allowed here: only " +
                allowedText(allowed),
            id);
    if (column == trx::kPlacePara) {
      format_->cells[{row, column}] = mended;
    }
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
          inQuotes(cell) + " is no command" + (near.empty() ? "" : "; did you mean " + near + "?"),
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
        return noteMissing(trx::kCommandStart, 0, "no row has the command START", id);
      }
      for (std::size_t i = 1; i < starts.size(); ++i) {
        addCell(starts[i], column, "a second START row; exactly one may stand in a file", id);
      }
      format_->searches[{column, trx::kCommandStart}] = {starts[0]};
      return true;
    }
    if (id == trx::kFmtNoEnd.id) {
      return noteMissing(trx::kCommandEnd, starts[0], "no row has the command END", id);
    }
    if (id == trx::kFmtStartTooEarly.id) {
      addCell(starts[0], column, "START stands before the FORMAT row or the VERSION row", id);
      format_->searches[{trx::kKeyColumn, trx::kKeyFormat}] = {0};
      format_->searches[{trx::kKeyColumn, trx::kKeyVersion}] = {0};
      return true;
    }
    const auto behind = std::upper_bound(ends.begin(), ends.end(), starts[0]);
    for (auto end = ends.begin(); end != behind; ++end) {
      addCell(*end, column, "this END row stands before the START row", id);
    }
    ends.erase(ends.begin(), behind);
    format_->searches[{column, trx::kCommandEnd}] = ends;
    return !ends.empty() ||
           noteMissing(trx::kCommandEnd, starts[0], "no row behind START has the command END",
                       trx::kFmtNoEnd.id);
  }

  /// Notes that START or END is missing from the row `first` on, and takes the row in which it is
  /// nearly written for it; else, with `words`, the first command row (for START) or the last one
  /// (for END). False when there is none.
  bool noteMissing(const char* missing, unsigned int first, const std::string& words,
                   unsigned int id) {
    const std::vector<std::string> commands = commandWords();
    const bool first_wins = missing == std::string(trx::kCommandStart);
    std::optional<unsigned int> near;
    std::optional<unsigned int> known;
    for (unsigned int row = first; row < format_->data.rowSize(); ++row) {
      const std::string cell = format_->data.getMember(row, trx::kPlaceCommand);
      if (isNearly(cell, missing) && (!near || !first_wins)) {
        near = row;
      } else if (std::count(commands.begin(), commands.end(), cell) != 0 &&
                 (!known || !first_wins)) {
        known = row;
      }
    }
    if (near) {
      const std::string cell = format_->data.getMember(*near, trx::kPlaceCommand);
      addCell(*near, trx::kPlaceCommand,
              inQuotes(cell) + " is no command; did you mean " + missing + "?", id);
      format_->cells[{*near, trx::kPlaceCommand}] = missing;
    } else {
      add(0, "", words, id);
    }
    if (near || known) {
      format_->searches[{trx::kPlaceCommand, missing}] = {near ? *near : *known};
    }
    return near || known;
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
