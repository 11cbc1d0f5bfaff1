// SPDX-License-Identifier: Apache-2.0
#include "lint/fix.h"

#include <filesystem>
#include <stdexcept>

#include "common/whole_file.h"
#include "lint/dialect.h"

namespace kw::trx::tools {

FixedFile fixFile(const std::string& file, bool in_place) {
  namespace fs = std::filesystem;
  const Dialect dialect = dialectOfFile(file);
  if (dialect.steps.empty()) {
    return {file, ""};
  }
  if (in_place) {
    writeWhole(fs::canonical(file), *dialect.text);
    return {file, dialect.steps};
  }
  const fs::path folder = fs::path(file).parent_path() / kFixedFolder;
  const fs::path target = folder / fs::path(file).filename();
  std::error_code error;
  fs::create_directory(folder, error);
  if (error) {
    throw std::runtime_error(folder.string() + ": " + error.message());
  }
  if (fs::exists(target, error)) {
    throw std::runtime_error(target.string() +
                             " is there already; move it away, or add --in-place");
  }
  writeWhole(target, *dialect.text);
  fs::permissions(target, fs::status(file).permissions());
  return {target, dialect.steps};
}

}  // namespace kw::trx::tools
