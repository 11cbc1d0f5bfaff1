// SPDX-License-Identifier: Apache-2.0
#include "trxctl/description_output.h"

#include <algorithm>
#include <iostream>

#include "common/text.h"

namespace kw::trx::tools {
namespace {

std::string withUnit(const std::string& name, const std::string& unit) {
  return name + (unit.empty() ? "" : ", " + unit);
}

}  // namespace

void printDescription(const HAPDescription& hap) {
  std::cout << (hap.about.empty() ? "" : "      " + hap.about + '\n');
  for (const auto& [word, para] : hap.paras) {
    std::cout << "      PARA word " << word << ": " << withUnit(para.name, para.unit) << ", "
              << para.least << " to " << para.most << " (" << hexDigits(para.least) << " to "
              << hexDigits(para.most) << ")\n";
  }
  for (const auto& [mode, about] : hap.modes) {
    std::cout << "      MODE " << (mode.empty() ? "empty" : mode) << ": " << about << '\n';
  }
  for (const auto& [word, result] : hap.results) {
    std::cout << "      result word " << word << ": " << withUnit(result.name, result.unit) << '\n';
  }
  for (const auto& [code, about] : hap.errors) {
    std::cout << "      error " << hexText(code) << ": " << about << '\n';
  }
}

void printDescriptionProblems(const ModuleFile& module) {
  for (const auto& [hap, description] : module.descriptions) {
    if (std::count(module.haps.begin(), module.haps.end(), hap) == 0) {
      std::cout << "  describes " << hap << ", which it does not export\n";
    }
  }
  if (module.unreadable != 0) {
    std::cout << "  " << module.unreadable << " records of its descriptions cannot be read\n";
  }
}

}  // namespace kw::trx::tools
