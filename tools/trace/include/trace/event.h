// SPDX-License-Identifier: Apache-2.0
// What a trace record means. This is the one place of the tool that knows record ids.
#ifndef KW_TRX_TOOLS_TRACE_EVENT_H_
#define KW_TRX_TOOLS_TRACE_EVENT_H_

#include <cstdint>
#include <string>

#include "kw/platform.h"
#include "trace/span.h"

namespace kw::trx::tools {

/// The catalogue says of each record which of these it is.
enum class EventKind {
  kOther,  ///< nothing that a request is made of, or a record of a module or of the host
  // Requests.
  kHAPRequested,    ///< a HAP request starts; its id is not known yet
  kHAPAdmitted,     ///< the id of that request
  kHAPRequestDone,  ///< it succeeded
  kTableRequested,  ///< a table request starts
  kTableNamed,      ///< the table that it asks for
  kRequestThrew,    ///< it ended with an exception that is not the engine's
  kRefused,         ///< a request came to nothing; what its thread runs goes on
  kRefusedRunning,  ///< the same, as its context, whose id the record tells, is running
  kRefusedStopped,  ///< the same, as the engine is stopped
  kDeniedStopped,   ///< the HAP request of the thread is refused, as the engine is stopped
  kDeniedNoModule,
  kDeniedNoAPI,
  kInstance,    ///< any use of the engine
  kHostWentOn,  ///< what only a thread without a running request writes
  // HAPs.
  kHAPStarted,  ///< a HAP inside of a HAP or table
  kMode,        ///< of the HAP that has just started
  kUnit,        ///< of the same
  kHAPEntered,  ///< the same has been announced
  kHAPFound,    ///< a HAP has its function
  kHAPEnded,
  kHAPUndefined,
  kHAPNestLimit,
  kLockFailed,    ///< also a HAP that throws the code of that
  kUnlockFailed,  ///< the same
  kHAPThrew,
  kHAPThrewForeign,
  kHAPFailed,     ///< it returned an error
  kFailedName,    ///< name of the HAP that failed
  kFailedCode,    ///< its code, which has no detail
  kFailedEnd,     ///< that is all
  kFailedDetail,  ///< its code, and the size of the detail
  kFailedAPI,     ///< code of the HAP API, and the size of its data
  kFailedWords,   ///< words of that detail or data
  kMisuse,        ///< a HAP or host misused its context
  // The exclusion semaphore.
  kLockTake,
  kLockRelease,
  // Tables.
  kTableStarted,
  kTableResumed,
  kTableCalled,  ///< by a TABLE row
  kTableMissing,
  kTableNestLimit,
  kTableStopped,   ///< by the stop flag
  kCallerEnds,     ///< a table ends with the one that it called
  kTableErrorEnd,  ///< all tables have ended, with error
  // Rows.
  kRowStart,
  kRowHAP,
  kRowCheck,
  kRowWait,
  kRowTable,
  kRowEnd,
  kRowEndMessage,
  kRowIgnores,  ///< its failure
  kRowKeeps,    ///< its failure, for CHECK
  kRowJumps,
  kRowStops,  ///< the table ends with error
  kRowThrew,  ///< an exception that is not the engine's
  // Load.
  kNoPathFile,     ///< the path file cannot be read
  kNoPath,         ///< it names no configuration
  kLoadFailed,     ///< only says so
  kModuleFailed,   ///< the library of a module cannot be opened
  kLibraryFailed,  ///< the reason of the loader follows
  kLibraryReason,  ///< a piece of it
};

/// A record with what it means. It refers to the record, which must outlive it.
struct Event {
  EventKind kind = EventKind::kOther;
  const kw::platform::TraceRecord* record = nullptr;
  std::uint32_t request = 0;  ///< id of the request; 0: the record does not tell it
  std::uint32_t number = 0;   ///< NUMBER of a row
  std::uint32_t code = 0;     ///< of a failure
  std::uint32_t size = 0;     ///< bytes of error detail or API data
  std::uint32_t time_ms = 0;  ///< of a WAIT row

  std::uint64_t timeNs() const { return record->time_ns; }

  /// The text of the record, escaped as `visible` does.
  std::string text() const;
};

/// What `record` means. Any thread.
Event eventOf(const kw::platform::TraceRecord& record);

/// True for a record that the engine's own logger wrote. Modules and hosts may use the same ids
/// with another class or region.
bool isOfEngine(const kw::platform::TraceRecord& record);

/// What makes `record` suspect, as in "its level is not that of its id": no writer can have written
/// it so. Null when nothing does; a changed value that might as well be right is not found.
const char* suspicionOf(const kw::platform::TraceRecord& record);

/// True for the first record of a row.
bool startsRow(EventKind kind);

/// The command of the row that starts with such an event; `kNone` for other events.
Command commandOf(EventKind kind);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_EVENT_H_
