// SPDX-License-Identifier: Apache-2.0
#include "configuration/board_copy.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "configuration/properties_file.h"
#include "kw/platform.h"
#include "zqm_trx/config_keys.h"

namespace kw::trx::tools {
namespace {

namespace fs = std::filesystem;

std::string contentOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// `value` as a properties file writes it.
std::string written(const std::string& value) {
  std::string text;
  for (const char c : value) {
    text.append(c == '\\' ? "\\" : "").append(1, c);
  }
  return text;
}

bool isFileKey(const std::string& key) {
  return indexOf(key, trx::kPrefixHAPFile) >= 0 || indexOf(key, trx::kPrefixTableFile) >= 0;
}

/// Lines that let the files of `configuration` be those below the system root. Of a key that stands
/// twice the last value counts, so that they can stand behind all others.
std::string changesOf(PropertiesFile& configuration) {
  std::string changes;
  for (const auto& [key, line] : configuration.keys) {
    const std::string value = isFileKey(key) ? configuration.values.getProperty(key) : "";
    if (const std::string file = boardFile(value); file != value) {
      changes += key + '=' + written(file) + '\n';
    }
  }
  return changes;
}

}  // namespace

std::string boardFile(const std::string& path) {
  const std::string root = kw::platform::getSystemRoot();
  if (root.empty() || path.empty()) {
    return path;
  }
  const std::string below = root + (path[0] == '/' ? "" : "/") + path;
  std::error_code error;
  return fs::exists(below, error) ? below : path;
}

BoardCopy::BoardCopy() : root_(kw::platform::getSystemRoot()) {
  PropertiesFile paths;
  paths.path = kw::platform::resolvePath(trx::kPathFile);
  if (root_.empty() || !paths.read().empty() || !paths.values.exist(trx::kKeyTRXConf)) {
    return;  // the engine says what is wrong
  }
  const std::string path = paths.values.getProperty(trx::kKeyTRXConf);
  PropertiesFile configuration;
  configuration.path = boardFile(path);
  if (!configuration.read().empty()) {
    return;
  }
  const std::string changes = changesOf(configuration);
  if (changes.empty() && configuration.path == path) {
    return;
  }
  copy_ = std::make_unique<TempFolder>();
  const std::string changed = copy_->path() + "/trx.conf";
  copy_->write("trx.conf", contentOf(configuration.path) + "\n\n" + changes);
  copy_->write(std::string(trx::kPathFile).substr(1),
               std::string(trx::kKeyTRXConf) + '=' + written(changed) + '\n');
  kw::platform::setSystemRoot(copy_->path());
}

BoardCopy::~BoardCopy() { kw::platform::setSystemRoot(root_); }

}  // namespace kw::trx::tools
