// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/trx_config.h"

#include "support/handlers.h"
#include "support/requester_id.h"
#include "zqm_trx/config_keys.h"

namespace kw::trx::trx {
namespace {

constexpr unsigned int kDefaultNestLimit = 10;

}  // namespace

KWPathConf::KWPathConf() : properties_(false) {}

KWPathConf::~KWPathConf() { properties_.clear(); }

void KWPathConf::load() { properties_.load(kPathFile); }

std::string KWPathConf::getTRXConfPath() const { return properties_.getProperty(kKeyTRXConf); }

TRXConfig& TRXConfig::getInstance() {
  static TRXConfig* const config = new TRXConfig;  // never destroyed: a load may be at work at exit
  return *config;
}

TRXConfig::TRXConfig() = default;

TRXConfig::~TRXConfig() = default;

void TRXConfig::load() {
  KWPathConf path_conf;
  failAs(kCodeConfig, kConfigNoPathFile, requesterId(), [&] { path_conf.load(); });
  const std::string path = path_conf.getTRXConfPath();
  if (path.empty()) {
    trace(kConfigNoPath, requesterId());
    throw TRXException(kCodeConfig);
  }
  loadTRXConf(path);
}

void TRXConfig::loadTRXConf(const std::string& path) {
  kw::util::config::CppProperties properties(false);
  failAs(kCodeConfig, kConfigNoFile, path, [&] { properties.load(path); });
  // Each error mode stands before its file list, which is read by it.
  loadBooleanDefinition(properties, kKeyHAPErrMode, hap_stop_on_load_error_, kWordContinue, true);
  loadFilePathList(properties, kKeyHAPNumber, kPrefixHAPFile, hap_module_files_,
                   hap_stop_on_load_error_);
  loadNestExecLimit(properties, kKeyHAPNestLimit, hap_nest_limit_);
  loadBooleanDefinition(properties, kKeyExclusionControl, exclusion_control_, kWordOff, false);
  loadBooleanDefinition(properties, kKeyTableErrMode, table_stop_on_load_error_, kWordContinue,
                        true);
  loadFilePathList(properties, kKeyTableNumber, kPrefixTableFile, table_files_,
                   table_stop_on_load_error_);
  loadNestExecLimit(properties, kKeyTableNestLimit, table_nest_limit_);
  loadBooleanDefinition(properties, kKeyWaitHandler, wait_in_engine_, kWordRequester, true);
}

void TRXConfig::loadBooleanDefinition(kw::util::config::CppProperties& properties,
                                      const std::string& key, bool& out, const std::string& word,
                                      bool default_value) {
  if (!properties.exist(key)) {
    trace(kConfigKeyAbsent, key);
    out = default_value;
    return;
  }
  out = properties.getProperty(key) != word;
}

void TRXConfig::loadNestExecLimit(kw::util::config::CppProperties& properties,
                                  const std::string& key, unsigned int& out) {
  out =
      properties.exist(key) ? static_cast<unsigned int>(properties.getInt(key)) : kDefaultNestLimit;
}

void TRXConfig::loadFilePathList(kw::util::config::CppProperties& properties,
                                 const std::string& number_key, const std::string& prefix,
                                 std::vector<std::string>& out, const bool& stop_on_error) {
  out.clear();
  if (!properties.exist(number_key)) {
    trace(kConfigNoCount, number_key);
    throw TRXException(kCodeConfig);
  }
  const int count = properties.getInt(number_key);
  for (int i = 0; i < count; ++i) {
    const std::string key = prefix + std::to_string(i);
    if (properties.exist(key)) {
      out.push_back(properties.getProperty(key));
      continue;
    }
    if (stop_on_error) {
      trace(kConfigNoEntry, key);
      throw TRXException(kCodeConfig);
    }
    trace(kConfigEntrySkipped, key);
    trace(kConfigEntrySkippedEnd);
  }
}

bool TRXConfig::isHAPStopOnLoadError() const { return hap_stop_on_load_error_; }

const std::vector<std::string>& TRXConfig::getHAPModuleFiles() const { return hap_module_files_; }

unsigned int TRXConfig::getHAPNestLimit() const { return hap_nest_limit_; }

bool TRXConfig::isTableStopOnLoadError() const { return table_stop_on_load_error_; }

const std::vector<std::string>& TRXConfig::getTableFiles() const { return table_files_; }

unsigned int TRXConfig::getTableNestLimit() const { return table_nest_limit_; }

bool TRXConfig::isWaitInEngine() const { return wait_in_engine_; }

bool TRXConfig::isExclusionControl() const { return exclusion_control_; }

}  // namespace kw::trx::trx
