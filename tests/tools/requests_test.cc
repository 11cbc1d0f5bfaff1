// SPDX-License-Identifier: Apache-2.0
// Requests whose records can be read in two ways, or are not all there.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <map>

#include "../truth/steering.h"
#include "kw/trx/hap_controller.h"
#include "kw/trx/logger.h"
#include "records_fixture.h"
#include "trace/live_view.h"

namespace kw::trx::testing {
namespace {

using kw::platform::TraceRecord;
using tools::EventKind;
using Lines = std::vector<std::string>;

/// What HAPs of module TRU do, by their names; the others succeed.
using Acts = std::map<std::string, std::function<int(trx::TRXInfo* info)>>;

class Script : public truth::Steering {
 public:
  explicit Script(const Acts& acts) : acts_(acts) {}
  int run(trx::TRXInfo* info, const char* name, const char*) override {
    const auto act = acts_.find(name);
    return act == acts_.end() ? 0 : act->second(info);
  }

 private:
  const Acts& acts_;
};

class RequestsTest : public RecordsTest {
 protected:
  /// Requests a HAP, or the table "t", on a context, which is one of the script from then on.
  std::string request(trx::TRXInfo& info, const std::string& name) {
    delete info.getHAPAPIExpandData();
    info.setHAPAPIExpandData(new Script(acts));
    return name == "t" ? execTable(info, name) : execHAP(info, name);
  }

  static void call(trx::TRXInfo* info, const std::string& hap, bool err_disable = false) {
    std::vector<kw::sysobj::Component*> none;
    trx::TRX::getInstance()->getHAPController()->execHAP(info, none, hap, "", nullptr, nullptr,
                                                         err_disable);
  }

  static void callAndCatch(trx::TRXInfo* info, const std::string& hap) {
    outcomeOf([&] { call(info, hap); });
  }

  static int fail(trx::TRXInfo* info) {
    info->error.setHAPError(0x20003, nullptr, 0);
    return 1;
  }

  /// The records up to the last one of a kind.
  static std::vector<TraceRecord> upTo(std::vector<TraceRecord> records, EventKind kind) {
    while (!records.empty() && tools::eventOf(records.back()).kind != kind) {
      records.pop_back();
    }
    return records;
  }

  /// The records from the first one of a kind on, as if the older ones were overwritten.
  static std::vector<TraceRecord> from(EventKind kind, std::vector<TraceRecord> records) {
    while (!records.empty() && tools::eventOf(records.front()).kind != kind) {
      records.erase(records.begin());
    }
    return records;
  }

  Acts acts;
};

TEST_F(RequestsTest, WhatHasNoEndHasNotEndedWhateverFailedInsideOfIt) {
  acts["TRU_A"] = [](trx::TRXInfo* info) {
    callAndCatch(info, "TRU_B");
    call(info, "TRU_C");
    return 0;
  };
  acts["TRU_B"] = fail;
  startTables({{"t", ",2,HAP,TRU_A\n,3,END\n"}}, MODULE_TRU);
  const std::string open = ": its end is not in the ring; ";
  const struct {
    const char* request;
    EventKind last;
    std::string expected;
  } cases[] = {
      {"TRU_A", EventKind::kHAPStarted, "HAP TRU_C has not ended; "},
      {"TRU_A", EventKind::kHAPFailed, "HAP TRU_A has not ended; "},
      {"TRU_A", EventKind::kHAPEnded, "HAP TRU_A has not ended; "},
      {"t", EventKind::kHAPStarted, "row t/2, HAP TRU_C has not ended; "},
      {"t", EventKind::kHAPEnded, "row t/2 has not ended; "},
  };
  for (const auto& [name, last, expected] : cases) {
    const std::vector<TraceRecord> records = recordsOf([&, name = name] {
      trx::TRXInfo info;
      EXPECT_EQ(request(info, name), "ok");
    });
    const ReadRequests read(upTo(records, last));
    ASSERT_EQ(read.outcomes.size(), 1U);
    EXPECT_EQ(read.outcomes[0].substr(0, read.outcomes[0].find("its last record")),
              name + open + expected);
    EXPECT_EQ(read.requests[0].ending, tools::Ending::kOpen);
  }
}

TEST_F(RequestsTest, ATableThatGoesRoundIsSeenWhileItWaitsAtItsRequester) {
  int failures = 0;
  acts["TRU_A"] = [&failures](trx::TRXInfo* info) { return ++failures < 4 ? fail(info) : 0; };
  startTables({{"t", "again,2,WAIT,,1\n,3,HAP,TRU_A,,again\n,4,END\n"}}, MODULE_TRU);
  const std::vector<TraceRecord> records = recordsOf([&] {
    trx::TRXInfo info;
    EXPECT_EQ(request(info, "t"), "ok");
  });
  const ReadRequests read(upTo(records, EventKind::kRowWait));
  ASSERT_EQ(read.outcomes.size(), 1U);
  EXPECT_EQ(
      read.outcomes[0].find("t: waits in row t/2; its end is not in the ring; row t/2 has run "
                            "4 times; row t/3 has failed 3 times: HAP TRU_A: 0x20003"),
      0U)
      << read.outcomes[0];
}

TEST_F(RequestsTest, WhatRunsIsSeenWhileItRuns) {
  startTables({{"t", ",2,HAP,TRU_A\n,3,END\n"}}, MODULE_TRU);
  const std::string ring = dir.path() + "/live.ring";
  ASSERT_EQ(kw::platform::openTraceRing(ring, 1000), 0) << std::strerror(errno);
  tools::LiveView view([](const std::string&, std::uint32_t) { return std::string(); });
  tools::RequestReader reader(view);
  ASSERT_EQ(reader.open(ring), 0);
  std::vector<tools::LiveRequest> running;
  acts["TRU_A"] = [&](trx::TRXInfo*) {
    reader.read();
    running = view.running(reader);
    return 0;
  };
  for (int i = 0; i < 2; ++i) {
    trx::TRXInfo info;
    EXPECT_EQ(request(info, "t"), "ok");
    ASSERT_EQ(running.size(), 1U);
    EXPECT_EQ(running[0].request.name, "t");
    EXPECT_TRUE(running[0].row == (tools::RowId{"t", 2}));
    EXPECT_EQ(running[0].hap, "TRU_A");
    EXPECT_EQ(running[0].usual_ns != 0, i == 1);
  }
  kw::platform::closeTraceRing();
  reader.read();
  reader.settle();
  EXPECT_TRUE(view.running(reader).empty());
  EXPECT_EQ(view.ended(), 2U);
}

/// A ring made by hand may start any number of HAPs, in any number of threads.
TEST_F(RequestsTest, WhatRunsAtOnceIsBounded) {
  struct Counter : tools::RequestListener {
    void spanEnded(const tools::Request&, const tools::Span& span) override {
      deepest = std::max(deepest, span.depth);
    }
    void requestEnded(const tools::Request& request) override {
      ++requests;
      EXPECT_EQ(request.ending, tools::Ending::kOpen);
    }
    std::size_t deepest = 0, requests = 0;
  } counter;
  tools::RequestBuilder builder(counter);
  std::uint32_t time = 0;
  const auto start = [&](std::uint32_t thread) {
    const TraceRecord record = recordAt(++time, thread, trx::kHAPExecNested, "TST_Ok");
    builder.take(tools::eventOf(record));
  };
  for (int i = 0; i < 20000; ++i) {
    start(1);
  }
  EXPECT_EQ(builder.running().at(0)->spans().size(), 20000U % 4096);
  for (std::uint32_t thread = 2; thread < 40000; ++thread) {
    start(thread);
  }
  EXPECT_LE(builder.running().size(), 16384U);
  builder.finish();
  EXPECT_EQ(counter.deepest, 4095U);
  EXPECT_EQ(counter.requests, 39999U);
  EXPECT_EQ(builder.threads(), 39999U);
}

TEST_F(RequestsTest, EachEndsAsItDid) {
  startTables({{"t", ",2,HAP,TRU_A,,STACK\n,3,WAIT,,1\n,4,HAP,TRU_B\n,5,END\n"}}, MODULE_TRU);
  const auto give = [](unsigned int code) {
    return [code](trx::TRXInfo* info) {
      info->error.setErrCode(code);
      return 1;
    };
  };
  const auto ask = [this](trx::TRXInfo*) {
    trx::TRXInfo own;
    request(own, "TRU_D");
    return 0;
  };
  int calls = 0;
  const struct {
    const char* what;
    Acts acts;
    Lines requests;
    Lines expected;
  } cases[] = {
      {"the first failing row stays over a wait",
       {{"TRU_A", fail}, {"TRU_B", fail}},
       {"t"},
       {"t: failed: row t/2: HAP TRU_A: 0x20003, a HAP's own error, with its detail; ended by row "
        "t/4"}},
      {"a context that is not initialized behind an error end",
       {{"TRU_B", [&calls](trx::TRXInfo* info) { return ++calls == 1 ? fail(info) : 0; }}},
       {"t", "t again"},
       {"t: failed: row t/4: HAP TRU_B: 0x20003, a HAP's own error, with its detail",
        "t: failed: its context was not initialized behind an earlier error end (0x7000b)"}},
      {"a HAP whose failure came back to one of its own name, which throws another",
       {{"TRU_C",
         [&calls](trx::TRXInfo* info) {
           if (++calls == 2) {
             return 1;
           }
           call(info, "TRU_C", true);
           throw trx::TRXException(0x7000a);
         }}},
       {"TRU_C"},
       {"TRU_C: failed: HAP TRU_C threw an engine exception: 0x7000a, a HAP failed"}},
      {"a code of a class that no record tells",
       {{"TRU_C", give(0x10005)}},
       {"TRU_C"},
       {"TRU_C: failed: HAP TRU_C gave an error code of a class that is not traced"}},
      {"a request of its own in a HAP of a table",
       {{"TRU_A", ask}, {"TRU_D", fail}},
       {"t"},
       {"TRU_D: failed: HAP TRU_D: 0x20003, a HAP's own error, with its detail", "t: succeeded"}},
      {"a HAP of its own name inside itself",
       {{"TRU_E",
         [&calls](trx::TRXInfo* info) {
           ++calls == 1 ? callAndCatch(info, "TRU_E") : call(info, "TRU_C");
           return 0;
         }},
        {"TRU_C", fail}},
       {"TRU_E"},
       {"TRU_E: succeeded"}},
      {"names that are no ASCII",
       {{truth::kLatinHAP, fail}},
       {truth::kLatinHAP, "TRU_\tX"},
       {"TRU_\\xe9tat: failed: HAP TRU_\\xe9tat: 0x20003, a HAP's own error, with its detail",
        "TRU_\\tX: failed: HAP TRU_\\tX: module TRU does not export the HAP: 0x1000001, the HAP is "
        "not defined"}},
      {"a trace of the product with ids of the engine",
       {{"TRU_A",
         [](trx::TRXInfo* info) {
           for (const unsigned long id : {0x1UL, 0x4003005UL, 0xb000000UL, 0x1003000UL}) {
             info->getProductHAPAPITrace()->info(id, 1UL, 2UL, 3UL, 4UL);
             info->getProductHAPAPITrace()->error(id, "TRU_A");
           }
           return 0;
         }}},
       {"TRU_A", "t"},
       {"TRU_A: succeeded", "t: succeeded"}},
  };
  for (const auto& one : cases) {
    acts = one.acts;
    calls = 0;
    const std::vector<TraceRecord> records = recordsOf([&] {
      trx::TRXInfo info;
      for (const std::string& name : one.requests) {
        if (name != "t again") info.initialize();
        request(info, name.substr(0, name.find(' ')));
      }
    });
    for (const TraceRecord& record : records) {
      EXPECT_EQ(tools::suspicionOf(record), nullptr) << one.what;
    }
    const ReadRequests read(records);
    EXPECT_EQ(read.outcomes, one.expected) << one.what;
    for (const tools::Request& request : read.requests) {
      EXPECT_EQ(request.uncertain, "") << one.what;
      EXPECT_FALSE(request.is_incomplete) << one.what;
    }
  }
}

TEST_F(RequestsTest, WhatFailedInAHAPOfItsOwnNameIsNotKnown) {
  int depth = 0;
  acts["TRU_C"] = [](trx::TRXInfo* info) {
    call(info, "TRU_A");
    return 0;
  };
  acts["TRU_A"] = [&depth](trx::TRXInfo* info) {
    const int level = ++depth;
    if (level < 3) {
      callAndCatch(info, "TRU_A");
    }
    return level == 2 ? 0 : fail(info);
  };
  startTables({{"t", ",2,HAP,TRU_C,,NOP\n,3,END\n"}}, MODULE_TRU);
  for (const auto& [name, is_known] : {std::pair("TRU_C", false), {"t", true}}) {
    depth = 0;
    const ReadRequests read(recordsOf([&, name = name] {
      trx::TRXInfo info;
      request(info, name);
    }));
    ASSERT_EQ(read.requests.size(), 1U);
    EXPECT_EQ(read.requests[0].uncertain,
              is_known
                  ? ""
                  : "HAP TRU_A called itself, and one of both failed; which HAPs have ended is "
                    "not in the records");
  }
}

TEST_F(RequestsTest, OfARequestWhoseStartIsLostTheTablesAreNotGuessed) {
  startTables({{"t", ",2,TABLE,waits\n,3,END\n"}, {"waits", ",4,WAIT,,1\n,5,HAP,TRU_A\n,6,END\n"}},
              MODULE_TRU);
  const std::vector<TraceRecord> records = recordsOf([&] {
    trx::TRXInfo info;
    EXPECT_EQ(request(info, "t"), "ok");
  });
  const struct {
    EventKind first;
    std::size_t parts, rows;
    const char* uncertain;
  } cases[] = {
      {EventKind::kTableRequested, 1, 3, ""},
      {EventKind::kRowWait, 2, 4,
       "whether it or another request of its id went on in table t is not in the records"},
  };
  for (const auto& one : cases) {
    const auto first = std::find_if(records.rbegin(), records.rend(), [&](const auto& record) {
      return tools::eventOf(record).kind == one.first;
    });
    const ReadRequests read({std::prev(first.base()), records.end()});
    ASSERT_EQ(read.requests.size(), 1U);
    EXPECT_TRUE(read.requests[0].start_lost);
    EXPECT_EQ(read.requests[0].name, "t");
    EXPECT_EQ(read.requests[0].number, 1U);
    EXPECT_EQ(read.requests[0].parts.size(), one.parts);
    EXPECT_EQ(read.requests[0].uncertain, one.uncertain);
    std::size_t rows = 0;
    for (const std::string& span : read.spans) {
      rows += span.rfind("row ", 0) == 0 ? 1 : 0;
      EXPECT_NE(span.find(" incomplete"), std::string::npos) << span;
      EXPECT_TRUE(span.rfind("row ?/", 0) == 0 || span.rfind("row ", 0) != 0) << span;
    }
    EXPECT_EQ(rows, one.rows);
    EXPECT_TRUE(read.statistics.all().empty());
  }
}

/// Each thread has rows of its own in the ring, so that newer records of one are overwritten before
/// older ones of another.
TEST_F(RequestsTest, WhatWaitedMayHaveGoneOnInAnotherThread) {
  startTables({{"t", ",4,WAIT,,1\n,5,END\n"}}, MODULE_TRU);
  std::vector<TraceRecord> records = recordsOf([&] {
    trx::TRXInfo info;
    EXPECT_EQ(request(info, "t"), "ok");
  });
  const auto wait = std::find_if(records.begin(), records.end(), [](const TraceRecord& record) {
    return tools::eventOf(record).kind == EventKind::kRowWait;
  });
  const auto last = std::find_if(wait, records.end(), [](const TraceRecord& record) {
    return tools::eventOf(record).kind == EventKind::kRowEnd;
  });
  records.erase(std::next(wait), last);
  std::for_each(std::next(wait), records.end(), [](TraceRecord& record) { record.thread_id = 1; });
  const ReadRequests read(records);
  ASSERT_EQ(read.requests.size(), 2U);
  for (const tools::Request& request : read.requests) {
    EXPECT_EQ(request.uncertain,
              "whether the request of its id that waited and the one whose start is lost are the "
              "same is not in the records");
  }
}

TEST_F(RequestsTest, TheRestOfATableIsNoneOfTheHAPThatAskedForIt) {
  acts["TRU_A"] = [this](trx::TRXInfo*) {
    trx::TRXInfo own;
    request(own, "t");
    return 0;
  };
  startTables({{"t", ",2,HAP,TRU_B\n,3,END\n"}}, MODULE_TRU);
  trx::TRXInfo info;
  const ReadRequests read(from(EventKind::kRowHAP, recordsOf([&] { request(info, "TRU_A"); })));
  EXPECT_EQ(read.outcomes, (Lines{": succeeded; its start is not in the ring",
                                  "TRU_A: succeeded; its start is not in the ring"}));
}

TEST_F(RequestsTest, WhatGoesOnIsRatherARequestWhoseTableIsKnown) {
  startTables({{"t", ",4,WAIT,,1\n,5,END\n"}, {"lost", ",7,WAIT,,1\n,8,END\n"}}, MODULE_TRU);
  const ReadRequests read(from(
      EventKind::kRowWait, recordsOf([&] {
        trx::TRXInfo lost, known;
        for (const auto& [info, name] : {std::pair(&lost, "lost"), {&known, "t"}, {&known, "t"}}) {
          info->setTableName(name);
          outcomeOf([&, info = info] { engine->execTable(info); });
        }
      })));
  ASSERT_EQ(read.requests.size(), 2U);
  EXPECT_EQ(read.requests[0].name, "t");
  EXPECT_EQ(read.requests[0].parts.size(), 2U);
  EXPECT_EQ(read.requests[1].ending, tools::Ending::kWaits);
  for (const tools::Request& request : read.requests) {
    EXPECT_NE(request.uncertain, "");
  }
}

}  // namespace
}  // namespace kw::trx::testing
