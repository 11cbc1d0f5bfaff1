// SPDX-License-Identifier: Apache-2.0
// An engine whose trace records are looked at.
#ifndef KW_TRX_TESTS_TOOLS_RECORDS_FIXTURE_H_
#define KW_TRX_TESTS_TOOLS_RECORDS_FIXTURE_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kw/trx/testing/engine_fixture.h"
#include "traces/record_collector.h"
#include "traces/request_summaries.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::testing {

/// A record of a process with one thread, `time` microseconds after some point.
inline kw::platform::TraceRecord recordAt(std::uint64_t time, std::uint32_t process,
                                          std::uint32_t id, const std::string& text) {
  kw::platform::TraceRecord record{};
  record.time_ns = time * 1000;
  record.process_id = record.thread_id = process;
  record.id = id;
  record.data.assign(text.begin(), text.end());
  record.data.push_back(0);
  record.length = static_cast<std::uint32_t>(record.data.size());
  return record;
}

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

  /// What the records tell: name, units and outcome of each request.
  static std::vector<std::string> summariesOf(const std::vector<kw::platform::TraceRecord>& records,
                                              bool all) {
    std::vector<std::string> lines;
    tools::RequestSummaries summaries([&lines](const tools::RequestSummary& request) {
      EXPECT_LE(request.begin_ns, request.end_ns);
      EXPECT_LT(request.end_ns - request.begin_ns, 100000U) << request.name;
      const auto meaning = [](const std::string& hap, std::uint32_t code) {
        return hap == "TST_FailDetail" && code == 0x20001 ? "no voltage" : std::string();
      };
      lines.push_back(request.name + (request.units.empty() ? "" : " on " + request.units[0]) +
                      ": " + tools::outcomeText(request, meaning));
    });
    for (const kw::platform::TraceRecord& record : records) {
      if (all || record.level == trx::kLevelInfo || record.level == trx::kLevelError) {
        summaries.take(record);
      }
    }
    summaries.finish();
    return lines;
  }
};

}  // namespace kw::trx::testing

#endif  // KW_TRX_TESTS_TOOLS_RECORDS_FIXTURE_H_
