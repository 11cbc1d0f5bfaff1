// SPDX-License-Identifier: Apache-2.0
#include "trace/request.h"

namespace kw::trx::tools {

const char* nameOf(Request::Kind kind) {
  constexpr const char* names[] = {"hap", "table", "unknown"};
  return names[static_cast<std::size_t>(kind)];
}

const char* nameOf(Ending ending) {
  constexpr const char* names[] = {"open", "waits", "succeeded", "failed", "refused"};
  return names[static_cast<std::size_t>(ending)];
}

}  // namespace kw::trx::tools
