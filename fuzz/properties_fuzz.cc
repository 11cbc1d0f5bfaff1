// SPDX-License-Identifier: Apache-2.0
// The reader of properties files, and the engine's configuration read with it.
#include <algorithm>

#include "harness.h"
#include "kw/trx/errors.h"
#include "kw/trx/trx_config.h"
#include "kw/util/config/cpp_properties.h"
#include "zqm_trx/config_keys.h"

namespace kw::trx::fuzz {
namespace {

/// More entries than this are only many: each one that a file lacks costs its trace record.
constexpr int kMaxEntries = 1000;

/// Behind an empty line, which ends whatever the text before it began.
constexpr char kProbe[] = "\n\nprobe.\\u006bey = va\\\n  lue \n";

void readConfiguration(const std::string& path, const util::config::CppProperties& properties) {
  const int modules = properties.getInt(trx::kKeyHAPNumber);
  const int tables = properties.getInt(trx::kKeyTableNumber);
  if (std::max(modules, tables) > kMaxEntries) return;
  trx::TRXConfig& config = trx::TRXConfig::getInstance();
  try {
    config.loadTRXConf(path);
  } catch (const trx::TRXException& exception) {
    require(exception.getCode() == trx::kCodeConfig, "a bad configuration has the code for it");
    return;
  }
  const auto count = [](int number) { return static_cast<std::size_t>(std::max(number, 0)); };
  const std::size_t module_files = config.getHAPModuleFiles().size();
  require(module_files <= count(modules) &&
              (module_files == count(modules) || !config.isHAPStopOnLoadError()),
          "the module list has the configured length");
  const std::size_t table_files = config.getTableFiles().size();
  require(table_files <= count(tables) &&
              (table_files == count(tables) || !config.isTableStopOnLoadError()),
          "the table list has the configured length");
}

}  // namespace
}  // namespace kw::trx::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kw::trx::fuzz;
  static const InputFile file("trx.conf");
  const std::string path = file.write(std::string(textOf(data, size)) + kProbe);
  kw::util::config::CppProperties properties(false);
  properties.load(path);
  require(properties.getProperty("probe.key") == "value ", "no text swallows what follows it");
  readConfiguration(path, properties);
  return 0;
}
