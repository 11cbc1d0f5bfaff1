// SPDX-License-Identifier: Apache-2.0
// Modules that misbehave, or change between two loads.
#include <filesystem>

#include "kw/trx/testing/engine_fixture.h"

namespace kw::trx::testing {
namespace {

namespace fs = std::filesystem;

class ModuleFaultTest : public EngineFixture {};

TEST_F(ModuleFaultTest, StaleMessageOfAConstructorFailsNoLoad) {
  configure({MODULE_CTOR}, {});
  start();
  trx::TRXInfo info;
  EXPECT_EQ(execHAP(info, "CTOR_Ok"), "ok");
}

TEST_F(ModuleFaultTest, FileReplacedByRenameIsPickedUpByTheNextLoad) {
  const fs::path file = fs::path(dir.path()) / "libzq_hap_tst.so";
  fs::copy_file(MODULE_PLAIN, file);
  configure({file.string()}, {});
  start();
  trx::TRXInfo info;
  EXPECT_EQ(execHAP(info, "TST_Ok"), "TRX 7000a") << "the old file has no such HAP";
  fs::copy_file(MODULE_TST, dir.path() + "/new");
  fs::rename(dir.path() + "/new", file);
  engine->load(false);
  EXPECT_EQ(execHAP(info, "TST_Ok"), "ok");
}

}  // namespace
}  // namespace kw::trx::testing
