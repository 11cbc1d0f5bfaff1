// SPDX-License-Identifier: Apache-2.0
// The platform's properties-file reader.
#ifndef KW_UTIL_CONFIG_CPP_PROPERTIES_H_
#define KW_UTIL_CONFIG_CPP_PROPERTIES_H_

#include <map>
#include <string>

#include "kw/export.h"

namespace kw::util::config {

/// Key/value pairs of one properties file. Not synchronised: one thread at a time.
class KW_PLATFORM_API CppProperties {
 public:
  /// Builds an empty set. `reserved` is not used by this system: callers pass false.
  explicit CppProperties(bool reserved);
  virtual ~CppProperties();

  /// Adds the pairs of the file at `path`; of a key met twice the later value stays.
  /// Throws an exception derived from `std::exception` when the file cannot be read, which includes
  /// one that is no regular file or longer than 1 MiB; the pairs held before stay as they were.
  void load(const std::string& path);

  /// True when `key` is present, also with an empty value.
  bool exist(const std::string& key) const;

  /// The value of `key` as written, trailing blanks included; empty text for an absent key.
  std::string getProperty(const std::string& key) const;

  /// The value of `key` as a signed decimal number: 0 for an absent key and for text that does not
  /// begin with a number, the nearest limit of `int` for a number out of its range.
  int getInt(const std::string& key) const;

  /// Forgets all pairs.
  void clear();

 private:
  std::map<std::string, std::string> pairs_;
};

}  // namespace kw::util::config

#endif  // KW_UTIL_CONFIG_CPP_PROPERTIES_H_
