// SPDX-License-Identifier: Apache-2.0
// Tables that were interrupted, until they go on. One thread.
#ifndef KW_TRX_TOOLS_TRACES_INTERRUPTIONS_H_
#define KW_TRX_TOOLS_TRACES_INTERRUPTIONS_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "traces/slices.h"

namespace kw::trx::tools {

class Interruptions {
 public:
  /// What was open when a request of the id `request` was interrupted, outermost table first, with
  /// ends. Of each id the last ones are kept: of a context that was given up nothing tells.
  void add(std::uint32_t request, std::vector<Slice> slices);

  /// Takes out what goes on with the table `name`, that which was interrupted last; empty: none is
  /// known.
  std::vector<Slice> take(std::uint32_t request, const std::string& name);

 private:
  std::map<std::uint32_t, std::vector<std::vector<Slice>>> all_;  // by request id
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACES_INTERRUPTIONS_H_
