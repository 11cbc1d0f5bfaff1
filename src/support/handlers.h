// SPDX-License-Identifier: Apache-2.0
// What the handlers of the engine do with what passes. A thread that is cancelled or calls
// pthread_exit unwinds through them like an exception, and a cancellation inside of a handler would
// end the process.
#ifndef KW_TRX_SUPPORT_HANDLERS_H_
#define KW_TRX_SUPPORT_HANDLERS_H_

#include <cxxabi.h>

#include "kw/trx/errors.h"
#include "support/no_cancellation.h"
#include "support/trace.h"

/// Marks a function with a handler for `ThreadExit`. There is no object behind the exit of a
/// thread, and a sanitizer would take the reference of the handler for one to a null pointer.
#define ZQM_TRX_HANDLES_THREAD_EXIT __attribute__((no_sanitize("null")))

namespace kw::trx::trx {

/// What a thread that ends unwinds with. Whoever catches it and does not throw it on ends the
/// process.
using ThreadExit = abi::__forced_unwind;

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
ZQM_TRX_HANDLES_THREAD_EXIT void failAs(unsigned int code, const TracePoint& point,
                                        const Value& value, Step step) {
  try {
    step();
  } catch (ThreadExit&) {
    throw;
  } catch (...) {
    traceInHandler(point, value);
    throw TRXException(code);
  }
}

}  // namespace kw::trx::trx

#endif  // KW_TRX_SUPPORT_HANDLERS_H_
