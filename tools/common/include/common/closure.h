// SPDX-License-Identifier: Apache-2.0
// What can be got to from some items. Any thread.
#ifndef KW_TRX_TOOLS_COMMON_CLOSURE_H_
#define KW_TRX_TOOLS_COMMON_CLOSURE_H_

#include <set>
#include <utility>
#include <vector>

namespace kw::trx::tools {

/// The items of `open` and all that follow them, directly or through others. `following` returns a
/// range of those that follow one item; it is called once for each.
template <typename Item, typename Following>
std::set<Item> closureOf(std::vector<Item> open, const Following& following) {
  std::set<Item> found;
  while (!open.empty()) {
    const auto [item, is_new] = found.insert(std::move(open.back()));
    open.pop_back();
    if (is_new) {
      for (const Item& next : following(*item)) {
        open.push_back(next);
      }
    }
  }
  return found;
}

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMON_CLOSURE_H_
