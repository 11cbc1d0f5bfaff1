// SPDX-License-Identifier: Apache-2.0
// Which trace records are wanted.
#ifndef KW_TRX_TOOLS_TRACES_SELECTION_H_
#define KW_TRX_TOOLS_TRACES_SELECTION_H_

#include <cstdint>
#include <optional>
#include <string>

#include "kw/platform.h"
#include "traces/slices.h"

namespace kw::trx::tools {

struct Selection {
  std::string level = "debug2";          ///< the least grave level that is wanted
  std::optional<std::uint32_t> request;  ///< none: any
  std::string hap, table;                ///< inside these; empty: anywhere

  bool takes(const kw::platform::TraceRecord& record, const SliceTracker::Place& place) const;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACES_SELECTION_H_
