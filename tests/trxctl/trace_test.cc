// SPDX-License-Identifier: Apache-2.0
// trxctl records on rings of real engines, living and dead.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include "kw/platform.h"
#include "kw/trx/logger.h"
#include "kw/trx/testing/engine_fixture.h"
#include "tool.h"

namespace kw::trx::testing {
namespace {

using nlohmann::json;

constexpr unsigned long kHAPRequested = 0x4003000;

void writeRecord(int number) {
  const std::string text = "HAP_" + std::to_string(number);
  clib_trx::Logger::getLogger()->info(-1, kHAPRequested, text.c_str());
}

/// Writes `count` records to a new ring in a process of its own, which then is killed.
void writeAndDie(const std::string& ring, int count) {
  const pid_t writer = fork();
  if (writer == 0) {
    kw::platform::openTraceRing(ring, static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      writeRecord(i);
    }
    raise(SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(waitpid(writer, &status, 0), writer);
  ASSERT_TRUE(WIFSIGNALED(status));
}

/// The names of the HAPs in the records, in order.
std::vector<std::string> namesOf(const std::string& lines) {
  std::vector<std::string> names;
  std::istringstream in(lines);
  for (std::string line; std::getline(in, line);) {
    names.push_back(json::parse(line)["values"]["hap"]);
  }
  return names;
}

class TraceToolTest : public EngineFixture {
 protected:
  TraceToolTest() : ring(dir.path() + "/trace.ring") {}

  const std::string ring;
};

TEST_F(TraceToolTest, RecordsOfAKilledProcessAreAllThere) {
  constexpr int count = 1024;
  writeAndDie(ring, count);
  std::vector<std::string> expected;
  for (int i = 0; i < count; ++i) {
    expected.push_back("HAP_" + std::to_string(i));
  }
  EXPECT_EQ(namesOf(outputOf("records --json --root " + dir.path())), expected);
}

TEST_F(TraceToolTest, TornRecordsAreCountedAndTheOthersShown) {
  writeAndDie(ring, 64);
  std::string bytes = readFile(ring);
  std::vector<std::string> expected;
  for (int i = 0; i < 64; ++i) {
    const std::string name = "HAP_" + std::to_string(i);
    const std::size_t at = bytes.find(name + '\0');
    ASSERT_NE(at, std::string::npos);
    if (i % 5 == 3) {
      // The mark of a slot stands before its data; with it go neither the slots beside it.
      bytes.replace(at - 48, 48, 48, '\0');
    } else {
      expected.push_back(name);
    }
  }
  dir.write("trace.ring", bytes);
  const std::string run = runTool("records --json " + ring);
  const std::size_t end = run.find("! ");
  EXPECT_EQ(namesOf(run.substr(0, end)), expected);
  EXPECT_EQ(run.substr(end).rfind("! trxctl: 13 records were overwritten, torn or cut off\n", 0),
            0U);
  EXPECT_EQ(run.substr(run.size() - 4), "= 0\n");

  // Half of the file has less than half of the slots, as these stand at its end.
  dir.write("cut.ring", bytes.substr(0, bytes.size() / 2));
  const std::string cut = runTool("records --json cut.ring", dir.path());
  expected.resize(12);
  EXPECT_EQ(namesOf(cut.substr(0, cut.find("! "))), expected);
  EXPECT_EQ(cut.find("! trxctl: 52 records were overwritten, torn or cut off\n"), cut.find("! "));
  dir.write("no.ring", bytes.substr(0, 100));
  EXPECT_EQ(runTool("records no.ring", dir.path()),
            "! trxctl: no.ring: is no trace ring; name the file that the host gave to "
            "openTraceRing\n= 2\n");
}

/// The lines of a decoded ring without the numbers of requests, which depend on what is missing.
std::vector<std::string> linesOf(const std::string& lines) {
  std::vector<std::string> all;
  std::istringstream in(lines);
  for (std::string line; std::getline(in, line) && line[0] == '{';) {
    json record = json::parse(line);
    record.erase("requestNumber");
    all.push_back(record.dump());
  }
  return all;
}

TEST_F(TraceToolTest, ChangedRecordsAreMarkedAndCounted) {
  constexpr int count = 8192;
  constexpr int damaged_bytes = 2000;
  writeAndDie(ring, count);
  const std::vector<std::string> whole = linesOf(outputOf("records --json " + ring));
  ASSERT_EQ(whole.size(), static_cast<std::size_t>(count));
  const std::set<std::string> written(whole.begin(), whole.end());
  std::string bytes = readFile(ring);
  std::minstd_rand random(1);  // NOLINT(cert-msc51-cpp): the same damage each time
  for (int i = 0; i < damaged_bytes; ++i) {
    const std::size_t slots_at = bytes.size() - count * std::size_t{128};
    bytes[slots_at + random() % (bytes.size() - slots_at)] = static_cast<char>(random());
  }
  dir.write("trace.ring", bytes);
  const std::string run = runTool("records --json " + ring);
  int marked = 0;
  int shown_as_truth = 0;
  for (const std::string& line : linesOf(run)) {
    const bool suspect = line.find("\"suspect\":") != std::string::npos;
    marked += suspect ? 1 : 0;
    shown_as_truth += !suspect && written.count(line) == 0 ? 1 : 0;
  }
  EXPECT_GT(marked, damaged_bytes / 5);
  EXPECT_LT(shown_as_truth, marked)
      << "other names, and records that may as well be those of a module";
  EXPECT_NE(run.find("! trxctl: " + std::to_string(marked) + " records are suspect"),
            std::string::npos);
}

TEST_F(TraceToolTest, FollowWaitsForItsRingAndForTheNextOne) {
  std::FILE* tool =
      popen(("echo $$; exec " TRXCTL " records --follow --json " + ring + " 2>&1").c_str(), "r");
  ASSERT_NE(tool, nullptr);
  char line[1024];
  ASSERT_NE(std::fgets(line, sizeof(line), tool), nullptr);
  const pid_t process = std::stoi(line);
  ASSERT_NE(std::fgets(line, sizeof(line), tool), nullptr);
  EXPECT_EQ(line, "trxctl: waiting for " + ring + "\n");
  ASSERT_EQ(kw::platform::openTraceRing(ring, 64), 0);
  writeRecord(1);
  for (int number = 1; number < 4; ++number) {
    ASSERT_NE(std::fgets(line, sizeof(line), tool), nullptr);
    EXPECT_EQ(json::parse(line)["values"]["hap"], "HAP_" + std::to_string(number));
    if (number == 2) {
      ASSERT_EQ(kw::platform::openTraceRing(ring, 64), 0);
      ASSERT_NE(std::fgets(line, sizeof(line), tool), nullptr);
      EXPECT_EQ(line, "trxctl: " + ring + " was made anew\n");
    }
    writeRecord(number + 1);
  }
  kw::platform::closeTraceRing();
  EXPECT_EQ(kill(process, SIGINT), 0);
  EXPECT_EQ(pclose(tool), 0);
}

/// Slices as a tree: each with those inside it, in the order of their begin. Fails when two of a
/// thread overlap without one lying inside the other.
std::string treeOf(const json& events) {
  struct Span {
    long long begin, end;
    std::string name;
  };
  std::map<int, std::vector<Span>> threads;
  for (const json& event : events) {
    if (event["ph"] == "X") {
      const auto nanos = [&](const char* key) {
        return std::llround(event[key].get<double>() * 1e3);
      };
      threads[event["tid"]].push_back(
          {nanos("ts"), nanos("ts") + nanos("dur"),
           event["cat"].get<std::string>() + " " + event["name"].get<std::string>()});
    }
  }
  std::string tree;
  for (auto& [id, spans] : threads) {
    // Slices are written inner ones first: of two with the same times the later one is outside.
    std::reverse(spans.begin(), spans.end());
    std::stable_sort(spans.begin(), spans.end(), [](const Span& a, const Span& b) {
      return a.begin != b.begin ? a.begin < b.begin : a.end > b.end;
    });
    std::vector<Span> open;
    for (const Span& span : spans) {
      while (!open.empty() && open.back().end <= span.begin && open.back().begin < span.begin) {
        open.pop_back();
      }
      if (!open.empty()) {
        EXPECT_LE(span.end, open.back().end) << span.name << " in " << open.back().name;
      }
      tree += std::string(2 * open.size(), ' ') + span.name + "\n";
      open.push_back(span);
    }
  }
  return tree;
}

TEST_F(TraceToolTest, TheTimelineNestsRequestsTablesAndHAPs) {
  const std::string head = "FORMAT,0\nVERSION,1\n,1,START\n";
  configure({MODULE_TST},
            {dir.write("outer.csv", head + ",2,HAP,TST_Fail,,NOP,1 0\n,3,TABLE,inner\n,4,HAP,"
                                           "TST_Ok\n,5,END\n"),
             dir.write("inner.csv", head + ",2,WAIT,,1\n,3,HAP,TST_Fail,,,1 0\n,4,END\n"),
             dir.write("well.csv", head + ",2,HAP,TST_Call,TST_Ok\n,3,END\n")},
            "haptable.tblcmd.wait.handler=requester\n");
  start();
  ASSERT_EQ(kw::platform::openTraceRing(ring, 4096), 0);
  trx::TRXInfo info;
  EXPECT_EQ(outcomeOf([&] { engine->execTable(&info, units, "outer"); }), "TRX 70003/1");
  EXPECT_EQ(outcomeOf([&] { engine->execTable(&info); }), "TRX 7000b");
  const unsigned int para[] = {1, 0};
  EXPECT_EQ(execHAP(info, "TST_Fail", "", para), "TRX 7000a");
  info.initialize();
  EXPECT_EQ(outcomeOf([&] { engine->execTable(&info, units, "well"); }), "ok");
  const std::string file = dir.path() + "/timeline.json";
  ASSERT_EQ(runTool("export " + ring + " -o " + file), "= 0\n");
  EXPECT_EQ(treeOf(json::parse(readFile(file))["traceEvents"]), R"(request table outer
  table outer
    hap TST_Fail
    table inner
request table outer
  table outer
    table inner
      hap TST_Fail
request HAP TST_Fail
  hap TST_Fail
request table well
  table well
    hap TST_Call
      hap TST_Ok
)");
  const std::string table = outputOf("records --table inner --level info --json " + ring);
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 13) << table;
  const std::string hap = outputOf("records --hap TST_Call --json " + ring);
  EXPECT_EQ(hap.find("TST_Fail"), std::string::npos) << hap;
  EXPECT_NE(hap.find("TST_Ok"), std::string::npos) << hap;

  ASSERT_EQ(kw::platform::openTraceRing(ring, 4096), 0);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      std::vector<kw::sysobj::Component*> none;
      for (int round = 0; round < 20; ++round) {
        trx::TRXInfo own;
        for (const char* name : {"outer", "well"}) {
          while (outcomeOf([&] { engine->execTable(&own, none, name); }) == "TRX 70003/1") {
          }
          own.initialize();
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  kw::platform::closeTraceRing();
  ASSERT_EQ(runTool("export " + ring + " -o " + file + " 2>/dev/null"), "= 0\n");
  const std::string tree = treeOf(json::parse(readFile(file))["traceEvents"]);
  EXPECT_NE(tree.find("request table well\n  table well\n    hap TST_Call\n      hap TST_Ok\n"),
            std::string::npos);
}

TEST_F(TraceToolTest, OneRequestCanBeShownAlone) {
  configure({MODULE_TST}, {});
  start();
  ASSERT_EQ(kw::platform::openTraceRing(ring, 1024), 0);
  trx::TRXInfo first(0xabc, 126);
  trx::TRXInfo second(0xdef, 126);
  const unsigned int para[] = {1, 0};
  EXPECT_EQ(execHAP(first, "TST_Ok"), "ok");
  EXPECT_EQ(execHAP(second, "TST_Ok"), "ok");
  EXPECT_EQ(execHAP(second, "TST_Fail", "", para), "TRX 7000a");
  kw::platform::closeTraceRing();
  const auto shown = [this](const std::string& request) {
    std::string all;
    std::istringstream lines(
        outputOf("records --wide --request " + request + " --level info " + ring));
    for (std::string line; std::getline(lines, line);) {
      all += line.substr(line.find(' ', line.find('/')) + 1) + "\n";
    }
    return all;
  };
  const std::string third =
      "0xdef.2       info   0x04003000 HAP TST_Fail is requested  (TRX::execHAP)\n"
      "0xdef.2       error  0x01003000 a HAP of request 0xdef failed  (HAPController::errExecHAP)\n"
      "0xdef.2       error  0x01003001 the HAP that failed is TST_Fail  "
      "(HAPController::errExecHAP)\n"
      "0xdef.2       error  0x01003002 the error code is 0x0  (HAPController::errExecHAP)\n"
      "0xdef.2       error  0x01003003 the error has no detail  (HAPController::errExecHAP)\n";
  EXPECT_EQ(shown("0xdef.2"), third);
  EXPECT_EQ(shown("0xdef"),
            "0xdef.1       info   0x04003000 HAP TST_Ok is requested  (TRX::execHAP)\n"
            "0xdef.1       info   0x04003005 HAP TST_Ok succeeded  (TRX::execHAP)\n" +
                third);
  const json first_line =
      json::parse(outputOf("records --request 0xdef.2 --json " + ring + "|head -n1"));
  EXPECT_EQ(first_line["requestNumber"], 2);
  const std::pair<const char*, const char*> missing[] = {
      {"--request 0xdee", "request 0xdee; did you mean 0xdef?"},
      {"--request 0xdef.3", "request 0xdef.3; its last one is 0xdef.2"},
      {"--hap TST_ok", "HAP TST_ok; did you mean TST_Ok?"},
      {"--hap TST_Fail --table nope", "table nope"}};
  for (const auto& [options, words] : missing) {
    EXPECT_EQ(runTool(std::string("records ") + options + " " + ring),
              std::string("! trxctl: no record tells of ") + words + "\n= 0\n");
  }
  for (const char* id : {"0x", "0xdef0def0d", "x1", "", "0xdef.", "0xdef.0", "0xdef.1x"}) {
    EXPECT_EQ(runTool("records --request='" + std::string(id) + "' " + ring).substr(0, 21),
              "! trxctl: --request: ");
  }
}

TEST_F(TraceToolTest, RequestsAreSummedUpAndChosen) {
  constexpr unsigned long err_request = 0x1003000;
  constexpr unsigned long err_name = 0x1003001;
  constexpr unsigned long err_code = 0x1003002;
  constexpr unsigned long hap_done = 0x4003005;
  configure({MODULE_PLAIN}, {});
  clib_trx::Logger& log = *clib_trx::Logger::getLogger();
  ASSERT_EQ(kw::platform::openTraceRing(ring, 64), 0);
  writeRecord(1);
  log.info(-1, hap_done, "HAP_1");
  log.info(-1, kHAPRequested, "PLAIN_Pass");
  log.error(-1, err_request, 0x1111UL, 0UL, 0UL, 0UL);
  log.error(-1, err_name, "PLAIN_Pass");
  log.error(-1, err_code, 0x20077UL, 0UL, 0UL, 0UL);
  writeRecord(2);
  kw::platform::closeTraceRing();
  const auto shown = [this](const std::string& options) {
    std::string names;
    const std::string lines =
        outputOf("requests --json " + options + " --root " + dir.path() + " 2>/dev/null");
    std::istringstream in(lines);
    for (std::string line; std::getline(in, line);) {
      const json request = json::parse(line);
      names +=
          request["name"].get<std::string>() + " " + request["message"].get<std::string>() + "\n";
    }
    return names;
  };
  const std::string first = "HAP_1 succeeded\n";
  const std::string failed = "PLAIN_Pass failed: HAP PLAIN_Pass: 0x20077, the pass is closed\n";
  const std::string last =
      "HAP_2 its end is not in the ring; HAP HAP_2 has not ended; its last record: HAP HAP_2 is "
      "requested\n";
  const std::string process = std::to_string(getpid());
  const std::string other = std::to_string(getpid() + 1);
  const std::pair<std::string, std::string> cases[] = {
      {"", first + failed + last},
      {"--failed", failed},
      {"--text closed", failed},
      {"--text HAP_ --process " + process, first + last},
      {"--process " + other, ""},
      {"--thread " + process + " --since 5m --until 0s", first + failed + last},
      {"--until 5m", ""},
      {"--since 2100-01-01", ""}};
  for (const auto& [options, expected] : cases) {
    EXPECT_EQ(shown(options), expected) << options;
  }
  const std::string line = outputOf("requests --text HAP_1 " + ring);
  // No record of the level info tells the id of a HAP request.
  EXPECT_NE(line.find(" ms " + process + "/" + process + " 0x0  HAP HAP_1: succeeded\n"),
            std::string::npos)
      << line;
  EXPECT_EQ(
      runTool("requests --request 1.1 " + ring),
      "! trxctl: none of the 3 requests in the ring is one of those asked for; of 1 the end is "
      "not in the ring\n= 0\n");
  EXPECT_EQ(runTool("requests --since 5x " + ring).substr(0, 34),
            "! trxctl: --since: '5x' is no time");
}

}  // namespace
}  // namespace kw::trx::testing
