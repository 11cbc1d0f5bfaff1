// SPDX-License-Identifier: Apache-2.0
// The trace records of a test as a text that one comparison can check. Records come from any
// thread; there is one capture at a time, and it owns the listener and the level mask of the
// platform during its life.
#ifndef KW_TRX_TESTING_TRACE_CAPTURE_H_
#define KW_TRX_TESTING_TRACE_CAPTURE_H_

#include <mutex>
#include <string>

#include "kw/platform.h"

namespace kw::trx::testing {

/// Records what is traced during its scope, by all threads. A record becomes a line: the level (E
/// error, I info, D debug, d debug2), the id, then "text", (four words) or [eight words], all
/// numbers in hexadecimal. A word that is the TRX id of the writing thread shows as `id`. What each
/// id means says `trxctl explain`.
class TraceCapture {
 public:
  /// Takes only the levels of `levels` (bits of `TraceLevelBit`).
  explicit TraceCapture(unsigned int levels = kw::platform::kTraceAll);
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;
  ~TraceCapture();

  /// The lines since the last call, each with its line end. Any thread may call it.
  std::string trail();

 private:
  static void record(void* context, unsigned long region, unsigned int level,
                     unsigned short trace_class, unsigned long id, const void* data, int length);

  std::mutex mutex_;
  std::string trail_;
};

}  // namespace kw::trx::testing

#endif  // KW_TRX_TESTING_TRACE_CAPTURE_H_
