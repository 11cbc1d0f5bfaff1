// SPDX-License-Identifier: Apache-2.0
// The fixture of tests that the CMake function `zqm_trx_add_module_test` builds: an engine with the
// modules and tables named there loaded anew for each test.
#ifndef KW_TRX_TESTING_MODULE_TEST_H_
#define KW_TRX_TESTING_MODULE_TEST_H_

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
};

}  // namespace kw::trx::testing

#endif  // KW_TRX_TESTING_MODULE_TEST_H_
