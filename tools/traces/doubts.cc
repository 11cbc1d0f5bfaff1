// SPDX-License-Identifier: Apache-2.0
#include "traces/doubts.h"

#include <algorithm>
#include <string_view>

#include "common/characters.h"
#include "traces/catalogue.h"
#include "traces/record_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

using kw::platform::TraceRecord;

/// Linux gives no process or thread a greater number.
constexpr std::uint32_t kMostThread = 1U << 22;

constexpr std::size_t kWordBytes = 4;
constexpr std::size_t kFourWords = 4 * kWordBytes;
constexpr std::size_t kEightWords = 8 * kWordBytes;

bool isThread(std::uint32_t number) { return number != 0 && number <= kMostThread; }

bool isLevel(std::uint32_t level) {
  return level == trx::kLevelError || level == trx::kLevelInfo || level == trx::kLevelDebug ||
         level == trx::kLevelDebug2;
}

/// True for characters alone, none of them a control character, with a NUL behind them. Of a text
/// longer than what the ring keeps the end is missing, maybe in the middle of a character.
bool isText(const TraceRecord& record) {
  const bool whole = record.length == record.data.size();
  const std::size_t bytes = record.data.size() - (whole ? 1 : 0);
  if (record.data.empty() || (whole && record.data.back() != '\0')) {
    return false;
  }
  const std::string_view text(reinterpret_cast<const char*>(record.data.data()), bytes);
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t size = characterAt(text, at);
    const bool cut_off = size == 0 && !whole && text.size() - at < kWordBytes;
    if ((size == 0 && !cut_off) || static_cast<unsigned char>(text[at]) < ' ') {
      return false;
    }
    at += std::max<std::size_t>(size, 1);
  }
  return true;
}

/// True for four or eight words of which those are 0 that the catalogue does not name.
bool areWords(const TraceRecord& record, std::size_t named) {
  const std::size_t bytes = record.data.size();
  if (record.length != bytes || (bytes != kFourWords && bytes != kEightWords) ||
      bytes < named * kWordBytes) {
    return false;
  }
  return std::all_of(record.data.begin() + static_cast<std::ptrdiff_t>(named * kWordBytes),
                     record.data.end(), [](unsigned char byte) { return byte == 0; });
}

}  // namespace

const char* doubtOf(const TraceRecord& record) {
  if (record.doubtful) {
    return "the records around it have another thread or time";
  }
  if (!isThread(record.process_id) || !isThread(record.thread_id)) {
    return "no thread has its number";
  }
  if (!isLevel(record.level)) {
    return "it has no level";
  }
  const Point* const point = findPoint(record.id);
  const bool is_engine = record.trace_class == trx::kEngineTraceClass;
  if (point == nullptr) {
    return is_engine ? "the engine writes no such id" : nullptr;
  }
  if (!is_engine) {
    return "it has the id of an engine's record, but not its class";
  }
  if (record.level != point->level) {
    return "its level is not that of its id";
  }
  const DataForm form = dataFormOf(record.id);
  if (form.is_text) {
    return isText(record) ? nullptr : "its text is none";
  }
  return areWords(record, form.words) ? nullptr : "its words are not those of its id";
}

std::vector<std::string> lossWords(std::uint64_t doubtful, std::uint64_t lost) {
  std::vector<std::string> all;
  if (doubtful != 0) {
    all.push_back(std::to_string(doubtful) +
                  " records are doubtful: the ring is damaged, and what the others say may have "
                  "been changed too");
  }
  if (lost != 0) {
    all.push_back(std::to_string(lost) + " records were overwritten, torn or cut off");
  }
  return all;
}

}  // namespace kw::trx::tools
