// SPDX-License-Identifier: Apache-2.0
// Threads that are cancelled at the n-th point where that is possible, for every n until there is
// none: at the calls of the C library, and in a trace listener, an API object, a HAP and a module.
// And reads of which the n-th fails.
#include <dlfcn.h>
#include <pthread.h>
#include <sys/sem.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <thread>

#include "kw/trx/testing/engine_fixture.h"
#include "kw/trx/trx_lock.h"

namespace {

/// Points of cancellation of this thread until it is cancelled at one; 0 for never.
thread_local int points_left = 0;

/// A request that keeps loads waiting until they sleep.
kw::trx::trx::TRXInfo* waited_for = nullptr;

/// Reads of this thread until one fails, with this error; 0 for never.
thread_local int reads_left = 0;
int read_error = EIO;

bool readFails() {
  const bool fails = reads_left > 0 && --reads_left == 0;
  errno = fails ? read_error : errno;
  return fails;
}

void pass() {
  if (points_left > 0 && --points_left == 0) {
    pthread_cancel(pthread_self());
  }
}

/// The function of the C library that `name` hides, behind a point.
template <typename Function>
Function* passTo(Function* /*hiding*/, const char* name) {
  auto* const next = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
  pass();
  return next;
}

}  // namespace

extern "C" {
int open(const char* path, int flags, ...) { return passTo(open, "open")(path, flags, 0644); }
int open64(const char* path, int flags, ...) { return passTo(open64, "open64")(path, flags, 0644); }
int close(int fd) { return passTo(close, "close")(fd); }
ssize_t read(int fd, void* to, size_t bytes) {
  return readFails() ? -1 : passTo(read, "read")(fd, to, bytes);
}
ssize_t pread(int fd, void* to, size_t bytes, off_t offset) {
  return readFails() ? -1 : passTo(pread, "pread")(fd, to, bytes, offset);
}
ssize_t pread64(int fd, void* to, size_t bytes, off64_t offset) {
  return readFails() ? -1 : passTo(pread64, "pread64")(fd, to, bytes, offset);
}
int usleep(useconds_t time_us) { return passTo(usleep, "usleep")(time_us); }
int nanosleep(const timespec* time, timespec* rest) {
  return passTo(nanosleep, "nanosleep")(time, rest);
}
int clock_nanosleep(clockid_t clock, int flags, const timespec* time, timespec* rest) {
  return passTo(clock_nanosleep, "clock_nanosleep")(clock, flags, time, rest);
}
/// What a load waits for ends while it sleeps.
unsigned int sleep(unsigned int /*seconds*/) {
  pass();
  pthread_testcancel();
  kw::trx::trx::TRX::getInstance()->deleteTRXInfo(waited_for);
  return 0;
}
}

namespace kw::trx::testing {
namespace {

namespace fs = std::filesystem;

constexpr unsigned int kTimeOutSeconds = 200;

/// So much of a module has its headers, but not what the loader uses at once.
constexpr std::uintmax_t kBeginningBytes = 4200;

void rest(void* = nullptr, unsigned long = 0, unsigned int = 0, unsigned short = 0,
          unsigned long = 0, const void* = nullptr, int = 0) {
  pass();
  pthread_testcancel();
}

/// Writes as hosts do, through a stream: that catches what passes, and throws it again.
void writeToStream(void*, unsigned long, unsigned int, unsigned short, unsigned long id,
                   const void*, int) {
  static std::ofstream log("/dev/null");
  log << id << std::endl;
}

class RestingAPI : public hapapi::HAPAPI {
 public:
  ~RestingAPI() override { rest(); }
  void beginHAPExec(trx::TRXInfo*) override { rest(); }
  void endHAPExec(trx::TRXInfo*) override { rest(); }
  unsigned int getTraceClass() override { return 9; }
};

class CancelLockTest : public EngineFixture {
 protected:
  CancelLockTest() {
    alarm(kTimeOutSeconds);
    trx::TRX::startUp();
    semaphore_.get();
    const std::string head = "FORMAT,0\nVERSION,1\n,1,START\n";
    const std::string inner =
        dir.write("inner.csv", head + ",2,WAIT,,1\n,3,HAP,HURT_Rest\n,4,END\n");
    const std::string outer = dir.write(
        "outer.csv", head +
                         ",2,HAP,TST_None,,on\non,3,HAP,TST_Fail,,NOP,1 2\n,4,TABLE,inner\n"
                         ",5,HAP,TST_Fail,,STACK,1 2\n,6,CHECK,,,bad\nbad,7,END,OVER\n");
    const std::string wrong = dir.write("wrong.csv", head);
    const fs::path cut = dir.write("libzq_hap_cut.so", "");
    fs::copy_file(MODULE_TST, cut, fs::copy_options::overwrite_existing);
    fs::resize_file(cut, kBeginningBytes);
    configure({MODULE_CTOR, MODULE_HURT, cut, "/no/libzq_hap_none.so", MODULE_TST},
              {wrong, inner, outer},
              "hapmodule.exec.exclusion.control=on\nhapmodule.loading.err.mode=continue\n"
              "haptable.loading.err.mode=continue\n");
    engine->load(false);
    engine->setHAPAPI(new RestingAPI);
    kw::platform::setTraceListener(rest, nullptr);
  }
  ~CancelLockTest() override {
    kw::platform::setTraceListener(nullptr, nullptr);
    semctl(semaphore_.id, 0, IPC_RMID);
  }

  /// Runs `step` in threads that are cancelled at their first, second, ... point. Returns how many
  /// were.
  int cancelEach(const std::function<void()>& step) {
    int cancelled = 0;
    for (int point = 1;; ++point) {
      bool is_last = false;
      bool ended = false;
      std::thread([&] {
        points_left = point;
        step();
        ended = true;
        is_last = points_left > 0;
        points_left = 0;
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
      }).join();
      cancelled += ended ? 0 : 1;
      engine->deleteTRXInfo(waited_for);
      engine->load(false);
      trx::TRXInfo info;
      EXPECT_EQ(execHAP(info, "TST_Ok"), "ok") << "after a cancellation at point " << point;
      EXPECT_EQ(semctl(semaphore_.id, 0, GETVAL), 1) << "after one at point " << point;
      if (is_last) {
        return cancelled;
      }
    }
  }

  kw::dev::parts::LibSemaphore semaphore_{trx::kExclusionSemaphoreKey};
};

TEST_F(CancelLockTest, NoPointOfALoadEndsTheProcess) {
  trx::TRXInfo other;
  waited_for = &other;
  const int cancelled = cancelEach([&] {
    engine->chkAndAddTRXInfo(&other);
    engine->load(false);
    engine->setHAPAPI(new RestingAPI);
  });
  EXPECT_GT(cancelled, 50);
  waited_for = nullptr;
}

TEST_F(CancelLockTest, ReadThatFailsMakesAFileOneThatCannotBeReadAndAnInterruptedOneIsRepeated) {
  int failed = 0;
  for (bool felt = true; felt; ++failed) {
    reads_left = failed + 1;
    read_error = EINTR;
    EXPECT_EQ(outcomeOf([this] { engine->load(false); }), "ok");
    trx::TRXInfo whole;
    EXPECT_EQ(outcomeOf([&] { engine->execTable(&whole, units, "outer"); }), "TRX 7000b");
    EXPECT_EQ(whole.getTblRtnMsg(), "OVER") << "with every module and table";
    read_error = EIO;
    reads_left = failed + 1;
    const std::string outcome = outcomeOf([this] { engine->load(false); });
    felt = reads_left == 0;
    reads_left = 0;
    EXPECT_TRUE(outcome == "ok" || (felt && outcome == "TRX 70004")) << outcome;
    engine->load(false);
    trx::TRXInfo info;
    EXPECT_EQ(execHAP(info, "TST_Ok"), "ok");
  }
  EXPECT_GT(failed, 10);
}

TEST_F(CancelLockTest, NoPointOfARequestEndsTheProcess) {
  struct Request {
    const char* name;
    const char* mode;
    unsigned int para[4];
    int points;
  };
  const Request requests[] = {{"HURT_Rest", "", {0}, 8},
                              {"HURT_Rest", "mode", {1}, 8},
                              {"TST_Call", "HURT_Rest", {1}, 10},
                              {"TST_Reset", "", {0x70001}, 6},
                              {"TST_FailDetail", "", {0x20001, 4, 7}, 10},
                              {"NONE_Such", "", {0}, 4}};
  kw::sysobj::Component unit(300, 1, "unit");
  units = {&unit};
  for (const Request& request : requests) {
    const int cancelled = cancelEach([&] {
      trx::TRXInfo info;
      execHAP(info, request.name, request.mode, request.para);
    });
    EXPECT_GE(cancelled, request.points) << request.name;
  }
  EXPECT_GT(cancelEach([this] {
              trx::TRXInfo info;
              outcomeOf([&] { engine->execTable(&info, units, "outer"); });
            }),
            30);
}

TEST_F(CancelLockTest, RecordOfAFailureIsNoPointInItsHandler) {
  kw::platform::setTraceListener(writeToStream, nullptr);
  engine->setHAPAPI(new QuietAPI);
  const std::string table =
      dir.write("hurt.csv", "FORMAT,0\nVERSION,1\n,1,START\n,2,HAP,HURT_Rest,,,2\n,3,END\n");
  configure({MODULE_HURT, MODULE_TST}, {table}, "hapmodule.exec.exclusion.control=on\n");
  engine->load(false);
  const unsigned int cancelled_and_throw[] = {2};
  for (const bool in_table : {false, true}) {
    bool ended = false;
    std::thread([&] {
      trx::TRXInfo info;
      outcomeOf([&] {
        if (in_table) engine->execTable(&info, units, "hurt");
      });
      execHAP(info, "HURT_Rest", "", cancelled_and_throw);
      pthread_testcancel();
      ended = true;
    }).join();
    EXPECT_FALSE(ended);
  }
  trx::TRXInfo info;
  EXPECT_EQ(execHAP(info, "TST_Ok"), "ok");
}

TEST_F(CancelLockTest, NoPointOfATraceRingEndsTheProcess) {
  const std::string ring = dir.path() + "/ring";
  EXPECT_GE(cancelEach([&] {
              kw::platform::openTraceRing(ring, 64);
              trx::TRXInfo info;
              execHAP(info, "TST_Ok");
              kw::platform::TraceRingReader reader;
              reader.open(ring);
              kw::platform::TraceRecord record;
              while (reader.next(record)) {
              }
              kw::platform::closeTraceRing();
            }),
            5);
}

}  // namespace
}  // namespace kw::trx::testing
