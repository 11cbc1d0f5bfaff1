// SPDX-License-Identifier: Apache-2.0
// Memory that runs out, in the engine, in the loader and in the C library alike: the n-th
// allocation fails, or every one from the n-th on, for every n until none does.
#include <sys/sem.h>

#include <filesystem>
#include <set>

#include "kw/dev/parts/lib_semaphore.h"
#include "kw/trx/table.h"
#include "kw/trx/table_commands.h"
#include "kw/trx/table_driver.h"
#include "kw/trx/testing/engine_fixture.h"
#include "kw/trx/trx_lock.h"
#include "short_memory.h"

namespace kw::trx::testing {
namespace {

constexpr char kLines[] =
    "hapmodule.exec.exclusion.control=on\nhaptable.tblcmd.wait.handler=requester\n";

class MemoryLockTest : public EngineFixture {
 protected:
  MemoryLockTest() {
    dir.write(
        "called.csv",
        "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,TST_FailDetail,mode,STACK,20001 4 7\n,3,END,OVER\n");
    dir.write("main.csv",
              "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,TST_Ok,,bad,1 2\n,3,CHECK,,,bad\n"
              ",4,WAIT,,7\n,5,TABLE,called\n,6,END\nbad,7,WAIT,,0\n,8,END,a-message-that-is-too-"
              "long-for-a-small-text\n");
    configureWell();
    trx::TRX::startUp();
    semaphore_.get();
    start();
  }
  ~MemoryLockTest() override { semctl(semaphore_.id, 0, IPC_RMID); }

  void configureWell() const {
    configure({MODULE_TST, MODULE_PLAIN}, {dir.path() + "/called.csv", dir.path() + "/main.csv"},
              kLines);
  }

  /// What `step` ends with while memory is short. What the test itself needs comes behind it.
  static std::string outcomeUnder(Shortage kind, const std::function<void()>& step) {
    unsigned int code = 0;
    bool foreign = false;
    shortage = kind;
    try {
      step();
    } catch (const trx::TRXException& exception) {
      code = exception.getCode();
    } catch (...) {
      foreign = true;
    }
    shortage.left = -1;
    return foreign     ? "other"
           : code == 0 ? "ok"
                       : outcomeOf([code] { throw trx::TRXException(code); });
  }

  /// Runs `step` with the first, the second, ... allocation failing, alone and with all behind it,
  /// until it is as with all of them. A step cut short ends with one of `failures`. After each the
  /// engine can be loaded and used as ever, and nothing is left over.
  void failEach(const std::function<void()>& step, const std::string& expected,
                const std::set<std::string>& failures) {
    for (const bool lasting : {false, true}) {
      recover();
      outcomeUnder({}, step);
      recover();
      for (long n = 0;; ++n) {
        const long before = livingBlocks();
        const std::string outcome = outcomeUnder({n, lasting, false}, step);
        const bool felt = shortage.felt;
        recover();
        if (!felt) {
          EXPECT_EQ(outcome, expected);
          EXPECT_GT(n, 3);
          break;
        }
        EXPECT_EQ(failures.count(outcome), 1U) << "allocation " << n << ": " << outcome;
        EXPECT_EQ(livingBlocks(), before)
            << "leaked when allocation " << n << " failed: " << outcome;
      }
    }
  }

  /// The engine can be loaded and used as ever. Then the next step finds its files below `root_`.
  void recover() {
    EXPECT_EQ(semctl(semaphore_.id, 0, GETVAL), 1);
    engine->hapExecWaiting();  // returns at once: no context was left running
    kw::platform::setSystemRoot(dir.path());
    engine->load(false);
    useEngine();
    kw::platform::setSystemRoot(root_);
  }

  /// Everything that is configured well is there.
  void useEngine() {
    trx::TRXInfo info;
    EXPECT_EQ(execHAP(info, "TST_Ok"), "ok");
    EXPECT_EQ(execHAP(info, "PLAIN_Pass"), "ok");
    EXPECT_EQ(execTable(info, "main"), "TRX 7000b");
    EXPECT_EQ(info.getTblRtnMsg(), "OVER");
  }

  kw::dev::parts::LibSemaphore semaphore_{trx::kExclusionSemaphoreKey};
  std::string root_ = dir.path();
};

TEST_F(MemoryLockTest, EveryFailingAllocationOfALoadLeavesTheEngineUsable) {
  const std::string called = dir.path() + "/called.csv";
  const std::string main_table = dir.path() + "/main.csv";
  const std::string wrong = dir.write("wrong.csv", "FORMAT,0\nVERSION,1\n,1,START\n");
  const std::string text = dir.write("libzq_hap_text.so", "no library");
  // In a folder whose path has always the same length: when the C library cannot enlarge its buffer
  // for the loader's message, it writes behind it where the text fills it exactly.
  const std::string torn = dir.path() + "/libzq_hap_torn.so";
  std::filesystem::copy_file(MODULE_TORN, torn);
  const std::string go_on =
      "hapmodule.loading.err.mode=continue\nhaptable.loading.err.mode=continue\n";
  const struct {
    std::vector<std::string> modules, tables;
    std::string lines, outcome;
  } loads[] = {
      {{MODULE_TST, MODULE_PLAIN}, {called, main_table}, kLines, "ok"},
      {{MODULE_TST, torn}, {}, "", "TRX 70005"},
      {{text}, {}, "", "TRX 70005"},
      {{MODULE_TST}, {wrong}, "", "TRX 70006"},
      {{torn, "none.so", text, MODULE_PLAIN, ""}, {wrong, main_table, ""}, go_on, "ok"},
  };
  root_ = dir.path() + "/other";
  dir.write("other/kw/etc/kwpath.conf", "path.trx.conf=" + root_ + "/trx.conf\n");
  for (const auto& load : loads) {
    SCOPED_TRACE(::testing::PrintToString(load.modules) + load.lines);
    configure(load.modules, load.tables, load.lines);
    std::filesystem::rename(dir.path() + "/trx.conf", root_ + "/trx.conf");
    configureWell();
    failEach(
        [&] {
          engine->load(false);
          shortage.left = -1;
          // The loader and the C library can do without some: then nothing may be missing.
          if (load.lines == kLines) useEngine();
        },
        load.outcome, {"TRX 70004", "TRX 70005", "TRX 70006", "other", load.outcome});
  }
}

TEST_F(MemoryLockTest, EveryFailingAllocationOfARequestLeavesTheEngineUsable) {
  kw::sysobj::Component unit(300, 1, "a unit with a name that needs memory of its own");
  units = {&unit};
  const unsigned int para[] = {0x20001, 8, 1, 2};
  failEach(
      [&] {
        trx::TRXInfo info;
        engine->execHAP(&info, units, "TST_FailDetail", "a mode that needs memory of its own", para,
                        nullptr);
      },
      "TRX 7000a", {"TRX 7000a", "other"});
}

TEST_F(MemoryLockTest, EveryFailingAllocationOfAnInterruptedTableLeavesTheEngineUsable) {
  failEach(
      [&] {
        trx::TRXInfo info;
        info.setTableUnitList(units);
        info.setTableName("main");
        try {
          engine->execTable(&info);
        } catch (const trx::TRXException& exception) {
          if (exception.getCode() != trx::kCodeWaitHandOver) throw;
          engine->execTable(&info);
        }
      },
      "TRX 7000b", {"TRX 7000b", "other"});
}

TEST_F(MemoryLockTest, ManyReloadsLeaveNothingBehind) {
  engine->load(false);
  const long before = livingBlocks();
  for (int round = 0; round < 1000; ++round) engine->load(false);
  EXPECT_EQ(livingBlocks(), before);
}

// In a process of its own: the engine is made once.
TEST(EngineMemoryTest, AnEngineThatCouldNotBeMadeIsWatchedByNoTable) {
  trx::TableList tables;
  auto* table = new trx::HAPTable("t", 1);
  tables.addTable(table);
  table->addEntry(new trx::TblCmdStart(1, 1));
  table->addEntry(new trx::TblCmdEnd(2, -1));
  for (bool felt = true; felt;) {
    static long n = 0;
    shortage = {n++, false, false};
    try {
      trx::TRX::getInstance();
    } catch (const std::bad_alloc&) {
    }
    felt = shortage.felt;
    shortage = {};
    trx::TRXInfo info;
    info.setTableName("t");
    EXPECT_EQ(outcomeOf([&] { trx::TableDriver(1).execTable(&info, &tables); }), "ok");
  }
}

}  // namespace
}  // namespace kw::trx::testing
