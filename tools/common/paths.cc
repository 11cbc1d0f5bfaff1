// SPDX-License-Identifier: Apache-2.0
#include "common/paths.h"

#include <cerrno>
#include <filesystem>
#include <vector>

#include "common/text.h"

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

std::string fileNameOf(const std::string& file) {
  return std::filesystem::path(file).filename().string();
}

std::string nearFileHint(const std::string& file, const std::string& prefix) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::path path(file);
  if (file.empty() || fs::exists(path, error) || path.filename().string().rfind(prefix, 0) != 0) {
    return {};
  }
  const auto name_of = [&prefix](const fs::path& any) {
    return any.stem().string().substr(prefix.size());
  };
  std::vector<std::string> names;
  for (fs::directory_iterator entry(fs::absolute(path).parent_path(), error), end;
       !error && entry != end; entry.increment(error)) {
    const fs::path& other = entry->path();
    if (other.extension() == path.extension() && other.stem().string().rfind(prefix, 0) == 0) {
      names.push_back(name_of(other));
    }
  }
  const std::string near = nearestOf(name_of(path), names);
  const fs::path meant = path.parent_path() / (prefix + near + path.extension().string());
  return near.empty() ? near : "; did you mean " + meant.string() + "?";
}

}  // namespace kw::trx::tools
