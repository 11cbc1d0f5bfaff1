// SPDX-License-Identifier: Apache-2.0
// Requests as lines.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iomanip>
#include <iostream>

#include "command_line/command_line.h"
#include "command_line/ring_reading.h"
#include "command_line/text_output.h"
#include "commands/trace_output.h"
#include "common/json.h"
#include "common/text.h"
#include "common/times.h"
#include "kw/platform.h"
#include "table/code_meanings.h"
#include "trace/request_reader.h"
#include "trace/selection.h"

namespace kw::trx::tools {
namespace {

constexpr int kDurationWidth = 10;

class SummaryShow : private RequestSummaries {
 public:
  SummaryShow(const RequestFilter& filter, bool json)
      : RequestSummaries([this](const RequestSummary& summary) { show(summary); }),
        json_(json),
        filter_(filter),
        meaning_(configuredMeanings()) {}

  int run(const std::string& file) {
    RequestReader ring(*this);
    if (const int opened = openRings({file}, ring); opened != kExitOk) {
      return opened;
    }
    const int status = readRings(ring, {file}, false);
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
    return status;
  }

 private:
  void show(const RequestSummary& summary) {
    const Request& request = summary.request;
    const std::string outcome = outcomeText(summary, meaning_);
    ++requests_;
    open_ += request.ending == Ending::kOpen ? 1 : 0;
    if (filter_.takes(request, outcome)) {
      ++shown_;
      json_ ? printJson(request, outcome) : printLine(request, outcome);
    }
  }

  static void printLine(const Request& request, const std::string& outcome) {
    const std::string duration = (request.start_lost ? ">" : "") + millisText(request.durationNs());
    std::cout << localMicrosText(request.start_ns) << std::setw(kDurationWidth) << duration
              << " ms " << request.process_id << '/' << request.thread_id << ' '
              << requestText(request.id, request.number) << "  " << nameText(request) << ": "
              << (request.hasFailed() ? paint(Colour::kRed, outcome) : outcome) << '\n';
  }

  void printJson(const Request& request, const std::string& outcome) const {
    const Failure& failure = request.failure;
    JsonWriter json(-1);
    json.beginObject().key("startNs").number(request.start_ns);
    json.key("durationNs").number(request.durationNs());
    writeRequest(request, json);
    json.key("parts").number(request.parts.size());
    json.member("outcome", nameOf(request.ending)).member("words", outcome);
    json.key("beginLost").boolean(request.start_lost);
    json.key("damaged").boolean(request.is_incomplete);
    json.member("uncertain", request.uncertain);
    json.member("exception", request.exception == 0 ? "" : hexText(request.exception));
    json.member("failedTable", request.first_failing ? request.first_failing->table : "");
    json.member("failedRow", request.first_failing ? hexDigits(request.first_failing->number) : "");
    json.member("failedHap", failure.hap);
    json.member("code", failure.has_code ? hexText(failure.code) : "");
    json.member("meaning", codeMeaningOf(failure, meaning_));
    json.member("detailText", detailText(failure));
    std::cout << json.endObject().taken() << '\n';
  }

  const bool json_;
  const RequestFilter filter_;
  const CodeMeaning meaning_;
  std::uint64_t requests_ = 0, shown_ = 0, open_ = 0;
};

}  // namespace

int showSummary(const std::string& file, const RequestFilter& filter, bool json) {
  return SummaryShow(filter, json).run(file);
}

}  // namespace kw::trx::tools
