// SPDX-License-Identifier: Apache-2.0
#include "lint/dialect.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <vector>

#include "common/paths.h"
#include "common/text.h"
#include "lint/separators.h"

namespace kw::trx::tools {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kUTF8Mark = "\xef\xbb\xbf";

/// An encoding with several bytes for each letter.
struct WideEncoding {
  const char* name;
  std::string_view mark;
  std::string_view letter;  ///< a letter of ASCII: zeros are zeros, anything else is not
  bool is_little;
};

/// Those of four bytes first: the mark of one of two begins one of them.
constexpr WideEncoding kWideEncodings[] = {
    {"UTF-32 (little endian)", "\xff\xfe\0\0"sv, "a\0\0\0"sv, true},
    {"UTF-32 (big endian)", "\0\0\xfe\xff"sv, "\0\0\0a"sv, false},
    {"UTF-16 (little endian)", "\xff\xfe"sv, "a\0"sv, true},
    {"UTF-16 (big endian)", "\xfe\xff"sv, "\0a"sv, false}};

/// What begins a file of a kind that holds no text.
struct OtherKind {
  const char* message;
  std::string_view begin;
  std::string_view inside;  ///< what must stand in it too
};

constexpr OtherKind kOtherKinds[] = {
    {"is a spreadsheet file (xlsx)", "PK\x03\x04", "xl/"},
    {"is a spreadsheet file (ods)", "PK\x03\x04", "opendocument.spreadsheet"},
    {"is a spreadsheet file (xls)", "\xd0\xcf\x11\xe0", ""},
    {"is an archive (zip)", "PK\x03\x04", ""}};

bool startsWith(std::string_view text, std::string_view begin) {
  return text.substr(0, begin.size()) == begin;
}

/// True when the first two characters of `bytes` are letters of ASCII in `encoding`.
bool beginsIn(const WideEncoding& encoding, std::string_view bytes) {
  const std::size_t size = encoding.letter.size();
  if (bytes.size() < 2 * size) {
    return false;
  }
  for (std::size_t at = 0; at < 2 * size; ++at) {
    if ((bytes[at] == '\0') != (encoding.letter[at % size] == '\0')) {
      return false;
    }
  }
  return true;
}

const WideEncoding* wideEncodingOf(std::string_view bytes) {
  for (const WideEncoding& encoding : kWideEncodings) {
    if (startsWith(bytes, encoding.mark) || beginsIn(encoding, bytes)) {
      return &encoding;
    }
  }
  return nullptr;
}

void appendUTF8(std::string& text, std::uint32_t code) {
  const auto rest = [&](int shift) { text += static_cast<char>(0x80 | (code >> shift & 0x3f)); };
  if (code < 0x80) {
    text += static_cast<char>(code);
  } else if (code < 0x800) {
    text += static_cast<char>(0xc0 | code >> 6);
    rest(0);
  } else if (code < 0x10000) {
    text += static_cast<char>(0xe0 | code >> 12);
    rest(6);
    rest(0);
  } else {
    text += static_cast<char>(0xf0 | code >> 18);
    rest(12);
    rest(6);
    rest(0);
  }
}

/// `bytes` of `encoding`, mark and all, as UTF-8; none when they hold what is no character.
std::optional<std::string> decoded(const WideEncoding& encoding, std::string_view bytes) {
  const std::size_t size = encoding.letter.size();
  bytes.remove_prefix(startsWith(bytes, encoding.mark) ? size : 0);
  if (bytes.size() % size != 0) {
    return std::nullopt;
  }
  std::string text;
  std::uint32_t high = 0;  // the first half of a pair
  for (std::size_t at = 0; at < bytes.size(); at += size) {
    std::uint32_t code = 0;
    for (std::size_t i = 0; i < size; ++i) {
      const std::size_t place = encoding.is_little ? at + size - 1 - i : at + i;
      code = code << 8 | static_cast<unsigned char>(bytes[place]);
    }
    const bool is_high = code >= 0xd800 && code < 0xdc00;
    const bool is_low = code >= 0xdc00 && code < 0xe000;
    if (is_low != (high != 0) || code > 0x10ffff || (size == 4 && (is_high || is_low))) {
      return std::nullopt;
    }
    if (!is_high) {
      appendUTF8(text, is_low ? 0x10000 + ((high - 0xd800) << 10) + (code - 0xdc00) : code);
    }
    high = is_high ? code : 0;
  }
  return high == 0 ? std::optional<std::string>(text) : std::nullopt;
}

/// What a file is that holds no text; null when it may hold one.
const char* otherKindOf(const std::string& bytes) {
  const auto* const kind = std::find_if(
      std::begin(kOtherKinds), std::end(kOtherKinds), [&bytes](const OtherKind& known) {
        return startsWith(bytes, known.begin) && bytes.find(known.inside) != std::string::npos;
      });
  return kind == std::end(kOtherKinds) ? nullptr : kind->message;
}

}  // namespace

Dialect dialectOf(const std::string& bytes) {
  if (const char* const kind = otherKindOf(bytes); kind != nullptr) {
    return {std::string(kind) + "; save it as CSV with commas", std::nullopt, ""};
  }
  std::vector<std::string> odd;
  std::vector<std::string> steps;
  std::string text = bytes;
  if (const WideEncoding* const encoding = wideEncodingOf(bytes); encoding != nullptr) {
    odd.push_back(std::string("its text is ") + encoding->name + " instead of UTF-8");
    const std::optional<std::string> plain = decoded(*encoding, bytes);
    if (!plain) {
      return {odd[0] + ", and damaged", std::nullopt, ""};
    }
    text = *plain;
    steps.push_back(std::string(encoding->name) + " made UTF-8");
  } else if (startsWith(bytes, kUTF8Mark)) {
    text.erase(0, kUTF8Mark.size());
    steps.emplace_back("byte order mark taken away");
  }
  if (text.empty()) {
    return {"is empty", std::nullopt, ""};
  }
  if (const char separator = separatorOf(text); separator != ',') {
    const std::string name = separator == '\t' ? "tabs" : std::string("'") + separator + "'";
    odd.push_back("its cells are parted by " + name + " instead of commas");
    text = withCommas(text, separator);
    steps.push_back(name + " between cells made commas");
  }
  const std::string message =
      odd.empty() ? "" : listed(odd) + "; trxctl check --fix writes it as the engine reads it";
  return {message, text, listed(steps)};
}

Dialect dialectOfFile(const std::string& file) {
  std::error_code ignored;
  const std::string path = absolutePath(file);
  if (std::filesystem::is_directory(path, ignored)) {
    return {"is a directory", std::nullopt, ""};
  }
  if (!std::filesystem::is_regular_file(path, ignored)) {
    return {};
  }
  std::ifstream in(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  return in ? dialectOf(bytes) : Dialect();
}

}  // namespace kw::trx::tools
