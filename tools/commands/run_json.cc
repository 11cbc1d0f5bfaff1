// SPDX-License-Identifier: Apache-2.0
#include "commands/run_json.h"

#include <cstdio>

#include "common/text.h"

namespace kw::trx::tools {
namespace {

void writeName(const RequestName& request, const char* end, JsonWriter& json) {
  json.member(request.kind == RequestKind::kHAP ? "hap" : "table", request.name);
  json.member("ending", end);
}

template <typename Number>
void writeNumbers(const char* name, const std::vector<Number>& numbers, JsonWriter& json) {
  json.key(name).beginArray();
  for (const Number number : numbers) {
    json.number(number);
  }
  json.endArray();
}

void write(const ErrorRecord& record, JsonWriter& json) {
  const Failure& failure = record.failure;
  const auto* const bytes = reinterpret_cast<const unsigned char*>(failure.detail.data());
  const std::size_t api_bytes = failure.of_api ? failure.detail_bytes : 0;
  json.key("errorRecord").beginObject().member("hap", failure.hap);
  json.member("code", hexText(failure.code)).member("meaning", record.meaning);
  writeNumbers("detail", failure.of_api ? std::vector<std::uint32_t>() : failure.detail, json);
  writeNumbers("apiData", std::vector<unsigned char>(bytes, bytes + api_bytes), json);
  json.member("detailText", detailText(failure));
  json.texts("units", record.units);
  json.endObject();
}

void write(const ReportedFailure& failure, JsonWriter& json) {
  write(failure.first_failing, json.key("firstFailingRow"));
  if (failure.record) {
    write(*failure.record, json);
  }
  if (!failure.message.empty()) {
    json.member("message", failure.message);
  }
}

}  // namespace

void writeRun(const RunReport& report, JsonWriter& json) {
  const bool is_well = report.outcome.failure.empty();
  writeName(report.request, is_well ? "succeeded" : "failed", json);
  char time[32];
  std::snprintf(time, sizeof(time), "%.3f", report.outcome.time_ms);
  json.key("timeMs").raw(time);
  if (!is_well) {
    json.member("failure", report.outcome.failure).member("reason", report.reason);
    write(report.failure, json);
  }
}

void writeCrash(const CrashReport& report, JsonWriter& json) {
  writeName(report.request, "crashed", json);
  if (report.signal != 0) {
    json.member("signal", signalText(report.signal));
  } else {
    json.key("exitStatus").number(static_cast<unsigned int>(report.exit_status));
  }
  json.member("runningHap", report.crash.hap).member("module", report.crash.module);
  json.texts("records", report.crash.records);
}

void writeThreadEnd(const RequestName& request, JsonWriter& json) {
  writeName(request, "threadEnded", json);
}

}  // namespace kw::trx::tools
