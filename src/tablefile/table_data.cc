// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/table_data.h"

#include <memory>
#include <sstream>

#include "kw/trx/file_path.h"
#include "kw/util/config/comma_separated_values.h"
#include "support/parse_number.h"
#include "support/regular_file.h"
#include "support/requester_id.h"
#include "support/trace.h"
#include "zqm_trx/file_limits.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::trx {
namespace {

constexpr char kExtension[] = "csv";
constexpr std::size_t kKeyValueMax = 8;

}  // namespace

TableData::TableData() = default;

TableData::~TableData() { delete csv_; }

int TableData::load(const std::string& path) {
  if (path.empty()) {
    trace(kDataNoPath, requesterId());
    return -1;
  }
  unload();
  file_path_ = path;
  FilePath extension(file_path_);
  extension.eraseNotExtension();
  extension.toLower();
  if (extension.value != kExtension) {
    trace(kDataNotCSV, requesterId());
    return -1;
  }
  return loadCSV();
}

int TableData::loadCSV() {
  const std::string name = "/" + file_path_;
  std::string text;
  if (!RegularFile(name).readAll(kTableFileMax, text)) {
    FilePath file_name(name);
    file_name.erasePath();
    trace(kDataNotOpened, file_name.value);
    return -1;
  }
  auto csv = std::make_unique<kw::util::config::CommaSeparatedValues>();
  // The reader may do with it whatever it would do with the stream of a file.
  std::stringstream stream(text);
  csv->load(stream);
  unload();
  csv_ = csv.release();
  return 0;
}

void TableData::unload() {
  delete csv_;
  csv_ = nullptr;
}

unsigned int TableData::rowSize() const {
  if (csv_ == nullptr) {
    trace(kDataRowSizeEmpty, requesterId());
    return 0;
  }
  return static_cast<unsigned int>(csv_->size());
}

int TableData::columnSize(const unsigned int& row) const {
  if (csv_ == nullptr) {
    trace(kDataColumnSizeEmpty, requesterId());
    return 0;
  }
  return csv_->columnCount(static_cast<int>(row));
}

std::string TableData::getMember(const unsigned int& row, const unsigned int& col) const {
  return look(row, col);
}

const std::string& TableData::look(unsigned int row, unsigned int col) const {
  static const std::string none;
  if (csv_ == nullptr) {
    trace(kDataMemberEmpty, requesterId());
    return none;
  }
  const int row_index = static_cast<int>(row);
  const int column_index = static_cast<int>(col);
  const int rows = csv_->rowCount();
  if (rows == 0) {
    trace(kDataNoRows, requesterId(), row, col);
    return none;
  }
  if (row_index >= rows) {
    trace(kDataNoRow, requesterId(), row, col, traceWord(rows - 1));
    return none;
  }
  if (row_index < 0) {
    return none;
  }
  const std::vector<std::string>& cells = (*csv_)[row_index];
  const int columns = static_cast<int>(cells.size());
  if (columns == 0) {
    return none;
  }
  if (column_index >= columns) {
    trace(kDataNoColumn, requesterId(), row, col, traceWord(columns - 1));
    return none;
  }
  if (column_index < 0) {
    return none;
  }
  return cells[static_cast<std::size_t>(column_index)];
}

const std::vector<std::string>* TableData::cellsOf(unsigned int row) const {
  const int index = static_cast<int>(row);
  return csv_ == nullptr || index < 0 || index >= csv_->rowCount() ? nullptr : &(*csv_)[index];
}

int TableData::getTblDefKey(const std::string& key) const {
  if (csv_ == nullptr) {
    trace(kDataKeyEmptyFile, requesterId());
    return -1;
  }
  if (key.empty()) {
    trace(kDataNoKey, requesterId());
    return -1;
  }
  unsigned int matches = 0;
  std::string value;
  const unsigned int rows = rowSize();
  for (unsigned int row = 0; row < rows; ++row) {
    if (look(row, kKeyColumn) == key && ++matches == 1) {
      value = getMember(row, kKeyColumn + 1);
    }
  }
  if (matches != 1) {
    trace(kDataKeyNotOnce, key);
    return -1;
  }
  if (value.empty() || value.size() > kKeyValueMax) {
    trace(kDataKeyLength, key);
    return -1;
  }
  const ParsedNumber number = parseNumber(value, kHexBase);
  if (number.length != value.size()) {
    trace(kDataKeyNotHex, key);
    return -1;
  }
  return static_cast<int>(number.value);
}

}  // namespace kw::trx::trx
