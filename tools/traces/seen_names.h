// SPDX-License-Identifier: Apache-2.0
// What a ring tells of, to find out what is asked for in vain.
#ifndef KW_TRX_TOOLS_TRACES_SEEN_NAMES_H_
#define KW_TRX_TOOLS_TRACES_SEEN_NAMES_H_

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "traces/request_builder.h"
#include "traces/selection.h"

namespace kw::trx::tools {

class SeenNames {
 public:
  /// `selection`: what is asked for; it must live as long as this.
  explicit SeenNames(const Selection& selection) : selection_(selection) {}

  void add(const Span& span);
  void add(const Place& place) { request_seen_ = request_seen_ || selection_.takesRequest(place); }

  /// A sentence for each thing asked for that no record told of, with what was probably meant.
  /// `requests`: how many there were, by id.
  std::vector<std::string> missing(const std::map<std::uint32_t, std::uint32_t>& requests) const;

 private:
  const Selection& selection_;
  std::set<std::string> haps_, tables_;
  bool request_seen_ = false;
};

/// That no record tells of a request, with the one that was probably meant.
std::string missingRequestText(std::uint32_t id, std::uint32_t number,
                               const std::map<std::uint32_t, std::uint32_t>& requests);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACES_SEEN_NAMES_H_
