// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/hap_module.h"

#include <dlfcn.h>

#include <sstream>
#include <thread>

#include "kw/trx/testing/engine_fixture.h"

namespace kw::trx::trx {
namespace {

using testing::outcomeOf;
using testing::TraceCapture;

/// The texts of the lines that begin with `head`, checked to be cut as they must be, in one piece.
std::string piecesOf(const std::string& trail, const std::string& head) {
  std::string text;
  std::size_t last_length = 47;
  std::istringstream lines(trail);
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind(head + " \"", 0) != 0) {
      continue;
    }
    EXPECT_EQ(last_length, 47U) << "only the last piece is shorter";
    const std::size_t begin = head.size() + 2;
    last_length = line.size() - begin - 1;
    EXPECT_TRUE(last_length >= 1 && last_length <= 47);
    text.append(line, begin, last_length);
  }
  return text;
}

TEST(ModuleTest, ReportsALibraryThatCannotBeOpened) {
  // Missing files whose messages have every length around a whole number of pieces.
  for (std::size_t extra = 1; extra <= 47; ++extra) {
    const std::string file = "no/" + std::string(extra, 'x') + ".so";
    TraceCapture capture;
    HAPDynamicLib library;
    EXPECT_EQ(library.load(file), -1);
    const std::string trail = capture.trail();
    EXPECT_EQ(trail.rfind("D 2000000 \"" + std::string(extra, 'x') + ".so\"\n", 0), 0U) << trail;
    dlopen(("/" + file).c_str(), RTLD_NOW);
    EXPECT_EQ(piecesOf(trail, "D 2000001"), dlerror());
  }
  const testing::TempDir dir;
  for (const std::string& path : {std::string(MODULE_TORN), dir.path(), std::string()}) {
    EXPECT_EQ(outcomeOf([&] { HAPCache cache(path); }), "TRX 70005") << path;
  }
}

TEST(ModuleTest, PutsASlashBeforeEveryPath) {
  HAPDynamicLib library;
  EXPECT_EQ(library.load(std::string(MODULE_TST).substr(1)), 0);
  EXPECT_NE(library.getHAP("TST_Ok"), nullptr);
  library.unload();
  library.unload();
  TraceCapture capture;
  EXPECT_EQ(library.getHAP("TST_Ok"), nullptr);
  EXPECT_EQ(capture.trail(), "E 2001000 \"TST_Ok\"\n");
}

TEST(ModuleTest, IgnoresTheMessageOfAnEarlierFailure) {
  dlopen("/no/such/library.so", RTLD_NOW);
  HAPDynamicLib library;
  EXPECT_EQ(library.load(MODULE_TST), 0);
  dlopen("/no/such/library.so", RTLD_NOW);
  EXPECT_NE(library.getHAP("TST_Ok"), nullptr);
}

TEST(ModuleTest, CachesWhatItFoundAndAsksAgainForWhatItDidNot) {
  HAPCache cache(MODULE_TST);
  TraceCapture capture;
  void* address = cache.getHAP("TST_Ok");
  EXPECT_NE(address, nullptr);
  EXPECT_EQ(cache.getHAP("TST_Ok"), address);
  EXPECT_EQ(capture.trail(), "d 1 \"TST_Ok\"\nd 0 \"TST_Ok\"\n");
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(cache.getHAP("TST_ok"), nullptr);
    const std::string trail = capture.trail();
    EXPECT_EQ(trail.rfind("E 2001001 \"TST_ok\"\nE 2001002 \"", 0), 0U) << trail;
    EXPECT_NE(trail.find("\"\nE 2 \"TST_ok\"\n"), std::string::npos) << trail;
    EXPECT_NE(piecesOf(trail, "E 2001002").find("TST_ok"), std::string::npos);
  }
}

TEST(ModuleTest, ServesManyThreads) {
  HAPCache cache(MODULE_TST);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&cache] {
      for (int round = 0; round < 100; ++round) {
        EXPECT_NE(cache.getHAP(round % 2 == 0 ? "TST_Ok" : "TST_Fail"), nullptr);
        EXPECT_EQ(cache.getHAP("TST_Missing"), nullptr);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

}  // namespace
}  // namespace kw::trx::trx
