// SPDX-License-Identifier: Apache-2.0
// Files that are whole but for some damage. It is a series of an action, a place in the file and a
// word: the word is written there (0), or the file ends there (1).
#ifndef KW_TRX_FUZZ_DAMAGE_H_
#define KW_TRX_FUZZ_DAMAGE_H_

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace kw::trx::fuzz {

struct Damage {
  std::uint8_t action;
  std::uint32_t place;
  std::uint64_t word;
};
constexpr std::size_t kDamageBytes = 13;

inline Damage damageAt(std::string_view text) {
  Damage damage{};
  std::memcpy(&damage.action, text.data(), sizeof(damage.action));
  std::memcpy(&damage.place, text.data() + 1, sizeof(damage.place));
  std::memcpy(&damage.word, text.data() + 5, sizeof(damage.word));
  return damage;
}

inline std::string damaged(std::string ring, std::string_view text) {
  for (; text.size() >= kDamageBytes; text.remove_prefix(kDamageBytes)) {
    const Damage damage = damageAt(text);
    const std::size_t place = ring.empty() ? 0 : damage.place % ring.size();
    if (damage.action % 2 == 1) {
      ring.resize(place);
    } else if (place + sizeof(damage.word) <= ring.size()) {
      std::memcpy(&ring[place], &damage.word, sizeof(damage.word));
    }
  }
  return ring;
}

}  // namespace kw::trx::fuzz

#endif  // KW_TRX_FUZZ_DAMAGE_H_
