// SPDX-License-Identifier: Apache-2.0
// A long run under stress: processes with threads that run HAPs, tables and resumed waits, with and
// without exclusion control, reload again and again, and are killed at random. Prints figures at
// its end and fails when anything went wrong. It uses the exclusion semaphore of the machine.
#include <signal.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include "kw/dev/parts/lib_semaphore.h"
#include "kw/trx/testing/engine_fixture.h"
#include "kw/trx/trx_lock.h"

namespace kw::trx::testing {
namespace {

using Clock = std::chrono::steady_clock;
using Counter = std::atomic<std::uint64_t>;

constexpr unsigned int kProcesses = 5;
/// These live from beginning to end; the others are killed and started again. Those with an odd
/// index have exclusion control on. A second request in their process would be refused, so they run
/// one thread.
constexpr unsigned int kSurvivors = 2;
constexpr unsigned int kThreads = 3;
/// Part of the run after which memory has to be flat, and the most that this may be.
constexpr int kWarmUpPart = 4;
constexpr std::chrono::seconds kWarmUpMax(60);
constexpr long kAllowedGrowthKb = 8192;
/// A sanitizer keeps what is freed, so that in the first minute memory only grows: until then it is
/// printed, but not judged.
constexpr std::chrono::seconds kMemoryJudgedFrom(SOAK_UNDER_SANITIZER ? 60 : 0);
constexpr std::chrono::seconds kEndTime(120);
constexpr std::size_t kRingRecords = 65536;

/// What all processes share. `guarded` is what HURT_Guarded works on: entries, violations, for each
/// process whether it is inside, and for each whether to overlook it, which is not used here.
struct Shared {
  std::array<unsigned int, 2 + 2 * kProcesses> guarded;
  std::atomic<bool> stop;
  std::atomic<bool> warm;
  std::array<Counter, kProcesses> requests;
  Counter tables;
  Counter reloads;
  Counter failures;
  std::array<std::atomic<long>, kSurvivors> start_kb;
  std::array<std::atomic<long>, kSurvivors> end_kb;
  std::array<char, 200> first_failure;
};

/// Resident memory of this process in kilobytes.
long residentKb() {
  std::ifstream statm("/proc/self/statm");
  long pages = 0;
  statm >> pages >> pages;
  return pages * (sysconf(_SC_PAGESIZE) / 1024);
}

class Soak : public EngineFixture {
 public:
  Soak();
  Soak(const Soak&) = delete;
  Soak& operator=(const Soak&) = delete;
  ~Soak() override;

  /// Runs for `time`, then prints the figures. Returns whether all went well.
  bool run(std::chrono::seconds time, unsigned int seed);

  void TestBody() override {}

 private:
  static bool isLocked(unsigned int index) { return index % 2 == 1; }
  static void removeSemaphore();

  [[noreturn]] void live(unsigned int index);
  void request(unsigned int index);
  void reload(std::mt19937& random);
  void spawn(unsigned int index);
  void killOne(unsigned int index);
  void reapSurvivors();
  void expect(const std::string& what, const std::string& outcome, const std::string& expected);
  void print(std::chrono::seconds time, unsigned int seed) const;

  Shared* shared_;
  std::array<pid_t, kProcesses> children_{};
  std::uint64_t kills_ = 0;
};

Soak::Soak()
    : shared_(new (mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                        -1, 0)) Shared()) {
  const std::string head = "FORMAT,0\nVERSION,1\n,1,START\n";
  const std::vector<std::string> tables = {
      dir.write("inner.csv", head + ",2,WAIT,,1\n,3,HAP,TST_Fail,,STACK,1 7\n,4,END\n"),
      dir.write("outer.csv", head + ",2,HAP,TST_Ok\n,3,TABLE,inner\n,4,CHECK,,,end\n,5,END,MISSED\n"
                                    "end,6,HAP,TST_None,,last\nlast,7,END\n")};
  const std::vector<std::string> modules = {MODULE_TST, MODULE_PLAIN, MODULE_HURT};
  const std::string lines = "haptable.tblcmd.wait.handler=requester\n";
  configure(modules, tables, lines + "hapmodule.exec.exclusion.control=on\n");
  std::filesystem::rename(dir.path() + "/trx.conf", dir.path() + "/locked.conf");
  dir.write("locked/kw/etc/kwpath.conf", "path.trx.conf=" + dir.path() + "/locked.conf\n");
  configure(modules, tables, lines);
  kw::platform::openTraceRing(dir.path() + "/trace.ring", kRingRecords);
  removeSemaphore();
  trx::TRX::startUp();
}

Soak::~Soak() {
  removeSemaphore();
  munmap(shared_, sizeof(Shared));
}

void Soak::removeSemaphore() {
  kw::dev::parts::LibSemaphore semaphore(trx::kExclusionSemaphoreKey);
  if (semaphore.get() == 0) {
    semctl(semaphore.id, 0, IPC_RMID);
  }
}

void Soak::expect(const std::string& what, const std::string& outcome,
                  const std::string& expected) {
  if (outcome != expected && shared_->failures++ == 0) {
    std::snprintf(shared_->first_failure.data(), shared_->first_failure.size(),
                  "%s: %s instead of %s", what.c_str(), outcome.c_str(), expected.c_str());
  }
}

/// One request of each kind.
void Soak::request(unsigned int index) {
  trx::TRXInfo info;
  const auto hap = [&](const char* name, std::vector<unsigned int> para, unsigned int* out,
                       const char* expected) {
    info.initialize();
    expect(name, execHAP(info, name, "", para.data(), out), expected);
    ++shared_->requests[index];
  };
  unsigned int out[2] = {};
  hap("TST_Ok", {index + 1}, out, "ok");
  expect("result of TST_Ok", std::to_string(out[0]), std::to_string(index + 1));
  hap("TST_FailDetail", {0x20001, 8, 1, 2}, nullptr, "TRX 7000a");
  expect("error of TST_FailDetail", errorOf(info), "TST_FailDetail 20001 [1 2]");
  hap("TST_Nest", {}, out, "TRX 7000a");
  hap("PLAIN_Pass", {0x12345}, nullptr, "TRX 12345");
  if (isLocked(index)) {
    hap("HURT_Guarded", {index, kProcesses}, shared_->guarded.data(), "ok");
  }
  info.initialize();
  expect("table", execTable(info, "outer") + info.getTblRtnMsg(), "ok");
  expect("error of table", errorOf(info), "TST_None 1000001 row inner:3");
  ++shared_->requests[index];
  ++shared_->tables;
}

void Soak::reload(std::mt19937& random) {
  expect("load", outcomeOf([this] { start(); }), "ok");
  ++shared_->reloads;
  std::this_thread::sleep_for(std::chrono::milliseconds(random() % 300));
  expect("processes inside a locked HAP at once", std::to_string(shared_->guarded[1]), "0");
}

/// The life of a child.
void Soak::live(unsigned int index) {
  if (isLocked(index)) {
    kw::platform::setSystemRoot(dir.path() + "/locked");
  }
  start();
  std::vector<std::thread> threads;
  for (unsigned int i = 0; i < (isLocked(index) ? 1 : kThreads); ++i) {
    threads.emplace_back([this, index] {
      while (!shared_->stop) {
        request(index);
      }
    });
  }
  std::mt19937 random(static_cast<unsigned int>(getpid()));
  while (!shared_->stop) {
    reload(random);
    if (index < kSurvivors && shared_->warm && shared_->start_kb[index] == 0) {
      shared_->start_kb[index] = residentKb();
    }
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  if (index < kSurvivors) {
    shared_->end_kb[index] = residentKb();
  }
  _exit(0);
}

void Soak::spawn(unsigned int index) {
  children_[index] = fork();
  if (children_[index] == 0) {
    live(index);
  }
}

/// Kills a child wherever it is. It is stopped first, so that it can be noted as outside before its
/// death frees the semaphore.
void Soak::killOne(unsigned int index) {
  int status = 0;
  kill(children_[index], SIGSTOP);
  waitpid(children_[index], &status, WUNTRACED);
  expect("child to kill", WIFSTOPPED(status) ? "alive" : "dead", "alive");
  __atomic_store_n(&shared_->guarded[2 + index], 0U, __ATOMIC_SEQ_CST);
  kill(children_[index], SIGKILL);
  waitpid(children_[index], nullptr, 0);
  ++kills_;
}

void Soak::reapSurvivors() {
  shared_->stop = true;
  const Clock::time_point end = Clock::now() + kEndTime;
  for (const pid_t child : children_) {
    int status = -1;
    while (waitpid(child, &status, WNOHANG) == 0) {
      if (Clock::now() > end) {
        kill(child, SIGKILL);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    expect("end of a child", std::to_string(status), "0");
  }
}

void Soak::print(std::chrono::seconds time, unsigned int seed) const {
  std::uint64_t requests = 0;
  for (const Counter& counter : shared_->requests) {
    requests += counter;
  }
  const auto line = [](const char* name, std::uint64_t figure) {
    std::printf("%-28s %llu\n", name, static_cast<unsigned long long>(figure));
  };
  line("seconds", static_cast<std::uint64_t>(time.count()));
  line("processes at a time", kProcesses);
  line("seed", seed);
  line("requests", requests);
  line("of these table runs", shared_->tables);
  line("of these guarded by the lock", shared_->guarded[0]);
  line("reloads", shared_->reloads);
  line("kills", kills_);
  for (unsigned int i = 0; i < kSurvivors; ++i) {
    std::printf("memory of survivor %u         %ld KB at start, %ld KB at end\n", i,
                shared_->start_kb[i].load(), shared_->end_kb[i].load());
  }
  line("failures", shared_->failures);
  if (shared_->failures != 0) {
    std::printf("the first failure            %s\n", shared_->first_failure.data());
  }
}

bool Soak::run(std::chrono::seconds time, unsigned int seed) {
  std::mt19937 random(seed);
  for (unsigned int i = 0; i < kProcesses; ++i) {
    spawn(i);
  }
  const Clock::time_point begin = Clock::now();
  while (Clock::now() < begin + time) {
    shared_->warm = Clock::now() >= begin + std::min(time / kWarmUpPart, kWarmUpMax);
    std::this_thread::sleep_for(std::chrono::milliseconds(random() % 1500));
    const unsigned int victim =
        kSurvivors + static_cast<unsigned int>(random() % (kProcesses - kSurvivors));
    killOne(victim);
    spawn(victim);
  }
  reapSurvivors();
  for (const Counter& counter : shared_->requests) {
    expect("requests of a process", counter == 0 ? "none" : "some", "some");
  }
  for (unsigned int i = 0; i < kSurvivors && time >= kMemoryJudgedFrom; ++i) {
    const bool flat =
        shared_->start_kb[i] != 0 && shared_->end_kb[i] <= shared_->start_kb[i] + kAllowedGrowthKb;
    expect("memory of a survivor", flat ? "flat" : "grown", "flat");
  }
  kw::platform::TraceRingReader reader;
  kw::platform::TraceRecord record;
  const bool readable = reader.open(dir.path() + "/trace.ring") == 0 && reader.next(record);
  expect("trace ring", readable ? "readable" : "damaged", "readable");
  print(time, seed);
  return shared_->failures == 0;
}

}  // namespace
}  // namespace kw::trx::testing

int main(int argc, char** argv) {
  const int seconds = argc == 2 ? std::atoi(argv[1]) : 0;
  if (seconds <= 0) {
    std::fprintf(stderr, "usage: soak SECONDS\n");
    return 2;
  }
  kw::trx::testing::Soak soak;
  return soak.run(std::chrono::seconds(seconds), std::random_device()()) ? 0 : 1;
}
