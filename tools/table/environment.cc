// SPDX-License-Identifier: Apache-2.0
#include "table/environment.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "common/paths.h"
#include "common/text.h"
#include "configuration/configuration.h"
#include "kw/trx/file_path.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

/// More missing names than anybody corrects by what was meant.
constexpr std::size_t kMaxMeant = 500;

/// Each missing name is compared with all that are there.
std::map<std::string, std::string> meantTables(const KnownTables& tables) {
  std::map<std::string, std::string> meant;
  const std::vector<std::string> names = tables.names();
  for (const auto& [name, flow] : tables.flows) {
    for (const FlowRow& row : flow.rows) {
      const bool is_missing = row.callsTable() && tables.flows.count(row.name) == 0 &&
                              tables.refused.count(row.name) == 0;
      if (is_missing && meant.size() < kMaxMeant && meant.count(row.name) == 0) {
        meant[row.name] = didYouMean(row.name, names);
      }
    }
  }
  return meant;
}

std::vector<std::string> filesIn(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code error;
  if (!fs::exists(path, error)) {
    throw std::runtime_error(path + ": " + std::strerror(ENOENT) + nearFileHint(path));
  }
  if (!fs::is_directory(path, error)) {
    return {path};
  }
  std::vector<std::string> files;
  for (fs::directory_iterator entry(path, error), end; !error && entry != end;
       entry.increment(error)) {
    trx::FilePath extension(entry->path().extension().string());
    extension.toLower();
    if (extension.value == ".csv") {
      files.push_back(entry->path().string());
    }
  }
  if (error) {
    throw std::runtime_error(path + ": " + error.message());
  }
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

std::vector<std::string> tableFilesOf(const std::vector<std::string>& paths) {
  std::vector<std::string> files;
  for (const std::string& path : paths) {
    const std::vector<std::string> found = filesIn(path);
    files.insert(files.end(), found.begin(), found.end());
  }
  return files;
}

KnownTables readTables(const std::vector<std::string>& files,
                       const std::vector<std::string>& configured) {
  KnownTables tables;
  const auto read = [&tables](const std::string& file) {
    TableFlow flow;
    if (readFlow(file, flow)) {
      tables.flows[flow.name] = std::move(flow);
    } else {
      tables.refused.insert(flow.name);
    }
  };
  for (const std::string& file : configured) {
    read(file);
  }
  for (const std::string& file : files) {
    read(file);
  }
  return tables;
}

std::vector<std::string> KnownTables::names() const {
  std::vector<std::string> all(refused.begin(), refused.end());
  for (const auto& table : flows) {
    all.push_back(table.first);
  }
  return all;
}

Environment environmentOf(const std::vector<std::string>& files) {
  Environment around;
  const Configured found = configured();
  around.tables = readTables(files, found.tables);
  around.meant_tables = meantTables(around.tables);
  around.endless = endlessTables(around.tables.flows);
  if (found.is_there) {
    around.haps = hapsOf(found.modules);
  }
  return around;
}

}  // namespace kw::trx::tools
