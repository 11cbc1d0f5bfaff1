// SPDX-License-Identifier: Apache-2.0
// What the room of traces makes of records that the engine did not write so.
#include <gtest/gtest.h>

#include <functional>

#include "kw/trx/testing/engine_fixture.h"
#include "traces/doubts.h"
#include "traces/record_collector.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::testing {
namespace {

using kw::platform::TraceRecord;

class DoubtsTest : public EngineFixture {
 protected:
  /// What the engine writes for a load, a failing HAP and a failing table.
  std::vector<TraceRecord> recordsOfAnEngine() {
    configure({MODULE_TST}, {dir.write("t.csv",
                                       "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,TST_Fail,"
                                       "mode,STACK,1 2\n,3,CHECK,,,a\na,4,END,OVER\n")});
    tools::RecordCollector collector(kw::platform::kTraceAll);
    start();
    trx::TRXInfo info;
    const unsigned int para[] = {0x20001, 8, 1, 2};
    kw::sysobj::Component unit(300, 1, "\xc3\xa4");
    units = {&unit};
    execHAP(info, "TST_FailDetail", "a mode", para);
    info.initialize();
    execTable(info, "t");
    std::vector<TraceRecord> records = collector.taken();
    for (TraceRecord& record : records) {
      record.process_id = record.thread_id = 4711;
    }
    return records;
  }
};

TEST_F(DoubtsTest, NothingThatAnEngineWritesIsDoubtfulAndWhatItCannotWriteIs) {
  const std::pair<const char*, std::function<void(TraceRecord&)>> damages[] = {
      {"process", [](TraceRecord& record) { record.process_id |= 0x800000; }},
      {"thread", [](TraceRecord& record) { record.thread_id = 0; }},
      {"level", [](TraceRecord& record) { record.level ^= 0x10; }},
      {"other level", [](TraceRecord& record) { record.level ^= trx::kLevelInfo ^ 0x8003; }},
      {"id", [](TraceRecord& record) { record.id ^= 0x20000000; }},
      {"class", [](TraceRecord& record) { record.trace_class = 8; }},
      {"length", [](TraceRecord& record) { record.length += 256; }},
      {"first byte", [](TraceRecord& record) { record.data[0] = 0xff; }},
      {"last byte", [](TraceRecord& record) { record.data.back() = 1; }}};
  const std::vector<TraceRecord> records = recordsOfAnEngine();
  ASSERT_GT(records.size(), 60U);
  std::size_t found_out = 0;
  for (const TraceRecord& record : records) {
    EXPECT_EQ(tools::doubtOf(record), nullptr) << std::hex << record.id;
    for (const auto& [name, damage] : damages) {
      TraceRecord damaged = record;
      damage(damaged);
      const bool fits = tools::doubtOf(damaged) == nullptr;
      // A word that the catalogue names may have any value.
      EXPECT_TRUE(!fits || std::string(name).find("byte") != std::string::npos) << name;
      found_out += fits ? 0 : 1;
    }
  }
  EXPECT_GT(found_out, records.size() * 15 / 2) << "of nine each";
}

}  // namespace
}  // namespace kw::trx::testing
