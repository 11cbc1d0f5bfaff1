// SPDX-License-Identifier: Apache-2.0
// What the handlers of the engine do with what passes. A thread that is cancelled or calls
// pthread_exit unwinds through them like an exception, and a cancellation inside of a handler would
// end the process.
#ifndef KW_TRX_SUPPORT_HANDLERS_H_
#define KW_TRX_SUPPORT_HANDLERS_H_

#include <exception>

#include "kw/trx/errors.h"
#include "support/no_cancellation.h"
#include "support/trace.h"

namespace kw::trx::trx {

/// True in a handler through which a thread unwinds that ends: there is no exception then. Whoever
/// does not throw on ends the process.
inline bool isThreadExit() { return std::current_exception() == nullptr; }

/// Writes a record inside of a handler.
template <typename... Values>
void traceInHandler(const TracePoint& point, const Values&... values) {
  const NoCancellation uncancelled;
  trace(point, values...);
}

/// Runs `step`. What it throws goes on, with the record `point` of `id` unless it is a
/// `TRXException`.
template <typename Step>
void traceForeignException(const TracePoint& point, const unsigned int& id, Step step) {
  try {
    step();
  } catch (const TRXException&) {
    throw;
  } catch (...) {
    traceInHandler(point, id);
    throw;
  }
}

/// Runs `step`. What it throws becomes a `TRXException` with `code`, behind the record `point` of
/// `value`, unless the thread ends.
template <typename Value, typename Step>
void failAs(unsigned int code, const TracePoint& point, const Value& value, Step step) {
  try {
    step();
  } catch (...) {
    if (isThreadExit()) {
      throw;
    }
    traceInHandler(point, value);
    throw TRXException(code);
  }
}

}  // namespace kw::trx::trx

#endif  // KW_TRX_SUPPORT_HANDLERS_H_
