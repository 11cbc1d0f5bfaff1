// SPDX-License-Identifier: Apache-2.0
// Every command that reads rings takes the same requests for the same options.
#include <gtest/gtest.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <regex>
#include <thread>

#include "kw/platform.h"
#include "kw/trx/testing/engine_fixture.h"
#include "tool.h"

namespace kw::trx::testing {
namespace {

using nlohmann::json;

/// How often TST_Ok and TST_Fail ran.
struct Runs {
  int ok = 0, fail = 0;
  bool operator==(const Runs& other) const { return ok == other.ok && fail == other.fail; }
};
std::ostream& operator<<(std::ostream& out, const Runs& runs) {
  return out << runs.ok << '/' << runs.fail;
}

class FilterTest : public EngineFixture {
 protected:
  FilterTest() {
    const std::string head = "FORMAT,0\nVERSION,1\n,1,START\n";
    configure({MODULE_TST}, {dir.write("good.csv", head + ",2,HAP,TST_Ok\n,3,END\n"),
                             dir.write("bad.csv", head + ",2,HAP,TST_Fail,,,1 5\n,3,END\n")});
    start();
  }

  std::string runIn(const std::string& arguments) const { return runTool(arguments, dir.path()); }

  /// An empty object when nothing is printed, as nothing ran.
  json jsonOf(const std::string& arguments) const {
    const std::string text = outputOf(arguments, dir.path());
    return text.empty() ? json::object() : json::parse(text);
  }

  static Runs runsOf(const json& haps) {
    Runs runs;
    for (const json& hap : haps) {
      (hap["name"] == "TST_Ok" ? runs.ok : runs.fail) = hap["calls"];
    }
    return runs;
  }

  /// Of the two tables as they are drawn.
  Runs drawn(const std::string& options) const {
    const std::string graph = runIn("graph good.csv bad.csv trace.ring " + options);
    const auto runs = [&graph](const char* hap) {
      std::smatch found;
      return std::regex_search(graph, found, std::regex(std::string(hap) + "[^\"]*n([0-9]+) run"))
                 ? std::stoi(found[1])
                 : 0;
    };
    return {runs("TST_Ok"), runs("TST_Fail")};
  }

  Runs covered(const std::string& options) const {
    runIn("coverage trace.ring --tables good.csv --tables bad.csv -o all.info " + options);
    const std::string info = readFile(dir.path() + "/all.info");
    const auto runs = [&info](const char* file) {
      return std::stoi(info.substr(info.find("\nDA:4,", info.find(file)) + 6));
    };
    return {runs("good.csv"), runs("bad.csv")};
  }
};

TEST_F(FilterTest, AllCommandsTakeTheSameRequests) {
  ASSERT_EQ(kw::platform::openTraceRing(dir.path() + "/trace.ring", 4096), 0);
  unsigned int id = 0;
  pid_t thread_id = 0;
  {
    trx::TRXInfo info;
    id = info.trxId;
    execTable(info, "good");
    execTable(info, "bad");
  }
  std::thread([&] {
    trx::TRXInfo info;
    thread_id = gettid();
    execTable(info, "good");
  }).join();
  kw::platform::closeTraceRing();
  char first[32];
  std::snprintf(first, sizeof(first), "--request 0x%x.", id);
  const struct {
    std::string options;
    Runs runs;
    int requests;
  } cases[] = {{"", {2, 1}, 3},
               {"--failed", {0, 1}, 1},
               {"--text TST_Fail", {0, 1}, 1},
               {"--text good", {2, 0}, 2},
               {"--thread " + std::to_string(thread_id), {1, 0}, 1},
               {"--process " + std::to_string(getpid()), {2, 1}, 3},
               {"--process " + std::to_string(getpid() + 1), {0, 0}, 0},
               {first + std::string("1"), {1, 0}, 1},
               {first + std::string("2"), {0, 1}, 1},
               {"--since 5m", {2, 1}, 3},
               {"--until 5m", {0, 0}, 0},
               {"--since 2100-01-01", {0, 0}, 0}};
  for (const auto& [options, runs, requests] : cases) {
    EXPECT_EQ(runsOf(jsonOf("stats --json trace.ring " + options)["haps"]), runs) << options;
    const json report = jsonOf("report --json trace.ring " + options);
    EXPECT_EQ(runsOf(report["haps"]), runs) << options;
    EXPECT_EQ(report["requests"]["all"], requests) << options;
    EXPECT_EQ(covered(options), runs) << options;
    if (options.find("--request") == std::string::npos) {
      EXPECT_EQ(drawn(options), runs) << options;
    }
    const std::string lines = outputOf("requests --json trace.ring " + options, dir.path());
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), requests) << options;
  }
}

TEST_F(FilterTest, ARefusedHAPIsListedAndNotDrawn) {
  ASSERT_EQ(kw::platform::openTraceRing(dir.path() + "/trace.ring", 4096), 0);
  trx::TRXInfo info;
  engine->setStopFlag(true);
  EXPECT_EQ(execHAP(info, "TST_Ok"), "TRX 70001");
  engine->setStopFlag(false);
  kw::platform::closeTraceRing();
  const json refused = jsonOf("requests --json trace.ring");
  EXPECT_EQ(refused["ending"], "refused");
  EXPECT_EQ(refused["exception"], "0x70001");
  runIn("export trace.ring -o timeline.json");
  const json timeline = json::parse(readFile(dir.path() + "/timeline.json"));
  for (const json& event : timeline["traceEvents"]) {
    EXPECT_NE(event.value("cat", ""), "hap") << event;
  }
  EXPECT_EQ(runsOf(jsonOf("stats --json trace.ring")["haps"]), Runs());
}

}  // namespace
}  // namespace kw::trx::testing
