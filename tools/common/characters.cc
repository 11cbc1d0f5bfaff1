// SPDX-License-Identifier: Apache-2.0
#include "common/characters.h"

#include <algorithm>

namespace kw::trx::tools {
namespace {

unsigned char byteAt(std::string_view text, std::size_t at) {
  return static_cast<unsigned char>(text[at]);
}

}  // namespace

std::size_t characterAt(std::string_view text, std::size_t at) {
  const unsigned char first = byteAt(text, at);
  const std::size_t size = first < 0xc2 ? 1 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
  if (first < 0x80) {
    return 1;
  }
  if (size == 1 || first >= 0xf5 || text.size() - at < size) {
    return 0;
  }
  for (std::size_t i = at + 1; i < at + size; ++i) {
    if ((byteAt(text, i) & 0xc0) != 0x80) {
      return 0;
    }
  }
  // What a shorter form writes as well, halves of pairs, and what lies behind the last character.
  const unsigned char second = byteAt(text, at + 1);
  const bool wrong = (first == 0xe0 && second < 0xa0) || (first == 0xed && second > 0x9f) ||
                     (first == 0xf0 && second < 0x90) || (first == 0xf4 && second > 0x8f);
  return wrong ? 0 : size;
}

std::vector<std::string> charactersOf(const std::string& text) {
  std::vector<std::string> characters;
  for (std::size_t at = 0; at < text.size(); at += characters.back().size()) {
    characters.push_back(text.substr(at, std::max<std::size_t>(characterAt(text, at), 1)));
  }
  return characters;
}

std::string inQuotes(const std::string& text) { return "'" + visible(text) + "'"; }

std::string visible(const std::string& raw) {
  constexpr char digits[] = "0123456789abcdef";
  std::string text;
  for (const std::string& character : charactersOf(raw)) {
    const auto byte = static_cast<unsigned char>(character[0]);
    const std::string shown = "\t\n\r";
    const std::size_t letter = shown.find(character);
    if (letter != std::string::npos) {
      text += std::string("\\") + "tnr"[letter];
    } else if (character.size() == 1 && (byte < ' ' || byte > '~')) {
      text += std::string("\\x") + digits[byte / 16] + digits[byte % 16];
    } else if (character >= "\xc2\x80" && character < "\xc2\xa0") {
      const auto second = static_cast<unsigned char>(character[1]);  // a control character, too
      text += std::string("\\xc2\\x") + digits[second / 16] + digits[second % 16];
    } else {
      text += character;
    }
  }
  return text;
}

}  // namespace kw::trx::tools
