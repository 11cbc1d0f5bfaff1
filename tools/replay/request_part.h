// SPDX-License-Identifier: Apache-2.0
// The records of a table from its begin, or from where it goes on behind a wait, to where it ends
// or is interrupted. One thread.
#ifndef KW_TRX_TOOLS_REPLAY_REQUEST_PART_H_
#define KW_TRX_TOOLS_REPLAY_REQUEST_PART_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kw/platform.h"
#include "replay/recorded_request.h"
#include "traces/slices.h"

namespace kw::trx::tools {

class RequestPart {
 public:
  enum class State {
    kRuns,  ///< the records do not tell an end
    kWaits,
    kOk,
    kError,
    kStopped,      ///< by the host
    kInterrupted,  ///< by an exception that is not the engine's
  };

  /// Its first record.
  explicit RequestPart(const kw::platform::TraceRecord& admitted);

  /// Takes the next record of the thread that runs it.
  void take(const kw::platform::TraceRecord& record, const SliceTracker::Place& place);

  /// A row of it has ended.
  void endRow(const Slice& row);

  /// The thread has begun the request `other`.
  void leave(const std::string& other);

  /// A record of its thread, or of any, could not be read while it ran.
  void noteDamage(bool of_thread) { ++(of_thread ? damaged_ : damaged_beside_); }
  void noteLost(std::uint64_t records) { lost_ += records; }

  State state() const;
  bool isOver() const { return state_ != State::kRuns; }
  bool goesOn() const { return resumes_; }
  std::uint32_t processId() const { return process_id_; }
  std::uint32_t threadId() const { return thread_id_; }

  /// Why it cannot be replayed; empty: it can be.
  std::string problem() const;

  /// Adds what it tells to that of the parts before it.
  void addTo(RecordedRequest& request) const;

  std::string table;                ///< that was requested
  std::vector<std::string> tables;  ///< that run, outermost first
  std::uint32_t former = 0;         ///< number of the part that it goes on from; 0: none is known
  std::uint32_t next = 0;           ///< number of the part that goes on from it; 0: none
  std::size_t choices = 0;          ///< parts that it might have gone on from

 private:
  /// Why a HAP failed, by the last record that tells it of any: the HAP of a row fails last.
  struct Cause {
    std::uint32_t record = 0;  ///< its id; 0: none
    std::uint32_t code = 0;
    bool of_api = false;
    std::uint32_t detail_bytes = 0;
    std::vector<unsigned int> detail;
  };

  void beginRow(const kw::platform::TraceRecord& record, const SliceTracker::Place& place);
  bool takeCall(const kw::platform::TraceRecord& record, const SliceTracker::Place& place);
  bool takeCause(const kw::platform::TraceRecord& record);
  void takeDetail(const kw::platform::TraceRecord& record);
  bool takeFailure(const kw::platform::TraceRecord& record);
  void takeEnd(const kw::platform::TraceRecord& record, const SliceTracker::Place& place);
  void call(const char* command, const std::string& name);
  void callTable(const kw::platform::TraceRecord& record, const SliceTracker::Place& place);
  void addUnit(const std::string& unit);
  std::string nameOf(const kw::platform::TraceRecord& record);
  HAPOutcome outcomeOf(const RecordedRow& row);
  HAPOutcome failureOf(const RecordedRow& row);
  void note(const RecordedRow& row, const std::string& words);

  std::uint32_t process_id_, thread_id_;
  std::uint64_t begin_ns_;
  State state_ = State::kRuns;
  bool starts_ = false, resumes_ = false;
  bool fails_ = false;  ///< a record has told why it will end with error
  std::vector<RecordedRow> rows_;
  std::vector<std::string> units_;
  std::vector<std::string> notes_;
  Cause cause_;
  unsigned int within_ = 0;            ///< as often the table that was called last ran already
  unsigned int deepest_ = 0;           ///< the most of these
  std::optional<unsigned int> limit_;  ///< nest limit that refused a call
  std::string problem_, left_for_;
  kw::platform::TraceRecord last_;
  std::uint64_t damaged_ = 0, damaged_beside_ = 0, lost_ = 0;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPLAY_REQUEST_PART_H_
