// SPDX-License-Identifier: Apache-2.0
#include "engine/units.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

#include "common/text.h"

namespace kw::trx::tools {
namespace {

/// Type and number of the objects above a unit, which no HAP asks for.
constexpr int kNoType = 0;

struct UnitWords {
  int type = 0;
  int no = 0;
  std::vector<std::string> names;  ///< from the root down
};

/// All numbers are 0 or above.
bool readNumber(const std::string& text, int& number) {
  const std::optional<std::uint32_t> read = decimalNumber(text);
  number = static_cast<int>(read.value_or(0));
  return read && number >= 0;
}

std::optional<UnitWords> wordsOf(const std::string& text) {
  const std::vector<std::string> fields = partsOf(text, ':');
  UnitWords words;
  words.names = fields.size() == 3 ? partsOf(fields[2], '/') : std::vector<std::string>{text};
  const bool right = fields.size() >= 2 && fields.size() <= 3 &&
                     readNumber(fields[0], words.type) && readNumber(fields[1], words.no) &&
                     std::count(words.names.begin(), words.names.end(), "") == 0;
  return right ? std::optional<UnitWords>(words) : std::nullopt;
}

}  // namespace

std::string unitProblem(const std::string& text) {
  return wordsOf(text)
             ? std::string()
             : "'" + text + "' is not TYPE:NO or TYPE:NO:PATH, such as 300:2 or 300:2:rack/rail2";
}

Units::Units(const std::vector<std::string>& texts) {
  for (const std::string& text : texts) {
    add(text);
  }
}

void Units::add(const std::string& text) {
  const std::optional<UnitWords> words = wordsOf(text);
  if (!words) {
    throw std::invalid_argument(unitProblem(text));
  }
  const kw::sysobj::Component* parent = nullptr;
  for (std::size_t i = 0; i + 1 < words->names.size(); ++i) {
    owned_.push_back(std::make_unique<kw::sysobj::Component>(kNoType, 0, words->names[i], parent));
    parent = owned_.back().get();
  }
  owned_.push_back(
      std::make_unique<kw::sysobj::Component>(words->type, words->no, words->names.back(), parent));
  list_.push_back(owned_.back().get());
}

}  // namespace kw::trx::tools
