// SPDX-License-Identifier: Apache-2.0
#include "report/page.h"

#include <iterator>

namespace kw::trx::tools {
namespace {

/// The parts of the page before and behind the report, of the files of page/.
constexpr unsigned char kBefore[] = {
#include "report/page_before.inc"
};
constexpr unsigned char kBehind[] = {
#include "report/page_behind.inc"
};
static_assert(sizeof(kBefore) + sizeof(kBehind) < kMaxPageOwnBytes);

}  // namespace

std::string pageOf(const std::string& json) {
  std::string page(std::begin(kBefore), std::end(kBefore));
  page.append(json).append(std::begin(kBehind), std::end(kBehind));
  return page;
}

}  // namespace kw::trx::tools
