// SPDX-License-Identifier: Apache-2.0
// Requests that wait at their requester, and tables that exceptions left in contexts. One thread.
#ifndef KW_TRX_TOOLS_TRACE_WAITING_REQUESTS_H_
#define KW_TRX_TOOLS_TRACE_WAITING_REQUESTS_H_

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "trace/open_request.h"

namespace kw::trx::tools {

class WaitingRequests {
 public:
  /// Adds a request that waits. Contexts that were given up are told by nothing, so the number of
  /// requests is bounded: returns one that must make place, or null.
  std::unique_ptr<OpenRequest> add(std::unique_ptr<OpenRequest> request);

  /// Removes the request of the process and the id that goes on with the table `name`, and returns
  /// it: that which has waited longest. Null: there is none. Of several it cannot be known which
  /// one it is, so all are marked. One without a name, as its start is lost, may be it as well; it
  /// is returned when no other is left.
  std::unique_ptr<OpenRequest> remove(std::uint32_t process_id, std::uint32_t id,
                                      const std::string& name);

  /// Those of the process and the id.
  std::vector<Request*> of(std::uint32_t process_id, std::uint32_t id);

  /// Remembers the tables that an exception left in the context of `request`.
  void addLeft(const OpenRequest& request);

  /// Removes those which a request of the process and the id goes on with; empty: none are known.
  std::vector<Span> removeLeft(std::uint32_t process_id, std::uint32_t id, const std::string& name);

  /// True when a context of that id may still have tables.
  bool hasTables(std::uint32_t process_id, std::uint32_t id) const;

  /// Removes all requests, those that have waited longest first.
  std::vector<std::unique_ptr<OpenRequest>> removeAll();

 private:
  using Key = std::pair<std::uint32_t, std::uint32_t>;  // process, and id of requests

  void markUncertain(const std::vector<std::size_t>& choices, const std::string& name);

  std::deque<std::unique_ptr<OpenRequest>> waiting_;  // in the order in which they began to wait
  std::map<Key, std::size_t> count_;                  // of waiting_
  std::map<Key, std::deque<std::vector<Span>>> left_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_WAITING_REQUESTS_H_
