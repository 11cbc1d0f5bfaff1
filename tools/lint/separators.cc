// SPDX-License-Identifier: Apache-2.0
#include "lint/separators.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string_view>

#include "common/text.h"
#include "table/first_words.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

constexpr std::string_view kSeparators = ",;\t|";
constexpr const char* kFirstCells[] = {trx::kKeyFormat, trx::kKeyVersion, kCaseTables, kCaseBegin};

/// Reads cells as the engine does, but for their separator, and writes them anew.
class CellRewriter {
 public:
  explicit CellRewriter(char separator) : separator_(separator) {}

  std::string rewrite(const std::string& text) {
    for (const char c : text) {
      take(c);
    }
    endCell();
    return out_;
  }

 private:
  enum class State { kBegin, kPlain, kQuoted, kQuoteInQuoted };

  void take(char c) {
    if (state_ == State::kQuoted) {
      if (c == '"') {
        state_ = State::kQuoteInQuoted;
      } else {
        cell_ += c;
      }
    } else if (c == '"' && state_ != State::kPlain) {
      cell_ += state_ == State::kQuoteInQuoted ? "\"" : "";
      state_ = State::kQuoted;
    } else if (c == separator_ || c == '\n' || c == '\r') {
      endCell();
      out_ += c == separator_ ? ',' : c;
    } else {
      cell_ += c;
      state_ = State::kPlain;
    }
  }

  void endCell() {
    if (cell_.find_first_of(",\"\r\n") == std::string::npos) {
      out_ += cell_;
    } else {
      out_ += '"';
      for (const char c : cell_) {
        out_ += c == '"' ? "\"\"" : std::string(1, c);
      }
      out_ += '"';
    }
    cell_.clear();
    state_ = State::kBegin;
  }

  const char separator_;
  State state_ = State::kBegin;
  std::string cell_, out_;
};

/// The separator behind one of the words, with which `line` begins; 0 when it does not.
char separatorOfLine(const std::string& line) {
  const std::size_t at = line.find_first_of(kSeparators);
  if (at == std::string::npos) {
    return 0;
  }
  std::string cell = line.substr(0, at);
  cell.erase(std::remove(cell.begin(), cell.end(), '"'), cell.end());
  const bool known = std::any_of(std::begin(kFirstCells), std::end(kFirstCells),
                                 [&cell](const char* word) { return isNearly(cell, word); });
  return known ? line[at] : '\0';
}

}  // namespace

char separatorOf(const std::string& text) {
  if (text.find(std::string(",") + trx::kCommandStart) != std::string::npos) {
    return ',';
  }
  char separator = ',';
  std::string lines = text;
  std::replace(lines.begin(), lines.end(), '\r', '\n');
  std::istringstream in(lines);
  for (std::string line; std::getline(in, line);) {
    const char found = separatorOfLine(line);
    if (found == ',') {
      return found;
    }
    separator = found != 0 ? found : separator;
  }
  return separator;
}

std::string withCommas(const std::string& text, char separator) {
  return CellRewriter(separator).rewrite(text);
}

}  // namespace kw::trx::tools
