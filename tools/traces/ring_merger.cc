// SPDX-License-Identifier: Apache-2.0
#include "traces/ring_merger.h"

#include <algorithm>

#include "traces/doubts.h"

namespace kw::trx::tools {

int RingMerger::open(const std::string& file) {
  auto ring = std::make_unique<Ring>();
  if (ring->reader.open(file) != 0) {
    return -1;
  }
  advance(*ring);
  rings_.push_back(std::move(ring));
  return 0;
}

bool RingMerger::next(kw::platform::TraceRecord& record) {
  Ring* first = nullptr;
  for (const auto& ring : rings_) {
    if (ring->has_record && (first == nullptr || ring->record.time_ns < first->record.time_ns)) {
      first = ring.get();
    }
  }
  if (first == nullptr) {
    return false;
  }
  record = first->record;
  advance(*first);
  return true;
}

std::uint64_t RingMerger::lost() const {
  std::uint64_t lost = 0;
  for (const auto& ring : rings_) {
    lost += ring->reader.lost();
  }
  return lost;
}

void RingMerger::advance(Ring& ring) {
  do {
    ring.has_record = ring.reader.next(ring.record);
    doubtful_ += ring.has_record && doubtOf(ring.record) != nullptr ? 1 : 0;
  } while (ring.has_record && doubtOf(ring.record) != nullptr);
}

std::uint64_t endOfRings(const std::vector<std::string>& files) {
  RingMerger rings;
  for (const std::string& file : files) {
    rings.open(file);
  }
  std::uint64_t end_ns = 0;
  for (kw::platform::TraceRecord record; rings.next(record);) {
    end_ns = std::max(end_ns, record.time_ns);
  }
  return end_ns;
}

}  // namespace kw::trx::tools
