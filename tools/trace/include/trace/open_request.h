// SPDX-License-Identifier: Apache-2.0
// A request that runs: what is open in it, and what the next record makes of that. One thread.
#ifndef KW_TRX_TOOLS_TRACE_OPEN_REQUEST_H_
#define KW_TRX_TOOLS_TRACE_OPEN_REQUEST_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "trace/event.h"
#include "trace/request.h"

namespace kw::trx::tools {

/// When the exclusion semaphore was released last, by any thread of any process.
struct LockHistory {
  std::uint64_t last_release_ns = 0;
};

/// What all open requests of one ring share.
struct RingState {
  RequestListener& listener;
  std::shared_ptr<LockHistory> lock;
  std::uint64_t gaps = 0;  ///< places where records are missing
};

class OpenRequest {
 public:
  enum class State {
    kRuns,
    kEnded,  ///< but the next record may still say otherwise
    kOver,
  };

  OpenRequest(Request request, RingState& ring);

  /// Takes what starts with the next event of the thread that runs it, which happened at `now_ns`.
  /// Then the event belongs to what is open.
  void takeStart(const Event& event, std::uint64_t now_ns);

  /// Takes what fails and ends with the same event.
  void takeEnd(const Event& event, std::uint64_t now_ns);

  /// True when `event`, the next one of its thread, is one of this request: another one may tell
  /// that it has ended, or waits at its requester.
  bool isContinuedBy(const Event& event) const;

  /// Ends it at its last record, as far as the records tell an end. `is_behind`: its thread has
  /// gone on to something that cannot happen inside of it.
  void close(bool is_behind);

  /// Its thread calls the engine again. `fresh`: the request as its records tell it so far.
  void resume(const Request& fresh, std::uint64_t now_ns);

  /// Goes on with `tables`, those that an exception left in its context, and the rows that called
  /// them; empty: they are not known.
  void goOnFrom(const std::vector<Span>& tables, std::uint64_t now_ns);

  /// The clock was put back: what is open started so much earlier by the new time.
  void stepBack(std::uint64_t by_ns);

  State state() const { return state_; }
  /// In a WAIT row, and nothing came behind it.
  bool isWaiting() const { return state_ == State::kRuns && is_waiting_; }
  /// It is about to take the exclusion semaphore, or has it.
  bool wantsLock() const { return lock_since_ns_ != 0; }
  /// It has the semaphore for sure: something came behind taking it.
  bool hasLock() const { return lock_since_ns_ != 0 && has_lock_; }
  /// A HAP runs: it may make requests of its own.
  bool isInHAP() const;
  /// What an exception that is not the engine's has left in its context: tables, and the rows that
  /// called them. Empty: nothing.
  const std::vector<Span>& left() const { return left_; }
  bool isIncomplete() const { return gaps_at_start_ != ring_.gaps; }
  /// Records of its own are missing for sure, others than its first ones.
  bool isBroken() const { return gaps_at_start_ == kBeforeAll && !request_.start_lost; }

  Request& request() { return request_; }
  const Request& request() const { return request_; }
  /// What is open, outermost first.
  std::vector<Span> spans() const;
  /// Changes with every change of `spans`.
  std::uint64_t version() const { return version_; }
  /// A request inside of the HAP that runs took so long.
  void addNested(std::uint64_t duration_ns);

  bool has_tables = false;  ///< an earlier request left tables in its context

 private:
  /// Tells that the gaps of a ring were counted before its first one: something is missing for
  /// sure.
  static constexpr std::uint64_t kBeforeAll = ~std::uint64_t{0};

  struct OpenSpan : Span {
    std::uint64_t maybe_end_ns = 0;      ///< when a record told an end that may be its own; 0: none
    std::uint64_t nested_behind_ns = 0;  ///< as `nested_ns`, started behind that
    bool is_announced = false;           ///< of a row: the listener knows of it
    bool is_left = false;  ///< it failed with an exception, so that no record of its end follows
    bool has_returned = false;  ///< to its caller: a failure was none for that
    Failure inner;              ///< of the HAP inside of it that failed last
  };

  // What starts.
  void push(Span::Kind kind, const std::string& name, std::uint64_t now_ns);
  void startRow(const Event& event, std::uint64_t now_ns);
  void startHAP(const std::string& name, std::uint64_t now_ns);
  void enterHAP(const std::string& name, std::uint64_t now_ns);
  void callTable(const std::string& name, std::uint64_t now_ns);
  void addMode(const std::string& mode);
  void addUnit(const std::string& unit);
  void announceRow();
  void markIncomplete();

  // What fails.
  bool takeFailure(const Event& event, std::uint64_t now_ns);
  void takeErrorRecord(const Event& event);
  void leaveHAP(Cause cause, const Event& event, std::uint64_t now_ns);
  static Failure failureOf(const OpenSpan& hap, Cause cause, const Event& event);
  Cause lockCauseOf(const Event& event, std::uint64_t now_ns);
  OpenSpan* lastFailed();
  void settleMaybeEnds();
  OpenSpan* maybeEnded();
  void moveFailure(const std::string& name);
  static void passFailure(const OpenSpan& from, OpenSpan& to);
  static void endAtMaybe(OpenSpan& hap);
  bool takeEffect(const Event& event, std::uint64_t now_ns);
  void setEffect(Effect effect, const Event& event, std::uint64_t now_ns);

  // What ends.
  void takeRequestEnd(const Event& event, std::uint64_t now_ns);
  void closeTop(std::uint64_t now_ns, bool has_ended);
  static void addTo(OpenSpan& around, const OpenSpan& span, std::uint64_t nested_behind_ns);
  void closeHAP(const std::string& name, std::uint64_t now_ns);
  void closeHAPsOfRow(std::uint64_t now_ns);
  void closeRow(std::uint64_t now_ns);
  void closeAll(std::uint64_t now_ns, bool has_ended);
  void endTable(std::uint64_t now_ns, bool with_error);
  void endCaller(const std::string& name, std::uint64_t now_ns);
  void endWithError(Failure failure, std::uint64_t now_ns);
  void noteEndedBy();
  void failTables();
  void finishWithError(std::uint32_t exception, std::uint64_t now_ns);
  void interrupt(std::uint64_t now_ns);
  void end(Ending ending, std::uint32_t exception);
  void deny(std::uint32_t exception, const Event& event);
  void takeLock(const Event& event, std::uint64_t now_ns);

  bool isTop(Span::Kind kind) const { return !open_.empty() && open_.back().kind == kind; }

  Request request_;
  RingState& ring_;
  std::vector<OpenSpan> open_;
  State state_ = State::kRuns;
  std::uint64_t gaps_at_start_;
  std::uint64_t version_ = 0;
  std::uint64_t lock_since_ns_ = 0;  ///< when it was about to take the semaphore; 0: it is not
  Failure first_;                    ///< of its first failing row
  Failure stop_;                     ///< why its tables end with error
  bool is_waiting_ = false;
  bool has_lock_ = false;      ///< a record came behind that of taking it
  bool has_released_ = false;  ///< the semaphore, since the last HAP started
  std::vector<Span> left_;
  bool is_depth_unknown_ = false;  ///< there may be tables around the outermost known one
  bool may_have_ended_ = false;    ///< an END row of such a table was the last one
  bool has_entered_ = false;  ///< the HAP of a HAP request has been looked up or has taken the lock
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_OPEN_REQUEST_H_
