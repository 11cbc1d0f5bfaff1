// SPDX-License-Identifier: Apache-2.0
#include "commands/description_output.h"

#include <algorithm>
#include <iostream>

#include "common/characters.h"
#include "common/text.h"

namespace kw::trx::tools {
namespace {

std::string withUnit(const std::string& name, const std::string& unit) {
  return name + (unit.empty() ? "" : ", " + unit);
}

bool isExported(const ModuleFile& module, const std::string& hap) {
  return std::count(module.haps.begin(), module.haps.end(), hap) != 0;
}

void writeDescription(JsonWriter& json, const HAPDescription& hap) {
  json.member("about", hap.about).key("paras").beginArray();
  for (const auto& [word, para] : hap.paras) {
    json.beginObject().key("word").number(word).member("name", para.name);
    json.member("unit", para.unit).key("min").number(para.least);
    json.key("max").number(para.most).endObject();
  }
  json.endArray().key("modes").beginArray();
  for (const auto& [mode, about] : hap.modes) {
    json.beginObject().member("mode", mode).member("about", about).endObject();
  }
  json.endArray().key("results").beginArray();
  for (const auto& [word, result] : hap.results) {
    json.beginObject().key("word").number(word).member("name", result.name);
    json.member("unit", result.unit).endObject();
  }
  json.endArray().key("errors").beginArray();
  for (const auto& [code, about] : hap.errors) {
    json.beginObject().member("code", hexText(code)).member("about", about).endObject();
  }
  json.endArray();
}

}  // namespace

void writeDescriptions(JsonWriter& json, const ModuleFile& module) {
  json.key("descriptions").beginArray();
  for (const auto& [hap, description] : module.descriptions) {
    json.beginObject().member("hap", hap);
    json.key("exported").boolean(isExported(module, hap));
    writeDescription(json, description);
    json.endObject();
  }
  json.endArray().key("unreadableDescriptions").number(module.unreadable);
}

void printDescription(const HAPDescription& hap) {
  std::cout << (hap.about.empty() ? "" : "      " + hap.about + '\n');
  for (const auto& [word, para] : hap.paras) {
    std::cout << "      PARA word " << word << ": " << withUnit(para.name, para.unit) << ", "
              << para.least << " to " << para.most << " (" << hexDigits(para.least) << " to "
              << hexDigits(para.most) << ")\n";
  }
  for (const auto& [mode, about] : hap.modes) {
    std::cout << "      MODE " << (mode.empty() ? "empty" : visible(mode)) << ": " << about << '\n';
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
    if (!isExported(module, hap)) {
      std::cout << "  describes " << visible(hap) << ", which it does not export\n";
    }
  }
  if (module.unreadable != 0) {
    std::cout << "  " << module.unreadable << " records of its descriptions cannot be read\n";
  }
}

}  // namespace kw::trx::tools
