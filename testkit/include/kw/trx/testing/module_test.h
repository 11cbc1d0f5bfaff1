// SPDX-License-Identifier: Apache-2.0
// The fixture of tests that the CMake function `zqm_trx_add_module_test` builds: an engine with the
// modules and tables named there loaded anew for each test.
#ifndef KW_TRX_TESTING_MODULE_TEST_H_
#define KW_TRX_TESTING_MODULE_TEST_H_

#include <functional>
#include <string>
#include <vector>

#include "kw/trx/testing/engine_fixture.h"

namespace kw::trx::testing {

/// Full paths of the modules and of the tables given to `zqm_trx_add_module_test`, in that order.
/// That function defines both in a source of the test.
std::vector<std::string> moduleFiles();
std::vector<std::string> tableFiles();

/// Base of tests of modules and tables. Waits of tables take no time (see
/// `EngineFixture::execTable`), and all other configuration has its defaults; a test that needs
/// others calls `configure` and `start` again. Debug modules are not loaded.
class ModuleTest : public EngineFixture {
 protected:
  /// Fails the test, and shows the error records, when a module or a table cannot be loaded.
  void SetUp() override;

  /// What stands in for a HAP; called as a HAP is, by the threads of all requests.
  using StubbedHAP = std::function<int(trx::TRXInfo* info, const char* mode,
                                       const unsigned int* para, unsigned int* out)>;

  /// Lets `function` run in place of the HAP `name` until the end of the test, whether a module has
  /// it or not: for tables alone, for HAPs that run further HAPs, and for failures that the
  /// hardware does not take. It may throw what HAPs throw. Only while no request is in progress.
  void stubHAP(const std::string& name, const StubbedHAP& function);
};

}  // namespace kw::trx::testing

#endif  // KW_TRX_TESTING_MODULE_TEST_H_
