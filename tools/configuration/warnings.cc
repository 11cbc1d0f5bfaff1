// SPDX-License-Identifier: Apache-2.0
// What is odd about the keys and values of the configuration.
#include <algorithm>
#include <map>

#include "common/text.h"
#include "configuration/report_writer.h"
#include "zqm_trx/config_keys.h"

namespace kw::trx::tools {
namespace {

const std::vector<std::string> kEngineKeys = {
    trx::kKeyHAPErrMode,   trx::kKeyHAPNumber,   trx::kKeyHAPNestLimit,   trx::kKeyExclusionControl,
    trx::kKeyTableErrMode, trx::kKeyTableNumber, trx::kKeyTableNestLimit, trx::kKeyWaitHandler};

/// `known`, and the keys of list entries with the number that `key` ends with.
std::vector<std::string> withIndex(const std::string& key, std::vector<std::string> known) {
  const std::string digits = key.substr(key.find_last_not_of("0123456789") + 1);
  const std::size_t zeros = digits.find_first_not_of('0');
  const std::string number = zeros == std::string::npos ? "0" : digits.substr(zeros);
  for (const char* prefix : {trx::kPrefixHAPFile, trx::kPrefixTableFile}) {
    if (indexOf(prefix + number, prefix) >= 0) {
      known.push_back(prefix + number);
    }
  }
  return known;
}

void warnOfKeys(ReportWriter& writer, const PropertiesFile& file, bool engine,
                const std::vector<std::string>& known) {
  for (const auto& [key, line] : file.keys) {
    const std::string value = file.values.getProperty(key);
    const bool counts = line == file.lineOf(key);
    const bool listed = engine && (indexOf(key, trx::kPrefixHAPFile) >= 0 ||
                                   indexOf(key, trx::kPrefixTableFile) >= 0);
    const bool is_known = listed || std::find(known.begin(), known.end(), key) != known.end();
    if (!counts) {
      writer.warn(file, line, key + " is set again in line " + std::to_string(file.lineOf(key)));
    } else if (is_known && endsWithBlank(value)) {
      writer.warn(file, line, "the value of " + key + " ends with a blank, which counts");
    } else if (!is_known && (engine || !nearestOf(key, known).empty())) {
      writer.warn(file, line,
                  "unknown key " + key + didYouMean(key, engine ? withIndex(key, known) : known));
    }
  }
}

void warnOfWord(ReportWriter& writer, const PropertiesFile& file, const std::string& key,
                const std::string& word) {
  const std::string value = file.values.getProperty(key);
  if (value != word && !endsWithBlank(value) && nearestOf(value, {word}) == word) {
    writer.warn(file, file.lineOf(key), "'" + value + "' is not the word '" + word + "'");
  }
}

void warnOfNumber(ReportWriter& writer, const PropertiesFile& file, const char* key,
                  const std::string& number) {
  const std::string value = file.values.getProperty(key);
  if (file.values.exist(key) && value != number) {
    writer.warn(file, file.lineOf(key), "'" + value + "' is read as the number " + number);
  }
}

}  // namespace

void warnOfPathKeys(ReportWriter& writer, const PropertiesFile& file) {
  warnOfKeys(writer, file, false, {trx::kKeyTRXConf});
}

void warnOfEngineKeys(ReportWriter& writer, const PropertiesFile& file) {
  warnOfKeys(writer, file, true, kEngineKeys);
}

void warnOfValues(ReportWriter& writer, PropertiesFile& file) {
  const std::map<std::string, std::string> message = {{trx::kKeyHAPErrMode, trx::kWordContinue},
                                                      {trx::kKeyTableErrMode, trx::kWordContinue},
                                                      {trx::kKeyExclusionControl, trx::kWordOff},
                                                      {trx::kKeyWaitHandler, trx::kWordRequester}};
  for (const auto& [key, word] : message) {
    warnOfWord(writer, file, key, word);
  }
  for (const char* key : {trx::kKeyHAPNumber, trx::kKeyTableNumber}) {
    warnOfNumber(writer, file, key, std::to_string(file.values.getInt(key)));
  }
  for (const char* key : {trx::kKeyHAPNestLimit, trx::kKeyTableNestLimit}) {
    warnOfNumber(writer, file, key, std::to_string(limitOf(file, key)));
  }
}

}  // namespace kw::trx::tools
