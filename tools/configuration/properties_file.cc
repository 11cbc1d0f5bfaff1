// SPDX-License-Identifier: Apache-2.0
#include "configuration/properties_file.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <system_error>

#include "common/text.h"

namespace kw::trx::tools {
namespace {

constexpr char kBlanks[] = " \t\f";

/// The character that `text` has at `at` behind a backslash, and moves `at` to its last byte. Of
/// characters written as \u0061 those of ASCII, of which the keys of the engine are.
char escapedAt(const std::string& text, std::size_t& at) {
  constexpr std::size_t digits = 4;
  const std::string controls = "t\tn\nr\rf\f";
  if (const std::string unit = text.substr(at + 1, digits);
      text[at] == 'u' && unit.size() == digits && unit.find('x') == std::string::npos) {
    const auto number = hexNumber(unit);
    const bool is_known = number && *number < 0x80;
    at += is_known ? digits : 0;
    return is_known ? static_cast<char>(*number) : 'u';
  }
  const std::size_t control = controls.find(text[at]);
  return control == std::string::npos || control % 2 == 1 ? text[at] : controls[control + 1];
}

/// The key that a line begins with.
std::string keyOf(const std::string& line) {
  std::string key;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '\\' && i + 1 < line.size()) {
      key += escapedAt(line, ++i);
    } else if (std::string("=: \t\f").find(line[i]) != std::string::npos) {
      break;
    } else {
      key += line[i];
    }
  }
  return key;
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
  std::string whole;  // a line with those that continue it
  bool continued = false;
  unsigned int line_number = 0, first = 0;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find_first_of("\r\n", begin), text.size());
    std::string line = text.substr(begin, end - begin);
    begin = end + (text.compare(end, 2, "\r\n") == 0 ? 2 : 1);
    ++line_number;
    if (line_number == 1 && line.compare(0, 3, "\xEF\xBB\xBF") == 0) {
      line.erase(0, 3);
    }
    line.erase(0, std::min(line.find_first_not_of(kBlanks), line.size()));
    if (!continued && !line.empty() && (line[0] == '#' || line[0] == '!')) {
      continue;
    }
    whole = continued ? whole : "";
    first = continued ? first : line_number;
    continued = isContinued(line);
    whole += continued ? line.substr(0, line.size() - 1) : line;
    const std::string key = keyOf(whole);
    if ((!continued || begin >= text.size()) && !whole.empty() && file.values.exist(key)) {
      file.keys.emplace_back(key, first);
      file.lines[key] = first;
    }
  }
}

}  // namespace

std::string PropertiesFile::read() {
  try {
    values.load(path);
  } catch (const std::system_error& error) {
    return error.code().message();
  } catch (const std::exception& exception) {  // of another platform library
    return exception.what();
  }
  findKeys(*this);
  return {};
}

unsigned int PropertiesFile::lineOf(const std::string& key) const {
  const auto line = lines.find(key);
  return line == lines.end() ? 0 : line->second;
}

bool endsWithBlank(const std::string& value) {
  return !value.empty() && value.find_last_of(" \t") == value.size() - 1;
}

int indexOf(const std::string& key, const std::string& prefix) {
  constexpr std::size_t digits_max = 9;
  const bool begins = key.compare(0, prefix.size(), prefix) == 0;
  const std::string digits = begins ? key.substr(prefix.size()) : "";
  const bool number = !digits.empty() && digits.size() <= digits_max &&
                      digits.find_first_not_of("0123456789") == std::string::npos;
  return number && std::to_string(std::stoi(digits)) == digits ? std::stoi(digits) : -1;
}

}  // namespace kw::trx::tools
