// SPDX-License-Identifier: Apache-2.0
// What the machine and the host would have seen of a recorded request with other tables. One
// thread.
#ifndef KW_TRX_TOOLS_REPLAY_VISIBLE_REPLAY_H_
#define KW_TRX_TOOLS_REPLAY_VISIBLE_REPLAY_H_

#include <string>
#include <vector>

#include "replay/recorded_request.h"
#include "simulator/simulator.h"

namespace kw::trx::tools {

/// A line for each HAP call, wait, the end, and what the first failing row does, as far as records
/// tell it: neither the words of a HAP nor the message of a table.
struct VisibleReplay {
  std::vector<std::string> recorded, replayed;
};

/// Runs the table of `recorded`, which must be among those of `simulator`. Its calls have the
/// outcomes that are recorded, in their order; further ones succeed.
VisibleReplay visibleReplay(const RecordedRequest& recorded, const Simulator& simulator);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPLAY_VISIBLE_REPLAY_H_
