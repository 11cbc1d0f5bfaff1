// SPDX-License-Identifier: Apache-2.0
#include "trxctl/trace_catalogue.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <sstream>

#include "support/trace.h"

namespace kw::trx::trxctl {
namespace {

using trx::kLevelDebug;
using trx::kLevelDebug2;
using trx::kLevelError;
using trx::kLevelInfo;

constexpr Point kPoints[] = {
#define ZQM_TRACE_POINT(class_name, operation, constant, id, level, values, sentence) \
  {id, level, #class_name "::" #operation, values, sentence},
#include "support/trace_catalogue.def"
};

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

std::string filledIn(const std::string& sentence, const std::vector<Value>& values) {
  std::string text;
  std::size_t begin = 0;
  for (std::size_t open = sentence.find('{'); open != std::string::npos;
       open = sentence.find('{', begin)) {
    const std::size_t close = sentence.find('}', open);
    text.append(sentence, begin, open - begin);
    const std::string name = sentence.substr(open + 1, close - open - 1);
    for (const Value& value : values) {
      if (value.name == name) {
        text += value.text;
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

std::vector<Point> allPoints() { return {std::begin(kPoints), std::end(kPoints)}; }

const Point* findPoint(unsigned int id) {
  const auto* found =
      std::lower_bound(std::begin(kPoints), std::end(kPoints), id,
                       [](const Point& point, unsigned int wanted) { return point.id < wanted; });
  return found != std::end(kPoints) && found->id == id ? found : nullptr;
}

std::vector<Value> valuesOf(const kw::platform::TraceRecord& record) {
  const Point* point = findPoint(record.id);
  std::vector<Value> values;
  std::istringstream names(point == nullptr ? "" : point->values);
  std::size_t at = 0;
  for (std::string item; names >> item;) {
    const std::string name = item.substr(0, item.find(':'));
    const char form = item.back();
    if (form == 's') {
      values.push_back({name, textOf(record)});
      continue;
    }
    std::uint32_t word = 0;
    if (record.data.size() < at + sizeof(word)) {
      return {};
    }
    std::memcpy(&word, record.data.data() + at, sizeof(word));
    at += sizeof(word);
    values.push_back({name, wordText(word, form), word});
  }
  return values;
}

std::uint32_t wordOf(const kw::platform::TraceRecord& record, const std::string& name,
                     std::uint32_t otherwise) {
  for (const Value& value : valuesOf(record)) {
    if (value.name == name) {
      return value.word;
    }
  }
  return otherwise;
}

std::string textOf(const kw::platform::TraceRecord& record) {
  std::string text;
  for (const unsigned char c : record.data) {
    if (c == '\0') {
      break;
    }
    const bool control = c < ' ' || c == 0x7f;
    text += control ? '?' : static_cast<char>(c);
  }
  return text;
}

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
  const Point* point = findPoint(record.id);
  const std::vector<Value> values = valuesOf(record);
  if (point == nullptr || (values.empty() && *point->values != '\0')) {
    return rawText(record);
  }
  return filledIn(point->sentence, values);
}

std::string originOf(unsigned int id) {
  const Point* point = findPoint(id);
  return point == nullptr ? std::string() : point->origin;
}

}  // namespace kw::trx::trxctl
