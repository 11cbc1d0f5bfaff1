// SPDX-License-Identifier: Apache-2.0
#include "replay/request_recording.h"

#include <algorithm>
#include <iterator>

#include "common/text.h"
#include "kw/trace_record.h"
#include "kw/trx/errors.h"
#include "simulator/simulator.h"
#include "trace/record_words.h"
#include "trace/selection.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kMaxNamed = 10;
constexpr std::size_t kMaxNotes = 20;
constexpr std::size_t kMaxDetail = std::size(trx::HAP_ERR_T{}.detail);
constexpr std::uint32_t kWordBytes = 4;

/// What the engine gives for an exception that is not its own.
constexpr unsigned int kForeign = 1;

[[noreturn]] void refuse(const std::string& words) { throw NotReplayable(words); }

std::string nameOf(const Request& request) { return requestText(request.id, request.number); }

/// Makes outcomes of failures, and notes what of them cannot be simulated.
class Outcomes {
 public:
  explicit Outcomes(std::vector<std::string>& notes) : notes_(notes) {}

  HAPOutcome of(const RecordedRow& row) {
    HAPOutcome outcome;
    outcome.kind = HAPOutcome::Kind::kThrow;
    outcome.code = row.ran.exception;
    switch (row.ran.cause) {
      case Cause::kNone:
        return {};
      case Cause::kError:
        return failureOf(row);
      case Cause::kUndefined:
        note(row, "its HAP was not defined; the simulation lets it throw instead");
        return outcome;
      case Cause::kThrew:
        if (outcome.code == 0) {
          note(row, "the exception had the code 0, which no simulated one has");
          outcome.code = trx::kCodeHAPFailed;
        }
        return outcome;
      default:
        return outcome;
    }
  }

 private:
  HAPOutcome failureOf(const RecordedRow& row) {
    const Failure& failure = row.ran.failure;
    HAPOutcome outcome;
    outcome.kind = HAPOutcome::Kind::kFailure;
    if (failure.of_api) {
      note(row, "it failed with the API error " + hexText(failure.code) +
                    ", which a simulated HAP cannot record: it fails without one");
      return outcome;
    }
    outcome.code = failure.code;
    outcome.detail.assign(failure.detail.begin(), failure.detail.end());
    const std::size_t told = outcome.detail.size() * kWordBytes;
    if (told < failure.detail_bytes) {
      note(row, "of " + std::to_string(failure.detail_bytes) + " bytes of error detail " +
                    std::to_string(told) + " are told and can be simulated");
      outcome.detail.resize(
          std::min<std::size_t>((failure.detail_bytes + kWordBytes - 1) / kWordBytes, kMaxDetail),
          0);
    } else if (told > failure.detail_bytes) {
      note(row, "its " + std::to_string(failure.detail_bytes) +
                    " bytes of error detail are simulated as whole words");
    }
    return outcome;
  }

  void note(const RecordedRow& row, const std::string& words) {
    const std::string note = row.name() + ": " + words;
    if (notes_.size() < kMaxNotes &&
        std::find(notes_.begin(), notes_.end(), note) == notes_.end()) {
      notes_.push_back(note);
    }
  }

  std::vector<std::string>& notes_;
};

/// What the simulation cannot do again, in words; empty: it can.
std::string problemOf(const Request& request) {
  if (request.is_broken || request.start_lost) {
    return "records of it are missing";
  }
  if (request.goes_on) {
    return "it goes on behind an exception that interrupted another one, which no simulated one "
           "does";
  }
  switch (request.ending) {
    case Ending::kOpen:
      return "its end is not in the ring: it still runs, or its process ended in it; its last "
             "record: " +
             describe(request.last);
    case Ending::kWaits:
      return "it is in a WAIT row, and that it went on is not in the ring";
    case Ending::kRefused:
      return "it was refused";
    default:
      break;
  }
  if (request.failure.cause == Cause::kForeign) {
    return "an exception that is not the engine's ended it outside of its HAPs";
  }
  switch (request.ended_as) {
    case Cause::kStopped:
      return "its host stopped the engine while it ran";
    case Cause::kStaleContext:
    case Cause::kContextEmptied:
      return "it ended with error though none of its rows did: its context had been used by a "
             "request that failed, and not been initialized since, or a HAP emptied it";
    default:
      return {};
  }
}

/// Refuses rows that no simulated request runs.
void check(const RecordedRequest& recorded) {
  bool kept = false;
  for (const RecordedRow& row : recorded.rows) {
    kept = kept || row.ran.effect == Effect::kKept;
    for (const std::string& name : {row.ran.row.table, row.ran.name, row.ran.mode}) {
      if (name.size() >= kw::platform::kTraceDataMax) {
        refuse("request " + nameOf(recorded.request) +
               " cannot be simulated: a name in it is longer than the " +
               std::to_string(kw::platform::kTraceDataMax) + " bytes that a ring keeps");
      }
    }
    if (row.ran.command == Command::kCheck && !kept && row.ran.effect != Effect::kNone) {
      refuse(row.name() +
             " finds a failure that no row of the request left: its context had been used before, "
             "and not been initialized since");
    }
  }
}

}  // namespace

bool RequestRecording::isWanted(const Request& request) const {
  return request.isTable() && (id_ == 0 || request.id == id_) &&
         (number_ == 0 || request.number == number_);
}

void RequestRecording::rowStarted(const Request& request, const Span& row) {
  if (!isWanted(request)) {
    return;
  }
  Rows& rows = rows_[request.serial];
  rows.rows.push_back(row);
  rows.tables.resize(std::max<std::size_t>(row.tables, 1));
  rows.tables.back() = row.row.table;
  if (row.command == Command::kTable && !row.name.empty()) {
    rows.within =
        static_cast<unsigned int>(std::count(rows.tables.begin(), rows.tables.end(), row.name));
    rows.deepest = std::max(rows.deepest, rows.within);
  }
}

void RequestRecording::spanEnded(const Request& request, const Span& span) {
  if (!span.isRow() || !isWanted(request)) {
    return;
  }
  std::vector<Span>& rows = rows_[request.serial].rows;
  const auto started = std::find_if(rows.rbegin(), rows.rend(), [&span](const Span& row) {
    return row.row == span.row && row.end_ns == 0 && row.tables == span.tables;
  });
  if (started != rows.rend()) {
    *started = span;
    started->end_ns = std::max<std::uint64_t>(span.end_ns, 1);
  } else {
    rows.push_back(span);  // it goes on with what an exception interrupted
  }
}

void RequestRecording::requestEnded(const Request& request) {
  if ((id_ == 0 || request.id == id_) && request.ending != Ending::kRefused) {
    ended_.push_back(request);
  }
}

RecordedRequest RequestRecording::result() { return recordedOf(find()); }

std::vector<RequestRecording::Recorded> RequestRecording::results() {
  std::vector<Recorded> results;
  for (const Request& request : ended_) {
    if (!isWanted(request)) {
      continue;
    }
    try {
      results.push_back({recordedOf(request), ""});
    } catch (const NotReplayable& problem) {
      results.push_back({{request, {}, {}, 0, {}}, problem.what()});
    }
  }
  return results;
}

RecordedRequest RequestRecording::recordedOf(const Request& wanted) {
  RecordedRequest recorded;
  recorded.request = wanted;
  const Request& request = recorded.request;
  if (!request.isTable()) {
    refuse("request " + nameOf(request) + " is one of HAP " + request.name +
           "; only tables can be simulated");
  }
  const std::string problem = problemOf(request);
  if (!problem.empty()) {
    refuse("request " + nameOf(request) + " cannot be simulated: " + problem);
  }
  const Rows& rows = rows_[request.serial];
  recorded.nest_limit = request.ended_as == Cause::kTableNestLimit
                            ? rows.within - std::min(rows.within, 1U)
                            : std::max<unsigned int>(kTableNestLimit, rows.deepest);
  if (!request.uncertain.empty()) {
    recorded.notes.push_back(request.uncertain);
  }
  if (request.is_incomplete) {
    recorded.notes.emplace_back(
        "records that are damaged or lost were written while it ran; some may have been its own");
  }
  Outcomes outcomes(recorded.notes);
  for (const Span& row : rows.rows) {
    recorded.rows.push_back({row, {}});
    RecordedRow& added = recorded.rows.back();
    if (added.callsHAP()) {
      added.outcome = outcomes.of(added);
    }
  }
  check(recorded);
  if (request.ending == Ending::kSucceeded) {
    recorded.end.kind = ExpectedEnd::Kind::kOk;
  } else if (request.exception != 0) {
    recorded.end.kind = ExpectedEnd::Kind::kError;
  } else {
    recorded.end.kind = ExpectedEnd::Kind::kException;
    recorded.end.code = kForeign;
  }
  return recorded;
}

std::vector<Span> RequestRecording::rows() const {
  std::vector<Span> all;
  for (const auto& [serial, rows] : rows_) {
    all.insert(all.end(), rows.rows.begin(), rows.rows.end());
  }
  return all;
}

/// The request that is wanted, or the only one of its id.
const Request& RequestRecording::find() const {
  std::vector<const Request*> found;
  std::uint32_t last = 0;
  for (const Request& request : ended_) {
    last = std::max(last, request.number);
    if (number_ == 0 ? request.isTable() : request.number == number_) {
      found.push_back(&request);
    }
  }
  if (number_ != 0 && found.empty()) {
    refuse("request " + requestText(id_, number_) + " is not in the ring" +
           (ended_.empty()
                ? ", nor another one of this id"
                : ": the last one of its id that begins there is " + requestText(id_, last)));
  }
  if (found.empty()) {
    refuse("no table request of " + hexText(id_) + " begins in the ring" +
           (ended_.empty() ? "" : "; those of HAPs cannot be simulated"));
  }
  if (found.size() > 1) {
    std::vector<std::string> names;
    names.reserve(found.size());
    for (const Request* const request : found) {
      names.push_back(nameOf(*request));
    }
    refuse("say which request it is: " + listed(names, kMaxNamed));
  }
  return *found.front();
}

}  // namespace kw::trx::tools
