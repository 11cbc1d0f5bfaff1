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
#include "tablefile/table_rows.h"
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
  return TableRows(*this).cell(row, col);
}

TableRows::TableRows(const TableData& data)
    : csv_(data.csv_), rows_(csv_ == nullptr ? 0 : static_cast<unsigned int>(csv_->rowCount())) {}

const std::string& TableRows::missing(unsigned int col) const {
  if (csv_ == nullptr) {
    trace(kDataMemberEmpty, requesterId());
  } else if (rows_ == 0) {
    trace(kDataNoRows, requesterId(), row_, col);
  } else if (static_cast<int>(row_) >= static_cast<int>(rows_)) {
    trace(kDataNoRow, requesterId(), row_, col, rows_ - 1);
  } else if (columns_ != 0 && static_cast<int>(col) >= static_cast<int>(columns_)) {
    trace(kDataNoColumn, requesterId(), row_, col, columns_ - 1);
  }
  return none_;
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
  TableRows rows(*this);
  const unsigned int count = rowSize();
  for (unsigned int row = 0; row < count; ++row) {
    if (rows.cell(row, kKeyColumn) == key && ++matches == 1) {
      value = rows.cell(row, kKeyColumn + 1);
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
