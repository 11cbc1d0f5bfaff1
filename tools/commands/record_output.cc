// SPDX-License-Identifier: Apache-2.0
#include "commands/record_output.h"

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
constexpr std::size_t kDayWidth = 10;    // 2026-11-23
constexpr std::size_t kClockWidth = 15;  // 10:24:03.120345

std::string requestColumn(const Place& place) {
  return place.request == 0 ? "-" : requestText(place.request, place.number);
}

/// Day and zone.
std::string dayOf(const TraceRecord& record) {
  const std::string time = localMicrosText(record.time_ns);
  return time.substr(0, kDayWidth) + time.substr(kDayWidth + 1 + kClockWidth);
}

std::string suspicionText(const char* suspicion) {
  return std::string("suspect, as ") + suspicion + ": ";
}

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

void RecordOutput::show(const TraceRecord& record, std::size_t ring, const Place& place,
                        const char* suspicion, const RowNote* note) {
  const Shown shown{record, ring, place, suspicion};
  if (form_.json) {
    addJson(shown, note);
  } else {
    form_.wide ? addWide(shown) : addNarrow(shown);
    if (note != nullptr && (last_ != 0 || !note->is_told)) {
      addNote(*note);
    }
  }
  out_ += '\n';
  const std::string day = form_.json || form_.wide ? "" : dayOf(record);
  if (last_ == 0) {
    add(day, out_);
  } else {
    kept_.emplace_back(day, out_);
    if (kept_.size() > last_) {
      kept_.pop_front();
    }
  }
  out_.clear();
}

void RecordOutput::add(const std::string& day, const std::string& text) {
  if (day != day_) {
    block_.append(day).append("\n");
    day_ = day;
  }
  block_ += text;
  if (block_.size() >= kBlockBytes) {
    std::cout << block_;
    block_.clear();
  }
}

void RecordOutput::flush() {
  for (const auto& [day, text] : kept_) {
    add(day, text);
  }
  kept_.clear();
  std::cout << block_ << std::flush;
  block_.clear();
}

void RecordOutput::addWide(const Shown& shown) {
  const TraceRecord& record = shown.record;
  out_.append(localMicrosText(record.time_ns)).append(" ");
  addNumber(record.process_id, 10, 1, out_);
  out_ += '/';
  addNumber(record.thread_id, 10, 1, out_);
  out_ += ' ';
  addWord(requestColumn(shown.place), kRequestWidth, out_);
  out_ += ' ';
  std::string head;
  addWord(levelName(record.level), kLevelWidth, head);
  head += " 0x";
  addNumber(record.id, 16, kIdDigits, head);
  head += ' ';
  out_ += record.level == trx::kLevelError ? paint(Colour::kRed, head) : head;
  if (shown.suspicion != nullptr) {
    out_ += paint(Colour::kYellow, suspicionText(shown.suspicion));
  }
  appendDescription(record, out_);
  if (const Line* const line = findLine(record)) {
    out_ += paint(Colour::kGrey, std::string("  (") + line->point->origin + ")");
  }
}

void RecordOutput::addNarrow(const Shown& shown) {
  const TraceRecord& record = shown.record;
  out_.append(localMicrosText(record.time_ns), kDayWidth + 1, kClockWidth).append(" ");
  addWord(requestColumn(shown.place), kRequestWidth, out_);
  out_ += ' ';
  std::string level;
  addWord(levelName(record.level), kLevelWidth, level);
  out_ += record.level == trx::kLevelError ? paint(Colour::kRed, level) : level;
  std::string text = shown.suspicion == nullptr ? "" : suspicionText(shown.suspicion);
  appendDescription(record, text);
  if (record.level == trx::kLevelError) {
    text += " [0x";
    addNumber(record.id, 16, kIdDigits, text);
    text += ']';
  }
  constexpr std::size_t column = kClockWidth + kRequestWidth + kLevelWidth + 3;
  out_.append(" ").append(wrapped(text, column, column));
}

void RecordOutput::addNote(const RowNote& note) {
  if (note.row != nullptr) {
    const std::string place =
        visible(fileNameOf(note.table->file)) + ':' + std::to_string(note.row->line()) + " | ";
    out_.append("\n    ").append(paint(Colour::kGrey, place)).append(note.row->text());
  } else if (!note.problem.empty()) {
    out_.append("\n    ").append(paint(Colour::kYellow, note.problem));
  }
}

void RecordOutput::addJson(const Shown& shown, const RowNote* note) {
  const TraceRecord& record = shown.record;
  JsonWriter json(-1);
  startOutput("records", json);
  writeTime("time", record.time_ns, json);
  if (form_.with_rings) {
    json.key("ring").number(shown.ring);
  }
  json.key("process").number(record.process_id).key("thread").number(record.thread_id);
  json.member("request", hexText(shown.place.request));
  json.key("requestNumber").number(shown.place.number);
  json.member("level", levelName(record.level));
  const Line* const line = findLine(record);
  json.member("id", hexText(record.id))
      .member("origin", line == nullptr ? "" : line->point->origin);
  if (shown.suspicion != nullptr) {
    json.member("suspect", shown.suspicion);
  }
  json.member("message", describe(record));
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
