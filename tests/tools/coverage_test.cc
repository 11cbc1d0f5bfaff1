// SPDX-License-Identifier: Apache-2.0
// What ran is counted alike from cases and from files, row by row and arrow by arrow.
#include <gtest/gtest.h>

#include "cases/case_run.h"
#include "coverage/row_counter.h"
#include "graph/ring_runs.h"
#include "kw/trx/testing/temp_dir.h"
#include "records_fixture.h"
#include "table/environment.h"
#include "trace/request_filter.h"

namespace kw::trx::testing {
namespace {

// Lines 3 to 14.
constexpr char kMain[] =
    "FORMAT,0\nVERSION,1\n,1,START\nagain,2,HAP,TST_A,,NOP\n,3,HAP,TST_B,,STACK\n,4,TABLE,sub\n"
    ",5,HAP,TST_C,,again\n,6,CHECK,,,bad\n,7,WAIT,,5\n,8,HAP,TST_D\n,9,END\nbad,a,CHECK\n,b,END\n";
constexpr char kSub[] = "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,TST_E\n,3,END\n";
constexpr char kCases[] =
    "TABLES,main.csv,sub.csv\nCASE,well\nEND,ok\nCASE,unseen\nHAP,TST_A,fail\nEND,ok\n"
    "CASE,thrown\nHAP,TST_A,throw 7000c\nEND,ok\nCASE,kept\nHAP,TST_B,fail\nEND,error\n"
    "CASE,again\nHAP,TST_C,fail,fail,ok\nEND,ok\nCASE,stop\nHAP,TST_D,fail\nEND,error\n"
    "CASE,below\nHAP,TST_E,fail\nEND,error\nCASE,foreign\nHAP,TST_D,throw\nEND,exception\n";

TEST(CoverageTest, CountsRowsAndHowTheyWentOn) {
  const TempDir dir;
  const std::string main = dir.write("main.csv", kMain);
  dir.write("sub.csv", kSub);
  const tools::CaseFile file = tools::readCaseFile(dir.write("a.cases.csv", kCases));
  const tools::Simulator simulator(file.tables);
  tools::RowCounter counter(simulator.tables());
  tools::TableFlows without_sub = simulator.tables();
  without_sub.erase("sub");
  tools::RowCounter partly(without_sub);
  RecordKeeper keeper;
  for (const tools::TableCase& one : file.cases) {
    EXPECT_EQ(tools::differencesOf(one, simulator, &keeper), std::vector<std::string>())
        << one.name;
  }
  readRecords(keeper.records, counter);
  readRecords(keeper.records, partly);
  const std::string expected =
      "TN:\nSF:" + main +
      "\nBRDA:4,0,0,8\nBRDA:4,0,1,2\nBRDA:5,0,0,9\nBRDA:5,0,1,1\nBRDA:7,0,0,7\nBRDA:7,0,1,2\n"
      "BRDA:8,0,0,6\nBRDA:8,0,1,1\nBRDA:10,0,0,4\nBRDA:10,0,1,1\nBRDA:12,0,0,0\nBRDA:12,0,1,1\n"
      "BRF:12\nBRH:11\nDA:3,8\nDA:4,10\nDA:5,10\nDA:6,10\nDA:7,9\nDA:8,7\nDA:9,6\nDA:10,6\n"
      "DA:11,4\nDA:12,1\nDA:13,0\nLF:11\nLH:10\nend_of_record\n";
  const std::string written = tools::lcovOf(counter.coverage());
  EXPECT_EQ(written.substr(0, expected.size()), expected);
  const tools::Coverage read = tools::readCoverage(dir.write("a.info", written));
  EXPECT_EQ(tools::lcovOf(read), written);
  EXPECT_EQ(partly.unknown(), (std::map<std::string, std::uint64_t>{{"sub", 29}}));

  // Runs, onward, by error and failures of each row, and ? with those whose end is not known: the
  // table that failed below did not return, and an exception was no failure of the engine.
  std::string counts;
  const tools::GraphCounts graph = tools::graphCountsOf(simulator.tables(), read);
  for (const tools::RowCounts& row : graph.at("main")) {
    counts += std::to_string(row.runs) + "/" + std::to_string(row.onward) + "/" +
              std::to_string(row.errors) + "/" + std::to_string(row.failures) +
              (row.unfinished == 0 ? " " : "?" + std::to_string(row.unfinished) + " ");
  }
  EXPECT_EQ(counts,
            "8/8/0/0 10/10/0/2 10/10/0/1 10/9/0/0?1 9/7/2/2 7/6/1/1 6/6/0/0 6/4/1/1?1 4/4/0/0 "
            "1/0/1/1 0/0/0/0 ");
  tools::Coverage twice = read;
  tools::merge(twice, read);
  EXPECT_EQ(twice.at(main).at(10).runs, 12U);
  EXPECT_EQ((*twice.at(main).at(10).branches)[tools::kBranchFailed], 2U);
  EXPECT_THROW(tools::readCoverage(main), std::runtime_error);
}

TEST(CoverageTest, TellsTheWayOfOneRequest) {
  const TempDir dir;
  dir.write("main.csv", kMain);
  dir.write("sub.csv", kSub);
  const tools::CaseFile file = tools::readCaseFile(
      dir.write("a.cases.csv",
                std::string(kCases) + "CASE,often\nHAP,TST_C,fail,fail,fail,fail,ok\nEND,ok\n"));
  const tools::Simulator simulator(file.tables);
  RecordKeeper keeper;
  for (const tools::TableCase& one : file.cases) {
    tools::differencesOf(one, simulator, &keeper);
  }
  // Each row that ran of main: runs, onward, by error, failures, its note.
  const auto told = [&](const tools::RingRuns& runs) {
    std::string all;
    const tools::GraphCounts counts = runs.counts();
    for (const tools::RowCounts& row : counts.at("main")) {
      all += row.runs == 0 ? ""
                           : std::to_string(row.runs) + "/" + std::to_string(row.onward) + "/" +
                                 std::to_string(row.errors) + "/" + std::to_string(row.failures) +
                                 " " + row.note.substr(0, row.note.find('\n')) + "; ";
    }
    return all;
  };
  tools::RingRuns whole(simulator.tables(), false);
  readRecords(keeper.records, whole);
  EXPECT_EQ(told(whole),
            "9/9/0/0 9 runs; 15/15/0/2 15 runs, 2 failed; 15/15/0/1 15 runs, 1 failed; "
            "15/14/0/1 15 runs, 1 failed; 14/8/6/6 14 runs, 6 failed; "
            "8/7/1/1 8 runs, 1 found a failure; 7/7/0/0 7 runs; 7/5/1/2 7 runs, 2 failed; "
            "5/0/0/0 5 runs; 1/0/1/1 1 run, found a failure; ");
  const std::pair<std::uint32_t, const char*> ways[] = {
      {5,
       "1/1/0/0 #1; 3/3/0/0 #2 #9 #16; 3/3/0/0 #3 #10 #17; 3/3/0/0 #4 #11 #18; "
       "3/1/2/2 #8 #15 #22, 2 failed; 1/1/0/0 #23; 1/1/0/0 #24; "
       "1/1/0/0 #25; 1/0/0/0 #26; "},
      {7, "1/1/0/0 #1; 1/1/0/0 #2; 1/1/0/0 #3; 1/0/0/1 #4, failed; "},
      {9,
       "1/1/0/0 #1; 5/5/0/0 #2 #9 #16 #23 ...; 5/5/0/0 #3 #10 #17 #24 ...; "
       "5/5/0/0 #4 #11 #18 #25 ...; 5/1/4/4 #8 #15 #22 #29 ..., 4 failed; 1/1/0/0 #37; "
       "1/1/0/0 #38; 1/1/0/0 #39; 1/0/0/0 #40; "}};
  tools::RequestFilter filter;
  filter.request = tools::eventOf(keeper.records.at(0)).request;
  for (const auto& [number, expected] : ways) {
    tools::RingRuns way(simulator.tables(), true);
    filter.request_number = number;
    tools::FilteredRequests filtered(filter, way);
    readRecords(keeper.records, filtered);
    EXPECT_EQ(told(way), expected);
  }
  // Hosts of other machines may have the same ids at the same time.
  filter.request_number = 7;
  tools::RingRuns both(simulator.tables(), true);
  tools::FilteredRequests filtered(filter, both);
  tools::RequestBuilder rings[] = {tools::RequestBuilder(filtered, 0),
                                   tools::RequestBuilder(filtered, 1)};
  for (const auto& record : keeper.records) {
    for (tools::RequestBuilder& ring : rings) {
      ring.take(tools::eventOf(record));
    }
  }
  for (tools::RequestBuilder& ring : rings) {
    ring.finish();
  }
  EXPECT_EQ(both.rings().size(), 2U);
  EXPECT_EQ(told(both),
            "2/2/0/0 #1 #7; 2/2/0/0 #2 #8; 2/2/0/0 #3 #9; 2/0/0/2 #4 #10, all failed; ");
  // A row whose end is missing is not known to have succeeded.
  const std::vector<kw::platform::TraceRecord> cut(keeper.records.begin(),
                                                   keeper.records.begin() + 6);
  tools::RingRuns open(simulator.tables(), false);
  readRecords(cut, open);
  EXPECT_EQ(told(open), "1/1/0/0 1 run; 1/0/0/0 1 run, 1 not ended; ");
}

}  // namespace
}  // namespace kw::trx::testing
