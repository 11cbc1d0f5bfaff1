// SPDX-License-Identifier: Apache-2.0
// What each thread was doing when it wrote a trace record: its request, tables and HAPs.
#ifndef KW_TRX_TOOLS_TRACES_SLICES_H_
#define KW_TRX_TOOLS_TRACES_SLICES_H_

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kw/platform.h"

namespace kw::trx::tools {

/// A span of time in which one thread worked on something.
struct Slice {
  enum class Kind { kRequest, kTable, kRow, kHAP };
  Kind kind;
  std::string name;  ///< of a row: that of the HAP or table which it calls; empty: none
  std::uint32_t process_id = 0, thread_id = 0;
  std::uint64_t begin_ns = 0;
  std::uint64_t end_ns = 0;   ///< 0: not known yet
  std::uint32_t request = 0;  ///< id
  std::uint32_t number = 0;   ///< of the request, as `SliceTracker::Place`; known when it has ended

  // Of rows and HAPs; `failed` of tables, too.
  std::string table{};        ///< innermost one; empty: none
  std::uint32_t row = 0;      ///< NUMBER of the row, or of that which called the HAP
  const char* command = "";   ///< of a row
  bool failed = false;        ///< a row also when its failure was ignored or kept
  bool thrown = false;        ///< the failure is an exception, also one that a HAP let through
  std::uint32_t code = 0;     ///< of the failure; 0: none is told
  std::uint64_t wait_ns = 0;  ///< in WAIT rows
  std::uint64_t lock_ns = 0;  ///< from before the exclusion semaphore is taken to its giving back
  std::uint64_t lock_wait_ns = 0;  ///< thereof known to be spent waiting for other holders
  std::uint64_t nested_ns = 0;     ///< in HAPs that a HAP called, in the table that a row called

  // Of HAPs.
  bool refused = false;  ///< also of its request: it did not run
  bool left = false;     ///< its failure is an exception that no record of its end follows
  std::uint64_t maybe_end_ns = 0;      ///< when a record told an end that may be its own; 0: none
  std::uint64_t nested_behind_ns = 0;  ///< as `nested_ns`, begun behind that

  // Of rows, tables and HAPs.
  bool cut = false;            ///< its end is not known: interrupted, or the records end
  bool doubtful = false;       ///< records of its request are missing or damaged
  bool resumed = false;        ///< goes on one that was cut, after an interruption
  std::uint64_t first_ns = 0;  ///< begin of the first of its parts when it was resumed
};

class Interruptions;

/// The name of a table whose begin is lost.
constexpr char kUnknownTable[] = "?";

/// When the exclusion semaphore was given back last, by any thread.
struct LockHistory {
  std::uint64_t last_give_back_ns = 0;
};

/// Follows the records of all threads. What a record leaves open ends with the next record that
/// tells so; a HAP that failed has what the records of its failure tell still in it, but ends
/// before them. Records may be missing: of a request whose begin is, what is left of its tables is
/// told; one in the midst of which some are makes doubtful what it tells of. Both are seen by the
/// sequence of the records.
class SliceTracker {
 public:
  /// `ended` is called with each slice when it ends, inner ones before outer ones. Of one that was
  /// interrupted each part is a slice; a WAIT row that was handed to the requester goes on at once.
  /// Trackers of several traces of one machine share `lock`, so that each knows of holders in
  /// others.
  explicit SliceTracker(std::function<void(const Slice&)> ended,
                        std::shared_ptr<LockHistory> lock = std::make_shared<LockHistory>());
  SliceTracker(SliceTracker&& other) noexcept;
  ~SliceTracker();

  /// What a record belongs to.
  struct Place {
    std::uint32_t request = 0;  ///< id; 0: none
    std::uint32_t number = 0;   ///< of the request among those of its id, from 1; 0: not known
    /// Outermost first; their ends are not known yet. Null for none.
    std::shared_ptr<const std::vector<Slice>> slices;
  };

  /// Takes the next record; returns its place.
  Place take(const kw::platform::TraceRecord& record);

  /// Ends all open slices at the last record of their threads.
  void finish();

  /// How many requests have begun, by id.
  const std::map<std::uint32_t, std::uint32_t>& requests() const { return requests_; }

 private:
  struct Thread {
    std::vector<Slice> open;
    std::uint64_t last_ns = 0;
    std::uint64_t lock_since_ns = 0;  ///< when it was about to take the semaphore; 0: it is not
    std::uint32_t request = 0;
    std::uint32_t number = 0;  ///< of the request; 0 until its id is known
    bool begin_lost = false;   ///< of the request
    bool error_end = false;    ///< the tables of the request are being ended one by one
    std::shared_ptr<const std::vector<Slice>> shown;  ///< copy of `open`; null when that changed
  };

  void open(Thread& thread, const kw::platform::TraceRecord& record, Slice::Kind kind,
            const std::string& name);
  void openRest(Thread& thread, const kw::platform::TraceRecord& record);
  void openRow(Thread& thread, const kw::platform::TraceRecord& record, const char* command);
  void openHAP(Thread& thread, const kw::platform::TraceRecord& record);
  void openCalledTable(Thread& thread, const kw::platform::TraceRecord& record);
  void closeTop(Thread& thread);
  void closeAll(Thread& thread, bool ended);
  void interrupt(Thread& thread);
  void closeHAP(Thread& thread, const std::string& name);
  static Slice* lastReturned(Thread& thread);
  static void noteReturn(Thread& thread, bool left, bool thrown, std::uint32_t code);
  static void noteRowFailure(Thread& thread, std::uint32_t code);
  void refuse(Thread& thread);
  static void stepBack(Thread& thread, std::uint64_t by_ns);
  void closeHAPsOfRow(Thread& thread);
  void closeRow(Thread& thread);
  static void failTables(Thread& thread);
  void endTable(Thread& thread, bool with_error);
  void resume(Thread& thread, const kw::platform::TraceRecord& record);
  void leaveInterrupted(const Thread& resuming, std::uint32_t process_id);
  void begin(Thread& thread, const kw::platform::TraceRecord& record);
  static void noteFailure(Thread& thread, const kw::platform::TraceRecord& record);
  static void makeDoubtful(Thread& thread);
  void noteGap(const kw::platform::TraceRecord& record);
  void noteLock(Thread& thread, const kw::platform::TraceRecord& record);
  void countRequest(Thread& thread, const kw::platform::TraceRecord& record);
  Place placeOf(Thread& thread, const kw::platform::TraceRecord& record);
  void end(Thread& thread, const kw::platform::TraceRecord& record);

  std::function<void(const Slice&)> ended_;
  std::map<std::pair<std::uint32_t, std::uint32_t>, Thread> threads_;
  /// Tables, the rows that called them, and a WAIT row behind them.
  std::unique_ptr<Interruptions> interrupted_;
  std::map<std::uint32_t, std::uint32_t> requests_;  ///< how many, by id
  std::shared_ptr<LockHistory> lock_;
  std::optional<std::uint64_t> sequence_;  ///< of the last record
};

/// The innermost slice of a kind that a record belongs to; null: none. It lives as long as `place`.
const Slice* innermost(const SliceTracker::Place& place, Slice::Kind kind);

/// True for a row with this command.
bool isRowOf(const Slice& slice, const char* command);

/// True for the first record of a request.
bool beginsRequest(const kw::platform::TraceRecord& record);

/// True for a record of a request that came to nothing, and leaves that which its thread runs
/// alone.
bool tellsOfRefusal(const kw::platform::TraceRecord& record);

/// The command of the row that begins with a record; null: none does.
const char* rowCommandOf(const kw::platform::TraceRecord& record);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACES_SLICES_H_
