// SPDX-License-Identifier: Apache-2.0
// A request as its records tell it: what it asked for, when it ran, how it ended.
#ifndef KW_TRX_TOOLS_TRACE_REQUEST_H_
#define KW_TRX_TOOLS_TRACE_REQUEST_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kw/platform.h"
#include "trace/span.h"

namespace kw::trx::tools {

enum class Ending {
  kOpen,   ///< the records do not tell an end
  kWaits,  ///< in a WAIT row, and nothing tells that it went on
  kSucceeded,
  kFailed,
  kRefused,  ///< before anything ran
};

/// One request: a HAP or a table. A table that hands its waits to its requester is one request,
/// with a part for each call of the engine.
struct Request {
  enum class Kind { kHAP, kTable, kUnknown };

  /// One call of the engine, which runs on one thread.
  struct Part {
    std::uint32_t thread_id = 0;
    std::uint64_t start_ns = 0, end_ns = 0;
  };

  std::uint64_t serial = 0;  ///< tells it apart from all others
  std::size_t ring = 0;      ///< number of its ring among those that are read, from 0
  Kind kind = Kind::kUnknown;
  std::uint32_t process_id = 0, thread_id = 0;  ///< of its first part
  std::uint32_t id = 0;      ///< as the engine gives it to the thread that made the context
  std::uint32_t number = 0;  ///< among the requests of its id, from 1; 0: not known
  std::string name, mode;
  std::vector<std::string> units;  ///< that it or the HAPs of its rows worked on; the first ones
  bool more_units = false;         ///< there are others
  std::uint64_t start_ns = 0, end_ns = 0;  ///< of its first and last record
  std::vector<Part> parts;

  Ending ending = Ending::kOpen;
  std::uint32_t exception = 0;  ///< code of the exception that the host got; 0: none, or foreign
  /// Why it failed: of a table, how its first failing row did.
  Failure failure;
  Cause ended_as = Cause::kNone;  ///< what ended it, when it failed
  /// The first row that failed with STACK, a jump or a stop: the one that the engine reports.
  std::optional<RowId> first_failing;
  /// The row that ended the table with error, and its command.
  std::optional<RowId> ended_by;
  Command ended_by_command = Command::kNone;

  bool goes_on = false;        ///< with tables that an exception left in its context before
  bool start_lost = false;     ///< what it ran first is not in the records
  bool is_incomplete = false;  ///< records of its time are missing or suspect
  bool is_broken = false;      ///< thereof its own for sure
  std::string uncertain;  ///< what of it cannot be known for sure, as a sentence; empty: nothing
  kw::platform::TraceRecord last{};  ///< its last record

  bool isTable() const { return kind == Kind::kTable; }
  bool hasFailed() const { return ending == Ending::kFailed || ending == Ending::kRefused; }
  std::uint64_t durationNs() const { return end_ns > start_ns ? end_ns - start_ns : 0; }
};

/// One word for a kind: hap, table or unknown.
const char* nameOf(Request::Kind kind);

/// One word for an ending: succeeded, failed, refused, waits or open.
const char* nameOf(Ending ending);

/// Takes what a `RequestBuilder` finds, in the order in which it becomes known.
class RequestListener {
 public:
  virtual ~RequestListener() = default;

  /// A record of a request, before what ends with it.
  virtual void recordTaken(const Request& /*request*/,
                           const kw::platform::TraceRecord& /*record*/) {}

  /// What seemed to be a request of its own, with the serial `fresh`, is a further part of another.
  virtual void requestJoined(const Request& /*request*/, std::uint64_t /*fresh*/) {}

  /// A row starts, and what it calls is known.
  virtual void rowStarted(const Request& /*request*/, const Span& /*row*/) {}

  /// A span has ended, inner ones before outer ones; or `finish` was called before its end.
  virtual void spanEnded(const Request& /*request*/, const Span& /*span*/) {}

  /// A request has ended, after its spans.
  virtual void requestEnded(const Request& /*request*/) {}
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_REQUEST_H_
