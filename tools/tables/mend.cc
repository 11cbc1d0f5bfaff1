// SPDX-License-Identifier: Apache-2.0
#include "tables/mend.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tables/dialect.h"

namespace kw::trx::tools {
namespace {

namespace fs = std::filesystem;

/// Writes `text` with the rights of `model` into a new file beside `target`, which takes its name
/// when it is whole. Returns what failed; empty when nothing did.
std::string writeWhole(const fs::path& target, const std::string& text, const fs::path& model) {
  const fs::path part = target.string() + "." + std::to_string(getpid()) + ".part";
  std::ofstream out(part, std::ios::binary);
  out << text;
  out.close();
  std::error_code error;
  if (out.fail()) {
    error.assign(errno, std::generic_category());
  } else {
    fs::permissions(part, fs::status(model).permissions(), error);
    if (!error) {
      fs::rename(part, target, error);
    }
  }
  if (!error) {
    return {};
  }
  std::error_code ignored;
  fs::remove(part, ignored);
  return target.string() + ": " + error.message();
}

}  // namespace

MendedFile mendFile(const std::string& file, bool in_place) {
  const Dialect dialect = dialectOfFile(file);
  MendedFile mended{file, dialect.steps, ""};
  if (dialect.steps.empty()) {
    return mended;
  }
  std::error_code error;
  if (in_place) {
    mended.problem = writeWhole(fs::canonical(file), *dialect.text, file);
    return mended;
  }
  const fs::path folder = fs::path(file).parent_path() / kMendedFolder;
  const fs::path target = folder / fs::path(file).filename();
  mended.file = target.string();
  fs::create_directory(folder, error);
  if (error) {
    mended.problem = folder.string() + ": " + error.message();
  } else if (fs::exists(target, error)) {
    mended.problem = mended.file + " is there already; move it away, or add --in-place";
  } else {
    mended.problem = writeWhole(target, *dialect.text, file);
  }
  return mended;
}

}  // namespace kw::trx::tools
