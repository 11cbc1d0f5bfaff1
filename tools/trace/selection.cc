// SPDX-License-Identifier: Apache-2.0
#include "trace/selection.h"

#include <algorithm>
#include <iterator>

#include "common/text.h"
#include "trace/catalogue.h"

namespace kw::trx::tools {
namespace {

constexpr const char* kLevels[] = {"error", "info", "debug", "debug2"};

std::ptrdiff_t depthOf(const std::string& level) {
  return std::find(std::begin(kLevels), std::end(kLevels), level) - std::begin(kLevels);
}

bool isInside(const Place& place, Span::Kind kind, const std::string& name) {
  return name.empty() ||
         (place.spans != nullptr &&
          std::any_of(place.spans->begin(), place.spans->end(),
                      [&](const Span& span) { return span.kind == kind && span.name == name; }));
}

constexpr char kNoRecord[] = "no record tells of ";

void addMissing(const char* kind, const std::string& name, const std::set<std::string>& seen,
                std::vector<std::string>& missing) {
  if (!name.empty() && seen.count(name) == 0) {
    missing.push_back(kNoRecord + (kind + name) + didYouMean(name, {seen.begin(), seen.end()}));
  }
}

}  // namespace

bool Selection::takesRequest(const Place& place) const {
  return request.value_or(place.request) == place.request &&
         (request_number == 0 || request_number == place.number);
}

bool Selection::takes(const kw::platform::TraceRecord& record, const Place& place) const {
  const std::ptrdiff_t depth = depthOf(levelName(record.level));
  const bool known = depth < std::end(kLevels) - std::begin(kLevels);
  return !(known && depth > depthOf(level)) && takesRequest(place) &&
         isInside(place, Span::Kind::kHAP, hap) && isInside(place, Span::Kind::kTable, table);
}

std::string requestText(std::uint32_t request, std::uint32_t number) {
  return hexText(request) + (number == 0 ? "" : '.' + std::to_string(number));
}

std::optional<std::pair<std::uint32_t, std::uint32_t>> requestOf(const std::string& text) {
  const std::size_t dot = std::min(text.find('.'), text.size());
  const std::optional<std::uint32_t> id = wordNumber(text.substr(0, dot));
  if (!id || dot == text.size()) {
    return id ? std::make_optional(std::make_pair(*id, 0U)) : std::nullopt;
  }
  const std::uint32_t number = decimalNumber(text.substr(dot + 1)).value_or(0);
  return number != 0 ? std::make_optional(std::make_pair(*id, number)) : std::nullopt;
}

std::string requestIdProblem(const std::string& text) {
  return requestOf(text) ? std::string()
                         : "'" + text + "' is no request id; write one as the lines show it";
}

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
