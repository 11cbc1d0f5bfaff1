// SPDX-License-Identifier: Apache-2.0
#include "trxctl/trace_summary.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iomanip>
#include <iostream>

#include "common/json.h"
#include "common/text.h"
#include "common/times.h"
#include "kw/platform.h"
#include "tables/code_meanings.h"
#include "traces/doubts.h"
#include "traces/ring_merger.h"
#include "traces/selection.h"
#include "trxctl/command_line.h"
#include "trxctl/text_output.h"

namespace kw::trx::tools {
namespace {

using kw::platform::TraceRecord;

constexpr int kDurationWidth = 10;

class SummaryShow {
 public:
  SummaryShow(const SummaryOptions& options, std::uint64_t end_ns)
      : json_(options.json),
        filter_(options.filter),
        meaning_(configuredMeanings()),
        summaries_([this](const RequestSummary& request) { show(request); }) {
    if (!options.since.empty()) {
      filter_.since_ns = timeOf(options.since, end_ns);
    }
    if (!options.until.empty()) {
      filter_.until_ns = timeOf(options.until, end_ns);
    }
  }

  int run(RingMerger& ring) {
    TraceRecord record{};
    while (std::cout && ring.next(record)) {
      summaries_.take(record);
    }
    summaries_.finish();
    sayWhatIsLost(ring.doubtful(), ring.lost());
    if (shown_ == 0) {
      std::cerr
          << "trxctl: "
          << (requests_ == 0
                  ? "no record tells of a request; those of the level info must be in the ring"
                  : "none of the " + std::to_string(requests_) +
                        " requests in the ring is one of those asked for" +
                        (open_ == 0
                             ? ""
                             : "; of " + std::to_string(open_) + " the end is not in the ring"))
          << '\n';
    }
    return kExitOk;
  }

 private:
  void show(const RequestSummary& request) {
    const std::string words = outcomeText(request, meaning_);
    ++requests_;
    open_ += request.end == RequestEnd::kOpen ? 1 : 0;
    if (filter_.takes(request, words)) {
      ++shown_;
      json_ ? printJson(request, words) : printLine(request, words);
    }
  }

  static std::string whatText(const RequestSummary& request) {
    if (request.name.empty()) {
      return request.is_table ? "a table" : "a request";
    }
    std::string text = (request.is_table ? "table " : "HAP ") + request.name;
    text += request.mode.empty() ? "" : ", mode " + request.mode;
    for (std::size_t i = 0; i < request.units.size(); ++i) {
      text += (i == 0 ? " on " : ", ") + request.units[i];
    }
    return text + (request.more_units ? " and others" : "");
  }

  static void printLine(const RequestSummary& request, const std::string& words) {
    const std::string duration =
        (request.begin_lost ? ">" : "") + millisText(request.end_ns - request.begin_ns);
    std::cout << localMicrosText(request.begin_ns) << std::setw(kDurationWidth) << duration
              << " ms " << request.process_id << '/' << request.thread_id << ' '
              << requestText(request.request, request.number) << "  " << whatText(request) << ": "
              << (isFailure(request.end) ? paint(Colour::kRed, words) : words) << '\n';
  }

  static void printJson(const RequestSummary& request, const std::string& words) {
    JsonWriter json(-1);
    json.beginObject().key("startNs").number(request.begin_ns);
    json.key("durationNs").number(request.end_ns - request.begin_ns);
    json.key("process").number(request.process_id).key("thread").number(request.thread_id);
    json.member("request", hexText(request.request)).key("requestNumber").number(request.number);
    json.member("kind", request.is_table ? "table" : "hap").member("name", request.name);
    json.member("mode", request.mode).texts("units", request.units);
    json.key("moreUnits").boolean(request.more_units);
    json.member("outcome", nameOf(request.end)).member("words", words);
    json.key("beginLost").boolean(request.begin_lost).key("damaged").boolean(request.damaged);
    if (request.failure) {
      const RequestFailure& failure = *request.failure;
      json.member("failedTable", failure.table).member("failedRow", failure.row);
      json.member("failedHap", failure.hap).member("code", hexText(failure.code));
    }
    std::cout << json.endObject().taken() << '\n';
  }

  const bool json_;
  RequestFilter filter_;
  const CodeMeaning meaning_;
  RequestSummaries summaries_;
  std::uint64_t requests_ = 0, shown_ = 0, open_ = 0;
};

}  // namespace

int showSummary(const std::string& file, const SummaryOptions& options) {
  RingMerger ring;
  if (ring.open(file) != 0) {
    return failToOpenRing(file);
  }
  const bool timed = !options.since.empty() || !options.until.empty();
  return SummaryShow(options, timed ? endOfRings({file}) : 0).run(ring);
}

int failToOpenRing(const std::string& file) {
  return fail(file + ": " +
              (errno == EINVAL ? "is no trace ring; name the file that the host gave to "
                                 "openTraceRing"
                               : std::strerror(errno)));
}

void sayWhatIsLost(std::uint64_t doubtful, std::uint64_t lost) {
  for (const std::string& words : lossWords(doubtful, lost)) {
    std::cerr << "trxctl: " << words << '\n';
  }
}

}  // namespace kw::trx::tools
