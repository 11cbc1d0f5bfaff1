// SPDX-License-Identifier: Apache-2.0
#include "trace/ring_source.h"

#include <sys/stat.h>

#include <algorithm>

#include "kw/platform.h"

namespace kw::trx::tools {

int RingSource::open(const std::string& file) {
  auto ring = std::make_unique<Ring>();
  ring->file = kw::platform::resolvePath(file);
  ring->identity = identityOf(ring->file);
  if (ring->reader.open(ring->file) != 0) {
    return -1;
  }
  rings_.push_back(std::move(ring));
  return 0;
}

bool RingSource::next(kw::platform::TraceRecord& record) {
  if (rings_.size() == 1) {
    return rings_[0]->reader.next(record);
  }
  Ring* first = nullptr;
  for (std::size_t at = 0; at < rings_.size(); ++at) {
    Ring& ring = *rings_[at];
    ring.has_record = ring.has_record || ring.reader.next(ring.record);
    if (ring.has_record && (first == nullptr || ring.record.time_ns < first->record.time_ns)) {
      first = &ring;
      ring_ = at;
    }
  }
  if (first == nullptr) {
    return false;
  }
  std::swap(record, first->record);
  first->has_record = false;
  return true;
}

bool RingSource::isReplaced(std::size_t ring) const {
  return identityOf(rings_[ring]->file) != rings_[ring]->identity;
}

bool RingSource::switchOver(std::size_t at) {
  Ring& ring = *rings_[at];
  const FileIdentity now = identityOf(ring.file);
  const std::uint64_t lost_of_former = ring.reader.lost();
  if (ring.reader.open(ring.file) != 0) {
    return false;
  }
  ring.identity = now;
  ring.lost_of_former += lost_of_former;
  ring.has_record = false;
  return true;
}

std::uint64_t RingSource::lost() const {
  std::uint64_t lost = 0;
  for (const auto& ring : rings_) {
    lost += ring->lost_of_former + ring->reader.lost();
  }
  return lost;
}

RingSource::FileIdentity RingSource::identityOf(const std::string& file) {
  struct stat status {};
  return stat(file.c_str(), &status) == 0 ? FileIdentity{status.st_dev, status.st_ino}
                                          : FileIdentity{};
}

}  // namespace kw::trx::tools
