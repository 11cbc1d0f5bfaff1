// SPDX-License-Identifier: Apache-2.0
// A timeline as ui.perfetto.dev opens it.
#ifndef KW_TRX_TOOLS_TRXCTL_TIMELINE_H_
#define KW_TRX_TOOLS_TRXCTL_TIMELINE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "kw/platform.h"
#include "traces/slices.h"

namespace kw::trx::tools {

/// Collects what goes into a timeline.
class Timeline {
 public:
  void add(const Slice& slice) { slices_.push_back(slice); }
  void addError(const kw::platform::TraceRecord& record) { errors_.push_back(record); }

  /// Writes the file at `path`. Returns the exit status.
  int write(const std::string& path) const;

 private:
  std::vector<Slice> slices_;
  std::vector<kw::platform::TraceRecord> errors_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRXCTL_TIMELINE_H_
