// SPDX-License-Identifier: Apache-2.0
#include "common/paths.h"

#include <cerrno>
#include <filesystem>

namespace kw::trx::tools {

std::string absolutePath(const std::string& file) {
  if (file.empty()) {
    errno = ENOENT;  // as opening it would
    return {};
  }
  std::string path = std::filesystem::absolute(file).lexically_normal();
  if (path.size() > 1 && path.back() == '/') {
    path.pop_back();
  }
  return path;
}

}  // namespace kw::trx::tools
