// SPDX-License-Identifier: Apache-2.0
// An engine on files of its own: a temporary system root with path file and configuration.
#ifndef KW_TRX_TESTS_SUPPORT_ENGINE_FIXTURE_H_
#define KW_TRX_TESTS_SUPPORT_ENGINE_FIXTURE_H_

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "kw/trx/hap_controller.h"
#include "kw/trx/hapapi/hapapi.h"
#include "kw/trx/trx.h"
#include "support/temp_dir.h"
#include "support/trace_capture.h"

namespace kw::trx::testing {

/// A HAP API object that does nothing; the engine owns it.
class QuietAPI : public hapapi::HAPAPI {
 public:
  void beginHAPExec(trx::TRXInfo*) override {}
  void endHAPExec(trx::TRXInfo*) override {}
  unsigned int getTraceClass() override { return 9; }
};

/// What a call ended with: "ok", "TRX 7000a" for an exception of the engine (with "/detail" when it
/// has one), "other" for any other.
std::string outcomeOf(const std::function<void()>& call);

class EngineFixture : public ::testing::Test {
 protected:
  EngineFixture();
  ~EngineFixture() override;

  /// Writes the configuration: the given lines, after those for the modules and tables listed.
  void configure(const std::vector<std::string>& modules, const std::vector<std::string>& tables,
                 const std::string& lines = "") const;

  /// Writes the configuration file exactly so.
  void configureRaw(const std::string& content) const;

  /// Loads the configured modules and tables and installs a `QuietAPI`.
  void start() const;

  /// Outcome of a HAP request on `info`.
  std::string execHAP(trx::TRXInfo& info, const std::string& name, const std::string& mode = "",
                      const unsigned int* para = nullptr, unsigned int* out = nullptr);

  TempDir dir;
  trx::TRX* engine;
  std::vector<kw::sysobj::Component*> units;
};

}  // namespace kw::trx::testing

#endif  // KW_TRX_TESTS_SUPPORT_ENGINE_FIXTURE_H_
