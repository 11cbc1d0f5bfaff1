// SPDX-License-Identifier: Apache-2.0
// What was probably meant by a name that the engine did not find.
#ifndef KW_TRX_TOOLS_RUNNING_NAME_HINTS_H_
#define KW_TRX_TOOLS_RUNNING_NAME_HINTS_H_

#include <string>

#include "kw/platform.h"
#include "kw/trx/trx_info.h"

namespace kw::trx::tools {

/// Watches the records of one request for a HAP or a table that is not there. The known names are
/// those of the loaded configuration.
class NameHints {
 public:
  void take(const kw::platform::TraceRecord& record);

  /// The end of a sentence about the last missing name, from its "; " on; empty when no name was
  /// missing in the end, or nothing is near.
  std::string hint(trx::TRXInfo& info) const;

 private:
  std::string missing_table_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_RUNNING_NAME_HINTS_H_
