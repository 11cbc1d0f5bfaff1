// SPDX-License-Identifier: Apache-2.0
#include "commands/trace_output.h"

#include <charconv>
#include <iostream>
#include <iterator>

#include "command_line/text_output.h"
#include "common/characters.h"
#include "common/json.h"
#include "common/paths.h"
#include "common/text.h"
#include "common/times.h"
#include "trace/catalogue.h"
#include "trace/record_words.h"
#include "trace/selection.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

using kw::platform::TraceRecord;

constexpr std::size_t kBlockBytes = 65536;
constexpr std::size_t kIdDigits = 8;
constexpr std::size_t kRequestWidth = 13;
constexpr std::size_t kLevelWidth = 6;

/// Appends `number` with at least `digits` digits.
void addNumber(std::uint64_t number, int base, std::size_t digits, std::string& text) {
  char all[24];
  const auto written = std::to_chars(std::begin(all), std::end(all), number, base);
  const auto size = static_cast<std::size_t>(written.ptr - all);
  text.append(digits > size ? digits - size : 0, '0').append(all, size);
}

/// Appends `word` and blanks up to `width`.
void addWord(const std::string& word, std::size_t width, std::string& text) {
  text.append(word).append(width > word.size() ? width - word.size() : 0, ' ');
}

void writeNote(JsonWriter& json, const RowNote& note) {
  if (note.row != nullptr) {
    json.member("file", note.table->file).key("line").number(note.row->line());
    json.key("row").beginObject();
    for (const auto& [column, cell] : note.row->cells()) {
      json.member(column, cell);
    }
    json.endObject();
  } else {
    json.member("tableProblem",
                note.table == nullptr ? "the table is not among the files" : note.problem);
  }
}

}  // namespace

void TraceOutput::show(const TraceRecord& record, const Place& place, const char* suspicion,
                       const RowNote* note) {
  if (json_) {
    addJson(record, place, suspicion, note);
  } else {
    addLine(record, place, suspicion);
    if (note != nullptr && !note->is_told) {
      addNote(*note);
    }
  }
  out_ += '\n';
  if (out_.size() >= kBlockBytes) {
    std::cout << out_;
    out_.clear();
  }
}

void TraceOutput::flush() {
  std::cout << out_ << std::flush;
  out_.clear();
}

void TraceOutput::addLine(const TraceRecord& record, const Place& place, const char* suspicion) {
  out_.append(localMicrosText(record.time_ns)).append(" ");
  addNumber(record.process_id, 10, 1, out_);
  out_ += '/';
  addNumber(record.thread_id, 10, 1, out_);
  out_ += ' ';
  addWord(place.request == 0 ? "-" : requestText(place.request, place.number), kRequestWidth, out_);
  out_ += ' ';
  std::string head;
  addWord(levelName(record.level), kLevelWidth, head);
  head += ' ';
  addNumber(record.id, 16, kIdDigits, head);
  head += ' ';
  out_ += record.level == trx::kLevelError ? paint(Colour::kRed, head) : head;
  if (suspicion != nullptr) {
    out_ += paint(Colour::kYellow, std::string("doubtful, as ") + suspicion + ": ");
  }
  appendDescription(record, out_);
  if (const Line* const line = findLine(record)) {
    out_ += paint(Colour::kGrey, std::string("  (") + line->point->origin + ")");
  }
}

void TraceOutput::addNote(const RowNote& note) {
  if (note.row != nullptr) {
    const std::string place =
        visible(fileNameOf(note.table->file)) + ':' + std::to_string(note.row->line()) + " | ";
    out_.append("\n    ").append(paint(Colour::kGrey, place)).append(note.row->text());
  } else if (!note.problem.empty()) {
    out_.append("\n    ").append(paint(Colour::kYellow, note.problem));
  }
}

void TraceOutput::addJson(const TraceRecord& record, const Place& place, const char* suspicion,
                          const RowNote* note) {
  JsonWriter json(-1);
  json.beginObject().key("timeNs").number(record.time_ns);
  json.key("process").number(record.process_id).key("thread").number(record.thread_id);
  json.member("request", hexText(place.request)).key("requestNumber").number(place.number);
  json.member("level", levelName(record.level));
  const Line* const line = findLine(record);
  json.member("id", hexText(record.id))
      .member("origin", line == nullptr ? "" : line->point->origin);
  if (suspicion != nullptr) {
    json.member("doubtful", suspicion);
  }
  json.member("words", describe(record));
  const std::vector<Value> values = valuesOf(record);
  if (!values.empty()) {
    json.key("values").beginObject();
    for (const Value& value : values) {
      json.member(value.name, value.text);
    }
    json.endObject();
  }
  if (note != nullptr) {
    writeNote(json, *note);
  }
  out_ += json.endObject().taken();
}

}  // namespace kw::trx::tools
