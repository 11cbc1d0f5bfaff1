// SPDX-License-Identifier: Apache-2.0
// A host that writes down the truth: it makes random requests and records in a file what it did and
// what came of it, from what it sees itself and never from its trace. compare.py compares it with
// what trxctl prints of its rings. truth_host --seed N --dir DIR --module FILE [--records N]
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <thread>

#include "kw/dev/parts/lib_semaphore.h"
#include "kw/platform.h"
#include "kw/trx/trx_lock.h"
#include "truth_log.h"
#include "worker.h"

namespace kw::trx::truth {
namespace {

struct Options {
  unsigned int seed = 0;
  std::string dir, module;
  std::size_t records = 0x8000;
};

class API : public hapapi::HAPAPI {
 public:
  explicit API(unsigned int trace_class) : trace_class_(trace_class) {}
  void beginHAPExec(trx::TRXInfo*) override {}
  void endHAPExec(trx::TRXInfo*) override {}
  unsigned int getTraceClass() override { return trace_class_; }

 private:
  unsigned int trace_class_;
};

void load(const Plan& plan) {
  trx::TRX::getInstance()->load(false);
  trx::TRX::getInstance()->setHAPAPI(new API(plan.trace_class));
}

void openRing(const std::string& path, std::size_t records) {
  if (kw::platform::openTraceRing(path, records) != 0) {
    std::perror(path.c_str());
    std::exit(2);
  }
}

/// Kills the processes that live too long, which none does of itself, and one at random.
void watch(const Plan& plan, const std::vector<pid_t>& children) {
  std::mt19937 random(plan.seed + 7);
  if (plan.isFocus(Rare::kSuddenDeath)) {
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 30000));
    const pid_t child = children[random() % children.size()];
    kill(child, SIGKILL);
    Event("suddenDeath").number("of", static_cast<std::uint64_t>(child));
  }
  for (const pid_t child : children) waitpid(child, nullptr, 0);
}

void removeSemaphore() {
  kw::dev::parts::LibSemaphore semaphore(trx::kExclusionSemaphoreKey);
  if (semaphore.get() == 0) semctl(semaphore.id, 0, IPC_RMID);
}

int runSeed(const Options& options) {
  const Plan plan(options.seed);
  openTruth(options.dir + "/truth.jsonl");
  plan.write(options.dir, options.module);
  kw::platform::setSystemRoot(options.dir + "/root");
  kw::platform::setTraceLevels(plan.debug_records
                                   ? kw::platform::kTraceAll
                                   : kw::platform::kTraceError | kw::platform::kTraceInfo);
  openRing(options.dir + "/trace-0.ring", options.records);
  if (plan.exclusion) {
    removeSemaphore();
    trx::TRX::startUp();
  }
  std::vector<pid_t> children;
  for (std::size_t i = 0; i < plan.processes; ++i) {
    children.push_back(fork());
    if (children.back() == 0) {
      if (plan.own_rings && i != 0) {
        openRing(options.dir + "/trace-" + std::to_string(i) + ".ring", options.records);
      }
      Process(plan, i).live();
    }
  }
  watch(plan, children);
  if (plan.exclusion) removeSemaphore();
  Event("over");
  return 0;
}

}  // namespace

Process::Process(const Plan& with_plan, std::size_t with_index)
    : plan(with_plan), index(with_index) {
  const auto* rack = new kw::sysobj::Component(1, 0, "rack");
  const char* const names[] = {"rail0", "rail1", "rail2", "psu", "adc",      "fan",
                               "a1",    "a2",    "a3",    "a4",  "\xe9tage", "tab\there"};
  for (const char* const name : names) {
    const int no = static_cast<int>(components.size());
    components.push_back(std::make_unique<kw::sysobj::Component>(300, no, name, rack));
  }
}

void Process::live() {
  load(plan);
  Event("process");
  for (std::size_t phase = 0; phase < plan.phases && !hangs; ++phase) {
    for (std::size_t i = 0; i < plan.threads; ++i) {
      const auto seed = static_cast<unsigned int>(plan.seed * 1000 + index * 100 + phase * 10 + i);
      ++running;
      std::thread([this, seed] {
        Worker(*this, seed).run();
        --running;
      }).detach();
    }
    while (running != 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (!hangs && phase + 1 < plan.phases) {
      Event("reload");
      load(plan);
    }
  }
  Event("processEnd");
  _exit(0);
}

}  // namespace kw::trx::truth

int main(int argc, char** argv) {
  kw::trx::truth::Options options;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string name = argv[i];
    const char* const value = argv[i + 1];
    if (name == "--seed")
      options.seed = static_cast<unsigned int>(std::strtoul(value, nullptr, 10));
    if (name == "--dir") options.dir = value;
    if (name == "--module") options.module = value;
    if (name == "--records") options.records = std::strtoul(value, nullptr, 10);
  }
  if (options.dir.empty() || options.module.empty()) {
    std::fprintf(stderr, "usage: truth_host --seed N --dir DIR --module FILE [--records N]\n");
    return 2;
  }
  try {
    return kw::trx::truth::runSeed(options);
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "truth_host: %s\n", exception.what());
    return 2;
  }
}
