// SPDX-License-Identifier: Apache-2.0
#include "graph/para_text.h"

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

#include "common/text.h"
#include "table/cell_number.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

/// Names of two words that are the ends of one range start so.
constexpr std::array<std::pair<const char*, const char*>, 4> kRanges = {
    {{"lowest", "highest"}, {"min", "max"}, {"lower", "upper"}, {"low", "high"}}};

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

bool isRange(const DescribedPara& first, const DescribedPara& second) {
  if (first.unit != second.unit) {
    return false;
  }
  for (const auto& [low, high] : kRanges) {
    if (startsWith(first.name, low) && startsWith(second.name, high)) {
      return true;
    }
  }
  return false;
}

/// One word of a PARA cell.
struct Word {
  std::string text;                          ///< in decimal when it is described
  const DescribedPara* described = nullptr;  ///< null: it is not
};

std::vector<Word> wordsOf(const std::string& para, const HAPDescription& hap) {
  std::vector<Word> words;
  for (const std::string& part : partsOf(para, ' ')) {
    Word word{part};
    const CellNumber number = cellNumber(part, trx::kHexBase);
    const auto described = hap.paras.find(static_cast<std::uint32_t>(words.size()));
    if (described != hap.paras.end() && number.is_whole) {
      word = {std::to_string(number.value), &described->second};
    }
    words.push_back(word);
  }
  return words;
}

}  // namespace

std::string paraText(const FlowRow& row, const HAPDescriptions& descriptions) {
  const auto hap = descriptions.find(row.name);
  if (row.command != Command::kHAP || row.para.empty() || hap == descriptions.end()) {
    return row.para;
  }
  const std::vector<Word> words = wordsOf(row.para, hap->second);
  std::string text;
  for (std::size_t at = 0; at < words.size(); ++at) {
    const Word& word = words[at];
    text += (text.empty() ? "" : ", ") + word.text;
    if (word.described == nullptr) {
      continue;
    }
    const Word* const next = at + 1 < words.size() ? &words[at + 1] : nullptr;
    if (next != nullptr && next->described != nullptr &&
        isRange(*word.described, *next->described)) {
      text += "-" + next->text;
      ++at;
    } else if (word.described->unit.empty()) {
      text.insert(text.size() - word.text.size(), word.described->name + " ");
    }
    text += word.described->unit.empty() ? "" : " " + word.described->unit;
  }
  return text;
}

}  // namespace kw::trx::tools
