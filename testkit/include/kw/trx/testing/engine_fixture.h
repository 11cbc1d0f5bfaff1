// SPDX-License-Identifier: Apache-2.0
// An engine on files of its own, for tests with GoogleTest: a temporary system root with path file
// and configuration. The engine is one per process, so one fixture lives at a time.
#ifndef KW_TRX_TESTING_ENGINE_FIXTURE_H_
#define KW_TRX_TESTING_ENGINE_FIXTURE_H_

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "kw/trx/hap_controller.h"
#include "kw/trx/hapapi/hapapi.h"
#include "kw/trx/testing/temp_dir.h"
#include "kw/trx/testing/trace_capture.h"
#include "kw/trx/trx.h"

namespace kw::trx::testing {

/// A HAP API object that does nothing; the engine owns it.
class QuietAPI : public hapapi::HAPAPI {
 public:
  void beginHAPExec(trx::TRXInfo*) override {}
  void endHAPExec(trx::TRXInfo*) override {}
  unsigned int getTraceClass() override { return 9; }
};

/// What a call ended with: "ok", "TRX 7000a" for an exception of the engine (with "/detail" in
/// decimal when it has one), "other" for any other.
std::string outcomeOf(const std::function<void()>& call);

/// The error record of a context in one line, numbers in hexadecimal: the HAP that failed and the
/// error code, then each where there is one the words of its detail, the units concerned as
/// type.number, and the table and NUMBER of the first row that failed:
/// "PSU_SetVoltage 20001 [2 182b8 157c] units 12c.2 row init:2".
std::string errorOf(trx::TRXInfo& info);

/// Base of tests that run HAPs and tables. The thread of the test alone calls it.
class EngineFixture : public ::testing::Test {
 protected:
  /// Puts the system root into `dir`.
  EngineFixture();
  /// Takes the system root back. What is loaded stays loaded.
  ~EngineFixture() override;

  /// Writes the configuration: the full paths of the modules and tables listed, then `lines`, each
  /// with its line end.
  void configure(const std::vector<std::string>& modules, const std::vector<std::string>& tables,
                 const std::string& lines = "") const;

  /// Writes the configuration file exactly so.
  void configureRaw(const std::string& content) const;

  /// Loads the configured modules and tables and installs a `QuietAPI`. Throws as `TRX::load` does.
  void start() const;

  /// Puts the engine back to how it is before its first load: without modules, tables and API
  /// object. What is configured changes.
  void reset() const;

  /// Outcome of a HAP request on `info` and `units`, as `outcomeOf` tells it.
  std::string execHAP(trx::TRXInfo& info, const std::string& name, const std::string& mode = "",
                      const unsigned int* para = nullptr, unsigned int* out = nullptr);

  /// Outcome of a table run on `info` and `units`, to its end: a wait that is handed over
  /// (`haptable.tblcmd.wait.handler=requester`) is not waited for, the table goes on at once.
  std::string execTable(trx::TRXInfo& info, const std::string& name);

  TempDir dir;
  trx::TRX* engine;
  std::vector<kw::sysobj::Component*> units;  ///< of the next requests; the test owns them
};

}  // namespace kw::trx::testing

#endif  // KW_TRX_TESTING_ENGINE_FIXTURE_H_
