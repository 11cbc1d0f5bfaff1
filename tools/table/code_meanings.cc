// SPDX-License-Identifier: Apache-2.0
#include "table/code_meanings.h"

#include <optional>
#include <stdexcept>
#include <utility>

#include "configuration/configuration.h"

namespace kw::trx::tools {

std::optional<HAPDescriptions> configuredDescriptions() {
  try {
    const Configured found = configured();
    return found.is_there ? std::optional(hapsOf(found.modules).descriptions) : std::nullopt;
  } catch (const std::runtime_error&) {
    return std::nullopt;  // it is for the other commands to tell
  }
}

CodeMeaning meaningsIn(HAPDescriptions descriptions) {
  return [descriptions = std::move(descriptions)](const std::string& hap, std::uint32_t code) {
    const auto description = descriptions.find(hap);
    if (description == descriptions.end()) {
      return std::string();
    }
    const auto error = description->second.errors.find(code);
    return error == description->second.errors.end() ? std::string() : error->second;
  };
}

CodeMeaning configuredMeanings() {
  return meaningsIn(configuredDescriptions().value_or(HAPDescriptions()));
}

}  // namespace kw::trx::tools
