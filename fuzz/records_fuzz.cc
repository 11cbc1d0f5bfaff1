// SPDX-License-Identifier: Apache-2.0
// What makes requests of trace records, on any order of any records. Every four bytes of an input
// are a record: its kind, its thread, its text or number, and whether others are missing before it.
#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include "harness.h"
#include "trace/catalogue.h"
#include "trace/request_builder.h"
#include "trace/request_summaries.h"
#include "trace/statistics.h"

namespace kw::trx::fuzz {
namespace {

constexpr std::size_t kRecordBytes = 4;
constexpr std::uint32_t kEngineRegion = 101;
constexpr std::uint32_t kEngineClass = 7;
constexpr std::uint32_t kProcess = 1000;
const char* const kNames[] = {"A_a", "A_b", "t", "u", "", "A\tb", "A_\xe9"};

platform::TraceRecord recordOf(std::string_view bytes, std::uint64_t& sequence,
                               std::uint64_t& time_ns) {
  static const std::vector<tools::Point> points = tools::allPoints();
  const auto byte = [bytes](std::size_t at) { return static_cast<unsigned char>(bytes[at]); };
  const tools::Point& point = points[byte(0) % points.size()];
  platform::TraceRecord record{};
  record.process_id = kProcess;
  record.thread_id = kProcess + (byte(1) & 3);
  sequence += (byte(1) & 0xc0) == 0xc0 ? 2 : 1;
  time_ns = (byte(1) & 0x30) == 0x30 && time_ns > 100 ? time_ns - 100 : time_ns + byte(3);
  record.sequence = sequence;
  record.time_ns = time_ns;
  record.region = kEngineRegion;
  record.trace_class = kEngineClass;
  record.level = point.level;
  record.id = point.id;
  if (std::string_view(point.values).find(":s") != std::string_view::npos) {
    const std::string text = kNames[byte(2) % std::size(kNames)];
    record.data.assign(text.c_str(), text.c_str() + text.size() + 1);
  } else {
    record.data.assign(32, 0);
    for (std::size_t word = 0; word < 8; ++word) {
      record.data[4 * word] = byte(2) & (word == 0 ? 1 : 0xf);  // few ids of requests
    }
  }
  record.length = static_cast<std::uint32_t>(record.data.size());
  return record;
}

/// Looks at what is told in which order, and counts the rows in two ways.
class Listener : public tools::RequestListener {
 public:
  void rowStarted(const tools::Request& request, const tools::Span& row) override {
    require(row.isRow() && ended_.count(request.serial) == 0,
            "a row starts in a request that runs");
  }

  void spanEnded(const tools::Request& request, const tools::Span& span) override {
    require(ended_.count(request.serial) == 0, "a span ends before its request");
    require(span.failed() || span.effect == tools::Effect::kNone ||
                span.command == tools::Command::kCheck,
            "what has an effect has failed");
    rows_ += span.isRow() && !span.is_incomplete && !span.goes_on ? 1 : 0;
    statistics_.spanEnded(request, span);
    summaries_.spanEnded(request, span);
  }

  void requestEnded(const tools::Request& request) override {
    require(ended_.insert(request.serial).second, "a request ends once");
    require(!request.parts.empty() && request.parts.front().thread_id == request.thread_id,
            "a request has parts, the first of which is on its thread");
    require(!request.hasFailed() || request.failure || request.is_incomplete,
            "a request that failed says why");
    summaries_.requestEnded(request);
  }

  void check() const {
    std::uint64_t calls = 0;
    for (const auto& [work, figures] : statistics_.all()) {
      calls += work.isHAP() ? 0 : figures.calls;
    }
    require(calls == rows_, "each row that is whole is counted once");
    require(outcomes_ == ended_.size(), "each request has an outcome in words");
  }

 private:
  std::set<std::uint64_t> ended_;
  std::uint64_t rows_ = 0;
  std::size_t outcomes_ = 0;
  tools::Statistics statistics_;
  tools::RequestSummaries summaries_{[this](const tools::RequestSummary& summary) {
    const auto no_meaning = [](const std::string&, std::uint32_t) { return std::string(); };
    outcomes_ += tools::outcomeText(summary, no_meaning).empty() ? 0 : 1;
  }};
};

}  // namespace
}  // namespace kw::trx::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kw::trx;
  const std::string_view text = fuzz::textOf(data, size);
  fuzz::Listener listener;
  tools::RequestBuilder builder(listener);
  std::uint64_t sequence = 0, time_ns = 1000;
  for (std::size_t at = 0; at + fuzz::kRecordBytes <= text.size(); at += fuzz::kRecordBytes) {
    const kw::platform::TraceRecord record =
        fuzz::recordOf(text.substr(at, fuzz::kRecordBytes), sequence, time_ns);
    builder.take(tools::eventOf(record), at % 8 == 0);
  }
  builder.finish();
  fuzz::require(builder.running().empty(), "all requests are handed on");
  listener.check();
  return 0;
}
