// SPDX-License-Identifier: Apache-2.0
#include "traces/event.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <vector>

#include "traces/record_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

/// The region handle of all records that the logger writes.
constexpr std::uint32_t kEngineRegion = 101;

using trx::kLevelDebug;
using trx::kLevelDebug2;
using trx::kLevelError;
using trx::kLevelInfo;

struct KindOfPoint {
  std::uint32_t id;
  std::uint32_t level;
  EventKind kind;
  const char* values;
};

constexpr KindOfPoint kKinds[] = {
#define ZQM_TRACE_POINT(class_name, operation, constant, id, level, kind, values, sentence) \
  {id, level, EventKind::k##kind, values},
#include "zqm_trx/trace_catalogue.def"
};

/// A value of a record that an event has a member for.
struct Slot {
  const char* name;
  std::uint32_t Event::*member;
};
constexpr Slot kSlots[] = {{"request", &Event::request},
                           {"number", &Event::number},
                           {"code", &Event::code},
                           {"size", &Event::size},
                           {"time", &Event::time_ms}};

/// How to read the records of one id.
struct Decoder {
  struct Word {
    std::size_t offset;  // in bytes
    std::uint32_t Event::*member;
  };

  std::uint32_t id = 0;
  std::uint32_t level = 0;
  EventKind kind = EventKind::kOther;
  bool is_text = false;
  std::size_t bytes = 0;  // that the named values take
  std::vector<Word> words;
};

Decoder decoderOf(const KindOfPoint& point) {
  Decoder decoder{point.id, point.level, point.kind, false, 0, {}};
  const std::vector<ValueForm> forms = formsOf(point.values);
  for (const ValueForm& form : forms) {
    if (form.isText()) {
      decoder.is_text = true;
      continue;
    }
    for (const Slot& slot : kSlots) {
      if (form.name == slot.name) {
        decoder.words.push_back({decoder.bytes, slot.member});
      }
    }
    decoder.bytes += sizeof(std::uint32_t);
  }
  return decoder;
}

/// The decoders by a hash of their ids: each record asks for its own.
class Decoders {
 public:
  Decoders() : places_(kPlaces, nullptr) {
    std::transform(std::begin(kKinds), std::end(kKinds), std::back_inserter(all_), decoderOf);
    for (const Decoder& decoder : all_) {
      std::size_t place = placeOf(decoder.id);
      while (places_[place] != nullptr) {
        place = (place + 1) % kPlaces;
      }
      places_[place] = &decoder;
    }
  }

  const Decoder* find(std::uint32_t id) const {
    std::size_t place = placeOf(id);
    while (places_[place] != nullptr && places_[place]->id != id) {
      place = (place + 1) % kPlaces;
    }
    return places_[place];
  }

 private:
  static constexpr std::size_t kPlaces = 1024;  // a few times as many as there are ids

  /// Class, operation and event of an id.
  static std::size_t placeOf(std::uint32_t id) { return (id ^ (id >> 9) ^ (id >> 19)) % kPlaces; }

  std::vector<Decoder> all_;
  std::vector<const Decoder*> places_;
};

const Decoder* findDecoder(const kw::platform::TraceRecord& record) {
  static const Decoders decoders;
  return isOfEngine(record) ? decoders.find(record.id) : nullptr;
}

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
  const Decoder* const decoder = findDecoder(record);
  if (decoder == nullptr || record.data.size() < decoder->bytes) {
    return event;
  }
  event.kind = decoder->kind;
  for (const Decoder::Word& word : decoder->words) {
    std::memcpy(&(event.*word.member), record.data.data() + word.offset, sizeof(std::uint32_t));
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
  const Decoder* const decoder = findDecoder(record);
  if (decoder == nullptr) {
    return "the engine writes no such id";
  }
  if (record.level != decoder->level) {
    return "its level is not that of its id";
  }
  if (decoder->is_text) {
    return isText(record) ? nullptr : "its text is none";
  }
  return areWords(record, decoder->bytes) ? nullptr : "its words are not those of its id";
}

bool startsRow(EventKind kind) {
  return kind >= EventKind::kRowStart && kind <= EventKind::kRowEndMessage;
}

Command commandOf(EventKind kind) {
  switch (kind) {
    case EventKind::kRowStart:
      return Command::kStart;
    case EventKind::kRowHAP:
      return Command::kHAP;
    case EventKind::kRowCheck:
      return Command::kCheck;
    case EventKind::kRowWait:
      return Command::kWait;
    case EventKind::kRowTable:
      return Command::kTable;
    case EventKind::kRowEnd:
    case EventKind::kRowEndMessage:
      return Command::kEnd;
    default:
      return Command::kNone;
  }
}

}  // namespace kw::trx::tools
