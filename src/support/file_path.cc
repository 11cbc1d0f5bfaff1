// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/file_path.h"

#include <algorithm>
#include <cctype>

namespace kw::trx::trx {

FilePath::FilePath() = default;

FilePath::FilePath(const char* text) : value(text == nullptr ? "" : text) {}

FilePath::FilePath(const std::string& text) : value(text) {}

FilePath::FilePath(const FilePath& other) = default;

FilePath::~FilePath() = default;

const char* FilePath::operator=(const char* text) {
  if (text != nullptr) {
    value = text;
  }
  return text;
}

std::string& FilePath::operator=(const std::string& text) {
  value = text;
  return value;
}

FilePath& FilePath::operator=(const FilePath& other) = default;

void FilePath::erasePrefix(const std::string& prefix) {
  if (value.compare(0, prefix.size(), prefix) == 0) {
    value.erase(0, prefix.size());
  }
}

void FilePath::erasePrefix(const char* prefix) {
  if (prefix != nullptr) {
    erasePrefix(std::string(prefix));
  }
}

void FilePath::erasePath() {
  const std::string::size_type slash = value.rfind('/');
  if (slash != std::string::npos) {
    value.erase(0, slash + 1);
  }
}

std::string::size_type FilePath::findExtension() const {
  const std::string::size_type dot = value.rfind('.');
  if (dot == std::string::npos || dot == 0 || value[dot - 1] == '/') {
    return std::string::npos;
  }
  const std::string::size_type slash = value.rfind('/');
  const bool in_directory = slash != std::string::npos && dot < slash;
  return in_directory ? std::string::npos : dot;
}

void FilePath::eraseFileExtension() {
  const std::string::size_type dot = findExtension();
  if (dot != std::string::npos) {
    value.erase(dot);
  }
}

void FilePath::eraseNotExtension() {
  const std::string::size_type dot = findExtension();
  if (dot != std::string::npos && dot + 1 != value.size()) {
    value.erase(0, dot + 1);
  }
}

void FilePath::eraseSeparatorBackFirstOf(const char* separator) {
  if (separator != nullptr) {
    eraseSeparatorBackFirstOf(std::string(separator));
  }
}

void FilePath::eraseSeparatorBackFirstOf(const char& separator) {
  const char text[] = {separator, '\0'};
  eraseSeparatorBackFirstOf(std::string(text));
}

void FilePath::eraseSeparatorBackFirstOf(const std::string& separator) {
  const std::string::size_type found = value.find(separator);
  if (found != std::string::npos) {
    value.erase(found);
  }
}

void FilePath::toUpper() {
  for (char& c : value) {
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
}

void FilePath::toLower() {
  for (char& c : value) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
}

bool FilePath::isUsedValidChars(std::vector<std::pair<char, char> > ranges) const {
  return std::all_of(value.begin(), value.end(), [&ranges](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return std::any_of(ranges.begin(), ranges.end(), [byte](const std::pair<char, char>& range) {
      return static_cast<unsigned char>(range.first) <= byte &&
             byte <= static_cast<unsigned char>(range.second);
    });
  });
}

std::vector<std::string> FilePath::getSpecificStringSplitValue(const char& separator) const {
  std::vector<std::string> pieces;
  if (value.empty()) {
    return pieces;
  }
  std::string::size_type begin = 0;
  for (std::string::size_type end = value.find(separator); end != std::string::npos;
       end = value.find(separator, begin)) {
    pieces.push_back(value.substr(begin, end - begin));
    begin = end + 1;
  }
  pieces.push_back(value.substr(begin));
  return pieces;
}

}  // namespace kw::trx::trx
