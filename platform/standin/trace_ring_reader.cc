// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <new>

#include "kw/platform.h"
#include "kw/ring_reader.h"

namespace kw::platform {

TraceRingReader::TraceRingReader() : reader_(nullptr) {}

TraceRingReader::~TraceRingReader() { delete reader_; }

int TraceRingReader::open(const std::string& path) try {
  if (reader_ == nullptr) reader_ = new RingReader;
  return reader_->open(resolvePath(path));
} catch (const std::bad_alloc&) {
  errno = ENOMEM;
  return -1;
}

bool TraceRingReader::next(TraceRecord& record) {
  return reader_ != nullptr && reader_->next(record);
}

std::uint64_t TraceRingReader::lost() const { return reader_ == nullptr ? 0 : reader_->lost(); }

}  // namespace kw::platform
