// SPDX-License-Identifier: Apache-2.0
#include "traces/seen_names.h"

#include "common/text.h"

namespace kw::trx::tools {
namespace {

constexpr char kNoRecord[] = "no record tells of ";

void addMissing(const char* kind, const std::string& name, const std::set<std::string>& seen,
                std::vector<std::string>& missing) {
  if (!name.empty() && seen.count(name) == 0) {
    missing.push_back(kNoRecord + (kind + name) + didYouMean(name, {seen.begin(), seen.end()}));
  }
}

}  // namespace

void SeenNames::add(const Span& span) {
  if (span.kind == Span::Kind::kHAP && !selection_.hap.empty()) {
    haps_.insert(span.name);
  } else if (span.kind == Span::Kind::kTable && !selection_.table.empty()) {
    tables_.insert(span.name);
  }
}

std::vector<std::string> SeenNames::missing(
    const std::map<std::uint32_t, std::uint32_t>& requests) const {
  std::vector<std::string> missing;
  addMissing("HAP ", selection_.hap, haps_, missing);
  addMissing("table ", selection_.table, tables_, missing);
  if (!selection_.request || request_seen_) {
    return missing;
  }
  missing.push_back(missingRequestText(*selection_.request, selection_.request_number, requests));
  return missing;
}

std::string missingRequestText(std::uint32_t id, std::uint32_t number,
                               const std::map<std::uint32_t, std::uint32_t>& requests) {
  std::vector<std::string> ids;
  ids.reserve(requests.size());
  for (const auto& request : requests) {
    ids.push_back(hexText(request.first));
  }
  const auto same_id = requests.find(id);
  return kNoRecord + ("request " + requestText(id, number)) +
         (same_id == requests.end()
              ? didYouMean(hexText(id), ids)
              : "; its last one is " + requestText(same_id->first, same_id->second));
}

}  // namespace kw::trx::tools
