// SPDX-License-Identifier: Apache-2.0
// What ran inside a request: its tables, their rows, and HAPs.
#ifndef KW_TRX_TOOLS_TRACE_SPAN_H_
#define KW_TRX_TOOLS_TRACE_SPAN_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "trace/row_id.h"

namespace kw::trx::tools {

/// Why something failed.
enum class Cause {
  kNone,          ///< it did not
  kError,         ///< a HAP returned an error
  kUndefined,     ///< no module has the HAP
  kNestLimit,     ///< of HAPs
  kLock,          ///< the exclusion semaphore could not be taken
  kUnlock,        ///< or given back
  kThrew,         ///< a HAP threw an engine exception
  kThrewForeign,  ///< a HAP threw another exception
  kCheck,         ///< a CHECK row found that a row of mode STACK has failed
  kMessage,       ///< an END row with a message
  kTableMissing,
  kTableNestLimit,
  kStopped,         ///< the host stopped the engine
  kStaleContext,    ///< an earlier error end was still in the context
  kContextEmptied,  ///< a HAP emptied the context
  kRefused,         ///< the request was not admitted
  kForeign,         ///< an exception that is not the engine's, outside of HAPs
};

/// How something failed.
struct Failure {
  Cause cause = Cause::kNone;
  /// The HAP whose error record it is: of one that only let the failure of a HAP inside of it
  /// through, that one. Empty: none.
  std::string hap;
  /// Of the error record, or of the exception of a HAP that threw one of its own. Engine records:
  /// `kRecordUndefinedHAP` and so on. Counts when `has_code`.
  std::uint32_t code = 0;
  bool has_code = false;
  bool of_api = false;                ///< the code is one of the HAP API
  std::uint32_t detail_bytes = 0;     ///< of error detail or API data
  std::vector<std::uint32_t> detail;  ///< words of it, as many as the records tell
  std::string event;  ///< what happened, in the words of the trace; empty for HAPs that ran

  explicit operator bool() const { return cause != Cause::kNone; }
  bool isThrown() const { return cause == Cause::kThrew || cause == Cause::kThrewForeign; }
};

/// A stretch of time in which something ran. What it holds ends before it.
struct Span {
  enum class Kind { kTable, kRow, kHAP };

  Kind kind = Kind::kTable;
  std::string name;  ///< of a row: the HAP or table that it calls; empty: none is known
  std::uint64_t start_ns = 0;
  std::uint64_t end_ns = 0;    ///< while it runs: 0
  bool has_ended = false;      ///< false: its end is not in the records
  bool is_incomplete = false;  ///< records of its time, or of its request before, are missing
  bool goes_on = false;        ///< it was interrupted by an exception in an earlier request
  Failure failure;             ///< also one that was ignored or kept

  // Where it runs: the innermost table around it, and the row that it is or that called it.
  RowId row;

  bool has_rows = false;  ///< of a table: a row of it has started

  // Of rows.
  Command command = Command::kNone;
  Effect effect = Effect::kNone;
  std::optional<std::uint32_t> wait_ms;  ///< of a WAIT row
  std::optional<bool> has_message;       ///< of an END row
  bool was_called = false;               ///< the record that names what it calls is there

  // Of HAPs, and of the HAP that a row calls.
  std::string mode;
  Cause cause = Cause::kNone;   ///< why it failed itself; `failure` may be that of a HAP inside
  std::uint32_t exception = 0;  ///< code of the exception that its caller got; 0: none, or foreign
  std::size_t depth = 0;        ///< HAPs around it in its request
  std::size_t tables = 0;       ///< tables around it in its request

  std::uint64_t wait_ns = 0;       ///< in WAIT rows
  std::uint64_t lock_ns = 0;       ///< from before the exclusion semaphore is taken to its release
  std::uint64_t lock_wait_ns = 0;  ///< thereof known to be spent waiting for other holders
  std::uint64_t nested_ns = 0;     ///< in HAPs that a HAP called, in the table that a row called

  bool failed() const { return static_cast<bool>(failure); }
  bool isRow() const { return kind == Kind::kRow; }
  bool isRowOf(Command wanted) const { return isRow() && command == wanted; }
  bool isHAP() const { return kind == Kind::kHAP; }
  std::uint64_t durationNs() const { return end_ns > start_ns ? end_ns - start_ns : 0; }
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_SPAN_H_
