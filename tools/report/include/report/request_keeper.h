// SPDX-License-Identifier: Apache-2.0
// Chooses the requests that are kept with what ran in them. One thread.
#ifndef KW_TRX_TOOLS_REPORT_REQUEST_KEEPER_H_
#define KW_TRX_TOOLS_REPORT_REQUEST_KEEPER_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <vector>

#include "report/report.h"

namespace kw::trx::tools {

/// Keeps the last requests, the last ones that failed, and the longest.
class RequestKeeper {
 public:
  void add(const KeptRequestPtr& request);

  /// Those kept, and `others`, each once, in the order of their starts.
  std::vector<KeptRequestPtr> requests(const std::vector<KeptRequestPtr>& others);

 private:
  /// The newest requests with so many spans together.
  struct Newest {
    std::deque<KeptRequestPtr> requests;
    std::size_t spans = 0;

    void add(const KeptRequestPtr& request, std::size_t max_spans);
  };

  Newest all_, failed_;
  std::multimap<std::uint64_t, KeptRequestPtr> longest_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPORT_REQUEST_KEEPER_H_
