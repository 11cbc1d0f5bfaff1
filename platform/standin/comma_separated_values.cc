// SPDX-License-Identifier: Apache-2.0
// RFC 4180 with every kind of line end. A row without any character has no cells, so that row
// numbers stay line numbers.
#include "kw/util/config/comma_separated_values.h"

#include <memory>
#include <string_view>
#include <utility>

namespace kw::util::config {

namespace {

using Rows = std::vector<std::vector<std::string>>;

constexpr std::size_t kBlockBytes = 65536;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool endsPlainRun(char character) {
  return character == ',' || character == '\n' || character == '\r';
}

/// Builds rows from a text that comes in pieces, cut anywhere.
class Parser {
 public:
  void feed(std::string_view text) {
    while (!text.empty()) {
      switch (state_) {
        case State::kCellStart:
          if (!takeWholeCells(text)) startCell(text);
          break;
        case State::kPlain:
          takePlain(text);
          break;
        case State::kQuoted:
          takeQuoted(text);
          break;
        case State::kQuoteInQuoted:
          takeAfterQuote(text);
          break;
      }
    }
  }

  /// Ends the text; without characters after the last line end there is no further row.
  Rows finish() {
    if (state_ != State::kCellStart || !row_.empty()) endRow();
    return std::move(rows_);
  }

 private:
  enum class State {
    kCellStart,      ///< before the first character of a cell
    kPlain,          ///< in a cell, outside quotes: a quote is a character
    kQuoted,         ///< in a cell, inside quotes
    kQuoteInQuoted,  ///< after a quote that ends the quoted text or is the first of a pair
  };

  /// Takes the cells and rows, nearly all that there are, that stand in `text` without quotes up to
  /// the comma or line end behind them. Returns whether there was any.
  bool takeWholeCells(std::string_view& text) {
    if (line_feed_belongs_to_row_end_) return false;
    const char* const end = text.data() + text.size();
    const char* cell = text.data();
    for (const char* at = cell; at != end && *cell != '"';) {
      if (!endsPlainRun(*at)) {
        ++at;
        continue;
      }
      const bool ends_row = *at != ',';
      if (*at == '\r' && at + 1 == end) break;
      if (!ends_row || at != cell || !row_.empty()) addCell(cell, at);
      at += *at == '\r' && at[1] == '\n' ? 2 : 1;
      cell = at;
      if (ends_row) addRow();
    }
    const auto taken = static_cast<std::size_t>(cell - text.data());
    text.remove_prefix(taken);
    return taken != 0;
  }

  void startCell(std::string_view& text) {
    if (std::exchange(line_feed_belongs_to_row_end_, false) && text[0] == '\n') {
      text.remove_prefix(1);
      return;
    }
    if (text[0] == '"') {
      text.remove_prefix(1);
      state_ = State::kQuoted;
    } else if (row_.empty() && (text[0] == '\n' || text[0] == '\r')) {
      takeSeparator(text);
    } else {
      state_ = State::kPlain;
    }
  }

  void takePlain(std::string_view& text) {
    std::size_t run = 0;
    while (run < text.size() && !endsPlainRun(text[run])) ++run;
    cell_.append(text.data(), run);
    text.remove_prefix(run);
    if (!text.empty()) takeSeparator(text);
  }

  void takeQuoted(std::string_view& text) {
    const std::size_t quote = text.find('"');
    const bool found = quote != std::string_view::npos;
    const std::size_t run = found ? quote : text.size();
    cell_.append(text.data(), run);
    text.remove_prefix(found ? run + 1 : run);
    if (found) state_ = State::kQuoteInQuoted;
  }

  void takeAfterQuote(std::string_view& text) {
    state_ = State::kPlain;
    if (text[0] != '"') return;
    cell_ += '"';
    text.remove_prefix(1);
    state_ = State::kQuoted;
  }

  /// Takes a comma or a line end.
  void takeSeparator(std::string_view& text) {
    if (text[0] == ',') {
      endCell();
    } else {
      line_feed_belongs_to_row_end_ = text[0] == '\r';
      endRow();
    }
    text.remove_prefix(1);
  }

  void endCell() {
    addCell(cell_.data(), cell_.data() + cell_.size());
    cell_.clear();
    state_ = State::kCellStart;
  }

  void endRow() {
    if (state_ != State::kCellStart || !row_.empty()) endCell();
    addRow();
  }

  void addCell(const char* begin, const char* end) {
    if (row_.capacity() == 0) row_.reserve(row_cells_);
    row_.emplace_back(begin, end);
  }

  void addRow() {
    row_cells_ = row_.size();
    rows_.push_back(std::move(row_));
    row_.clear();
  }

  Rows rows_;
  std::vector<std::string> row_;
  std::string cell_;
  std::size_t row_cells_ = 0;  // cells of the row before, as rows tend to be alike
  State state_ = State::kCellStart;
  bool line_feed_belongs_to_row_end_ = false;  // a carriage return ended the row just now
};

/// Fills `block` from `in`; less than `kBlockBytes` at its end, and where it can't be read any
/// further.
std::string_view readBlock(std::istream& in, char* block) {
  try {
    const std::streamsize got = in.rdbuf()->sgetn(block, std::streamsize{kBlockBytes});
    return {block, static_cast<std::size_t>(got)};
  } catch (const std::ios_base::failure&) {
    return {};
  }
}

}  // namespace

CommaSeparatedValues::CommaSeparatedValues() = default;

CommaSeparatedValues::~CommaSeparatedValues() = default;

int CommaSeparatedValues::load(std::istream& in) {
  Parser parser;
  if (in.good() && in.rdbuf() != nullptr) {
    const std::unique_ptr<char[]> block(new char[kBlockBytes]);
    bool is_first = true;
    bool is_last = false;
    while (!is_last) {
      std::string_view text = readBlock(in, block.get());
      is_last = text.size() < kBlockBytes;
      if (std::exchange(is_first, false) &&
          text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
        text.remove_prefix(kByteOrderMark.size());
      }
      parser.feed(text);
    }
  }
  rows_ = parser.finish();
  return 0;
}

int CommaSeparatedValues::size() const { return rowCount(); }

int CommaSeparatedValues::rowCount() const { return static_cast<int>(rows_.size()); }

int CommaSeparatedValues::columnCount(int row) const {
  if (row < 0 || row >= rowCount()) return 0;
  return static_cast<int>(rows_[static_cast<std::size_t>(row)].size());
}

const std::vector<std::string>& CommaSeparatedValues::operator[](int row) const {
  return rows_[static_cast<std::size_t>(row)];
}

}  // namespace kw::util::config
