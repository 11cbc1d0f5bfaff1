// SPDX-License-Identifier: Apache-2.0
#include "trace/event.h"

#include <algorithm>
#include <iterator>

#include "trace/catalogue.h"
#include "trace/record_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

/// The region handle of all records that the logger writes.
constexpr std::uint32_t kEngineRegion = 101;

/// Linux gives no process or thread a greater number.
constexpr std::uint32_t kMaxThread = 1U << 22;

constexpr std::size_t kFourWords = 4 * sizeof(std::uint32_t);
constexpr std::size_t kEightWords = 8 * sizeof(std::uint32_t);

bool isThread(std::uint32_t number) { return number != 0 && number <= kMaxThread; }

/// True for any bytes with one NUL, behind them. Of a text longer than what the ring keeps the end
/// is missing.
bool isText(const kw::platform::TraceRecord& record) {
  const auto nul = std::find(record.data.begin(), record.data.end(), '\0');
  const bool is_whole = record.length == record.data.size();
  return !record.data.empty() &&
         (is_whole ? nul == std::prev(record.data.end()) : nul == record.data.end());
}

/// True for four or eight words of which those are 0 that the catalogue does not name.
bool areWords(const kw::platform::TraceRecord& record, std::size_t named_bytes) {
  const std::size_t bytes = record.data.size();
  if (record.length != bytes || (bytes != kFourWords && bytes != kEightWords) ||
      bytes < named_bytes) {
    return false;
  }
  return std::all_of(record.data.begin() + static_cast<std::ptrdiff_t>(named_bytes),
                     record.data.end(), [](unsigned char byte) { return byte == 0; });
}

}  // namespace

std::string Event::text() const { return textOf(*record); }

bool isOfEngine(const kw::platform::TraceRecord& record) {
  return record.trace_class == trx::kEngineTraceClass && record.region == kEngineRegion;
}

Event eventOf(const kw::platform::TraceRecord& record) {
  Event event;
  event.record = &record;
  const Line* const line = findLine(record);
  if (line == nullptr || !line->fits(record)) {
    return event;
  }
  event.kind = line->point->kind;
  for (const Line::Word& word : line->event_words) {
    event.*word.member = wordAt(record, word.number);
  }
  return event;
}

const char* suspicionOf(const kw::platform::TraceRecord& record) {
  if (record.doubtful) {
    return "the records around it have another thread or time";
  }
  if (!isThread(record.process_id) || !isThread(record.thread_id)) {
    return "no thread has its number";
  }
  if (!isOfEngine(record)) {
    return nullptr;  // modules and hosts write what they like
  }
  const Line* const line = findLine(record);
  if (line == nullptr) {
    return "the engine writes no such id";
  }
  if (record.level != line->point->level) {
    return "its level is not that of its id";
  }
  if (line->is_text) {
    return isText(record) ? nullptr : "its text is none";
  }
  return areWords(record, line->bytes) ? nullptr : "its words are not those of its id";
}

bool startsRow(EventKind kind) {
  return kind >= EventKind::kRowStart && kind <= EventKind::kRowEndMessage;
}

Command commandOf(EventKind kind) {
  constexpr Command commands[] = {Command::kStart, Command::kHAP, Command::kCheck, Command::kWait,
                                  Command::kTable, Command::kEnd, Command::kEnd};
  return startsRow(kind) ? commands[static_cast<int>(kind) - static_cast<int>(EventKind::kRowStart)]
                         : Command::kNone;
}

}  // namespace kw::trx::tools
