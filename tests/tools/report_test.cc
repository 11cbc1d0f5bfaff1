// SPDX-License-Identifier: Apache-2.0
// What a report keeps of requests, what it only counts, and how its JSON stands in a page.
#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>

#include "records_fixture.h"
#include "report/gathering.h"
#include "report/page.h"
#include "report/time_buckets.h"

namespace kw::trx::testing {
namespace {

using kw::platform::TraceRecord;
using nlohmann::json;

constexpr std::uint64_t kStartNs = 1700000000000000000;

/// Hands records of threads to a gatherer, a microsecond apart.
class ReportTest : public ::testing::Test {
 protected:
  ReportTest() : gatherer(report.tables, filter) {
    report.meaning = [](auto&&...) { return ""; };
  }

  void write(const trx::TracePoint& point, const std::vector<std::uint32_t>& words,
             const std::string& text = "") {
    TraceRecord record =
        words.empty() ? recordAt(0, thread, point, text) : wordsAt(0, thread, point, words);
    record.time_ns = now_ns += 1000;
    record.process_id = 7;
    record.sequence = sequence;
    rings.try_emplace(ring, gatherer, ring).first->second.take(tools::eventOf(record));
  }

  void start(const std::string& hap, std::uint32_t request) {
    write(trx::kTrxHAPName, {}, hap);
    write(trx::kTrxHAPAdmitted, {request});
  }

  void runThatSucceeds(const std::string& hap, std::uint32_t request) {
    start(hap, request);
    write(trx::kTrxHAPDone, {}, hap);
  }

  void runThatFails(const std::string& hap, std::uint32_t request, std::uint32_t code) {
    start(hap, request);
    write(trx::kHAPErrRequest, {request});
    write(trx::kHAPErrName, {}, hap);
    write(trx::kHAPErrDetail, {code, 8, 8, 8, 8});
    write(trx::kHAPErrDetailWords, {3300, 5, 0, 0, 0, 0, 0, 0});
  }

  void finish() {
    for (auto& [number, builder] : rings) {
      builder.finish();
    }
    gatherer.finish(report);
    report.start_ns = kStartNs + 1000;
    report.end_ns = now_ns;
  }

  json finished() {
    finish();
    return json::parse(tools::jsonOf(report));
  }

  tools::Report report;
  tools::RequestFilter filter;
  tools::ReportGatherer gatherer;
  std::map<std::size_t, tools::RequestBuilder> rings;
  std::size_t ring = 0;
  std::uint32_t thread = 1;
  std::uint64_t sequence = 0;
  std::uint64_t now_ns = kStartNs;
};

TEST(TimeBucketsTest, FoldWithoutLosingACount) {
  tools::TimeBuckets<std::uint64_t> buckets(kStartNs, 8);
  const std::uint64_t far_ns[] = {0, 1, 1 << 17, 1 << 20, std::uint64_t{1} << 40, 5, ~kStartNs};
  std::uint64_t added = 0;
  for (const std::uint64_t far : far_ns) {
    ++buckets.at(kStartNs + far);
    ++added;
    std::uint64_t counted = 0;
    for (const std::uint64_t cell : buckets.cells()) {
      counted += cell;
    }
    EXPECT_EQ(counted, added);
    ASSERT_LE(buckets.cells().size(), 8U);
    EXPECT_GT(buckets.cells()[static_cast<std::size_t>(far / buckets.widthNs())], 0U) << far;
  }
  ++buckets.at(kStartNs - 1);
  EXPECT_EQ(buckets.cells()[0], added) << "all but the last one, and the one before the start";
}

TEST_F(ReportTest, EqualFailuresAreOneWithTheStoryOfTheLast) {
  runThatFails("PSU_Set", 0x11, 0x20003);
  runThatSucceeds("PSU_Set", 0x12);
  const std::uint64_t success_ns = now_ns;
  runThatFails("PSU_Set", 0x13, 0x20003);
  runThatFails("PSU_Set", 0x14, 0x20004);
  runThatSucceeds("ADC_Read", 0x15);
  write(trx::kTrxContextRunning, {0x21});
  write(trx::kTrxContextRunning, {0x22});
  thread = 2;
  runThatFails("PSU_Set", 0x16, 0x20003);
  const std::uint64_t last_ns = now_ns;
  const json shown = finished();
  EXPECT_EQ(
      shown["requests"],
      (json{
          {"all", 8}, {"succeeded", 2}, {"failed", 4}, {"refused", 2}, {"waits", 0}, {"open", 0}}));
  ASSERT_EQ(shown["failures"].size(), 3U);
  const json& first = shown["failures"][0];
  EXPECT_EQ(first["count"], 3);
  EXPECT_EQ(first["lastNs"], last_ns - kStartNs - 1000);
  EXPECT_EQ(first["succeededBeforeNs"], nullptr);
  EXPECT_EQ(first["succeededAfterNs"], nullptr);
  EXPECT_EQ(first["detailWords"], (json{"0xce4", "0x5"}));
  EXPECT_EQ(first["records"].size(), 6U);
  EXPECT_EQ(shown["kept"][first["last"].get<std::size_t>()]["request"], "0x16");
  const json& refused = shown["failures"][1];
  EXPECT_EQ(refused["count"], 2) << refused;
  EXPECT_EQ(refused["records"].size(), 1U);
  const json& other = shown["failures"][2];
  EXPECT_EQ(other["code"], "0x20004");
  EXPECT_EQ(other["succeededBeforeNs"], success_ns - kStartNs - 1000);
}

TEST_F(ReportTest, WhatDoesNotFitIsCounted) {
  constexpr int kinds = 130;
  constexpr int rounds = 60;
  for (int round = 0; round < rounds; ++round) {
    for (int kind = 0; kind < kinds; ++kind) {
      thread = static_cast<std::uint32_t>(1 + kind);
      runThatFails("A_" + std::to_string(kind * 5), 0x100, 0x20000);
    }
  }
  thread = 1;
  write(trx::kTrxTableAdmitted, {0x100});
  write(trx::kTrxTableName, {}, "long");
  write(trx::kDriverStart, {}, "long");
  for (std::uint32_t row = 0; row < 2000; ++row) {
    write(trx::kCmdStart, {0x100, row});
  }
  write(trx::kDriverNestLimit, {}, "long");
  const json shown = finished();
  std::uint64_t failures = shown["otherFailures"].get<std::uint64_t>();
  for (const json& group : shown["failures"]) {
    failures += group["count"].get<std::uint64_t>();
    EXPECT_LE(group["recent"].size(), 10U);
  }
  EXPECT_EQ(failures, kinds * rounds + 1);
  EXPECT_EQ(shown["requests"]["failed"], kinds * rounds + 1);
  EXPECT_LT(shown["kept"].size(), kinds * rounds / 2U);
  std::uint64_t requests = 0;
  for (const json& lane : shown["threads"]) {
    requests += lane["requests"].get<std::uint64_t>();
    for (const json& cell : lane["load"]) {
      failures -= cell[2].get<std::uint64_t>();
    }
  }
  EXPECT_EQ(requests, kinds * rounds + 1);
  EXPECT_EQ(failures, 0U) << "each is in one bucket of the timeline";
  EXPECT_EQ(shown["threads"].size(), 65U);
  const json& longest = shown["kept"].back();
  EXPECT_EQ(longest["slices"].size() + longest["slicesLeftOut"].get<std::size_t>(), 2001U);
}

TEST_F(ReportTest, EqualThreadsOfTwoRingsAreTwo) {
  start("A_Run", 0x11);
  ring = 1;
  runThatSucceeds("B_Run", 0x11);
  ring = 0;
  write(trx::kTrxHAPDone, {}, "A_Run");
  const json shown = finished();
  EXPECT_EQ(shown["requests"]["succeeded"], 2);
  EXPECT_EQ(shown["threads"].size(), 2U);
  EXPECT_EQ(shown["kept"][0]["name"], "A_Run");
  EXPECT_EQ(shown["kept"][1]["ring"], 1);
}

TEST_F(ReportTest, NoNamesMakeThePageTooLarge) {
  for (std::uint32_t kind = 0; kind < 130; ++kind) {
    const std::string hostile = std::string(37, '<') + std::string(37, '"') + std::to_string(kind);
    thread = 1 + kind;
    write(trx::kTrxTableAdmitted, {kind});
    write(trx::kTrxTableName, {}, hostile);
    write(trx::kDriverStart, {}, hostile);
    for (std::uint32_t row = 0; row < 300; ++row) {
      write(trx::kCmdHAP, {kind, row});
      write(trx::kHAPExecNested, {}, hostile);
      write(trx::kHAPExecNestedEnd, {}, hostile);
    }
    if (kind % 2 == 0) {
      write(trx::kDriverNestLimit, {}, hostile);
    }
  }
  finish();
  ASSERT_GT(tools::jsonOf(report).size(), 2 * tools::kMaxPageBytes);
  const auto bounded = [this] {
    const std::string text = tools::boundedJsonOf(report);
    EXPECT_LT(tools::pageOf(text).size(), tools::kMaxPageBytes);
    return json::parse(text);
  };
  const json shown = bounded();
  EXPECT_EQ(shown["leftOut"].size(), 1U);
  std::uint64_t failures = shown["otherFailures"].get<std::uint64_t>();
  ASSERT_FALSE(shown["failures"].empty());
  for (const json& group : shown["failures"]) {
    failures += group["count"].get<std::uint64_t>();
    const json& last = shown["kept"].at(group["last"].get<std::size_t>());
    EXPECT_EQ(last["name"], group["name"]);
    EXPECT_EQ(last["slices"].size() + last["slicesLeftOut"].get<std::size_t>(), 601U);
  }
  EXPECT_EQ(failures, shown["requests"]["failed"].get<std::uint64_t>());

  // Neither do lists of lines, or a single text.
  const std::string far_too_long(4000, '<');
  for (int line = 0; line < 500; ++line) {
    report.configuration.entries.push_back({});
    report.configuration.entries.back().message = far_too_long;
  }
  report.machine.push_back({tools::Diagnosis::Verdict::kError, std::string(6000000, '<'), "", ""});
  report.configuration.problem.assign(6000000, '<');
  EXPECT_EQ(bounded()["leftOut"].size(), 2U);
}

TEST_F(ReportTest, ChangedTablesAndOpenRequestsAreShown) {
  const auto startTable = [this](std::uint32_t request, const trx::TracePoint& row) {
    write(trx::kTrxTableAdmitted, {request});
    write(trx::kTrxTableName, {}, "desk");
    write(trx::kDriverStart, {}, "desk");
    write(trx::kCmdStart, {request, 1});
    write(row, {request, 0x1f});
  };
  sequence = 1;
  startTable(0x11, trx::kCmdTable);
  write(trx::kCmdTableName, {}, "desk");
  write(trx::kDriverNestLimit, {}, "desk");
  startTable(0x12, trx::kCmdHAP);
  sequence = 5;  // records are missing
  runThatFails("ADC_Read", 0x13, 0x20003);
  thread = 2;
  startTable(0x14, trx::kCmdHAP);
  write(trx::kHAPExecNested, {}, "ADC_Read");
  now_ns += 5000000;
  write(trx::kHAPExecNestedEnd, {}, "ADC_Read");
  write(trx::kCmdHAP, {0x14, 0x20});
  finish();
  tools::FlowRow row{};
  row.number = "1f";
  row.id.number = 0x1f;
  row.command = tools::Command::kEnd;
  report.tables["desk"] = {"desk", "/board/desk.csv", {row}};
  const json shown = json::parse(tools::jsonOf(report));
  std::map<std::string, json> changes;
  for (const json& group : shown["failures"]) {
    changes[shown["kept"][group["last"].get<std::size_t>()]["request"]] = group["fileChanged"];
  }
  EXPECT_EQ(changes["0x11"][0], "desk.csv has changed since: it has no row 1 now");
  EXPECT_EQ(changes["0x11"][1].get<std::string>().find("desk.csv has changed since: row 1f is now"),
            0U);
  EXPECT_EQ(changes["0x13"].size(), 0U);
  const json& open = shown["kept"].back();
  ASSERT_EQ(open["ending"], "open") << shown["kept"];
  EXPECT_EQ(open["lastRecord"], "0x14 runs row 0x20: HAP");
  EXPECT_EQ(
      open["message"].get<std::string>().find("its end is not in the ring; row desk/20 has not"),
      0U)
      << open["message"];
  EXPECT_EQ(open["longest"]["row"]["number"], "1f");
  EXPECT_GE(open["longest"]["ns"], 5000000);
}

TEST_F(ReportTest, NoNameEndsTheElementThatHoldsTheReport) {
  const std::string name = "</script><!--&\xe2\x80\xa8\xe2\x80\xa9\xe2\x80\xaa\xff\"\\";
  runThatFails(name, 0x11, 0x20003);
  finish();
  const std::string text = tools::jsonOf(report);
  EXPECT_EQ(text.find_first_of("<>&"), std::string::npos);
  EXPECT_EQ(text.find("\xe2\x80\xa8"), std::string::npos);
  EXPECT_EQ(text.find("\xe2\x80\xa9"), std::string::npos);
  const std::string shown = json::parse(text)["failures"][0]["hap"];
  EXPECT_EQ(shown.substr(0, 22), name.substr(0, 22)) << shown;
  const std::string page = tools::pageOf(text);
  const std::size_t at = page.find(text);
  ASSERT_NE(at, std::string::npos);
  for (const char* mark : {"@css", "@js", "@report@", "_hash@"}) {
    EXPECT_EQ(page.find(mark), std::string::npos) << "a mark that is not filled in";
  }
}

}  // namespace
}  // namespace kw::trx::testing
