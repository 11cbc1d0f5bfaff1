// SPDX-License-Identifier: Apache-2.0
#include <iomanip>
#include <iostream>
#include <memory>

#include "command_line/command_line.h"
#include "command_line/ring_reading.h"
#include "command_line/text_output.h"
#include "commands/request_rules.h"
#include "common/json.h"
#include "common/text.h"
#include "common/times.h"
#include "table/code_meanings.h"
#include "trace/request_reader.h"
#include "trace/selection.h"

namespace kw::trx::tools {
namespace {

constexpr char kRequests[] = "requests";
constexpr int kDurationWidth = 10;

struct RequestsOptions {
  std::vector<std::string> rings;
  FilterOptions requests;
  std::string rules;
  bool follow = false;
  bool json = false;
};

void printLine(const Request& request, const std::string& outcome) {
  const std::string duration = (request.start_lost ? ">" : "") + millisText(request.durationNs());
  std::cout << localMicrosText(request.start_ns) << std::setw(kDurationWidth) << duration << " ms "
            << request.process_id << '/' << request.thread_id << ' '
            << requestText(request.id, request.number) << "  " << nameText(request) << ": "
            << (request.hasFailed() ? paint(Colour::kRed, outcome) : outcome) << '\n';
}

void writeFailure(const Request& request, const CodeMeaning& meaning, JsonWriter& json) {
  const Failure& failure = request.failure;
  json.member("exception", request.exception == 0 ? "" : hexText(request.exception));
  write(request.first_failing, json.key("firstFailingRow"));
  json.member("failedHap", failure.hap);
  json.member("code", failure.has_code ? hexText(failure.code) : "");
  json.member("meaning", codeMeaningOf(failure, meaning));
  json.member("detail", detailText(failure));
}

void printJson(const Request& request, const std::string& outcome, const CodeMeaning& meaning) {
  JsonWriter json(-1);
  startOutput(kRequests, json);
  writeTime("start", request.start_ns, json);
  json.key("durationNs").number(request.durationNs());
  writeRequest(request, json);
  json.key("parts").number(request.parts.size());
  json.member("ending", nameOf(request.ending)).member("message", outcome);
  json.key("startLost").boolean(request.start_lost);
  json.key("incomplete").boolean(request.is_incomplete);
  json.member("uncertain", request.uncertain);
  writeFailure(request, meaning, json);
  std::cout << json.endObject().taken() << '\n';
}

class RequestsShow : private RequestSummaries {
 public:
  explicit RequestsShow(const RequestsOptions& options)
      : RequestSummaries([this](const RequestSummary& summary) { show(summary); }),
        options_(options),
        filter_(filterOf(options.requests, options.rings)),
        meaning_(configuredMeanings()) {}

  int run() {
    if (options_.follow && !waitForRings(options_.rings)) {
      return kExitOk;
    }
    RequestReader reader(*this);
    if (const int opened = openRings(options_.rings, reader); opened != kExitOk) {
      return opened;
    }
    const int status = readRings(reader, options_.rings, options_.follow, [&] {
      if (options_.follow) {
        reader.settle();
      }
      std::cout.flush();
    });
    if (shown_ == 0) {
      sayNone();
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
      options_.json ? printJson(request, outcome, meaning_) : printLine(request, outcome);
    }
  }

  void sayNone() const {
    std::cerr << "trxctl: "
              << (requests_ == 0
                      ? "no record tells of a request; those of the level info must be in the ring"
                      : "none of the " + std::to_string(requests_) +
                            " requests in the ring is one of those asked for" +
                            (open_ == 0
                                 ? ""
                                 : "; of " + std::to_string(open_) + " the end is not in the ring"))
              << '\n';
  }

  const RequestsOptions& options_;
  const RequestFilter filter_;
  const CodeMeaning meaning_;
  std::uint64_t requests_ = 0, shown_ = 0, open_ = 0;
};

void describeRequests(CommandOptions& command) {
  auto options = std::make_shared<RequestsOptions>();
  addRings(command, options->rings);
  addFilterOptions(command, options->requests);
  command.flag(options->follow,
               {"--follow", "Wait for the ring, and go on with new requests until interrupted"});
  command.text(options->rules,
               {"--rules", "Print which rules of this case file they break, all of them", "CASES"});
  command.excludes("--rules", {"--follow", "--since", "--until", "--process", "--thread",
                               "--request", "--failed", "--text", "-n"});
  command.json(options->json);
  command.run([options] {
    options->rings = ringsOf(options->rings);
    return options->rules.empty() ? RequestsShow(*options).run()
                                  : showRules(options->rings, options->rules, options->json);
  });
}

const RegisteredCommand kRequestsCommand(
    {kRequests, Group::kTraces,
     "Lists the requests of trace rings, a line each, and how they ended",
     "Each line: local date and time of the start with its zone, how long it ran, "
     "process/thread, request, what it ran, how it ended. A request is shown by its id, which is "
     "the low half of its process id and that of the thread that made its context, and by its "
     "number among those of that id in the ring. A table that goes on behind a WAIT is one "
     "request.",
     "/var/board/trace.ring --failed", "the rings were read", "a rule is broken"},
    describeRequests);

}  // namespace
}  // namespace kw::trx::tools
