// SPDX-License-Identifier: Apache-2.0
#include "graph/timeline.h"

#include <algorithm>
#include <cstdio>
#include <limits>

#include "common/json.h"
#include "common/text.h"
#include "common/times.h"
#include "trace/record_words.h"
#include "trace/request_summaries.h"

namespace kw::trx::tools {
namespace {

/// `time_ns` in microseconds, which is the unit of a timeline.
std::string microsText(std::uint64_t time_ns) {
  char text[32];
  std::snprintf(text, sizeof(text), "%llu.%03u",
                static_cast<unsigned long long>(time_ns / kNanosPerMicro),
                static_cast<unsigned int>(time_ns % kNanosPerMicro));
  return text;
}

void writeError(const kw::platform::TraceRecord& record, std::uint64_t start_ns, JsonWriter& json) {
  json.beginObject().member("name", describe(record)).member("cat", "error").member("ph", "i");
  json.member("s", "t").key("ts").raw(microsText(record.time_ns - start_ns));
  json.key("pid").number(record.process_id).key("tid").number(record.thread_id);
  json.key("args").beginObject().member("id", hexText(record.id)).endObject();
  json.endObject();
}

}  // namespace

void Timeline::add(const Request& request, const Span& span) {
  if (!span.isRow()) {
    addBars(request, {span.name, span.isHAP() ? "hap" : "table", request.process_id, 0, request.id,
                      span.start_ns, span.end_ns});
  }
}

void Timeline::add(const Request& request) {
  if (request.ending != Ending::kRefused) {
    addBars(request, {nameText(request), "request", request.process_id, 0, request.id,
                      request.start_ns, request.end_ns});
  }
}

void Timeline::addBars(const Request& request, const Bar& whole) {
  for (const Request::Part& part : request.parts) {
    Bar bar = whole;
    bar.thread_id = part.thread_id;
    bar.start_ns = std::max(whole.start_ns, part.start_ns);
    bar.end_ns = std::min(whole.end_ns, std::max(part.end_ns, part.start_ns));
    if (bar.start_ns <= bar.end_ns) {
      bars_.push_back(std::move(bar));
    }
  }
}

void Timeline::write(const Bar& bar, std::uint64_t start_ns, JsonWriter& json) {
  json.beginObject().member("name", bar.name).member("cat", bar.kind);
  json.member("ph", "X").key("ts").raw(microsText(bar.start_ns - start_ns));
  json.key("dur").raw(microsText(bar.end_ns - bar.start_ns));
  json.key("pid").number(bar.process_id).key("tid").number(bar.thread_id);
  json.key("args").beginObject().member("request", hexText(bar.request)).endObject();
  json.endObject();
}

/// Times count from the first event, so that no digit is lost.
std::string Timeline::text() const {
  std::uint64_t start_ns = std::numeric_limits<std::uint64_t>::max();
  for (const Bar& bar : bars_) {
    start_ns = std::min(start_ns, bar.start_ns);
  }
  for (const kw::platform::TraceRecord& record : errors_) {
    start_ns = std::min(start_ns, record.time_ns);
  }
  JsonWriter json(1);
  json.beginObject().key("traceEvents").beginArray();
  for (const Bar& bar : bars_) {
    write(bar, start_ns, json);
  }
  for (const kw::platform::TraceRecord& record : errors_) {
    writeError(record, start_ns, json);
  }
  json.endArray().member("displayTimeUnit", "ms").endObject();
  return json.taken() + '\n';
}

}  // namespace kw::trx::tools
