// SPDX-License-Identifier: Apache-2.0
// Which requests are wanted. One thread.
#ifndef KW_TRX_TOOLS_TRACE_REQUEST_FILTER_H_
#define KW_TRX_TOOLS_TRACE_REQUEST_FILTER_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "trace/request_summaries.h"

namespace kw::trx::tools {

struct RequestFilter {
  std::optional<std::uint64_t> since_ns, until_ns;  ///< requests that ran in between, also in part
  std::size_t process = 0, thread = 0;              ///< ids; 0: any
  std::optional<std::uint32_t> request;             ///< id; none: any
  std::uint32_t request_number = 0;                 ///< among those of its id; 0: any
  std::uint64_t min_start_ns = 0;                   ///< those that started then or later
  bool failed = false;                              ///< those alone that failed or were refused
  std::string text;                                 ///< stands in what is shown of it

  /// True when any request is wanted.
  bool takesAll() const;

  /// `outcome`: in words, as it is shown.
  bool takes(const Request& request, const std::string& outcome) const;
};

/// Hands on the requests that are wanted, with their spans. As that may be known only when a
/// request ends, its spans are kept until then: the last ones, when there are very many.
class FilteredRequests : public RequestListener {
 public:
  /// Both must outlive it.
  FilteredRequests(const RequestFilter& filter, RequestListener& next);

  void rowStarted(const Request& request, const Span& row) override;
  void spanEnded(const Request& request, const Span& span) override;
  void requestEnded(const Request& request) override;

  /// How many requests were wanted.
  std::uint64_t taken() const { return taken_; }

 private:
  struct Item {
    bool starts;
    Span span;
  };
  void keep(const Request& request, bool starts, const Span& span);
  void handOn(const RequestSummary& summary);

  const RequestFilter& filter_;
  const bool takes_all_;
  RequestListener& next_;
  RequestSummaries summaries_;
  std::map<std::uint64_t, std::vector<Item>> kept_;  // by serial
  std::uint64_t taken_ = 0;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_REQUEST_FILTER_H_
