// SPDX-License-Identifier: Apache-2.0
// What a report on trace rings holds. Its size is bounded: what does not fit is counted.
#ifndef KW_TRX_TOOLS_REPORT_REPORT_H_
#define KW_TRX_TOOLS_REPORT_REPORT_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "configuration/report.h"
#include "coverage/coverage.h"
#include "doctor/diagnosis.h"
#include "graph/graph.h"
#include "kw/platform.h"
#include "report/time_buckets.h"
#include "trace/request_reader.h"
#include "trace/request_summaries.h"
#include "trace/statistics.h"

namespace kw::trx::tools {

// How much a report keeps; shrinking halves from here.
constexpr std::size_t kMaxGroups = 100;    ///< failures that are not equal
constexpr std::size_t kMaxRecent = 10;     ///< requests named of a failure
constexpr std::size_t kMaxNames = 300;     ///< of requests
constexpr std::size_t kFirstRecords = 12;  ///< of a request that is shown
constexpr std::size_t kLastRecords = 48;   ///< of the same
constexpr std::size_t kMaxSlices = 400;    ///< tables, rows and HAPs of one

/// A request with what ran in it.
struct KeptRequest {
  RequestSummary summary;
  std::vector<Span> spans;           ///< tables, rows and HAPs, in the order of their ends
  std::uint64_t spans_left_out = 0;  ///< earlier ones

  const Request& request() const { return summary.request; }
};
using KeptRequestPtr = std::shared_ptr<const KeptRequest>;

/// The records of a request: the first and the last ones.
struct KeptRecords {
  std::vector<kw::platform::TraceRecord> first;
  std::deque<kw::platform::TraceRecord> last;
  std::uint64_t left_out = 0;  ///< between them
};

/// Requests that failed in the same way.
struct FailureGroup {
  FailureGroup(std::uint64_t start_ns, std::size_t buckets) : times(start_ns, buckets) {}

  std::uint64_t count = 0;
  std::uint64_t first_ns = 0, last_ns = 0;  ///< ends of the first and the last one
  /// End of the last request of that name that had succeeded when the first of these started; 0:
  /// none.
  std::uint64_t succeeded_before_ns = 0;
  std::uint64_t succeeded_after_ns =
      0;  ///< of the last one that succeeded after all these; 0: none did
  TimeBuckets<std::uint64_t> times;
  std::deque<Request> recent;  ///< the last ones, in order
  KeptRequestPtr last;
  KeptRecords records;  ///< of the last one
};

/// The requests of one name.
struct NamedRequests {
  Request::Kind kind = Request::Kind::kUnknown;
  std::string name;
  std::uint64_t failed = 0;  ///< or refused
  std::uint64_t others = 0;  ///< their end is not known, or they wait
  Durations durations;       ///< of all of them
};

/// What a thread did in a span of time.
struct ThreadLoad {
  std::uint64_t requests = 0, failed = 0;  ///< that started and failed in it
  std::uint64_t busy_ns = 0;
  ThreadLoad& operator+=(const ThreadLoad& other) {
    requests += other.requests;
    failed += other.failed;
    busy_ns += other.busy_ns;
    return *this;
  }
};

/// The requests of one thread.
struct ThreadLane {
  ThreadLane(std::uint64_t start_ns, std::size_t buckets) : load(start_ns, buckets) {}

  std::size_t ring = 0;
  std::uint32_t process_id = 0, thread_id = 0;  ///< 0: all threads that have no lane of their own
  TimeBuckets<ThreadLoad> load;
};

/// How much is shown of what is not bounded as it is gathered.
struct ReportBounds {
  std::size_t rows = 3000, tables = 1000, haps = 300;
};

struct Report {
  std::string version;       ///< of the tool
  std::uint64_t made_s = 0;  ///< when, seconds since 1970
  std::vector<std::string> rings;
  std::uint64_t records = 0;  ///< without the suspect ones
  Losses losses;
  std::uint64_t left_out_runs = 0;  ///< of rows and HAPs, as records of their time are missing
  std::uint64_t start_ns = 0, end_ns = 0;  ///< of these records; 0: there are none
  std::map<Ending, std::uint64_t> requests;
  std::vector<FailureGroup> failures;  ///< the most frequent ones first
  std::uint64_t other_failures = 0;    ///< of no group, as there are too many kinds
  std::vector<KeptRequestPtr> kept;    ///< in the order of their starts
  std::uint64_t failed_kept = 0;       ///< of them
  std::vector<ThreadLane> lanes;
  std::uint64_t threads = 0;
  std::vector<NamedRequests> names;  ///< by their failures, then by their number, downwards
  std::uint64_t other_names = 0;     ///< requests of none of them, as there are too many names
  Statistics statistics;
  TableFlows tables;   ///< those that are known
  GraphCounts counts;  ///< of their rows
  std::map<std::string, std::uint64_t>
      unknown_rows;  ///< runs of rows that stand in no table, by table
  ConfigReport configuration;
  std::vector<Diagnosis> machine;
  CodeMeaning meaning;
  ReportBounds bounds;
  std::vector<std::string> left_out;  ///< sentences on what was too much for a page
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPORT_REPORT_H_
