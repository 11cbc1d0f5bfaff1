// SPDX-License-Identifier: Apache-2.0
#include "traces/record_words.h"

#include <cstring>
#include <sstream>

#include "traces/catalogue.h"

namespace kw::trx::tools {
namespace {

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

std::string describe(const kw::platform::TraceRecord& record) {
  const Point* point = findPoint(record.id);
  const std::vector<Value> values = valuesOf(record);
  if (point == nullptr || (values.empty() && *point->values != '\0')) {
    return rawText(record);
  }
  return filledIn(point->sentence, values);
}

}  // namespace kw::trx::tools
