// SPDX-License-Identifier: Apache-2.0
#include "trace/waiting_requests.h"

#include <algorithm>

namespace kw::trx::tools {
namespace {

constexpr std::size_t kMaxWaiting = 4096;
constexpr std::size_t kMaxLeft = 64;  // of one id
constexpr std::size_t kMaxLeftIds = 1024;

}  // namespace

std::unique_ptr<OpenRequest> WaitingRequests::add(std::unique_ptr<OpenRequest> request) {
  ++count_[{request->request().process_id, request->request().id}];
  waiting_.push_back(std::move(request));
  if (waiting_.size() <= kMaxWaiting) {
    return nullptr;
  }
  std::unique_ptr<OpenRequest> oldest = std::move(waiting_.front());
  waiting_.pop_front();
  --count_[{oldest->request().process_id, oldest->request().id}];
  return oldest;
}

std::unique_ptr<OpenRequest> WaitingRequests::remove(std::uint32_t process_id, std::uint32_t id,
                                                     const std::string& name) {
  const auto count = count_.find({process_id, id});
  if (count == count_.end() || count->second == 0) {
    return nullptr;
  }
  std::vector<std::size_t> choices;
  for (std::size_t i = 0; i < waiting_.size(); ++i) {
    const Request& request = waiting_[i]->request();
    if (request.process_id == process_id && request.id == id &&
        (request.name == name || request.name.empty())) {
      choices.push_back(i);
    }
  }
  if (choices.empty()) {
    return nullptr;
  }
  const auto rank = [this](std::size_t i) {
    const Request& request = waiting_[i]->request();
    return std::make_pair(request.name.empty(), request.end_ns);
  };
  const auto first = std::min_element(choices.begin(), choices.end(),
                                      [&](auto a, auto b) { return rank(a) < rank(b); });
  markUncertain(choices, name);
  std::unique_ptr<OpenRequest> request = std::move(waiting_[*first]);
  waiting_.erase(waiting_.begin() + static_cast<std::ptrdiff_t>(*first));
  --count->second;
  return request;
}

std::vector<Request*> WaitingRequests::of(std::uint32_t process_id, std::uint32_t id) {
  std::vector<Request*> found;
  for (const auto& open : waiting_) {
    Request& request = open->request();
    if (request.process_id == process_id && request.id == id) {
      found.push_back(&request);
    }
  }
  return found;
}

/// Marks requests of which one goes on with the table `name`, when it is not known which.
void WaitingRequests::markUncertain(const std::vector<std::size_t>& choices,
                                    const std::string& name) {
  const bool all_named = std::none_of(choices.begin(), choices.end(), [this](std::size_t i) {
    return waiting_[i]->request().name.empty();
  });
  if (choices.size() == 1 && all_named) {
    return;
  }
  for (const std::size_t i : choices) {
    waiting_[i]->request().uncertain =
        all_named ? "several requests of its id wait in table " + name +
                        "; which of them went on is not in the records"
                  : "whether it or another request of its id went on in table " + name +
                        " is not in the records";
  }
}

void WaitingRequests::addLeft(const OpenRequest& request) {
  const Key key{request.request().process_id, request.request().id};
  if (request.left().empty() || (left_.size() == kMaxLeftIds && left_.count(key) == 0)) {
    return;
  }
  auto& left = left_[key];
  if (left.size() == kMaxLeft) {
    left.pop_front();
  }
  left.push_back(request.left());
}

std::vector<Span> WaitingRequests::removeLeft(std::uint32_t process_id, std::uint32_t id,
                                              const std::string& name) {
  const auto found = left_.find({process_id, id});
  if (found == left_.end()) {
    return {};
  }
  const auto last = std::find_if(
      found->second.rbegin(), found->second.rend(),
      [&name](const std::vector<Span>& tables) { return tables.front().name == name; });
  if (last == found->second.rend()) {
    return {};
  }
  std::vector<Span> tables = std::move(*last);
  found->second.erase(std::prev(last.base()));
  return tables;
}

bool WaitingRequests::hasTables(std::uint32_t process_id, std::uint32_t id) const {
  const auto count = count_.find({process_id, id});
  const auto left = left_.find({process_id, id});
  return (count != count_.end() && count->second != 0) ||
         (left != left_.end() && !left->second.empty());
}

std::vector<std::unique_ptr<OpenRequest>> WaitingRequests::removeAll() {
  std::vector<std::unique_ptr<OpenRequest>> all;
  std::move(waiting_.begin(), waiting_.end(), std::back_inserter(all));
  waiting_.clear();
  count_.clear();
  return all;
}

}  // namespace kw::trx::tools
