// SPDX-License-Identifier: Apache-2.0
#include "modules/listed_modules.h"

#include "common/paths.h"

namespace kw::trx::tools {

std::vector<ListedModule> inspectModules(const std::vector<std::string>& files) {
  std::vector<ListedModule> modules;
  std::map<std::string, std::string> last;
  for (const std::string& file : files) {
    modules.push_back({file, inspectModule(file), ""});
    if (modules.back().module.problems.empty()) {
      last[modules.back().module.key] = file;
    }
  }
  for (ListedModule& listed : modules) {
    const auto owner = last.find(listed.module.key);
    if (listed.module.problems.empty() && owner->second != listed.file) {
      listed.replaced_by = owner->second;
    }
  }
  return modules;
}

KnownHAPs hapsOf(const std::vector<std::string>& files) {
  KnownHAPs haps;
  std::map<std::string, std::vector<std::string>> loaded;
  for (const std::string& file : files) {
    const ModuleFile module = inspectModule(file);
    if (!module.has_sections) {
      return haps;
    }
    const bool loads = module.problems.empty();
    std::vector<std::string>& former = loaded[module.key];
    for (const std::string& hap : loads ? former : module.haps) {
      haps.lost[hap] = loads ? "is replaced by a later one of its key" : "would not load";
    }
    if (!loads && !module.key.empty()) {
      haps.broken[module.key] = fileNameOf(file);
    }
    if (loads) {
      former = module.haps;
      for (const std::string& hap : former) haps.descriptions.erase(hap);
    }
    for (const std::string& hap : module.haps) {
      if (const auto found = module.descriptions.find(hap); found != module.descriptions.end()) {
        haps.descriptions.insert(*found);
      }
    }
  }
  haps.known.emplace();
  for (const auto& [key, names] : loaded) {
    if (!names.empty()) haps.broken.erase(key);
    haps.known->insert(names.begin(), names.end());
  }
  return haps;
}

}  // namespace kw::trx::tools
