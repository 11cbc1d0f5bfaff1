// SPDX-License-Identifier: Apache-2.0
// The platform's reader of comma-separated values.
#ifndef KW_UTIL_CONFIG_COMMA_SEPARATED_VALUES_H_
#define KW_UTIL_CONFIG_COMMA_SEPARATED_VALUES_H_

#include <istream>
#include <string>
#include <vector>

#include "kw/export.h"

namespace kw::util::config {

/// The rows of one comma-separated text. Rows may differ in length. Not synchronised.
class KW_PLATFORM_API CommaSeparatedValues {
 public:
  CommaSeparatedValues();
  virtual ~CommaSeparatedValues();

  /// Replaces the rows by those read from `in` up to its end. No text is refused: RFC 4180 is
  /// followed as far as the text allows it, and a NUL byte is a character like any other.
  /// Returns 0. Throws `std::bad_alloc` alone.
  int load(std::istream& in);

  /// Number of rows.
  int size() const;

  /// Number of rows; the same as `size()`.
  int rowCount() const;

  /// Number of cells of `row`; 0 for a row that does not exist.
  int columnCount(int row) const;

  /// The cells of `row`, which must be in the range 0 to `rowCount() - 1`; valid until the next
  /// `load` or the end of this object.
  const std::vector<std::string>& operator[](int row) const;

 private:
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace kw::util::config

#endif  // KW_UTIL_CONFIG_COMMA_SEPARATED_VALUES_H_
