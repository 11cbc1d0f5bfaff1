// SPDX-License-Identifier: Apache-2.0
#include "common/text.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <numeric>

namespace kw::trx::tools {
namespace {

constexpr std::size_t kLineWidth = 80;

constexpr int kHexBase = 16;
constexpr std::size_t kHexDigits = 8;

char lower(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

/// How many letters have to be changed, put in or left out to make `b` of `a`; letter case is free.
/// More than `most` is not counted on.
std::size_t distanceOf(const std::string& a, const std::string& b, std::size_t most) {
  if (std::max(a.size(), b.size()) - std::min(a.size(), b.size()) > most) {
    return most + 1;
  }
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t change = diagonal + (lower(a[i]) == lower(b[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({change, row[j] + 1, diagonal + 1});
    }
    if (*std::min_element(row.begin(), row.end()) > most) {
      return most + 1;
    }
  }
  return row.back();
}

}  // namespace

std::string hexDigits(unsigned long number) {
  char digits[2 * sizeof(number)];
  const auto written = std::to_chars(std::begin(digits), std::end(digits), number, kHexBase);
  return std::string(digits, written.ptr);
}

std::string hexText(unsigned long number) { return "0x" + hexDigits(number); }

std::optional<std::uint32_t> hexNumber(const std::string& text) {
  const std::size_t begin = text.rfind("0x", 0) == 0 ? 2 : 0;
  const char* const end = text.data() + text.size();
  std::uint32_t number = 0;
  const auto read = std::from_chars(text.data() + begin, end, number, kHexBase);
  const bool whole = read.ec == std::errc() && read.ptr == end && text.size() - begin <= kHexDigits;
  return whole ? std::optional<std::uint32_t>(number) : std::nullopt;
}

std::optional<std::uint32_t> decimalNumber(const std::string& text) {
  const char* const end = text.data() + text.size();
  std::uint32_t number = 0;
  const auto read = std::from_chars(text.data(), end, number);
  const bool whole = read.ec == std::errc() && read.ptr == end;
  return whole ? std::optional<std::uint32_t>(number) : std::nullopt;
}

std::optional<std::uint32_t> wordNumber(const std::string& text) {
  if (text.rfind("0x", 0) == 0) {
    return hexNumber(text);
  }
  const bool is_clear = text.size() == 1 || text[0] != '0';
  return is_clear ? decimalNumber(text) : std::nullopt;
}

std::string nearestOf(const std::string& word, const std::vector<std::string>& known) {
  std::string nearest;
  std::size_t least = word.size() / 3 + 1;
  for (const std::string& candidate : known) {
    const std::size_t distance = distanceOf(word, candidate, least);
    const bool shares = distance < std::min(word.size(), candidate.size());
    if (shares && distance <= least && (nearest.empty() || distance < least)) {
      nearest = candidate;
      least = distance;
    }
  }
  return nearest;
}

std::string didYouMean(const std::string& word, const std::vector<std::string>& known) {
  const std::string near = nearestOf(word, known);
  return near.empty() ? std::string() : "; did you mean " + near + "?";
}

bool isNearly(const std::string& text, const std::string& word) {
  const std::size_t begin = std::min(text.find_first_not_of(" \t"), text.size());
  const std::string inner = text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
  return std::equal(inner.begin(), inner.end(), word.begin(), word.end(),
                    [](char a, char b) { return lower(a) == lower(b); });
}

std::vector<std::string> partsOf(const std::string& text, char separator) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == separator) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

std::string listed(std::vector<std::string> names, std::size_t max, const std::string& last) {
  if (names.size() > max) {
    const std::size_t left = names.size() - max;
    names.resize(max);
    names.push_back(std::to_string(left) + " more");
  }
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == names.size() ? last : ", ") + names[i];
  }
  return text;
}

std::string wrapped(const std::string& text, std::size_t first, std::size_t indent) {
  std::string lines;
  std::size_t column = first;
  bool starts_line = true;
  for (const std::string& word : partsOf(text, ' ')) {
    if (!starts_line && column + 1 + word.size() > kLineWidth) {
      lines.append("\n").append(indent, ' ');
      column = indent;
      starts_line = true;
    }
    lines.append(starts_line ? "" : " ").append(word);
    column += word.size() + (starts_line ? 0 : 1);
    starts_line = false;
  }
  return lines;
}

}  // namespace kw::trx::tools
