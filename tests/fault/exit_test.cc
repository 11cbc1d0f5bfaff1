// SPDX-License-Identifier: Apache-2.0
// The engine in use while its process exits: by other threads, and by a destructor that runs after
// those of everything that was made later.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "kw/trx/testing/engine_fixture.h"

namespace kw::trx::testing {
namespace {

constexpr unsigned int kTimeOutSeconds = 60;

/// Made before the engine, and so destroyed after whatever the engine leaves to be destroyed.
struct Late {
  std::function<bool()> use;
  ~Late() {
    if (use && !use()) {
      _exit(1);
    }
  }
} late;

class ExitTest : public EngineFixture {
 protected:
  bool useAll() {
    trx::TRXInfo info;
    std::vector<kw::sysobj::Component*> none;
    const unsigned int para[] = {1, 2};
    bool good = outcomeOf([&] { engine->load(false); }) == "ok" && engine->isStopFlag() == false;
    good = good && outcomeOf([&] {
                     engine->execHAP(&info, none, "TST_Fail", "", para, nullptr);
                   }) == "TRX 7000a";
    info.initialize();
    return good && outcomeOf([&] { engine->execTable(&info, none, "t"); }) == "ok";
  }
};

TEST_F(ExitTest, EngineIsUsableToTheVeryEndOfItsProcess) {
  const std::string table =
      dir.write("t.csv", "FORMAT,0\nVERSION,1\n,1,START\n,2,WAIT,,1\n,3,HAP,TST_Ok\n,4,END\n");
  configure({MODULE_TST}, {table}, "hapmodule.loading.err.mode=continue\n");
  for (int round = 0; round < 2; ++round) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(kTimeOutSeconds);
      start();
      for (int i = 0; i < 2; ++i) {
        std::thread([this] {
          while (true) {
            useAll();
          }
        }).detach();
      }
      late.use = [this] { return useAll(); };
      usleep(20000);
      std::exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
}

}  // namespace
}  // namespace kw::trx::testing
