// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>

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
    if (!read(paths_)) {
      return fail(problem + "; name the folder that holds kw/etc/kwpath.conf with --root");
    }
    engine_.path = paths_.values.getProperty(trx::kKeyTRXConf);
    const std::string path = kw::platform::resolvePath(engine_.path);
    print(trx::kKeyTRXConf, engine_.path, paths_, paths_.lineOf(trx::kKeyTRXConf));
    engine_.path = path;
    if (engine_.path.empty() || !read(engine_)) {
      return fail(problem + "; correct " + paths_.path);
    }
    printValues();
    warnOfKeys(paths_, {trx::kKeyTRXConf});
    warnOfKeys(engine_, kEngineKeys);
    warnOfValues();
    if (!problem.empty()) {
      return fail(problem + "; correct " + engine_.path);
    }
    return strict && has_warned_ ? kExitFindings : kExitOk;
  }

 private:
  static bool read(PropertiesFile& file) {
    try {
      file.values.load(file.path);
    } catch (const std::exception&) {
      return false;
    }
    findKeys(file);
    return true;
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
    const trx::TRXConfig& config = trx::TRXConfig::getInstance();
    const auto mode = [](bool stops) { return stops ? "stop" : trx::kWordContinue; };
    print(trx::kKeyHAPErrMode, mode(config.isHAPStopOnLoadError()));
    printFiles(trx::kKeyHAPNumber, trx::kPrefixHAPFile);
    print(trx::kKeyHAPNestLimit, std::to_string(config.getHAPNestLimit()));
    print(trx::kKeyExclusionControl, config.isExclusionControl() ? "on" : trx::kWordOff);
    print(trx::kKeyTableErrMode, mode(config.isTableStopOnLoadError()));
    printFiles(trx::kKeyTableNumber, trx::kPrefixTableFile);
    print(trx::kKeyTableNestLimit, std::to_string(config.getTableNestLimit()));
    print(trx::kKeyWaitHandler, config.isWaitInEngine() ? "engine" : trx::kWordRequester);
  }

  void printFiles(const char* number_key, const std::string& prefix) {
    const int count = engine_.values.getInt(number_key);
    if (engine_.values.exist(number_key)) {
      print(number_key, std::to_string(count));
    }
    unsigned int missing = 0;
    for (int i = 0; i < count && missing < kMissingMax; ++i) {
      const std::string key = prefix + std::to_string(i);
      if (!engine_.values.exist(key)) {
        warn(engine_, engine_.lineOf(number_key), key + " is missing");
        ++missing;
        continue;
      }
      const std::string value = engine_.values.getProperty(key);
      print(key, value, engine_, engine_.lineOf(key));
      std::error_code error;
      if (!std::filesystem::exists("/" + value, error)) {
        warn(engine_, engine_.lineOf(key), "the file " + value + " does not exist");
      }
    }
    for (const auto& [key, line] : engine_.keys) {
      if (indexOf(key, prefix) >= count) {
        warn(engine_, line, key + " is never read: " + number_key + " is " + std::to_string(count));
      }
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
    const std::size_t number = key.find_last_not_of("0123456789") + 1;
    if (&file == &engine_ && number < key.size()) {
      known.push_back(trx::kPrefixHAPFile + key.substr(number));
      known.push_back(trx::kPrefixTableFile + key.substr(number));
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
    for (const char* key : {trx::kKeyHAPNumber, trx::kKeyHAPNestLimit, trx::kKeyTableNumber,
                            trx::kKeyTableNestLimit}) {
      const std::string value = engine_.values.getProperty(key);
      if (engine_.values.exist(key) && value != std::to_string(engine_.values.getInt(key))) {
        warn(engine_, engine_.lineOf(key),
             "'" + value + "' is read as the number " + std::to_string(engine_.values.getInt(key)));
      }
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
