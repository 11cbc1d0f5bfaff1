// SPDX-License-Identifier: Apache-2.0
#include "trxctl/timeline.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>

#include "common/json.h"
#include "common/text.h"
#include "common/times.h"
#include "traces/record_words.h"
#include "trxctl/command_line.h"
#include "trxctl/text_output.h"

namespace kw::trx::tools {
namespace {

constexpr const char* kKinds[] = {"request", "table", "row", "hap"};

/// `time_ns` in microseconds, which is the unit of a timeline.
std::string microsText(std::uint64_t time_ns) {
  char text[32];
  std::snprintf(text, sizeof(text), "%llu.%03u",
                static_cast<unsigned long long>(time_ns / kNanosPerMicro),
                static_cast<unsigned int>(time_ns % kNanosPerMicro));
  return text;
}

void writeSlice(const Slice& slice, std::uint64_t start_ns, JsonWriter& json) {
  json.beginObject().member("name", slice.name).member("cat", kKinds[static_cast<int>(slice.kind)]);
  json.member("ph", "X").key("ts").raw(microsText(slice.begin_ns - start_ns));
  json.key("dur").raw(microsText(slice.end_ns - slice.begin_ns));
  json.key("pid").number(slice.process_id).key("tid").number(slice.thread_id);
  json.key("args").beginObject().member("request", hexText(slice.request)).endObject();
  json.endObject();
}

void writeError(const kw::platform::TraceRecord& record, std::uint64_t start_ns, JsonWriter& json) {
  json.beginObject().member("name", describe(record)).member("cat", "error").member("ph", "i");
  json.member("s", "t").key("ts").raw(microsText(record.time_ns - start_ns));
  json.key("pid").number(record.process_id).key("tid").number(record.thread_id);
  json.key("args").beginObject().member("id", hexText(record.id)).endObject();
  json.endObject();
}

}  // namespace

/// Times count from the first event, so that no digit is lost.
int Timeline::write(const std::string& path) const {
  std::uint64_t start_ns = std::numeric_limits<std::uint64_t>::max();
  for (const Slice& slice : slices_) {
    start_ns = std::min(start_ns, slice.begin_ns);
  }
  for (const kw::platform::TraceRecord& record : errors_) {
    start_ns = std::min(start_ns, record.time_ns);
  }
  std::ofstream file(path);
  JsonWriter json(1);
  json.beginObject().key("traceEvents").beginArray();
  for (const Slice& slice : slices_) {
    writeSlice(slice, start_ns, json);
    file << json.taken();
  }
  for (const kw::platform::TraceRecord& record : errors_) {
    writeError(record, start_ns, json);
    file << json.taken();
  }
  json.endArray().member("displayTimeUnit", "ms").endObject();
  file << json.taken() << '\n';
  file.close();
  return file.fail() ? fail(path + ": " + std::strerror(errno)) : kExitOk;
}

}  // namespace kw::trx::tools
