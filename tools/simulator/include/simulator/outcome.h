// SPDX-License-Identifier: Apache-2.0
// What a simulated HAP does when a row calls it.
#ifndef KW_TRX_TOOLS_SIMULATOR_OUTCOME_H_
#define KW_TRX_TOOLS_SIMULATOR_OUTCOME_H_

#include <optional>
#include <string>
#include <vector>

namespace kw::trx::tools {

struct HAPOutcome {
  enum class Kind { kSuccess, kFailure, kThrow };

  Kind kind = Kind::kSuccess;
  unsigned int code = 0;             ///< of the failure or the exception; 0: it gives none
  std::vector<unsigned int> detail;  ///< words behind the code of a failure, at most 31
  bool is_undescribed = false;       ///< the description of the HAP need not have the code

  bool operator==(const HAPOutcome& other) const {
    return kind == other.kind && code == other.code && detail == other.detail;
  }
};

/// The outcome written as "ok", "fail", "fail CODE", "fail CODE WORD...", both also with
/// "undescribed" behind them, "throw CODE" or, for an exception that is not the engine's, "throw";
/// numbers in hexadecimal. None for anything else.
std::optional<HAPOutcome> outcomeFrom(const std::string& text);

/// The same the other way round.
std::string textOf(const HAPOutcome& outcome);

/// What may be written for an outcome, in words.
constexpr char kOutcomeForms[] = "ok, fail [CODE [WORD...]] or throw [CODE]";

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_SIMULATOR_OUTCOME_H_
