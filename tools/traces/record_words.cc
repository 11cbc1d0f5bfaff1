// SPDX-License-Identifier: Apache-2.0
#include "traces/record_words.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>
#include <sstream>

#include "common/characters.h"
#include "traces/catalogue.h"
#include "traces/event.h"

namespace kw::trx::tools {
namespace {

constexpr int kHexBase = 16;

/// A part of a sentence: text, and behind it the value with this number.
struct Piece {
  static constexpr std::size_t kNoValue = static_cast<std::size_t>(-1);

  std::string text;
  std::size_t value = kNoValue;
};

/// A line of the catalogue, cut up once for all records.
struct Line {
  unsigned int id;
  std::vector<ValueForm> forms;
  std::vector<Piece> sentence;
};

std::vector<Piece> piecesOf(const std::string& sentence, const std::vector<ValueForm>& forms) {
  std::vector<Piece> pieces;
  std::size_t begin = 0;
  for (std::size_t open = sentence.find('{'); open != std::string::npos;
       open = sentence.find('{', begin)) {
    const std::size_t close = sentence.find('}', open);
    const std::string name = sentence.substr(open + 1, close - open - 1);
    const auto form = std::find_if(forms.begin(), forms.end(),
                                   [&name](const ValueForm& known) { return known.name == name; });
    pieces.push_back(
        {sentence.substr(begin, open - begin),
         form == forms.end() ? Piece::kNoValue : static_cast<std::size_t>(form - forms.begin())});
    begin = close + 1;
  }
  pieces.push_back({sentence.substr(begin)});
  return pieces;
}

std::vector<Line> allLines() {
  std::vector<Line> lines;
  for (const Point& point : allPoints()) {
    std::vector<ValueForm> forms = formsOf(point.values);
    std::vector<Piece> pieces = piecesOf(point.sentence, forms);
    lines.push_back({point.id, std::move(forms), std::move(pieces)});
  }
  return lines;
}

const Line* findLine(unsigned int id) {
  static const std::vector<Line> lines = allLines();
  const auto found =
      std::lower_bound(lines.begin(), lines.end(), id,
                       [](const Line& line, unsigned int wanted) { return line.id < wanted; });
  return found != lines.end() && found->id == id ? &*found : nullptr;
}

/// Null for a record that the engine did not write.
const Line* findLine(const kw::platform::TraceRecord& record) {
  return isOfEngine(record) ? findLine(record.id) : nullptr;
}

/// The word with this number; the data must be long enough.
std::uint32_t wordAt(const kw::platform::TraceRecord& record, std::size_t number) {
  std::uint32_t word = 0;
  std::memcpy(&word, record.data.data() + number * sizeof(word), sizeof(word));
  return word;
}

/// True when the data is long enough for all words that the line names.
bool fits(const Line& line, const kw::platform::TraceRecord& record) {
  return (!line.forms.empty() && line.forms[0].isText()) ||
         record.data.size() >= line.forms.size() * sizeof(std::uint32_t);
}

template <typename Number>
void appendNumber(Number number, int base, std::string& text) {
  char digits[16];
  const auto written = std::to_chars(std::begin(digits), std::end(digits), number, base);
  text.append(digits, written.ptr);
}

void appendWord(std::uint32_t word, char form, std::string& text) {
  switch (form) {
    case 'x':
      text += "0x";
      return appendNumber(word, kHexBase, text);
    case 'd':
      return appendNumber(static_cast<std::int32_t>(word), 10, text);
    default:
      return appendNumber(word, 10, text);
  }
}

/// Texts without anything to escape, which are nearly all, are copied.
void appendText(const kw::platform::TraceRecord& record, std::string& text) {
  const auto* const bytes = reinterpret_cast<const char*>(record.data.data());
  const auto* const end = std::find(bytes, bytes + record.data.size(), '\0');
  if (std::all_of(bytes, end, [](char c) { return c >= ' ' && c <= '~'; })) {
    text.append(bytes, end);
  } else {
    text += visible(std::string(bytes, end));
  }
}

void appendValue(const Line& line, std::size_t number, const kw::platform::TraceRecord& record,
                 std::string& text) {
  const char form = line.forms[number].form;
  if (line.forms[number].isText()) {
    appendText(record, text);
  } else {
    appendWord(wordAt(record, number), form, text);
  }
}

void appendRaw(const kw::platform::TraceRecord& record, std::string& text) {
  text += "record 0x";
  appendNumber(record.id, kHexBase, text);
  text += ':';
  for (const unsigned char c : record.data) {
    text += ' ';
    appendNumber(static_cast<unsigned int>(c), kHexBase, text);
  }
}

}  // namespace

std::vector<ValueForm> formsOf(const char* values) {
  std::vector<ValueForm> forms;
  std::istringstream items(values);
  for (std::string item; items >> item;) {
    forms.push_back({item.substr(0, item.find(':')), item.back()});
  }
  return forms;
}

std::vector<Value> valuesOf(const kw::platform::TraceRecord& record) {
  const Line* const line = findLine(record);
  std::vector<Value> values;
  if (line == nullptr || !fits(*line, record)) {
    return values;
  }
  for (std::size_t i = 0; i < line->forms.size(); ++i) {
    const bool is_text = line->forms[i].isText();
    values.push_back({line->forms[i].name, {}, is_text ? 0 : wordAt(record, i)});
    appendValue(*line, i, record, values.back().text);
  }
  return values;
}

std::uint32_t wordOf(const kw::platform::TraceRecord& record, const char* name,
                     std::uint32_t otherwise) {
  const Line* const line = findLine(record);
  if (line != nullptr && fits(*line, record)) {
    for (std::size_t i = 0; i < line->forms.size(); ++i) {
      if (line->forms[i].name == name) {
        return line->forms[i].isText() ? 0 : wordAt(record, i);
      }
    }
  }
  return otherwise;
}

std::string textOf(const kw::platform::TraceRecord& record) {
  std::string text;
  appendText(record, text);
  return text;
}

void appendDescription(const kw::platform::TraceRecord& record, std::string& text) {
  const Line* const line = findLine(record);
  if (line == nullptr || !fits(*line, record)) {
    return appendRaw(record, text);
  }
  for (const Piece& piece : line->sentence) {
    text += piece.text;
    if (piece.value != Piece::kNoValue) {
      appendValue(*line, piece.value, record, text);
    }
  }
}

std::string describe(const kw::platform::TraceRecord& record) {
  std::string text;
  appendDescription(record, text);
  return text;
}

}  // namespace kw::trx::tools
