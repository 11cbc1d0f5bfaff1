// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/unit_functions.h"

#include <algorithm>
#include <utility>

#include "kw/ntz_hash64.h"
#include "support/trace.h"

namespace kw::trx::trx {
namespace {

constexpr int kType301 = 301;
constexpr int kType300 = 300;
constexpr int kType302 = 302;
constexpr int kType303 = 303;

constexpr unsigned long long kErrorMask = ~0ULL;
constexpr int kErrorChannel = -1;
constexpr int kMaskBits = 64;
constexpr int kChannels = 16;

/// First resource bit of a unit type, or -1 for a type without bits.
int firstBit(int type) {
  constexpr std::pair<int, int> first_bits[] = {
      {kType301, 0}, {kType300, 16}, {kType302, 32}, {kType303, 40}};
  const auto* const found = std::find_if(std::begin(first_bits), std::end(first_bits),
                                         [type](const auto& entry) { return entry.first == type; });
  return found == std::end(first_bits) ? -1 : found->second;
}

}  // namespace

unsigned long long get_rsc_bit(TRXInfo* info) {
  std::vector<kw::sysobj::Component*> units;
  info->getHAPUnitList(units);
  unsigned long long mask = 0;
  for (kw::sysobj::Component* unit : units) {
    const int type = unit->getType();
    const int first = firstBit(type);
    if (first < 0) {
      trace(kUnitType, traceWord(type), kType301, kType300, kType302, kType303, 0, 0, 0);
      info->setAPIRtnValue(-1);
      return kErrorMask;
    }
    const long long bit = static_cast<long long>(unit->getNo()) + first;
    if (bit >= 0 && bit < kMaskBits) {
      mask |= 1ULL << bit;
    }
  }
  return mask;
}

int get_sbc_ch_value(TRXInfo* info) {
  const unsigned long long mask = get_rsc_bit(info);
  if (mask == kErrorMask) {
    return kErrorChannel;
  }
  return rsc_value_to_sbc_ch_value(ntz_hash64(mask));
}

int rsc_value_to_sbc_ch_value(int value) { return value >= kChannels ? value - kChannels : value; }

}  // namespace kw::trx::trx
