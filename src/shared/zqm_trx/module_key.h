// SPDX-License-Identifier: Apache-2.0
// How module files and HAP names give the key of a module.
#ifndef KW_TRX_SHARED_MODULE_KEY_H_
#define KW_TRX_SHARED_MODULE_KEY_H_

#include <string>
#include <string_view>

#include "kw/trx/file_path.h"

namespace kw::trx::trx {

constexpr char kModulePrefix[] = "libzq_hap_";
constexpr char kDebugModulePrefix[] = "DBG";
/// Ends the key at the beginning of a HAP name.
constexpr char kKeySeparator = '_';

/// What is left of the one file name that has no stem to make a key of: the rule of hidden files
/// would keep it.
constexpr char kBareExtension[] = ".so";

/// The key of the module with this file name; empty when the name has none.
inline std::string moduleKey(const std::string& file_name) {
  FilePath name(file_name);
  name.erasePrefix(kModulePrefix);
  if (name.value != file_name && name.value == kBareExtension) {
    return std::string();
  }
  name.eraseFileExtension();
  name.toUpper();
  return name.value;
}

/// The key at the beginning of a HAP name. It has a few characters: a loop is quicker than a call.
inline std::string_view keyOfHAP(const std::string& name) {
  std::size_t length = 0;
  while (length < name.size() && name[length] != kKeySeparator) ++length;
  return std::string_view(name.data(), length);
}

inline bool isDebugModule(const std::string& key) { return key.rfind(kDebugModulePrefix, 0) == 0; }

}  // namespace kw::trx::trx

#endif  // KW_TRX_SHARED_MODULE_KEY_H_
