// SPDX-License-Identifier: Apache-2.0
#include "trace/request_reader.h"

#include <algorithm>

#include "common/times.h"

namespace kw::trx::tools {

int RequestReader::open(const std::string& file) {
  if (source_.open(file) != 0) {
    return -1;
  }
  builders_.push_back(newBuilder(builders_.size()));
  return 0;
}

std::unique_ptr<RequestBuilder> RequestReader::newBuilder(std::size_t ring) {
  return std::make_unique<RequestBuilder>(listener_, ring, lock_);
}

void RequestReader::watch(OnRecord on_record, bool with_places) {
  on_record_ = std::move(on_record);
  with_places_ = with_places;
}

void RequestReader::read(const std::function<bool()>& stop) {
  kw::platform::TraceRecord record{};
  while (!(stop && stop()) && source_.next(record)) {
    const char* const suspicion = suspicionOf(record);
    Event event;
    event.record = &record;
    Place place;
    if (suspicion != nullptr) {
      ++losses_.suspect;
    } else {
      start_ns_ = records_ == 0 ? record.time_ns : std::min(start_ns_, record.time_ns);
      end_ns_ = std::max(end_ns_, record.time_ns);
      ++records_;
      event = eventOf(record);
      place = builders_[source_.ring()]->take(event, with_places_);
    }
    if (on_record_) {
      on_record_({record, event, place, suspicion, source_.ring()});
    }
  }
}

std::vector<std::size_t> RequestReader::switchOver() {
  std::vector<std::size_t> replaced;
  for (std::size_t ring = 0; ring < source_.rings(); ++ring) {
    if (source_.isReplaced(ring)) {
      read();
      if (source_.switchOver(ring)) {
        builders_[ring]->finish();
        noteSteps(*builders_[ring]);
        builders_[ring] = newBuilder(ring);
        replaced.push_back(ring);
      }
    }
  }
  return replaced;
}

void RequestReader::noteSteps(const RequestBuilder& builder) {
  losses_.clock_steps += builder.clockSteps().count;
  losses_.largest_step_ns = std::max(losses_.largest_step_ns, builder.clockSteps().largest_ns);
}

void RequestReader::settle() {
  for (const auto& builder : builders_) {
    builder->settle();
  }
}

void RequestReader::finish() {
  for (const auto& builder : builders_) {
    builder->finish();
    noteSteps(*builder);
  }
}

std::map<std::uint32_t, std::uint32_t> RequestReader::requests() const {
  std::map<std::uint32_t, std::uint32_t> maxima;
  for (const auto& builder : builders_) {
    for (const auto& [id, number] : builder->requests()) {
      maxima[id] = std::max(maxima[id], number);
    }
  }
  return maxima;
}

std::size_t RequestReader::threads() const {
  std::size_t threads = 0;
  for (const auto& builder : builders_) {
    threads += builder->threads();
  }
  return threads;
}

Losses RequestReader::losses() const {
  Losses losses = losses_;
  losses.lost = source_.lost();
  return losses;
}

std::vector<std::string> textOf(const Losses& losses) {
  std::vector<std::string> all;
  if (losses.suspect != 0) {
    all.push_back(std::to_string(losses.suspect) +
                  " records are suspect: the ring is damaged, and what the others say may have "
                  "been changed too");
  }
  if (losses.lost != 0) {
    all.push_back(std::to_string(losses.lost) + " records were overwritten, torn or cut off");
  }
  if (losses.clock_steps != 0) {
    all.push_back("the clock was put back " + std::to_string(losses.clock_steps) +
                  " times, by up to " + millisText(losses.largest_step_ns) +
                  " ms: times before and behind that do not compare");
  }
  return all;
}

std::uint64_t endOfRings(const std::vector<std::string>& files) {
  RingSource rings;
  for (const std::string& file : files) {
    rings.open(file);
  }
  std::uint64_t end_ns = 0;
  for (kw::platform::TraceRecord record; rings.next(record);) {
    end_ns = std::max(end_ns, suspicionOf(record) == nullptr ? record.time_ns : 0);
  }
  return end_ns;
}

}  // namespace kw::trx::tools
