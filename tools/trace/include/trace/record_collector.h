// SPDX-License-Identifier: Apache-2.0
// The trace records that the engine writes during a scope.
#ifndef KW_TRX_TOOLS_TRACE_RECORD_COLLECTOR_H_
#define KW_TRX_TOOLS_TRACE_RECORD_COLLECTOR_H_

#include <cstdint>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

#include "kw/platform.h"

namespace kw::trx::tools {

/// Takes the records of the given levels while it exists, one object at a time. Any thread may
/// write records; the one that made the object takes them.
class RecordCollector {
 public:
  using OnRecord = std::function<void(const kw::platform::TraceRecord& record)>;

  /// `levels`: bits of `TraceLevelBit`. With `on_record`, which must write no record, each one is
  /// handed to it as it is written.
  explicit RecordCollector(unsigned int levels = kw::platform::kTraceError, OnRecord on_record = {})
      : on_record_(std::move(on_record)) {
    kw::platform::setTraceLevels(levels);
    kw::platform::setTraceListener(&RecordCollector::take, this);
  }
  RecordCollector(const RecordCollector&) = delete;
  RecordCollector& operator=(const RecordCollector&) = delete;
  ~RecordCollector() {
    kw::platform::setTraceListener(nullptr, nullptr);
    kw::platform::setTraceLevels(kw::platform::kTraceAll);
  }

  /// The records since the last call.
  std::vector<kw::platform::TraceRecord> taken() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return std::exchange(records_, {});
  }

 private:
  static void take(void* context, unsigned long region, unsigned int level,
                   unsigned short trace_class, unsigned long id, const void* data, int length) {
    kw::platform::TraceRecord record{};
    record.region = static_cast<std::uint32_t>(region);
    record.level = level;
    record.trace_class = trace_class;
    record.id = static_cast<std::uint32_t>(id);
    record.length = static_cast<std::uint32_t>(length);
    const auto* bytes = static_cast<const unsigned char*>(data);
    record.data.assign(bytes, bytes + length);
    auto* self = static_cast<RecordCollector*>(context);
    const std::lock_guard<std::mutex> guard(self->mutex_);
    if (self->on_record_) {
      self->on_record_(record);
    } else {
      self->records_.push_back(std::move(record));
    }
  }

  const OnRecord on_record_;
  std::mutex mutex_;
  std::vector<kw::platform::TraceRecord> records_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_RECORD_COLLECTOR_H_
