// SPDX-License-Identifier: Apache-2.0
// The settings of the engine and where they are read from.
#ifndef KW_TRX_TRX_CONFIG_H_
#define KW_TRX_TRX_CONFIG_H_

#include <string>
#include <vector>

#include "kw/trx/export.h"
#include "kw/util/config/cpp_properties.h"

namespace kw::trx::trx {

/// Reader of the path file "/kw/etc/kwpath.conf". Not synchronised.
class ZQM_TRX_API KWPathConf {
 public:
  KWPathConf();
  KWPathConf(const KWPathConf&) = delete;
  KWPathConf& operator=(const KWPathConf&) = delete;
  virtual ~KWPathConf();

  /// Reads the path file. Throws what the properties reader throws.
  void load();

  /// Path of the engine configuration (key `path.trx.conf`); empty when the file names none.
  std::string getTRXConfPath() const;

 private:
  mutable kw::util::config::CppProperties properties_;  // the platform promises no constness
};

/// The settings, read anew by every `TRX::load` and unchanged in between: any request may read
/// them.
class ZQM_TRX_API TRXConfig {
 public:
  /// The one object of the process, usable to its very end. Any thread may call it.
  static TRXConfig& getInstance();
  TRXConfig(const TRXConfig&) = delete;
  TRXConfig& operator=(const TRXConfig&) = delete;
  virtual ~TRXConfig();

  /// Reads the path file and the configuration that it names. Only `TRX::load` calls it. Throws
  /// `TRXException` `kCodeConfig`; some settings may then be new and others still the old ones.
  void load();

  /// Reads the configuration file at `path`. Throws like `load`.
  void loadTRXConf(const std::string& path);

  /// `out` becomes false exactly when the value of `key` is `word`, and `default_value` when the
  /// key is absent. Matching is exact: letter case and trailing blanks count.
  void loadBooleanDefinition(kw::util::config::CppProperties& properties, const std::string& key,
                             bool& out, const std::string& word, bool default_value);

  /// `out` becomes the number under `key`, unchecked, or 10 when the key is absent.
  void loadNestExecLimit(kw::util::config::CppProperties& properties, const std::string& key,
                         unsigned int& out);

  /// `out` becomes the values of `prefix`0 to `prefix`n-1 in order, n being the number under
  /// `number_key`. Throws `TRXException` `kCodeConfig` when that key is absent, and for an absent
  /// entry when `stop_on_error` is set; otherwise an absent entry is left out.
  void loadFilePathList(kw::util::config::CppProperties& properties, const std::string& number_key,
                        const std::string& prefix, std::vector<std::string>& out,
                        const bool& stop_on_error);

  /// True: a module that cannot be loaded fails the load; false: it is skipped.
  bool isHAPStopOnLoadError() const;
  const std::vector<std::string>& getHAPModuleFiles() const;
  /// How many calls of a HAP may be in progress on a context when the same HAP starts again.
  unsigned int getHAPNestLimit() const;
  /// True: a table that cannot be loaded fails the load; false: it is skipped.
  bool isTableStopOnLoadError() const;
  const std::vector<std::string>& getTableFiles() const;
  /// How many runs of a table may be in progress on a context when the same table is called again.
  unsigned int getTableNestLimit() const;
  /// True: the engine sleeps in WAIT rows; false: it hands the wait to the requester.
  bool isWaitInEngine() const;
  /// True: outermost HAPs of all processes run one at a time.
  bool isExclusionControl() const;

 private:
  TRXConfig();

  bool hap_stop_on_load_error_ = true;
  std::vector<std::string> hap_module_files_;
  unsigned int hap_nest_limit_ = 10;
  bool table_stop_on_load_error_ = true;
  std::vector<std::string> table_files_;
  unsigned int table_nest_limit_ = 10;
  bool wait_in_engine_ = true;
  bool exclusion_control_ = false;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_TRX_CONFIG_H_
