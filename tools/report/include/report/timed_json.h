// SPDX-License-Identifier: Apache-2.0
// The parts of a report as JSON, and what they have in common. One thread.
#ifndef KW_TRX_TOOLS_REPORT_TIMED_JSON_H_
#define KW_TRX_TOOLS_REPORT_TIMED_JSON_H_

#include <cstdint>

#include "common/json.h"
#include "report/report.h"

namespace kw::trx::tools {

/// Writes times as nanoseconds since a start.
class TimedJson {
 public:
  /// `json` must outlive it.
  TimedJson(JsonWriter& json, std::uint64_t start_ns) : json_(json), start_ns_(start_ns) {}

  JsonWriter& json() const { return json_; }

  /// The member `name`; a time before the start counts as the start.
  JsonWriter& time(const char* name, std::uint64_t time_ns) const;

  /// The same of a time that may not be known: 0 is written as null.
  JsonWriter& timeOrNull(const char* name, std::uint64_t time_ns) const;

  /// What a request was to do, who asked for it, and when: members of the open object.
  void request(const Request& request) const;

 private:
  JsonWriter& json_;
  std::uint64_t start_ns_;
};

/// Writes the members `failures` and `otherFailures` into the open object.
void writeFailures(const Report& report, const TimedJson& json);

/// Writes the members `minNs` to `sumNs` into the open object.
void writeDurations(const Durations& durations, JsonWriter& json);

/// Writes the members `calls` to `lockWaitNs` into the open object.
void writeFigures(const WorkFigures& figures, JsonWriter& json);

/// Writes the member `tables`: each table that ran or that one of these calls, a table that is not
/// known as far as its rows ran; and `tablesNotRun`, the names of the others.
void writeTables(const Report& report, JsonWriter& json);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPORT_TIMED_JSON_H_
