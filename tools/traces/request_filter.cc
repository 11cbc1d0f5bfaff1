// SPDX-License-Identifier: Apache-2.0
#include "traces/request_filter.h"

#include <algorithm>

namespace kw::trx::tools {
namespace {

bool hasText(const RequestSummary& summary, const std::string& words, const std::string& text) {
  const auto has = [&text](const std::string& shown) {
    return shown.find(text) != std::string::npos;
  };
  return has(summary.name) || has(summary.mode) || has(words) ||
         std::any_of(summary.units.begin(), summary.units.end(), has);
}

}  // namespace

bool RequestFilter::takes(const RequestSummary& summary, const std::string& words) const {
  return !(since_ns && summary.end_ns < *since_ns) && !(until_ns && summary.begin_ns > *until_ns) &&
         (process == 0 || process == summary.process_id) &&
         (thread == 0 || thread == summary.thread_id) &&
         request.value_or(summary.request) == summary.request &&
         (request_number == 0 || request_number == summary.number) &&
         (!failed || isFailure(summary.end)) && hasText(summary, words, text);
}

}  // namespace kw::trx::tools
