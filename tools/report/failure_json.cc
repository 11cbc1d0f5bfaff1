// SPDX-License-Identifier: Apache-2.0
// The failures of a report as JSON.
#include <algorithm>

#include "common/text.h"
#include "report/failure_groups.h"
#include "report/timed_json.h"
#include "table/row_finder.h"
#include "trace/advice.h"
#include "trace/catalogue.h"
#include "trace/codes.h"
#include "trace/record_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

using kw::platform::TraceRecord;

/// The numbers of the detail of an error record, or of the data of the HAP API.
std::vector<std::string> detailOf(const Failure& failure) {
  std::vector<std::string> numbers;
  for (const std::uint32_t number : failure.detail) {
    numbers.push_back(hexText(number));
  }
  return numbers;
}

constexpr std::size_t kMaxChanges = 5;

/// How tables have changed since the request ran, as `changeText` says it, each once and the first
/// few alone. None for a request of whose records some are missing or damaged: a damaged
/// record looks like another row.
std::vector<std::string> changesSince(const KeptRequest& request, const RowFinder& finder) {
  std::vector<std::string> changes;
  if (request.request().is_incomplete) {
    return changes;
  }
  for (const Span& span : request.spans) {
    if (span.is_incomplete) {
      return {};
    }
    if (!span.isRow() || changes.size() == kMaxChanges) {
      continue;
    }
    const std::string change = changeText(finder.find(span), span);
    if (!change.empty() && std::find(changes.begin(), changes.end(), change) == changes.end()) {
      changes.push_back(change);
    }
  }
  return changes;
}

class FailureWriter {
 public:
  FailureWriter(const Report& report, const TimedJson& timed)
      : report_(report), timed_(timed), json_(timed.json()), finder_(report.tables) {}

  void write() {
    json_.key("failures").beginArray();
    for (const FailureGroup& group : report_.failures) {
      json_.beginObject();
      writeGroup(group);
      writeStory(group);
      json_.endObject();
    }
    json_.endArray().key("otherFailures").number(report_.other_failures);
  }

 private:
  void writeGroup(const FailureGroup& group) {
    const Request& request = group.last->request();
    const Failure& failure = request.failure;
    json_.key("count").number(group.count);
    timed_.time("firstNs", group.first_ns);
    timed_.time("lastNs", group.last_ns);
    timed_.timeOrNull("succeededBeforeNs", group.succeeded_before_ns);
    timed_.timeOrNull("succeededAfterNs", group.succeeded_after_ns);
    json_.member("kind", nameOf(request.kind)).member("name", request.name);
    json_.member("ending", nameOf(request.ending));
    json_.member("message", outcomeText(group.last->summary, report_.meaning));
    tools::write(request.first_failing, json_.key("firstFailingRow"));
    json_.member("hap", failure.hap);
    json_.member("code", failure.code == 0 ? "" : hexText(failure.code));
    json_.key("thrown").boolean(failure.isThrown());
    json_.member("meaning", codeMeaningOf(failure, report_.meaning));
    json_.member("event", textOf(failure, report_.meaning));
    json_.member("endedBy", endedByText(request));
    json_.key("bucketNs").number(group.times.widthNs()).key("times").beginArray();
    for (std::size_t i = 0; i < group.times.cells().size(); ++i) {
      if (const std::uint64_t count = group.times.cells()[i]; count != 0) {
        json_.beginArray().number(i).number(count).endArray();
      }
    }
    json_.endArray().key("recent").beginArray();
    for (const Request& one : group.recent) {
      json_.beginObject();
      timed_.request(one);
      json_.endObject();
    }
    json_.endArray();
  }

  /// What is known of the last failure of a group.
  void writeStory(const FailureGroup& group) {
    const Failure& failure = group.last->request().failure;
    const KeptRecords& records = group.records;
    const auto kept = std::find(report_.kept.begin(), report_.kept.end(), group.last);
    const auto write = [this](const TraceRecord& record) {
      json_.beginObject();
      timed_.time("timeNs", record.time_ns).member("level", levelName(record.level));
      json_.member("id", hexText(record.id)).member("message", describe(record)).endObject();
    };
    json_.key("last").number(static_cast<std::uint64_t>(kept - report_.kept.begin()));
    json_.texts("fileChanged", changesSince(*group.last, finder_));
    json_.texts("detailWords", detailOf(failure)).member("detail", detailText(failure));
    writeAdvice(failure, records);
    json_.key("records").beginArray();
    std::for_each(records.first.begin(), records.first.end(), write);
    std::for_each(records.last.begin(), records.last.end(), write);
    json_.endArray().key("recordsLeftOut").number(records.left_out);
    json_.key("leftOutAt").number(records.first.size());
  }

  /// What to do: by the code, or by the record of a refusal.
  void writeAdvice(const Failure& failure, const KeptRecords& records) {
    const CodeText* const code = findCode(failure.code);
    const TraceRecord& last = records.last.empty() ? records.first.back() : records.last.back();
    const Point* const point = failure.hap.empty() ? findPoint(last.id) : nullptr;
    const Advice* const advice = point == nullptr ? nullptr : findAdvice(*point);
    json_.member("causes", code != nullptr     ? code->causes
                           : advice != nullptr ? advice->causes
                                               : "");
    json_.member("advice", code != nullptr     ? code->advice
                           : advice != nullptr ? advice->advice
                                               : "");
  }

  const Report& report_;
  const TimedJson& timed_;
  JsonWriter& json_;
  const RowFinder finder_;
};

}  // namespace

void writeFailures(const Report& report, const TimedJson& json) {
  FailureWriter(report, json).write();
}

}  // namespace kw::trx::tools
