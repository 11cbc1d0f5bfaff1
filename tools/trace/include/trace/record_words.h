// SPDX-License-Identifier: Apache-2.0
// Trace records in words, by the engine's own catalogue.
#ifndef KW_TRX_TOOLS_TRACE_RECORD_WORDS_H_
#define KW_TRX_TOOLS_TRACE_RECORD_WORDS_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kw/platform.h"

namespace kw::trx::tools {

struct Event;
struct Point;

/// The name of a value of a record, and how the catalogue shows it.
struct ValueForm {
  std::string name;
  char form;

  bool isText() const { return form == 's'; }
};

/// A line of the catalogue, cut up once for all records.
struct Line {
  /// A part of the sentence: text, and behind it the value with this number.
  struct Piece {
    static constexpr std::size_t kNoValue = static_cast<std::size_t>(-1);

    std::string text;
    std::size_t value = kNoValue;
  };
  /// A value that an event has a member for.
  struct Word {
    std::size_t number;
    std::uint32_t Event::*member;
  };

  const Point* point;
  std::vector<ValueForm> forms;
  std::vector<Piece> sentence;
  std::vector<Word> event_words;
  bool is_text = false;
  std::size_t bytes = 0;  ///< that the named words take

  /// True when the data is long enough for all words that the line names.
  bool fits(const kw::platform::TraceRecord& record) const { return record.data.size() >= bytes; }
};

/// The line of `record`; null for one that the engine did not write.
const Line* findLine(const kw::platform::TraceRecord& record);

/// The word with this number; the data must be long enough.
std::uint32_t wordAt(const kw::platform::TraceRecord& record, std::size_t number);

/// One value of a record: a word, or the text of the record.
struct Value {
  std::string name;
  std::string text;        ///< the value as the catalogue shows it
  std::uint32_t word = 0;  ///< 0 for a text
};

/// The values of `record` that the catalogue names; none when its data is too short for them.
std::vector<Value> valuesOf(const kw::platform::TraceRecord& record);

/// The word called `name` in `record`, or `otherwise`.
std::uint32_t wordOf(const kw::platform::TraceRecord& record, const char* name,
                     std::uint32_t otherwise);

/// The text of a text record, escaped as `visible` does.
std::string textOf(const kw::platform::TraceRecord& record);

/// Appends the sentence of the catalogue for `record`, with its values filled in. A record that the
/// catalogue does not know, or whose data does not fit, is shown by its id and bytes.
void appendDescription(const kw::platform::TraceRecord& record, std::string& text);

/// That sentence alone.
std::string describe(const kw::platform::TraceRecord& record);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_RECORD_WORDS_H_
