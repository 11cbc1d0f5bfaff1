// SPDX-License-Identifier: Apache-2.0
#include "lint/description_warnings.h"

#include <optional>

#include "common/characters.h"
#include "common/text.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

std::string countOf(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " word" : " words");
}

/// "voltage (mV), current (mA)".
std::string namesOf(const HAPDescription& hap) {
  std::string names;
  for (const auto& [word, para] : hap.paras) {
    names +=
        (names.empty() ? "" : ", ") + para.name + (para.unit.empty() ? "" : " (" + para.unit + ")");
  }
  return names;
}

class DescriptionWarner {
 public:
  explicit DescriptionWarner(const HAPDescriptions& descriptions) : descriptions_(descriptions) {}

  std::vector<Finding> run(const TableFlow& flow) {
    for (const FlowRow& row : flow.rows) {
      const auto found = descriptions_.find(row.name);
      if (row.command == Command::kHAP && found != descriptions_.end()) {
        warnOfMode(row, found->second);
        warnOfPara(row, found->second);
      }
    }
    return findings_;
  }

 private:
  void add(const FlowRow& row, trx::Column column, const std::string& words) {
    findings_.push_back({false, row.lines[column], columnTitle(column, true), words});
  }

  void warnOfMode(const FlowRow& row, const HAPDescription& hap) {
    if (hap.modes.count(row.mode) != 0 || (hap.modes.empty() && row.mode.empty())) {
      return;
    }
    std::vector<std::string> modes;
    for (const auto& [mode, about] : hap.modes) {
      modes.push_back(mode.empty() ? "an empty one" : visible(mode));
    }
    const std::string problem =
        row.mode.empty() ? " needs a mode" : " has no mode '" + row.mode + "'";
    add(row, trx::kPlaceMode, row.name + problem + (modes.empty() ? "" : ", but " + listed(modes)));
  }

  void warnOfPara(const FlowRow& row, const HAPDescription& hap) {
    const std::vector<std::string> words =
        row.para.empty() ? std::vector<std::string>() : partsOf(row.para, ' ');
    if (words.size() != hap.paras.size()) {
      add(row, trx::kPlacePara,
          row.name + " takes " + (hap.paras.empty() ? "no words" : countOf(hap.paras.size())) +
              ", not " + std::to_string(words.size()) +
              (hap.paras.empty() ? "" : ": " + namesOf(hap)));
    }
    for (std::size_t i = 0; i < words.size(); ++i) {
      const auto para = hap.paras.find(static_cast<std::uint32_t>(i));
      const std::optional<std::uint32_t> value = hexNumber(words[i]);
      if (para != hap.paras.end() && value &&
          (*value < para->second.least || *value > para->second.most)) {
        warnOfRange(row, words[i], *value, para->second);
      }
    }
  }

  /// PARA is hexadecimal, which is easily forgotten: the value is told in decimal.
  void warnOfRange(const FlowRow& row, const std::string& word, std::uint32_t value,
                   const DescribedPara& para) {
    const std::string unit = para.unit.empty() ? "" : " " + para.unit;
    add(row, trx::kPlacePara,
        "the " + para.name + " " + word + " is " + std::to_string(value) + unit + ", and " +
            row.name + " takes " + std::to_string(para.least) + " to " + std::to_string(para.most) +
            unit);
  }

  const HAPDescriptions& descriptions_;
  std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> descriptionWarnings(const TableFlow& flow,
                                         const HAPDescriptions& descriptions) {
  return DescriptionWarner(descriptions).run(flow);
}

}  // namespace kw::trx::tools
