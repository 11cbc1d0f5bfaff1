// SPDX-License-Identifier: Apache-2.0
// What slices and records are.
#include <algorithm>
#include <string_view>

#include "traces/slices.h"
#include "zqm_trx/table_words.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {

const Slice* innermost(const SliceTracker::Place& place, Slice::Kind kind) {
  if (place.slices == nullptr) {
    return nullptr;
  }
  const auto found = std::find_if(place.slices->rbegin(), place.slices->rend(),
                                  [kind](const Slice& slice) { return slice.kind == kind; });
  return found == place.slices->rend() ? nullptr : &*found;
}

bool isRowOf(const Slice& slice, const char* command) {
  return slice.kind == Slice::Kind::kRow && std::string_view(slice.command) == command;
}

bool beginsRequest(const kw::platform::TraceRecord& record) {
  return record.id == trx::kTrxHAPName.id || record.id == trx::kTrxTableAdmitted.id;
}

bool tellsOfRefusal(const kw::platform::TraceRecord& record) {
  return record.id == trx::kTrxTableStopped.id || record.id == trx::kTrxNoContext.id ||
         record.id == trx::kTrxContextRunning.id || record.id == trx::kTrxTableRefused.id;
}

const char* rowCommandOf(const kw::platform::TraceRecord& record) {
  switch (record.id) {
    case trx::kCmdStart.id:
      return trx::kCommandStart;
    case trx::kCmdHAP.id:
      return trx::kCommandHAP;
    case trx::kCmdCheck.id:
      return trx::kCommandCheck;
    case trx::kCmdWait.id:
      return trx::kCommandWait;
    case trx::kCmdTable.id:
      return trx::kCommandTable;
    case trx::kCmdEnd.id:
    case trx::kCmdEndMessage.id:
      return trx::kCommandEnd;
    default:
      return nullptr;
  }
}

}  // namespace kw::trx::tools
