// SPDX-License-Identifier: Apache-2.0
// An engine whose trace records are looked at.
#ifndef KW_TRX_TESTS_TOOLS_RECORDS_FIXTURE_H_
#define KW_TRX_TESTS_TOOLS_RECORDS_FIXTURE_H_

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "common/text.h"
#include "kw/trx/testing/engine_fixture.h"
#include "trace/record_collector.h"
#include "trace/request_builder.h"
#include "trace/request_summaries.h"
#include "trace/statistics.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::testing {

/// A record that the engine writes at `point` with `data`, `time` microseconds after some point.
inline kw::platform::TraceRecord recordWith(std::uint64_t time, std::uint32_t thread,
                                            const trx::TracePoint& point,
                                            std::vector<unsigned char> data) {
  kw::platform::TraceRecord record{};
  record.time_ns = time * 1000;
  record.process_id = record.thread_id = thread;
  record.region = 101;
  record.trace_class = trx::kEngineTraceClass;
  record.level = point.level;
  record.id = static_cast<std::uint32_t>(point.id);
  record.data = std::move(data);
  record.length = static_cast<std::uint32_t>(record.data.size());
  return record;
}

/// The same of a text.
inline kw::platform::TraceRecord recordAt(std::uint64_t time, std::uint32_t thread,
                                          const trx::TracePoint& point, const std::string& text) {
  return recordWith(time, thread, point, {text.c_str(), text.c_str() + text.size() + 1});
}

/// The same of words.
inline kw::platform::TraceRecord wordsAt(std::uint64_t time, std::uint32_t thread,
                                         const trx::TracePoint& point,
                                         const std::vector<std::uint32_t>& words) {
  std::vector<unsigned char> data(words.size() > 4 ? 32 : 16, 0);
  if (!words.empty()) {
    std::memcpy(data.data(), words.data(), words.size() * sizeof(words[0]));
  }
  return recordWith(time, thread, point, std::move(data));
}

/// Hands requests and spans to a listener, as if a ring of these records were read. Returns how
/// often the clock was put back.
inline tools::ClockSteps readRecords(const std::vector<kw::platform::TraceRecord>& records,
                                     tools::RequestListener& listener) {
  tools::RequestBuilder builder(listener);
  for (const kw::platform::TraceRecord& record : records) {
    if (tools::suspicionOf(record) == nullptr) {
      builder.take(tools::eventOf(record));
    }
  }
  builder.finish();
  return builder.clockSteps();
}

/// Keeps the records of simulated requests, as those of one thread.
class RecordKeeper : public tools::RequestListener {
 public:
  std::vector<kw::platform::TraceRecord> records;

 private:
  void recordTaken(const tools::Request&, const kw::platform::TraceRecord& record) override {
    records.push_back(record);
    records.back().sequence = records.back().time_ns = records.size();
    records.back().process_id = records.back().thread_id = 7;
  }
};

/// Requests and spans as records have them, a line each in the order of their ends.
class ReadRequests : public tools::RequestListener {
 public:
  explicit ReadRequests(const std::vector<kw::platform::TraceRecord>& records) {
    clock_steps = readRecords(records, *this);
  }

  std::vector<std::string> spans;
  std::vector<std::string> outcomes;  ///< name, unit and outcome of requests
  std::vector<tools::Request> requests;
  tools::Statistics statistics;
  tools::ClockSteps clock_steps;

 private:
  void spanEnded(const tools::Request& request, const tools::Span& span) override {
    summaries_.spanEnded(request, span);
    statistics.spanEnded(request, span);
    EXPECT_LE(span.start_ns, span.end_ns) << span.name;
    const std::string row = span.row.table + '/' + tools::hexDigits(span.row.number);
    std::string line = span.isRow()   ? "row " + row + ' ' + tools::wordOf(span.command)
                       : span.isHAP() ? "HAP"
                                      : "table";
    line += span.name.empty() ? "" : ' ' + span.name;
    line += span.isHAP() && !span.row.table.empty() ? " of " + row : "";
    line += ' ' + std::to_string(span.start_ns / 1000) + '-' + std::to_string(span.end_ns / 1000);
    line += span.has_ended ? "" : " open";
    line += span.is_incomplete ? " incomplete" : "";
    line += span.goes_on ? " goes on" : "";
    line += span.failure.isThrown() ? " thrown" : "";
    line += span.failed() ? " failed" : "";
    spans.push_back(line +
                    (span.failure.has_code ? ' ' + tools::hexDigits(span.failure.code) : ""));
  }

  void requestEnded(const tools::Request& request) override {
    requests.push_back(request);
    summaries_.requestEnded(request);
  }

  tools::RequestSummaries summaries_{[this](const tools::RequestSummary& summary) {
    const tools::Request& request = summary.request;
    EXPECT_LE(request.start_ns, request.end_ns) << request.name;
    const auto meaning = [](const std::string& hap, std::uint32_t code) {
      return hap == "TST_FailDetail" && code == 0x20001 ? "no voltage" : std::string();
    };
    outcomes.push_back(request.name + (request.units.empty() ? "" : " on " + request.units[0]) +
                       ": " + tools::outcomeText(summary, meaning));
  }};
};

class RecordsTest : public EngineFixture {
 protected:
  /// The records of what `requests` does, a microsecond apart, as those of one thread.
  template <typename Requests>
  static std::vector<kw::platform::TraceRecord> recordsOf(const Requests& requests) {
    tools::RecordCollector collector(kw::platform::kTraceAll);
    requests();
    std::vector<kw::platform::TraceRecord> records = collector.taken();
    std::uint64_t time_ns = 0;
    for (kw::platform::TraceRecord& record : records) {
      record.process_id = record.thread_id = 4711;
      record.time_ns = time_ns += 1000;
    }
    return records;
  }

  /// Those of the levels info and error, as most hosts write them.
  static std::vector<kw::platform::TraceRecord> withoutDebug(
      const std::vector<kw::platform::TraceRecord>& records) {
    std::vector<kw::platform::TraceRecord> some;
    std::copy_if(records.begin(), records.end(), std::back_inserter(some), [](const auto& record) {
      return record.level == trx::kLevelInfo || record.level == trx::kLevelError;
    });
    return some;
  }

  /// Loads tables, of each the name and its rows behind START.
  void startTables(const std::vector<std::pair<std::string, std::string>>& tables,
                   const std::string& module = MODULE_TST) {
    std::vector<std::string> files;
    for (const auto& [name, rows] : tables) {
      files.push_back(dir.write(name + ".csv", "FORMAT,0\nVERSION,1\n,1,START\n" + rows));
    }
    configure({module}, files, "haptable.tblcmd.wait.handler=requester\n");
    start();
  }
};

}  // namespace kw::trx::testing

#endif  // KW_TRX_TESTS_TOOLS_RECORDS_FIXTURE_H_
