// SPDX-License-Identifier: Apache-2.0
// A text with the in-place edits that file names, module names and table cells need. A value class:
// not synchronised.
#ifndef KW_TRX_FILE_PATH_H_
#define KW_TRX_FILE_PATH_H_

#include <string>
#include <utility>
#include <vector>

#include "kw/trx/export.h"

namespace kw::trx::trx {

/// Edits work on bytes: "/" is the only directory separator, "." the only extension separator.
/// Every edit does nothing on an empty value.
class ZQM_TRX_API FilePath {
 public:
  FilePath();
  /// A null `text` gives an empty value.
  FilePath(const char* text);         // NOLINT(google-explicit-constructor)
  FilePath(const std::string& text);  // NOLINT(google-explicit-constructor)
  FilePath(const FilePath& other);
  virtual ~FilePath();

  /// A null `text` leaves the value unchanged. Returns `text`.
  const char* operator=(const char* text);  // NOLINT(misc-unconventional-assign-operator)
  /// Returns the held value.
  std::string& operator=(const std::string& text);  // NOLINT(misc-unconventional-assign-operator)
  FilePath& operator=(const FilePath& other);

  /// Removes `prefix` when the value begins with it; null or empty: no change.
  void erasePrefix(const std::string& prefix);
  void erasePrefix(const char* prefix);

  /// Removes everything up to and including the last "/".
  void erasePath();

  /// Removes the last "." of the file name and what follows it. A "." in a directory part, or one
  /// that begins the file name, starts no extension.
  void eraseFileExtension();

  /// Keeps only what follows the last "." of the file name, by the same rule; a value that ends in
  /// "." stays as it is.
  void eraseNotExtension();

  /// Removes the first occurrence of `separator` and everything after it; null or not found: no
  /// change. An empty separator is found at the start, so the whole value goes.
  void eraseSeparatorBackFirstOf(const char* separator);
  /// The same with a one-character text; the NUL character counts as an empty separator.
  void eraseSeparatorBackFirstOf(const char& separator);
  void eraseSeparatorBackFirstOf(const std::string& separator);

  /// Applies `toupper` or `tolower` of the C library to each byte.
  void toUpper();
  void toLower();

  /// True when every byte of the value lies in at least one of the inclusive ranges (low, high),
  /// compared as unsigned bytes. True for an empty value.
  bool isUsedValidChars(std::vector<std::pair<char, char> > ranges) const;

  /// The pieces of the value between separators, empty ones included: n separators give n + 1
  /// pieces. An empty value gives none.
  std::vector<std::string> getSpecificStringSplitValue(const char& separator) const;

  std::string value;  ///< the text being edited

 private:
  std::string::size_type findExtension() const;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_FILE_PATH_H_
