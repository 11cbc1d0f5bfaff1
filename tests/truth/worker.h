// SPDX-License-Identifier: Apache-2.0
// One process of the truth host, and the threads in it that make requests at random.
#ifndef KW_TRX_TESTS_TRUTH_WORKER_H_
#define KW_TRX_TESTS_TRUTH_WORKER_H_

#include <atomic>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "kw/trx/trx.h"
#include "plan.h"
#include "steering.h"

namespace kw::trx::truth {

class Worker;
using Units = std::vector<kw::sysobj::Component*>;

/// A context of the engine with what the truth host knows of it. One thread at a time.
struct Context {
  explicit Context(std::uint32_t id) : info(id, 126), serial(0) {}
  Context() : serial(0) {}

  trx::TRXInfo info;
  std::uint64_t serial;              ///< of the request that runs or waits on it
  Worker* worker = nullptr;          ///< whose thread runs it
  std::vector<std::uint64_t> calls;  ///< HAPs that run, outermost first
  int budget = 0;                    ///< HAP calls that still may do something
  bool is_used = false;
};

/// What the threads of a process share.
struct Process {
  Process(const Plan& with_plan, std::size_t with_index);

  const Plan& plan;
  const std::size_t index;
  std::deque<std::unique_ptr<kw::sysobj::Component>> components;
  std::mutex mutex;
  std::list<Context*> handed_over;  ///< waiting ones for any thread; under `mutex`
  std::atomic<unsigned int> running{0};
  std::atomic<bool> hangs{false};

  /// Lives the life of the process, which ends in it.
  [[noreturn]] void live();
};

/// Makes requests on one thread.
class Worker {
 public:
  Worker(Process& process, unsigned int seed) : process_(process), random_(seed) {}

  void run();

  /// What the HAP `name` does on `context`.
  int runHAP(Context& context, const char* name, const char* mode);

 private:
  std::size_t below(std::size_t limit) { return random_() % limit; }
  bool happens(Rare rare) { return process_.plan.happens(rare, random_); }
  /// Other threads would be stopped or killed nobody knows where.
  bool isAlone() const { return process_.plan.threads == 1; }

  Context& contextFor(const Context* outer);
  Units someUnits();
  std::string someHAP();
  std::string someTable();
  void request(const Context* outer);
  void hapRequest(Context& context, const Context* outer);
  void tableRequest(Context& context, const Context* outer);
  void tell(const char* kind, const Context& context, const std::string& name,
            const std::string& mode, const Units& units, const Context* outer);
  void enter(Context& context, const std::function<void()>& call);
  bool goOn();
  void refused(Context* running);

  int act(Context& context, const std::string& name);
  void step(Context& context, const std::string& name);
  void callInside(Context& context, const std::string& name);
  int finish(Context& context);
  int fail(Context& context);
  [[noreturn]] void hang();

  Process& process_;
  std::mt19937 random_;
  std::deque<std::unique_ptr<Context>> contexts_;
  std::list<Context*> idle_, waiting_;
  int depth_ = 0;  ///< of requests inside HAPs
};

}  // namespace kw::trx::truth

#endif  // KW_TRX_TESTS_TRUTH_WORKER_H_
