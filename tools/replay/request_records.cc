// SPDX-License-Identifier: Apache-2.0
#include "replay/request_records.h"

#include <algorithm>
#include <vector>

#include "common/text.h"
#include "traces/doubts.h"
#include "traces/record_words.h"
#include "traces/selection.h"
#include "zqm_trx/table_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

using kw::platform::TraceRecord;

/// So many requests are named to choose from.
constexpr std::size_t kNamedMost = 10;

/// What the engine gives for an exception that is not its own.
constexpr unsigned int kForeign = 1;

[[noreturn]] void refuse(const std::string& words) { throw NotReplayable(words); }

/// A CHECK row that finds a failure which no row before it left, as no simulated one does.
void checkMarks(const RecordedRequest& request) {
  bool kept = false;
  for (const RecordedRow& row : request.rows) {
    kept = kept || row.effect == RecordedRow::Effect::kKept;
    if (row.ran.command == trx::kCommandCheck && !kept &&
        row.effect != RecordedRow::Effect::kNone) {
      refuse(row.name() +
             " finds a failure that no row of the request left: its context had been used before, "
             "and not been initialized since");
    }
  }
}

}  // namespace

RequestRecords::RequestRecords(std::uint32_t id)
    : id_(id), tracker_([this](const Slice& slice) { endRow(slice); }) {}

void RequestRecords::take(const TraceRecord& record) {
  noteLost(record);
  if (doubtOf(record) != nullptr) {
    return noteDamage(record);
  }
  const SliceTracker::Place place = tracker_.take(record);
  const Thread thread = {record.process_id, record.thread_id};
  if (record.id == trx::kTrxHAPName.id) {
    return beginHAP(record);
  }
  if (record.id == trx::kTrxTableAdmitted.id) {
    return beginTable(record, place);
  }
  const auto hap = begun_haps_.find(thread);
  if (hap != begun_haps_.end() && place.number != 0) {
    if (place.request == id_) {
      haps_[place.number] = hap->second;
    }
    begun_haps_.erase(hap);
  }
  const auto running = running_.find(thread);
  if (running != running_.end()) {
    parts_.at(running->second).take(record, place);
    if (record.id == trx::kDriverResume.id) {
      joinFormer(running->second);
    }
  }
}

void RequestRecords::noteDamage(const TraceRecord& record) {
  ++doubtful_;
  for (const auto& [thread, number] : running_) {
    RequestPart& part = parts_.at(number);
    if (!part.isOver()) {
      part.noteDamage(thread == Thread{record.process_id, record.thread_id});
    }
  }
}

void RequestRecords::noteLost(const TraceRecord& record) {
  const std::uint64_t lost =
      record.sequence > next_sequence_ ? record.sequence - next_sequence_ : 0;
  next_sequence_ = record.sequence + 1;
  if (lost == 0) {
    return;
  }
  for (const auto& [thread, number] : running_) {
    RequestPart& part = parts_.at(number);
    if (!part.isOver()) {
      part.noteLost(lost);
    }
  }
}

void RequestRecords::beginHAP(const TraceRecord& record) {
  const Thread thread = {record.process_id, record.thread_id};
  begun_haps_[thread] = textOf(record);
  const auto running = running_.find(thread);
  if (running != running_.end()) {
    parts_.at(running->second).leave("of HAP " + textOf(record));
    running_.erase(running);
  }
}

void RequestRecords::beginTable(const TraceRecord& record, const SliceTracker::Place& place) {
  const Thread thread = {record.process_id, record.thread_id};
  begun_haps_.erase(thread);
  const auto running = running_.find(thread);
  if (running != running_.end()) {
    parts_.at(running->second).leave(requestText(place.request, place.number));
    running_.erase(running);
  }
  if (place.request == id_) {
    parts_.emplace(place.number, RequestPart(record));
    running_[thread] = place.number;
  }
}

/// Finds the part that one goes on from: the last one that waits in this table.
void RequestRecords::joinFormer(std::uint32_t number) {
  RequestPart& part = parts_.at(number);
  for (auto& [other_number, other] : parts_) {
    if (other_number < number && other.next == 0 && other.table == part.table &&
        (other.state() == RequestPart::State::kWaits ||
         other.state() == RequestPart::State::kInterrupted)) {
      part.former = other_number;
      ++part.choices;
    }
  }
  if (part.former != 0) {
    RequestPart& former = parts_.at(part.former);
    former.next = number;
    // How deep its tables are nested is only known of the request which waited last.
    part.choices = former.tables.size() == part.tables.size() ? part.choices : 0;
    part.tables = former.tables;
  }
}

void RequestRecords::endRow(const Slice& slice) {
  if (slice.kind != Slice::Kind::kRow || slice.request != id_) {
    return;
  }
  const auto part = parts_.find(slice.number);
  if (part != parts_.end()) {
    part->second.endRow(slice);
  }
}

std::string RequestRecords::nameOf(std::uint32_t number) const { return requestText(id_, number); }

RecordedRequest RequestRecords::request(std::uint32_t number) {
  tracker_.finish();
  number = number == 0 ? onlyOne() : number;
  const auto hap = haps_.find(number);
  if (hap != haps_.end()) {
    refuse("request " + nameOf(number) + " is one of HAP " + hap->second +
           "; only tables can be simulated");
  }
  if (parts_.count(number) == 0) {
    const auto known = tracker_.requests().find(id_);
    refuse("request " + nameOf(number) + " is not in the ring" +
           (known == tracker_.requests().end()
                ? ", nor another one of this id"
                : ": the last one of its id that begins there is " + nameOf(known->second)));
  }
  std::uint32_t first = number;
  while (parts_.at(first).former != 0) {
    first = parts_.at(first).former;
  }
  RecordedRequest request = join(first);
  if (std::count(request.numbers.begin(), request.numbers.end(), number) == 0) {
    refuse("request " + nameOf(number) + " goes on behind the exception that interrupted " +
           nameOf(request.numbers.back()) + ", which no simulated one does");
  }
  return request;
}

/// The number of the request of this id when there is a single one of tables.
std::uint32_t RequestRecords::onlyOne() const {
  std::vector<std::string> names;
  std::uint32_t number = 0;
  for (const auto& [other, part] : parts_) {
    if (part.former == 0) {
      number = other;
      names.push_back(nameOf(other));
    }
  }
  if (names.empty()) {
    refuse("no table request of " + hexText(id_) + " begins in the ring" +
           (haps_.empty() ? "" : "; those of HAPs cannot be simulated"));
  }
  if (names.size() > 1) {
    const std::size_t more = names.size() - std::min(names.size(), kNamedMost);
    names.resize(names.size() - more);
    refuse("say which request it is: " +
           (more == 0 ? listed(names) : listed(names) + " or " + std::to_string(more) + " more"));
  }
  return number;
}

RecordedRequest RequestRecords::join(std::uint32_t first) const {
  RecordedRequest request;
  request.id = id_;
  for (std::uint32_t number = first; number != 0;) {
    const RequestPart& part = parts_.at(number);
    check(part, number);
    if (part.choices > 1) {
      request.notes.push_back(nameOf(number) + " is taken to go on from " + nameOf(part.former) +
                              "; other requests of this id wait in the same table");
    }
    part.addTo(request);
    request.numbers.push_back(number);
    number = part.state() == RequestPart::State::kWaits ? part.next : 0;
  }
  addEnd(parts_.at(request.numbers.back()), request);
  checkMarks(request);
  return request;
}

/// Refuses a part that cannot be simulated.
void RequestRecords::check(const RequestPart& part, std::uint32_t number) const {
  const std::string name = "request " + nameOf(number);
  if (part.goesOn() && part.former == 0) {
    refuse(name + " goes on with table " + part.table +
           " where it was interrupted, and what was before that is not in the ring");
  }
  if (part.goesOn() && part.choices == 0) {
    refuse("which request " + nameOf(number) +
           " goes on with cannot be told: several of this id wait at once");
  }
  const std::string problem = part.problem();
  if (!problem.empty()) {
    refuse(name + " cannot be simulated: " + problem);
  }
}

void RequestRecords::addEnd(const RequestPart& last, RecordedRequest& request) const {
  switch (last.state()) {
    case RequestPart::State::kOk:
      request.end.kind = ExpectedEnd::Kind::kOk;
      return;
    case RequestPart::State::kError:
      request.end.kind = ExpectedEnd::Kind::kError;
      return;
    case RequestPart::State::kInterrupted:
      request.end.kind = ExpectedEnd::Kind::kException;
      request.end.code = kForeign;
      if (last.next != 0) {
        request.notes.push_back(nameOf(last.next) +
                                " goes on behind the exception; no simulated request does");
      }
      return;
    default:
      refuse("request " + nameOf(request.numbers.back()) +
             " is in a WAIT row, and that it went on is not in the ring");
  }
}

}  // namespace kw::trx::tools
