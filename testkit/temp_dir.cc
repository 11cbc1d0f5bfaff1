// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/testing/temp_dir.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace kw::trx::testing {

namespace fs = std::filesystem;

TempDir::TempDir() {
  path_ = (fs::temp_directory_path() / "zqm_trx_test_XXXXXX").string();
  if (mkdtemp(path_.data()) == nullptr) {
    throw std::runtime_error("cannot make a folder like " + path_);
  }
}

TempDir::~TempDir() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string TempDir::write(const std::string& name, const std::string& content) const {
  const fs::path file = fs::path(path_) / name;
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << content;
  return file.string();
}

}  // namespace kw::trx::testing
