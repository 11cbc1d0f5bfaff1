// SPDX-License-Identifier: Apache-2.0
#include "trxctl/trace_catalogue.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <sstream>
#include <utility>
#include <vector>

#include "support/trace.h"

namespace kw::trx::trxctl {
namespace {

using trx::kLevelDebug;
using trx::kLevelDebug2;
using trx::kLevelError;
using trx::kLevelInfo;

struct Point {
  unsigned int id;
  const char* origin;
  const char* values;
  const char* sentence;
};

constexpr Point kPoints[] = {
#define ZQM_TRACE_POINT(class_name, operation, constant, id, level, values, sentence) \
  {id, #class_name "::" #operation, values, sentence},
#include "support/trace_catalogue.def"
};

const Point* find(unsigned int id) {
  const auto* found =
      std::lower_bound(std::begin(kPoints), std::end(kPoints), id,
                       [](const Point& point, unsigned int wanted) { return point.id < wanted; });
  return found != std::end(kPoints) && found->id == id ? found : nullptr;
}

std::string wordText(std::uint32_t word, char form) {
  std::ostringstream out;
  switch (form) {
    case 'x':
      out << "0x" << std::hex << word;
      break;
    case 'd':
      out << static_cast<std::int32_t>(word);
      break;
    default:
      out << word;
      break;
  }
  return out.str();
}

/// A text of a record without its NUL, with other control characters made visible.
std::string shown(const std::vector<unsigned char>& data) {
  std::string text;
  for (const unsigned char c : data) {
    if (c == '\0') {
      break;
    }
    const bool control = c < ' ' || c == 0x7f;
    text += control ? '?' : static_cast<char>(c);
  }
  return text;
}

using Values = std::vector<std::pair<std::string, std::string>>;

/// The named values of a record; false when its data is too short for them.
bool valuesOf(const Point& point, const std::vector<unsigned char>& data, Values& values) {
  std::istringstream names(point.values);
  std::size_t at = 0;
  for (std::string item; names >> item;) {
    const std::string name = item.substr(0, item.find(':'));
    const char form = item.back();
    if (form == 's') {
      values.emplace_back(name, shown(data));
      continue;
    }
    std::uint32_t word = 0;
    if (data.size() < at + sizeof(word)) {
      return false;
    }
    std::memcpy(&word, data.data() + at, sizeof(word));
    at += sizeof(word);
    values.emplace_back(name, wordText(word, form));
  }
  return true;
}

std::string filledIn(const std::string& sentence, const Values& values) {
  std::string text;
  std::size_t begin = 0;
  for (std::size_t open = sentence.find('{'); open != std::string::npos;
       open = sentence.find('{', begin)) {
    const std::size_t close = sentence.find('}', open);
    text.append(sentence, begin, open - begin);
    const std::string name = sentence.substr(open + 1, close - open - 1);
    for (const auto& value : values) {
      if (value.first == name) {
        text += value.second;
      }
    }
    begin = close + 1;
  }
  return text.append(sentence, begin, std::string::npos);
}

std::string rawText(const kw::platform::TraceRecord& record) {
  std::ostringstream out;
  out << "record 0x" << std::hex << record.id << ':';
  for (const unsigned char c : record.data) {
    out << ' ' << static_cast<unsigned int>(c);
  }
  return out.str();
}

}  // namespace

std::string levelName(unsigned int level) {
  switch (level) {
    case kLevelError:
      return "error";
    case kLevelInfo:
      return "info";
    case kLevelDebug:
      return "debug";
    case kLevelDebug2:
      return "debug2";
    default:
      return std::to_string(level);
  }
}

std::string describe(const kw::platform::TraceRecord& record) {
  const Point* point = find(record.id);
  Values values;
  if (point == nullptr || !valuesOf(*point, record.data, values)) {
    return rawText(record);
  }
  return filledIn(point->sentence, values);
}

std::string originOf(unsigned int id) {
  const Point* point = find(id);
  return point == nullptr ? std::string() : point->origin;
}

}  // namespace kw::trx::trxctl
