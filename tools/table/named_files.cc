// SPDX-License-Identifier: Apache-2.0
#include "table/named_files.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "common/paths.h"
#include "common/text.h"
#include "configuration/configuration.h"
#include "table/finding.h"
#include "table/flow.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

namespace fs = std::filesystem;

/// The configured tables by name, read when they are first asked for.
class ConfiguredFiles {
 public:
  /// The file of the table `name`; empty when there is no such table.
  std::string fileOf(const std::string& name) {
    read();
    const auto found = by_name_.find(name);
    return found == by_name_.end() ? std::string() : found->second;
  }

  /// Why `word` stands for no table.
  std::string problemOf(const std::string& word) {
    read();
    const std::string missing = "there is no file '" + word + "'";
    const std::string near_file = nearFileHint(word);
    if (!configured_.is_there) {
      return missing + (near_file.empty() ? "; for the name of a table, give the system root of "
                                            "the host with --root"
                                          : near_file);
    }
    std::vector<std::string> names;
    for (const auto& [name, file] : by_name_) {
      names.push_back(name);
    }
    return missing + ", and no table of the configuration has that name" +
           (near_file.empty() ? tableHint(word, names) : near_file);
  }

 private:
  void read() {
    if (!is_read_) {
      is_read_ = true;
      configured_ = configured();
      for (const std::string& file : configured_.tables) {
        by_name_[tableNameOf(file)] = file;  // of one name, the later one
      }
    }
  }

  Configured configured_;
  std::map<std::string, std::string> by_name_;
  bool is_read_ = false;
};

/// The file that `word` stands for; empty when it stands for none.
std::string fileFor(const std::string& word, ConfiguredFiles& configured) {
  std::error_code error;
  const fs::file_type type = fs::status(word, error).type();
  if (type != fs::file_type::not_found && type != fs::file_type::directory) {
    return word;
  }
  const std::string file = configured.fileOf(word);
  return file.empty() && type == fs::file_type::directory ? word : file;
}

}  // namespace

std::vector<std::string> namedFiles(const std::vector<std::string>& words) {
  ConfiguredFiles configured;
  std::vector<std::string> files;
  for (const std::string& word : words) {
    files.push_back(fileFor(word, configured));
    if (files.back().empty()) {
      throw std::runtime_error(configured.problemOf(word));
    }
  }
  return files;
}

std::vector<std::string> namedFilesOrWords(const std::vector<std::string>& words) {
  ConfiguredFiles configured;
  std::vector<std::string> files;
  for (const std::string& word : words) {
    const std::string file = fileFor(word, configured);
    const bool is_file_name = word.empty() || fs::path(word).has_extension();
    if (file.empty() && !is_file_name) {
      throw std::runtime_error(configured.problemOf(word));
    }
    files.push_back(file.empty() ? word : file);
  }
  return files;
}

void addCalledTables(std::vector<std::string>& files) {
  ConfiguredFiles configured;
  std::set<std::string> known;
  for (const std::string& file : files) {
    known.insert(tableNameOf(file));
  }
  for (std::size_t i = 0; i < files.size(); ++i) {
    TableFlow flow;
    if (!readFlow(files[i], flow)) {
      continue;  // it is for the command to tell
    }
    for (const std::string& name : flow.called()) {
      const std::string file = known.insert(name).second ? configured.fileOf(name) : "";
      if (!file.empty()) {
        files.push_back(file);
      }
    }
  }
}

std::string tableHint(const std::string& name, const std::vector<std::string>& known) {
  const std::string plain = tableNameOf(name);
  const bool is_file = plain != name && std::count(known.begin(), known.end(), plain) != 0;
  return is_file ? "; name it " + plain : didYouMean(plain, known);
}

}  // namespace kw::trx::tools
