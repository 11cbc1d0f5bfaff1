// SPDX-License-Identifier: Apache-2.0
#include "simulator/outcome.h"

#include <iterator>

#include "common/text.h"
#include "kw/trx/errors.h"

namespace kw::trx::tools {
namespace {

constexpr char kOk[] = "ok";
constexpr char kFail[] = "fail";
constexpr char kUndescribed[] = "undescribed";
constexpr char kThrow[] = "throw";
constexpr std::size_t kDetailMax = std::size(trx::HAP_ERR_T{}.detail);

}  // namespace

std::optional<HAPOutcome> outcomeFrom(const std::string& text) {
  HAPOutcome outcome;
  std::vector<std::string> words = partsOf(text, ' ');
  if (words.size() > 2 && words[0] == kFail && words.back() == kUndescribed) {
    outcome.is_undescribed = true;
    words.pop_back();
  }
  if (words[0] == kFail) {
    outcome.kind = HAPOutcome::Kind::kFailure;
  } else if (words[0] == kThrow) {
    outcome.kind = HAPOutcome::Kind::kThrow;
  } else if (words[0] != kOk) {
    return std::nullopt;
  }
  const std::size_t most = outcome.kind == HAPOutcome::Kind::kSuccess ? 1
                           : outcome.kind == HAPOutcome::Kind::kThrow ? 2
                                                                      : 2 + kDetailMax;
  for (std::size_t i = 1; i < words.size(); ++i) {
    const std::optional<std::uint32_t> number = hexNumber(words[i]);
    if (!number || words.size() > most) {
      return std::nullopt;
    }
    if (i == 1) {
      outcome.code = *number;
    } else {
      outcome.detail.push_back(*number);
    }
  }
  return outcome;
}

std::string textOf(const HAPOutcome& outcome) {
  if (outcome.kind == HAPOutcome::Kind::kSuccess) {
    return kOk;
  }
  std::string text = outcome.kind == HAPOutcome::Kind::kFailure ? kFail : kThrow;
  if (outcome.code != 0) {
    text += " " + hexDigits(outcome.code);
  }
  for (const unsigned int word : outcome.detail) {
    text += " " + hexDigits(word);
  }
  return text + (outcome.is_undescribed ? std::string(" ") + kUndescribed : "");
}

}  // namespace kw::trx::tools
