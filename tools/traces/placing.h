// SPDX-License-Identifier: Apache-2.0
// Trace records with what they belong to, those included that do not say it themselves.
#ifndef KW_TRX_TOOLS_TRACES_PLACING_H_
#define KW_TRX_TOOLS_TRACES_PLACING_H_

#include <deque>
#include <functional>

#include "kw/platform.h"
#include "traces/slices.h"

namespace kw::trx::tools {

/// Hands records on in their order once their place is known. The first records of a HAP request do
/// not say whose it is: the next one of the thread does.
class RecordPlacer {
 public:
  using OnRecord = std::function<void(const kw::platform::TraceRecord& record,
                                      const SliceTracker::Place& place)>;

  explicit RecordPlacer(OnRecord on_record) : on_record_(std::move(on_record)) {}

  /// Takes the next record, whose place is so far known to be `place`.
  void take(const kw::platform::TraceRecord& record, const SliceTracker::Place& place);

  /// Hands on what waits, with its place as far as it is known.
  void flush() { handOn(0); }

 private:
  struct Pending {
    kw::platform::TraceRecord record;
    SliceTracker::Place place;
    bool placed;  ///< false: the place is a guess
  };

  void handOn(std::size_t most);

  OnRecord on_record_;
  std::deque<Pending> pending_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACES_PLACING_H_
