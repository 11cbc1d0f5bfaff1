// SPDX-License-Identifier: Apache-2.0
// The values of the configuration as the engine reads them.
#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>

#include "configuration/board_copy.h"
#include "configuration/report_writer.h"
#include "kw/trx/trx_config.h"
#include "zqm_trx/config_keys.h"

namespace kw::trx::tools {
namespace {

/// More missing entries than anybody reads about.
constexpr unsigned int kMissingMax = 20;

class ValueWriter {
 public:
  ValueWriter(ReportWriter& writer, PropertiesFile& file) : writer_(writer), file_(file) {}

  void run() {
    printWord(trx::kKeyHAPErrMode, trx::kWordContinue, "stop", true);
    printFiles(trx::kKeyHAPNumber, trx::kPrefixHAPFile);
    printLimit(trx::kKeyHAPNestLimit);
    printWord(trx::kKeyExclusionControl, trx::kWordOff, "on", false);
    printWord(trx::kKeyTableErrMode, trx::kWordContinue, "stop", true);
    printFiles(trx::kKeyTableNumber, trx::kPrefixTableFile);
    printLimit(trx::kKeyTableNestLimit);
    printWord(trx::kKeyWaitHandler, trx::kWordRequester, "engine", true);
  }

 private:
  void print(const char* key, const std::string& value) {
    writer_.value(key, value, file_, file_.lineOf(key));
  }

  /// Prints what the engine makes of the value of `key`: `word` or `other`. It is asked for each
  /// key alone, because its load ends at the first fault.
  void printWord(const char* key, const char* word, const char* other, bool default_value) {
    bool is_other = default_value;
    trx::TRXConfig::getInstance().loadBooleanDefinition(file_.values, key, is_other, word,
                                                        default_value);
    print(key, is_other ? other : word);
  }

  void printLimit(const char* key) { print(key, std::to_string(limitOf(file_, key))); }

  void printFiles(const char* number_key, const std::string& prefix) {
    const int count = file_.values.getInt(number_key);
    if (file_.values.exist(number_key)) {
      print(number_key, std::to_string(count));
    }
    std::set<int> entries;
    for (const auto& [key, line] : file_.keys) {
      if (const int index = indexOf(key, prefix); index >= 0 && index < count) {
        entries.insert(index);
      }
    }
    unsigned int missing = 0;
    for (int i = 0; i < count && missing < kMissingMax; ++i) {
      missing += entries.insert(i).second ? 1 : 0;
    }
    for (const int index : entries) {
      printFile(prefix + std::to_string(index), number_key);
    }
    if (const int shown = static_cast<int>(entries.size()); shown < count) {
      writer_.warn(file_, file_.lineOf(number_key),
                   std::to_string(count - shown) + " further entries are missing");
    }
    for (const auto& [key, line] : file_.keys) {
      if (indexOf(key, prefix) >= std::max(count, 0)) {
        writer_.warn(file_, line,
                     file_.values.exist(number_key)
                         ? key + " is never read: " + number_key + " is " + std::to_string(count)
                         : key + " does not count without the key " + number_key);
      }
    }
  }

  void printFile(const std::string& key, const char* number_key) {
    if (!file_.values.exist(key)) {
      writer_.warn(file_, file_.lineOf(number_key), key + " is missing");
      return;
    }
    const std::string value = file_.values.getProperty(key);
    const std::string found = boardFile(value);
    writer_.value(key, value, file_, file_.lineOf(key), found == value ? "" : found);
    std::error_code error;
    if (value.empty()) {
      writer_.warn(file_, file_.lineOf(key), key + " is empty");
    } else if (!std::filesystem::exists("/" + found, error)) {
      writer_.warn(file_, file_.lineOf(key), "the file " + value + " does not exist");
    } else if (!std::filesystem::is_regular_file("/" + found, error)) {
      writer_.warn(file_, file_.lineOf(key), value + " is no file");
    }
  }

  ReportWriter& writer_;
  PropertiesFile& file_;
};

}  // namespace

unsigned int limitOf(PropertiesFile& file, const char* key) {
  unsigned int limit = 0;
  trx::TRXConfig::getInstance().loadNestExecLimit(file.values, key, limit);
  return limit;
}

void writeValues(ReportWriter& writer, PropertiesFile& file) { ValueWriter(writer, file).run(); }

}  // namespace kw::trx::tools
