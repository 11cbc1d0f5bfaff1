// SPDX-License-Identifier: Apache-2.0
// Makes requests, and what ran in them, of the events of one ring. One thread.
#ifndef KW_TRX_TOOLS_TRACE_REQUEST_BUILDER_H_
#define KW_TRX_TOOLS_TRACE_REQUEST_BUILDER_H_

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "trace/open_request.h"
#include "trace/waiting_requests.h"

namespace kw::trx::tools {

/// What a record belongs to.
struct Place {
  std::uint32_t request = 0;  ///< id; 0: none
  std::uint32_t number = 0;   ///< as in `Request`; 0: not known yet
  bool is_final = true;       ///< false: the next record of the thread tells more of the request
  /// What was open, outermost first; null for nothing.
  std::shared_ptr<const std::vector<Span>> spans;

  /// The innermost span of a kind; null: none. It lives as long as this.
  const Span* innermost(Span::Kind kind) const;
};

/// Jumps of the clock that some records tell of.
struct ClockSteps {
  std::uint64_t count = 0;
  std::uint64_t largest_ns = 0;  ///< that it was put back
};

/// Takes the events of all threads in the order of time, those of one thread in their order.
class RequestBuilder {
 public:
  /// The listener must outlive it. `ring`: number of the ring among those that are read. Builders
  /// of several rings of one machine share `lock`, so that
  /// each knows of holders in others.
  explicit RequestBuilder(RequestListener& listener, std::size_t ring = 0,
                          std::shared_ptr<LockHistory> lock = std::make_shared<LockHistory>());

  /// Takes the next event. `with_place`: tells what its record belongs to, which takes time.
  Place take(const Event& event, bool with_place = false);

  /// Hands on the requests whose end only the next record of their thread could still change.
  void settle();

  /// Hands on all requests, whether they have ended or not.
  void finish();

  /// How many requests have started, by id.
  const std::map<std::uint32_t, std::uint32_t>& requests() const { return requests_; }
  /// Requests that were handed on without an end.
  std::uint64_t openRequests() const { return open_requests_; }
  std::size_t threads() const { return forgotten_threads_ + threads_.size(); }
  const ClockSteps& clockSteps() const { return clock_steps_; }

  /// The requests that run, those that wait at their requester aside.
  std::vector<const OpenRequest*> running() const;

 private:
  using ThreadId = std::pair<std::uint32_t, std::uint32_t>;  // process and thread
  struct Thread {
    /// A HAP of each may have made the next one, with a context of its own.
    std::vector<std::unique_ptr<OpenRequest>> running;
    std::uint64_t last_ns = 0;
    std::pair<std::uint64_t, std::uint64_t> version;  // of what `shown` is: serial and version
    std::shared_ptr<const std::vector<Span>> shown;
  };

  Thread& threadOf(const ThreadId& id);
  void forgetThreads();
  void noteGap(const kw::platform::TraceRecord& record);
  void noteStep(Thread& thread, const kw::platform::TraceRecord& record);
  void start(Thread& thread, const Event& event, std::uint64_t now_ns);
  Request newRequest(const Event& event, std::uint64_t now_ns);
  void startLost(Thread& thread, const Event& event, std::uint64_t now_ns);
  void leave(Thread& thread, const Event& event);
  void findDone(Thread& thread, const Event& event, std::uint64_t now_ns);
  void number(Request& request);
  void join(Thread& thread, const Event& event, std::uint64_t now_ns);
  void moveWaiting(const Request& fresh);
  Place takeInRequest(Thread& thread, const Event& event, std::uint64_t now_ns, bool with_place);
  static Place placeOf(Thread& thread, EventKind kind);
  void refuse(const Event& event, std::uint64_t now_ns);
  void closeTop(Thread& thread, bool is_behind);
  void handOn(OpenRequest& open, bool is_behind);
  void noteRest(Request& rest);
  void closeAll(Thread& thread, bool is_behind);

  RingState ring_;
  const std::size_t ring_number_;
  std::map<ThreadId, Thread> threads_;
  std::pair<const ThreadId, Thread>* last_thread_ = nullptr;  // in threads_
  WaitingRequests waiting_;
  std::map<std::uint32_t, std::uint32_t> requests_;
  ClockSteps clock_steps_;
  std::uint64_t open_requests_ = 0;
  std::size_t forgotten_threads_ = 0;
  std::optional<std::uint64_t> sequence_;  // of the last record
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_REQUEST_BUILDER_H_
