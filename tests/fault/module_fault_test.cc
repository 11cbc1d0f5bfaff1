// SPDX-License-Identifier: Apache-2.0
// Modules that misbehave, or change between two loads.
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

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

// An exception that passed through the loader would leave its lock held, and other threads hanging.
TEST_F(ModuleFaultTest, ThrowingConstructorEndsItsProcessAndNoOther) {
  configure({MODULE_THROWING}, {}, "hapmodule.loading.err.mode=continue\n");
  const pid_t child = fork();
  if (child == 0) {
    const rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    _exit(outcomeOf([this] { start(); }) == "ok" ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) << status;
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
