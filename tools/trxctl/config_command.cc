// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <system_error>

#include "config/config_keys.h"
#include "kw/platform.h"
#include "kw/trx/trx_config.h"
#include "kw/util/config/cpp_properties.h"
#include "trxctl/commands.h"
#include "trxctl/configuration.h"

namespace kw::trx::trxctl {
namespace {

constexpr char kBlanks[] = " \t\f";

/// More missing entries than anybody reads about.
constexpr unsigned int kMissingMax = 20;

const std::vector<std::string> kEngineKeys = {
    trx::kKeyHAPErrMode,   trx::kKeyHAPNumber,   trx::kKeyHAPNestLimit,   trx::kKeyExclusionControl,
    trx::kKeyTableErrMode, trx::kKeyTableNumber, trx::kKeyTableNestLimit, trx::kKeyWaitHandler};

/// One properties file: its values as the engine reads them, and the lines of its keys.
struct PropertiesFile {
  std::string path;
  kw::util::config::CppProperties values{false};
  std::vector<std::pair<std::string, unsigned int>> keys;  ///< in file order, lines from 1

  /// The line of the value that counts; 0 when the file has no such key.
  unsigned int lineOf(const std::string& key) const {
    unsigned int line = 0;
    for (const auto& entry : keys) {
      line = entry.first == key ? entry.second : line;
    }
    return line;
  }
};

/// The key that a line begins with.
std::string keyOf(const std::string& line) {
  std::string key;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '\\' && i + 1 < line.size()) {
      ++i;
    } else if (std::string("=: \t\f").find(line[i]) != std::string::npos) {
      break;
    }
    key += line[i];
  }
  return key;
}

bool endsWithBlank(const std::string& value) {
  return !value.empty() && value.find_last_of(" \t") == value.size() - 1;
}

/// True when a line is continued in the next one.
bool isContinued(const std::string& line) {
  const std::size_t last = line.find_last_not_of('\\');
  return (line.size() - (last == std::string::npos ? 0 : last + 1)) % 2 == 1;
}

/// Finds the keys of a file that the engine's own reader finds as well.
void findKeys(PropertiesFile& file) {
  std::ifstream in(file.path, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  bool continued = false;
  unsigned int line_number = 0;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find_first_of("\r\n", begin), text.size());
    std::string line = text.substr(begin, end - begin);
    begin = end + (text.compare(end, 2, "\r\n") == 0 ? 2 : 1);
    ++line_number;
    if (line_number == 1 && line.compare(0, 3, "\xEF\xBB\xBF") == 0) {
      line.erase(0, 3);
    }
    line.erase(0, std::min(line.find_first_not_of(kBlanks), line.size()));
    const bool comment = !line.empty() && (line[0] == '#' || line[0] == '!');
    const std::string key = keyOf(line);
    if (!continued && !comment && file.values.exist(key)) {
      file.keys.emplace_back(key, line_number);
    }
    continued = isContinued(line) && (continued || !comment);
  }
}

/// Prints the effective configuration and what is odd about it.
class ConfigPrinter {
 public:
  /// Returns the exit status.
  int run(bool strict) {
    const std::string problem = loadConfiguration();
    paths_.path = kw::platform::resolvePath(trx::kPathFile);
    if (!read(paths_).empty()) {
      return fail(problem + "; name the folder that holds kw/etc/kwpath.conf with --root");
    }
    const std::string path = paths_.values.getProperty(trx::kKeyTRXConf);
    if (paths_.values.exist(trx::kKeyTRXConf)) {
      print(trx::kKeyTRXConf, path, paths_, paths_.lineOf(trx::kKeyTRXConf));
    }
    warnOfKeys(paths_, {trx::kKeyTRXConf});
    if (path.empty()) {
      return fail(problem + "; correct " + paths_.path);
    }
    engine_.path = kw::platform::resolvePath(path);
    if (const std::string why = read(engine_); !why.empty()) {
      return fail("the engine configuration '" + engine_.path + "' cannot be read: " + why +
                  "; correct it or " + paths_.path);
    }
    printValues();
    warnOfKeys(engine_, kEngineKeys);
    warnOfValues();
    if (!problem.empty()) {
      return fail(problem + "; correct " + engine_.path);
    }
    return strict && has_warned_ ? kExitFindings : kExitOk;
  }

 private:
  /// Returns why the file cannot be read; empty when it can.
  static std::string read(PropertiesFile& file) {
    try {
      file.values.load(file.path);
    } catch (const std::system_error& error) {
      return error.code().message();
    } catch (const std::exception& exception) {  // of another platform library
      return exception.what();
    }
    findKeys(file);
    return {};
  }

  static void print(const std::string& key, const std::string& value, const PropertiesFile& file,
                    unsigned int line) {
    const std::string origin = line == 0 ? "default" : file.path + ":" + std::to_string(line);
    std::cout << key << " = " << value << "  " << paint(Colour::kGrey, "(" + origin + ")") << '\n';
  }

  void print(const char* key, const std::string& value) {
    print(key, value, engine_, engine_.lineOf(key));
  }

  void printValues() {
    printWord(trx::kKeyHAPErrMode, trx::kWordContinue, "stop", true);
    printFiles(trx::kKeyHAPNumber, trx::kPrefixHAPFile);
    printLimit(trx::kKeyHAPNestLimit);
    printWord(trx::kKeyExclusionControl, trx::kWordOff, "on", false);
    printWord(trx::kKeyTableErrMode, trx::kWordContinue, "stop", true);
    printFiles(trx::kKeyTableNumber, trx::kPrefixTableFile);
    printLimit(trx::kKeyTableNestLimit);
    printWord(trx::kKeyWaitHandler, trx::kWordRequester, "engine", true);
  }

  /// Prints what the engine makes of the value of `key`: `word` or `other`. It is asked for each
  /// key alone, because its load ends at the first fault.
  void printWord(const char* key, const char* word, const char* other, bool default_value) {
    bool is_other = default_value;
    trx::TRXConfig::getInstance().loadBooleanDefinition(engine_.values, key, is_other, word,
                                                        default_value);
    print(key, is_other ? other : word);
  }

  void printLimit(const char* key) { print(key, std::to_string(limitOf(key))); }

  unsigned int limitOf(const char* key) {
    unsigned int limit = 0;
    trx::TRXConfig::getInstance().loadNestExecLimit(engine_.values, key, limit);
    return limit;
  }

  void printFiles(const char* number_key, const std::string& prefix) {
    const int count = engine_.values.getInt(number_key);
    if (engine_.values.exist(number_key)) {
      print(number_key, std::to_string(count));
    }
    std::set<int> entries;
    for (const auto& [key, line] : engine_.keys) {
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
      warn(engine_, engine_.lineOf(number_key),
           std::to_string(count - shown) + " further entries are missing");
    }
    for (const auto& [key, line] : engine_.keys) {
      if (indexOf(key, prefix) >= std::max(count, 0)) {
        warn(engine_, line, key + " is never read: " + number_key + " is " + std::to_string(count));
      }
    }
  }

  void printFile(const std::string& key, const char* number_key) {
    if (!engine_.values.exist(key)) {
      warn(engine_, engine_.lineOf(number_key), key + " is missing");
      return;
    }
    const std::string value = engine_.values.getProperty(key);
    print(key, value, engine_, engine_.lineOf(key));
    std::error_code error;
    if (value.empty()) {
      warn(engine_, engine_.lineOf(key), key + " is empty");
    } else if (!std::filesystem::exists("/" + value, error)) {
      warn(engine_, engine_.lineOf(key), "the file " + value + " does not exist");
    } else if (!std::filesystem::is_regular_file("/" + value, error)) {
      warn(engine_, engine_.lineOf(key), value + " is no file");
    }
  }

  /// The number behind `prefix` in `key`; -1 when it is not such a key.
  static int indexOf(const std::string& key, const std::string& prefix) {
    constexpr std::size_t digits_max = 9;
    const bool begins = key.compare(0, prefix.size(), prefix) == 0;
    const std::string digits = begins ? key.substr(prefix.size()) : "";
    const bool number = !digits.empty() && digits.size() <= digits_max &&
                        digits.find_first_not_of("0123456789") == std::string::npos;
    return number && std::to_string(std::stoi(digits)) == digits ? std::stoi(digits) : -1;
  }

  void warnOfKeys(const PropertiesFile& file, std::vector<std::string> known) {
    const bool engine = &file == &engine_;
    for (const auto& [key, line] : file.keys) {
      const std::string value = file.values.getProperty(key);
      const bool counts = line == file.lineOf(key);
      const bool listed = engine && (indexOf(key, trx::kPrefixHAPFile) >= 0 ||
                                     indexOf(key, trx::kPrefixTableFile) >= 0);
      const bool is_known = listed || std::find(known.begin(), known.end(), key) != known.end();
      if (!counts) {
        warn(file, line, key + " is set again in line " + std::to_string(file.lineOf(key)));
      } else if (is_known && endsWithBlank(value)) {
        warn(file, line, "the value of " + key + " ends with a blank, which counts");
      } else if (!is_known && (engine || !nearestOf(key, known).empty())) {
        warnOfUnknown(file, line, key, known);
      }
    }
  }

  /// Other programs may have keys of their own in the path file, but not in the configuration.
  void warnOfUnknown(const PropertiesFile& file, unsigned int line, const std::string& key,
                     std::vector<std::string> known) {
    const std::string digits = key.substr(key.find_last_not_of("0123456789") + 1);
    const std::size_t zeros = digits.find_first_not_of('0');
    const std::string number = zeros == std::string::npos ? "0" : digits.substr(zeros);
    for (const char* prefix : {trx::kPrefixHAPFile, trx::kPrefixTableFile}) {
      if (&file == &engine_ && indexOf(prefix + number, prefix) >= 0) {
        known.push_back(prefix + number);
      }
    }
    const std::string near = nearestOf(key, known);
    warn(file, line, "unknown key " + key + (near.empty() ? "" : "; did you mean " + near + "?"));
  }

  void warnOfWord(const std::string& key, const std::string& word) {
    const std::string value = engine_.values.getProperty(key);
    if (value != word && !endsWithBlank(value) && nearestOf(value, {word}) == word) {
      warn(engine_, engine_.lineOf(key), "'" + value + "' is not the word '" + word + "'");
    }
  }

  /// Values that count as something else than they look like.
  void warnOfValues() {
    const std::map<std::string, std::string> words = {{trx::kKeyHAPErrMode, trx::kWordContinue},
                                                      {trx::kKeyTableErrMode, trx::kWordContinue},
                                                      {trx::kKeyExclusionControl, trx::kWordOff},
                                                      {trx::kKeyWaitHandler, trx::kWordRequester}};
    for (const auto& [key, word] : words) {
      warnOfWord(key, word);
    }
    for (const char* key : {trx::kKeyHAPNumber, trx::kKeyTableNumber}) {
      warnOfNumber(key, std::to_string(engine_.values.getInt(key)));
    }
    for (const char* key : {trx::kKeyHAPNestLimit, trx::kKeyTableNestLimit}) {
      warnOfNumber(key, std::to_string(limitOf(key)));
    }
  }

  void warnOfNumber(const char* key, const std::string& number) {
    const std::string value = engine_.values.getProperty(key);
    if (engine_.values.exist(key) && value != number) {
      warn(engine_, engine_.lineOf(key), "'" + value + "' is read as the number " + number);
    }
  }

  void warn(const PropertiesFile& file, unsigned int line, const std::string& words) {
    std::cout << file.path << ':' << line << ": " << paint(Colour::kYellow, "warning") << ": "
              << words << '\n';
    has_warned_ = true;
  }

  PropertiesFile paths_, engine_;
  bool has_warned_ = false;
};

}  // namespace

void addConfigCommand(CLI::App& app, int& status) {
  auto strict = std::make_shared<bool>(false);
  CLI::App* command = addCommand(
      app, "config", "Shows the effective configuration, and what is odd about it",
      "Each value stands with the file and line that set it, or with \"default\".\n"
      "Example: trxctl config --root /opt/board\n"
      "Exit status: 0 the engine accepts it; 1 there are warnings, with --strict; 2 it does not.");
  command->add_flag("--strict", *strict, "Let warnings change the exit status");
  command->callback([strict, &status] { status = ConfigPrinter().run(*strict); });
}

}  // namespace kw::trx::trxctl
