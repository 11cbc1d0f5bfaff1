// SPDX-License-Identifier: Apache-2.0
// Which trace records are wanted.
#ifndef KW_TRX_TOOLS_TRACE_SELECTION_H_
#define KW_TRX_TOOLS_TRACE_SELECTION_H_

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "kw/platform.h"
#include "trace/request_builder.h"

namespace kw::trx::tools {

struct Selection {
  std::string level = "debug2";          ///< the least grave level that is wanted
  std::optional<std::uint32_t> request;  ///< id; none: any
  std::uint32_t request_number = 0;      ///< among those of its id; 0: any
  std::string hap, table;                ///< inside these; empty: anywhere

  /// True for the records of the request that is wanted.
  bool takesRequest(const Place& place) const;
  bool takes(const kw::platform::TraceRecord& record, const Place& place) const;
};

/// A request as it is shown: its id and, when known, its number, such as 0x1f2e.3.
std::string requestText(std::uint32_t request, std::uint32_t number);

/// Id and number of the request that `text` writes so, the number 0 without one; none when it is
/// anything else.
std::optional<std::pair<std::uint32_t, std::uint32_t>> requestOf(const std::string& text);

/// What is wrong with `text` as a request; empty: nothing is.
std::string requestIdProblem(const std::string& text);

/// What a ring tells of, to find out what is asked for in vain.
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

#endif  // KW_TRX_TOOLS_TRACE_SELECTION_H_
