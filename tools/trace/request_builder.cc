// SPDX-License-Identifier: Apache-2.0
#include "trace/request_builder.h"

#include <algorithm>
#include <atomic>

#include "kw/trx/errors.h"
#include "trace/record_words.h"

namespace kw::trx::tools {
namespace {

/// Tells requests of all builders apart.
std::uint64_t nextSerial() {
  static std::atomic<std::uint64_t> last{0};
  return ++last;
}

/// Requests in HAPs of requests, as deep as no host nests them.
constexpr std::size_t kMaxNested = 64;
/// More threads than any host has at once; those of a ring made by hand may be any.
constexpr std::size_t kMaxThreads = 16384;

/// True for events that only a request which runs can make.
bool isOfRunning(EventKind kind) {
  switch (kind) {
    case EventKind::kOther:
    case EventKind::kInstance:
    case EventKind::kMode:
    case EventKind::kUnit:
    case EventKind::kHAPFound:
    case EventKind::kMisuse:
    case EventKind::kTableNamed:
    case EventKind::kNoPathFile:
    case EventKind::kNoPath:
    case EventKind::kLoadFailed:
    case EventKind::kModuleFailed:
    case EventKind::kLibraryFailed:
    case EventKind::kLibraryReason:
      return false;
    default:
      return true;
  }
}

/// False for the first events of a request, which do not tell yet whose it is.
bool tellsOwnId(EventKind kind) {
  return isOfRunning(kind) && kind != EventKind::kHAPRequested &&
         kind != EventKind::kTableRequested && kind != EventKind::kTableResumed;
}

/// True for events whose request is that of the context, not the thread that refuses it.
bool tellsContext(EventKind kind) {
  return isOfRunning(kind) && kind != EventKind::kDeniedStopped &&
         kind != EventKind::kDeniedNoModule && kind != EventKind::kDeniedNoAPI;
}

/// True for what is left of a request whose first records are missing.
bool isNameless(const Request& request) { return request.start_lost && request.name.empty(); }

bool waitsWithIdOf(const OpenRequest& open, const Request& other) {
  return open.isWaiting() && open.request().process_id == other.process_id &&
         open.request().id == other.id;
}

}  // namespace

const Span* Place::innermost(Span::Kind kind) const {
  if (spans == nullptr) {
    return nullptr;
  }
  const auto found = std::find_if(spans->rbegin(), spans->rend(),
                                  [kind](const Span& span) { return span.kind == kind; });
  return found == spans->rend() ? nullptr : &*found;
}

RequestBuilder::RequestBuilder(RequestListener& listener, std::size_t ring,
                               std::shared_ptr<LockHistory> lock)
    : ring_{listener, std::move(lock)}, ring_number_(ring) {}

Place RequestBuilder::take(const Event& event, bool with_place) {
  const kw::platform::TraceRecord& record = *event.record;
  noteGap(record);
  Thread& thread = threadOf({record.process_id, record.thread_id});
  noteStep(thread, record);
  const std::uint64_t now_ns = thread.last_ns = std::max(thread.last_ns, record.time_ns);
  switch (event.kind) {
    case EventKind::kHAPRequested:
    case EventKind::kTableRequested:
      start(thread, event, now_ns);
      break;
    case EventKind::kRefused:
    case EventKind::kRefusedRunning:
    case EventKind::kRefusedStopped:
      refuse(event, now_ns);
      return {event.request, 0, true, nullptr};
    case EventKind::kHostWentOn:
      closeAll(thread, true);
      break;
    default:
      leave(thread, event);
      if (event.kind == EventKind::kHAPRequestDone) {
        findDone(thread, event, now_ns);
      } else if (thread.running.empty() && isOfRunning(event.kind)) {
        startLost(thread, event, now_ns);
      }
      break;
  }
  if (thread.running.empty() || !thread.running.back()->isContinuedBy(event)) {
    return {event.request, 0, true, nullptr};
  }
  return takeInRequest(thread, event, now_ns, with_place);
}

/// Records that are missing before this one may have been of any request that runs.
void RequestBuilder::noteGap(const kw::platform::TraceRecord& record) {
  ring_.gaps += sequence_ && record.sequence > *sequence_ + 1 ? 1 : 0;
  sequence_ = record.sequence;
}

/// Most records are of the thread that wrote the one before.
RequestBuilder::Thread& RequestBuilder::threadOf(const ThreadId& id) {
  if (last_thread_ == nullptr || last_thread_->first != id) {
    if (threads_.size() == kMaxThreads && threads_.count(id) == 0) {
      forgetThreads();
    }
    last_thread_ = &*threads_.try_emplace(id).first;
  }
  return last_thread_->second;
}

/// Requests of threads that still write are told in two parts then, both as incomplete.
void RequestBuilder::forgetThreads() {
  ++ring_.gaps;
  for (auto& [id, thread] : threads_) {
    closeAll(thread, false);
  }
  forgotten_threads_ += threads_.size();
  threads_.clear();
}

void RequestBuilder::noteStep(Thread& thread, const kw::platform::TraceRecord& record) {
  if (record.time_ns >= thread.last_ns) {
    return;
  }
  const std::uint64_t by_ns = thread.last_ns - record.time_ns;
  for (const auto& request : thread.running) {
    request->stepBack(by_ns);
  }
  thread.last_ns = record.time_ns;
  ++clock_steps_.count;
  clock_steps_.largest_ns = std::max(clock_steps_.largest_ns, by_ns);
}

/// A request starts: inside of the HAP that runs, or behind what ran before.
void RequestBuilder::start(Thread& thread, const Event& event, std::uint64_t now_ns) {
  leave(thread, event);
  const bool nests = !thread.running.empty() && thread.running.back()->isInHAP() &&
                     !thread.running.back()->isBroken() && thread.running.size() < kMaxNested;
  if (!nests) {
    closeAll(thread, true);
  }
  thread.running.push_back(std::make_unique<OpenRequest>(newRequest(event, now_ns), ring_));
}

Request RequestBuilder::newRequest(const Event& event, std::uint64_t now_ns) {
  const kw::platform::TraceRecord& record = *event.record;
  Request request;
  request.serial = nextSerial();
  request.ring = ring_number_;
  request.process_id = record.process_id;
  request.thread_id = record.thread_id;
  request.id = event.request;
  request.start_ns = request.end_ns = now_ns;
  request.parts.push_back({record.thread_id, now_ns, now_ns});
  if (event.kind == EventKind::kHAPRequested) {
    request.kind = Request::Kind::kHAP;
    request.name = event.text();
  } else if (event.kind == EventKind::kTableRequested) {
    request.kind = Request::Kind::kTable;
  }
  return request;
}

/// What is left of a request whose start is missing.
void RequestBuilder::startLost(Thread& thread, const Event& event, std::uint64_t now_ns) {
  Request request = newRequest(event, now_ns);
  request.start_lost = true;
  thread.running.push_back(std::make_unique<OpenRequest>(std::move(request), ring_));
}

/// Leaves requests that `event` is not of: they have ended, or wait at their requester.
void RequestBuilder::leave(Thread& thread, const Event& event) {
  while (!thread.running.empty() && !thread.running.back()->isContinuedBy(event)) {
    if (!isOfRunning(event.kind)) {
      return;  // nor of any other
    }
    closeTop(thread, true);
  }
}

Place RequestBuilder::takeInRequest(Thread& thread, const Event& event, std::uint64_t now_ns,
                                    bool with_place) {
  if (event.kind == EventKind::kTableResumed) {
    join(thread, event, now_ns);
  }
  OpenRequest& open = *thread.running.back();
  Request& request = open.request();
  if (request.id == 0 && event.request != 0 && tellsContext(event.kind)) {
    request.id = event.request;
    open.has_tables = waiting_.hasTables(request.process_id, request.id);
  }
  if (request.number == 0 && tellsOwnId(event.kind) && !isNameless(request)) {
    number(request);
  }
  open.takeStart(event, now_ns);
  ring_.listener.recordTaken(request, *event.record);
  Place place = with_place ? placeOf(thread, event.kind) : Place();
  open.takeEnd(event, now_ns);
  if (open.state() == OpenRequest::State::kOver) {
    closeTop(thread, true);
  }
  return place;
}

Place RequestBuilder::placeOf(Thread& thread, EventKind kind) {
  const OpenRequest& open = *thread.running.back();
  const auto version = std::make_pair(open.request().serial, open.version());
  if (thread.shown == nullptr || thread.version != version) {
    thread.shown = std::make_shared<const std::vector<Span>>(open.spans());
    thread.version = version;
  }
  const Request& request = open.request();
  const bool is_final = request.number != 0 || tellsOwnId(kind) || isNameless(request);
  return {request.id, request.number, is_final, thread.shown};
}

/// The first records of a HAP request do not tell its id, nor does any where they are of the level
/// info alone.
void RequestBuilder::number(Request& request) {
  request.number = request.id == 0 ? 0 : ++requests_[request.id];
}

/// Finds the request that has succeeded; it becomes the innermost one of the thread.
void RequestBuilder::findDone(Thread& thread, const Event& event, std::uint64_t now_ns) {
  const std::string name = event.text();
  auto& running = thread.running;
  const auto is_it = [&name](const std::unique_ptr<OpenRequest>& open) {
    return open->request().kind == Request::Kind::kHAP && open->request().name == name;
  };
  auto found = std::find_if(running.rbegin(), running.rend(), is_it);
  if (found == running.rend()) {
    if (!running.empty() && isNameless(running.back()->request()) &&
        placeOf(thread, event.kind).innermost(Span::Kind::kTable) != nullptr) {
      closeTop(thread, true);  // a table that a HAP of the request has asked for
    }
    if (running.empty() || !isNameless(running.back()->request())) {
      startLost(thread, event, now_ns);
    }
    Request& lost = running.back()->request();
    lost.kind = Request::Kind::kHAP;
    lost.name = name;
    return;
  }
  if ((*found)->state() == OpenRequest::State::kEnded) {
    const auto outer = std::find_if(std::next(found), running.rend(), is_it);
    if (outer != running.rend()) {
      (*found)->request().uncertain = (*outer)->request().uncertain =
          "HAP " + name +
          " made a request of its own name that failed; which of both ended is not "
          "in the records";
      found = outer;
    }
  }
  while (found != running.rbegin()) {
    closeTop(thread, true);
    found = std::find_if(running.rbegin(), running.rend(), is_it);
  }
}

/// A table request goes on: with one that waits, or with tables that an exception left.
void RequestBuilder::join(Thread& thread, const Event& event, std::uint64_t now_ns) {
  const Request fresh = thread.running.back()->request();
  const std::string name = event.text();
  moveWaiting(fresh);
  std::unique_ptr<OpenRequest> waiting = waiting_.remove(fresh.process_id, fresh.id, name);
  if (waiting == nullptr) {
    thread.running.back()->goOnFrom(waiting_.removeLeft(fresh.process_id, fresh.id, name), now_ns);
    return number(thread.running.back()->request());
  }
  waiting->resume(fresh, now_ns);
  if (waiting->request().number == 0) {
    number(waiting->request());  // its name was lost until now
  }
  ring_.listener.requestJoined(waiting->request(), fresh.serial);
  thread.running.back() = std::move(waiting);
}

/// A thread whose request waits may write no more: it may go on in another one.
void RequestBuilder::moveWaiting(const Request& fresh) {
  for (auto& [id, thread] : threads_) {
    if (!thread.running.empty() && waitsWithIdOf(*thread.running.back(), fresh)) {
      closeTop(thread, true);
    }
  }
}

void RequestBuilder::refuse(const Event& event, std::uint64_t now_ns) {
  Request request = newRequest(event, now_ns);
  if (event.kind != EventKind::kRefusedRunning) {
    request.id = 0;  // the record tells the thread, which need not have made the context
  }
  request.ending = Ending::kRefused;
  request.exception =
      event.kind == EventKind::kRefusedStopped ? trx::kCodeStopped : trx::kCodeContext;
  request.failure.cause = Cause::kRefused;
  request.failure.event = describe(*event.record);
  request.last = *event.record;
  ring_.listener.requestEnded(request);
}

/// Ends the innermost request of a thread, or lets it wait. `is_behind` as for
/// `OpenRequest::close`.
void RequestBuilder::closeTop(Thread& thread, bool is_behind) {
  std::unique_ptr<OpenRequest> open = std::move(thread.running.back());
  thread.running.pop_back();
  thread.shown = nullptr;
  if (open->isWaiting()) {
    open = waiting_.add(std::move(open));
    return open == nullptr ? void() : handOn(*open, false);
  }
  handOn(*open, is_behind);
  if (!thread.running.empty()) {
    thread.running.back()->addNested(open->request().durationNs());
  }
}

void RequestBuilder::handOn(OpenRequest& open, bool is_behind) {
  Request& request = open.request();
  if (request.number == 0 && !isNameless(request)) {
    number(request);
  }
  if (open.state() != OpenRequest::State::kOver) {
    open.close(is_behind);
  }
  if (isNameless(request) && request.id != 0) {
    noteRest(request);
  }
  waiting_.addLeft(open);
  open_requests_ += request.ending == Ending::kOpen ? 1 : 0;
  ring_.listener.requestEnded(request);
}

/// A request whose start is lost may be the rest of one that waited, in whatever thread.
void RequestBuilder::noteRest(Request& rest) {
  std::vector<Request*> waiting = waiting_.of(rest.process_id, rest.id);
  for (auto& [id, thread] : threads_) {
    if (!thread.running.empty() && waitsWithIdOf(*thread.running.back(), rest)) {
      waiting.push_back(&thread.running.back()->request());
    }
  }
  for (Request* const one : waiting) {
    if (one->end_ns <= rest.start_ns) {
      one->uncertain = rest.uncertain =
          "whether the request of its id that waited and the one whose start is lost are the same "
          "is "
          "not in the records";
    }
  }
}

void RequestBuilder::closeAll(Thread& thread, bool is_behind) {
  while (!thread.running.empty()) {
    closeTop(thread, is_behind);
  }
}

void RequestBuilder::settle() {
  for (auto& [id, thread] : threads_) {
    while (!thread.running.empty() &&
           thread.running.back()->state() == OpenRequest::State::kEnded) {
      closeTop(thread, false);
    }
  }
}

void RequestBuilder::finish() {
  for (auto& [id, thread] : threads_) {
    closeAll(thread, false);
  }
  for (const auto& open : waiting_.removeAll()) {
    handOn(*open, false);
  }
}

std::vector<const OpenRequest*> RequestBuilder::running() const {
  std::vector<const OpenRequest*> all;
  for (const auto& [id, thread] : threads_) {
    for (const auto& open : thread.running) {
      all.push_back(open.get());
    }
  }
  return all;
}

}  // namespace kw::trx::tools
