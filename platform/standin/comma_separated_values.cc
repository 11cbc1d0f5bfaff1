// SPDX-License-Identifier: Apache-2.0
// RFC 4180 with every kind of line end. A row without any character has no cells, so that row
// numbers stay line numbers.
#include "kw/util/config/comma_separated_values.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace kw::util::config {

namespace {

using Row = std::vector<std::string>;

constexpr std::size_t kBlockBytes = 16384;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// Fills `block` from `in`; less than `kBlockBytes` at its end, and where it can't be read any
/// further.
std::size_t readBlock(std::streambuf& in, char* block) {
  try {
    return static_cast<std::size_t>(in.sgetn(block, std::streamsize{kBlockBytes}));
  } catch (const std::ios_base::failure&) {
    return 0;
  }
}

std::string readText(std::istream& in) {
  std::string text;
  std::size_t got = in.good() && in.rdbuf() != nullptr ? kBlockBytes : 0;
  while (got == kBlockBytes) {
    const std::size_t length = text.size();
    text.resize(length + kBlockBytes);
    got = readBlock(*in.rdbuf(), &text[length]);
    text.resize(length + got);
  }
  return text;
}

bool startsWith(std::string_view text, char character) {
  return !text.empty() && text[0] == character;
}

bool startsWithLineEnd(std::string_view text) {
  return startsWith(text, '\n') || startsWith(text, '\r');
}

/// Takes a cell off `text`, up to the comma or line end behind it.
void takeCell(std::string_view& text, std::string& cell) {
  // A quote begins the cell, and each next one behind quoted text is the second of a pair. Within
  // plain text it is a character.
  for (bool is_pair = false; startsWith(text, '"'); is_pair = true) {
    const std::size_t quote = std::min(text.find('"', 1), text.size());
    cell.append(text.substr(is_pair ? 0 : 1, quote - (is_pair ? 0 : 1)));
    text.remove_prefix(std::min(quote + 1, text.size()));
  }
  const auto* const end = std::find_if(text.begin(), text.end(),
                                       [](char c) { return c == ',' || c == '\n' || c == '\r'; });
  const auto length = static_cast<std::size_t>(end - text.begin());
  cell.append(text.data(), length);
  text.remove_prefix(length);
}

/// Takes a row with its line end off `text`, which is not empty.
void takeRow(std::string_view& text, Row& row) {
  bool has_more = !startsWithLineEnd(text);
  while (has_more) {
    takeCell(text, row.emplace_back());
    has_more = startsWith(text, ',');
    text.remove_prefix(has_more ? 1 : 0);
  }
  text.remove_prefix(text.substr(0, 2) == "\r\n" ? 2 : startsWithLineEnd(text) ? 1 : 0);
}

}  // namespace

CommaSeparatedValues::CommaSeparatedValues() = default;

CommaSeparatedValues::~CommaSeparatedValues() = default;

int CommaSeparatedValues::load(std::istream& in) {
  const std::string read = readText(in);
  std::string_view text = read;
  if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
    text.remove_prefix(kByteOrderMark.size());
  }
  std::vector<Row> rows;
  while (!text.empty()) {
    Row row;
    row.reserve(rows.empty() ? 0 : rows.back().size());  // rows tend to be alike
    takeRow(text, row);
    rows.push_back(std::move(row));
  }
  rows_ = std::move(rows);
  return 0;
}

int CommaSeparatedValues::size() const { return rowCount(); }

int CommaSeparatedValues::rowCount() const { return static_cast<int>(rows_.size()); }

int CommaSeparatedValues::columnCount(int row) const {
  const auto index = static_cast<std::size_t>(row);
  return index < rows_.size() ? static_cast<int>(rows_[index].size()) : 0;
}

const std::vector<std::string>& CommaSeparatedValues::operator[](int row) const {
  return rows_[static_cast<std::size_t>(row)];
}

}  // namespace kw::util::config
