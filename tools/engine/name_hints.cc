// SPDX-License-Identifier: Apache-2.0
#include "engine/name_hints.h"

#include <vector>

#include "common/text.h"
#include "kw/trx/errors.h"
#include "kw/trx/trx_config.h"
#include "modules/listed_modules.h"
#include "table/finding.h"
#include "table/named_files.h"
#include "zqm_trx/module_key.h"

namespace kw::trx::tools {
namespace {

/// A HAP that is near, else a module whose key is.
std::string hapHint(const std::string& name) {
  const KnownHAPs haps = hapsOf(trx::TRXConfig::getInstance().getHAPModuleFiles());
  if (const auto lost = haps.lost.find(name); lost != haps.lost.end()) {
    return "; the module that exports it " + lost->second;
  }
  if (!haps.known) {
    return {};
  }
  std::vector<std::string> keys;
  for (const std::string& hap : *haps.known) {
    keys.emplace_back(trx::keyOfHAP(hap));
  }
  const std::string hint = didYouMean(name, {haps.known->begin(), haps.known->end()});
  const std::string key(trx::keyOfHAP(name));
  const std::string near = nearestOf(key, keys);
  return !hint.empty() || near.empty() || near == key ? hint
                                                      : "; did you mean the module " + near + "?";
}

}  // namespace

std::string nameHint(trx::TRXInfo& info, const std::string& missing_table) {
  const unsigned int code = info.error.getErrCode();
  if (code == trx::kRecordUndefinedHAP) {
    return hapHint(info.error.getErrHAPName());
  }
  if (code != trx::kRecordTableNotLoaded) {
    return {};
  }
  std::vector<std::string> names;
  for (const std::string& file : trx::TRXConfig::getInstance().getTableFiles()) {
    names.push_back(tableNameOf(file));
  }
  return tableHint(missing_table, names);
}

}  // namespace kw::trx::tools
