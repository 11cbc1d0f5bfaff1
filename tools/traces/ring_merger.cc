// SPDX-License-Identifier: Apache-2.0
#include "traces/ring_merger.h"

#include <algorithm>

#include "kw/platform.h"
#include "traces/doubts.h"

namespace kw::trx::tools {

int RingMerger::open(const std::string& file) {
  auto ring = std::make_unique<Ring>();
  if (ring->reader.open(kw::platform::resolvePath(file)) != 0) {
    return -1;
  }
  advance(*ring);
  rings_.push_back(std::move(ring));
  return 0;
}

bool RingMerger::next(kw::platform::TraceRecord& record) {
  std::size_t first = rings_.size();
  for (std::size_t at = 0; at < rings_.size(); ++at) {
    const Ring& ring = *rings_[at];
    if (ring.has_record &&
        (first == rings_.size() || ring.record.time_ns < rings_[first]->record.time_ns)) {
      first = at;
    }
  }
  if (first == rings_.size()) {
    return false;
  }
  ring_ = first;
  record = rings_[first]->record;
  advance(*rings_[first]);
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
