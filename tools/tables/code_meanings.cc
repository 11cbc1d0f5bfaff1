// SPDX-License-Identifier: Apache-2.0
#include "tables/code_meanings.h"

#include <optional>
#include <stdexcept>
#include <vector>

#include "configuration/configuration.h"
#include "modules/listed_modules.h"

namespace kw::trx::tools {
namespace {

HAPDescriptions configuredDescriptions() {
  std::optional<std::vector<std::string>> modules;
  try {
    configuredTables(modules);
  } catch (const std::runtime_error&) {
    return {};
  }
  return modules ? hapsOf(*modules).descriptions : HAPDescriptions();
}

}  // namespace

CodeMeaning configuredMeanings() {
  return [descriptions = configuredDescriptions()](const std::string& hap, std::uint32_t code) {
    const auto description = descriptions.find(hap);
    if (description == descriptions.end()) {
      return std::string();
    }
    const auto error = description->second.errors.find(code);
    return error == description->second.errors.end() ? std::string() : error->second;
  };
}

}  // namespace kw::trx::tools
