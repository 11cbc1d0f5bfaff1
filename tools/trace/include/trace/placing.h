// SPDX-License-Identifier: Apache-2.0
// Trace records with what they belong to, those included that do not say it themselves.
#ifndef KW_TRX_TOOLS_TRACE_PLACING_H_
#define KW_TRX_TOOLS_TRACE_PLACING_H_

#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "kw/platform.h"
#include "trace/request_builder.h"

namespace kw::trx::tools {

/// Hands records on in their order once all is known that the next one of their thread tells: whose
/// request the first records of a HAP request are of, and which HAP or table a row calls.
class RecordPlacer {
 public:
  /// `called`: the HAP or table that a row calls which starts with the event, empty for none; null
  /// when that is not told.
  using OnRecord =
      std::function<void(const Event& event, const Place& place, const std::string* called)>;

  /// With `awaits_calls` the records of rows that call something wait for what tells what.
  RecordPlacer(bool awaits_calls, OnRecord on_record)
      : awaits_calls_(awaits_calls), on_record_(std::move(on_record)) {}

  /// Takes the next event, whose place is so far known to be `place`.
  void take(const Event& event, const Place& place);

  /// Hands on what waits, with its place as far as it is known.
  void flush() { handOn(0); }

 private:
  struct Pending {
    kw::platform::TraceRecord record;
    Place place;
    bool awaits_call;  ///< the next record of the thread may tell what the row calls
    std::optional<std::string> called;
  };

  static void settle(Pending& pending, const Event& event, const Place& place);
  void handOn(std::size_t max);

  const bool awaits_calls_;
  OnRecord on_record_;
  std::deque<Pending> pending_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_PLACING_H_
