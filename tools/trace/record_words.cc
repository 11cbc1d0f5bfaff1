// SPDX-License-Identifier: Apache-2.0
#include "trace/record_words.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>
#include <sstream>

#include "common/characters.h"
#include "trace/catalogue.h"
#include "trace/event.h"

namespace kw::trx::tools {
namespace {

constexpr int kHexBase = 16;

/// The values that an event has a member for.
struct Slot {
  const char* name;
  std::uint32_t Event::*member;
};
constexpr Slot kSlots[] = {{"request", &Event::request},
                           {"number", &Event::number},
                           {"code", &Event::code},
                           {"size", &Event::size},
                           {"time", &Event::time_ms}};

std::vector<ValueForm> formsOf(const char* values) {
  std::vector<ValueForm> forms;
  std::istringstream items(values);
  for (std::string item; items >> item;) {
    forms.push_back({item.substr(0, item.find(':')), item.back()});
  }
  return forms;
}

std::vector<Line::Piece> piecesOf(const std::string& sentence,
                                  const std::vector<ValueForm>& forms) {
  std::vector<Line::Piece> pieces;
  std::size_t begin = 0;
  for (std::size_t open = sentence.find('{'); open != std::string::npos;
       open = sentence.find('{', begin)) {
    const std::size_t close = sentence.find('}', open);
    const std::string name = sentence.substr(open + 1, close - open - 1);
    const auto form = std::find_if(forms.begin(), forms.end(),
                                   [&name](const ValueForm& known) { return known.name == name; });
    pieces.push_back({sentence.substr(begin, open - begin),
                      form == forms.end() ? Line::Piece::kNoValue
                                          : static_cast<std::size_t>(form - forms.begin())});
    begin = close + 1;
  }
  pieces.push_back({sentence.substr(begin)});
  return pieces;
}

Line lineOf(const Point& point) {
  Line line{&point, formsOf(point.values), {}, {}, false, 0};
  line.sentence = piecesOf(point.sentence, line.forms);
  line.is_text = !line.forms.empty() && line.forms[0].isText();
  line.bytes = line.is_text ? 0 : line.forms.size() * sizeof(std::uint32_t);
  for (std::size_t number = 0; number < line.forms.size(); ++number) {
    for (const Slot& slot : kSlots) {
      if (line.forms[number].name == slot.name) {
        line.event_words.push_back({number, slot.member});
      }
    }
  }
  return line;
}

/// The lines by a hash of their ids: each record asks for its own.
class Lines {
 public:
  Lines() : places_(kPlaces, nullptr) {
    std::transform(allPoints().begin(), allPoints().end(), std::back_inserter(all_), lineOf);
    for (const Line& line : all_) {
      std::size_t place = placeOf(line.point->id);
      while (places_[place] != nullptr) {
        place = (place + 1) % kPlaces;
      }
      places_[place] = &line;
    }
  }

  const Line* find(std::uint32_t id) const {
    std::size_t place = placeOf(id);
    while (places_[place] != nullptr && places_[place]->point->id != id) {
      place = (place + 1) % kPlaces;
    }
    return places_[place];
  }

 private:
  static constexpr std::size_t kPlaces = 1024;  // a few times as many as there are ids

  /// Class, operation and event of an id.
  static std::size_t placeOf(std::uint32_t id) { return (id ^ (id >> 9) ^ (id >> 19)) % kPlaces; }

  std::vector<Line> all_;
  std::vector<const Line*> places_;
};

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
  const char* const end = bytes + (record.data.empty() ? 0 : strnlen(bytes, record.data.size()));
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

const Line* findLine(const kw::platform::TraceRecord& record) {
  static const Lines lines;
  return isOfEngine(record) ? lines.find(record.id) : nullptr;
}

std::uint32_t wordAt(const kw::platform::TraceRecord& record, std::size_t number) {
  std::uint32_t word = 0;
  std::memcpy(&word, record.data.data() + number * sizeof(word), sizeof(word));
  return word;
}

std::vector<Value> valuesOf(const kw::platform::TraceRecord& record) {
  const Line* const line = findLine(record);
  std::vector<Value> values;
  if (line == nullptr || !line->fits(record)) {
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
  for (const Value& value : valuesOf(record)) {
    if (value.name == name) {
      return value.word;
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
  if (line == nullptr || !line->fits(record)) {
    return appendRaw(record, text);
  }
  for (const Line::Piece& piece : line->sentence) {
    text += piece.text;
    if (piece.value != Line::Piece::kNoValue) {
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
