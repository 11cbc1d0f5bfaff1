// SPDX-License-Identifier: Apache-2.0
// What a HAP request, a table row and the id of the requester cost, alone and for two threads.
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "support/bench_engine.h"
#include "support/clock.h"
#include "support/pair_of_threads.h"
#include "support/reference.h"

namespace {

using bench::OpenRing;
using bench::Reference;
using kw::trx::trx::TRX;
using kw::trx::trx::TRXInfo;

constexpr int kTableRows = 1000;

const bench::BenchEngine& engine() {
  static const bench::BenchEngine* const made = [] {
    static const bench::BenchEngine loaded;
    const bench::Folder& folder = loaded.folder();
    loaded.load({bench::moduleFile(0), bench::moduleFile(1)},
                {folder.write("rows0.csv", bench::tableText(kTableRows, "BM0_Run")),
                 folder.write("rows1.csv", bench::tableText(kTableRows, "BM1_Run"))});
    return &loaded;
  }();
  return *made;
}

/// A requester with its own context. A row or a request on it needs no allocation of its own.
class Requester {
 public:
  explicit Requester(int module)
      : hap_("BM" + std::to_string(module) + "_Run"), table_("rows" + std::to_string(module)) {}

  void request() { engine().get()->execHAP(&info_, units_, hap_, mode_, nullptr, nullptr); }

  /// Runs the table of the module, and returns the number of its rows.
  int runTable() {
    engine().get()->execTable(&info_, units_, table_);
    info_.initialize();
    return kTableRows;
  }

 private:
  TRXInfo info_;
  std::vector<kw::sysobj::Component*> units_;
  std::string hap_;
  std::string table_;
  std::string mode_;
};

/// A ring for the benchmarks whose argument is not 0.
std::unique_ptr<OpenRing> ringFor(const benchmark::State& state) {
  return state.range(0) == 0 ? nullptr : std::make_unique<OpenRing>(engine().folder());
}

void requests(benchmark::State& state) {
  Requester requester(0);
  requester.request();
  const double records = bench::countRecords([&] { requester.request(); });
  const auto ring = ringFor(state);
  const Reference reference(state);
  for ([[maybe_unused]] auto iteration : state) {
    requester.request();
  }
  state.counters["operations"] = 1;
  state.counters["records"] = records;
}

/// One iteration runs a table of many rows; what the request around them costs is among them.
void rows(benchmark::State& state) {
  Requester requester(0);
  requester.runTable();
  const double records = bench::countRecords([&] { requester.runTable(); });
  const auto ring = ringFor(state);
  const Reference reference(state);
  for ([[maybe_unused]] auto iteration : state) {
    requester.runTable();
  }
  state.counters["operations"] = kTableRows;
  state.counters["records"] = records / kTableRows;
}

/// Two threads on two contexts, whose HAPs are in module 0 and in module `second_module`.
void requestsInThreads(benchmark::State& state, int second_module) {
  std::array<Requester, 2> requesters{Requester(0), Requester(second_module)};
  const auto ring = ringFor(state);
  bench::compareThreads(state, [&requesters](int thread) {
    constexpr int count = 20;
    for (int i = 0; i < count; ++i) {
      requesters[static_cast<std::size_t>(thread)].request();
    }
    return count;
  });
}

void rowsInThreads(benchmark::State& state, int second_module) {
  std::array<Requester, 2> requesters{Requester(0), Requester(second_module)};
  const auto ring = ringFor(state);
  bench::compareThreads(state, [&requesters](int thread) {
    return requesters[static_cast<std::size_t>(thread)].runTable();
  });
}

void readId() { benchmark::DoNotOptimize(TRX::getTRXID()); }

void ids(benchmark::State& state) {
  const Reference reference(state);
  for ([[maybe_unused]] auto iteration : state) {
    readId();
  }
}

/// What a child measures right after it was forked.
struct ChildIds {
  double first_ns;
  double later_ns;
  double clock_ns;
  bool right;
};

ChildIds measureInChild() {
  const double begin = bench::wallNs();
  const unsigned int id = TRX::getTRXID();
  const double first_ns = bench::wallNs() - begin;
  const auto own = static_cast<unsigned int>(getpid());
  const bool right = id == (own << 16 | (own & 0xffffU));
  return {first_ns, bench::costOf(readId), bench::costOf(bench::readClock), right};
}

/// Forks; false when the child did not answer.
bool askChild(ChildIds& ids) {
  int ends[2];
  if (pipe(ends) != 0) {
    return false;
  }
  const pid_t child = fork();
  if (child == 0) {
    const ChildIds measured = measureInChild();
    _exit(write(ends[1], &measured, sizeof(measured)) == sizeof(measured) ? 0 : 1);
  }
  close(ends[1]);
  const bool answered = child > 0 && read(ends[0], &ids, sizeof(ids)) == sizeof(ids);
  close(ends[0]);
  if (child > 0) {
    waitpid(child, nullptr, 0);
  }
  return answered;
}

void idsAfterFork(benchmark::State& state) {
  readId();
  std::vector<double> first;
  std::vector<double> later;
  std::vector<double> clock;
  for ([[maybe_unused]] auto iteration : state) {
    ChildIds ids{};
    if (!askChild(ids) || !ids.right) {
      state.SkipWithError("the id in a child is not its own");
      return;
    }
    first.push_back(ids.first_ns);
    later.push_back(ids.later_ns);
    clock.push_back(ids.clock_ns);
    state.SetIterationTime(ids.later_ns / 1e9);
  }
  state.counters["first_ns"] = bench::medianOf(first);
  state.counters["later_ns"] = bench::medianOf(later);
  state.counters["clock_ns"] = bench::medianOf(clock);
}

BENCHMARK(requests)->Name("request")->ArgName("ring")->Arg(0)->Arg(1);
BENCHMARK(rows)->Name("row")->ArgName("ring")->Arg(0)->Arg(1);
BENCHMARK(ids)->Name("id");
BENCHMARK(idsAfterFork)->Name("id_after_fork")->UseManualTime()->Iterations(15);

#define BENCH_IN_THREADS(function, name, second_module) \
  BENCHMARK_CAPTURE(function, name, second_module)      \
      ->ArgName("ring")                                 \
      ->Arg(0)                                          \
      ->Arg(1)                                          \
      ->UseManualTime()                                 \
      ->Iterations(1)
BENCH_IN_THREADS(requestsInThreads, two_modules, 1);
BENCH_IN_THREADS(requestsInThreads, one_module, 0);
BENCH_IN_THREADS(rowsInThreads, two_modules, 1);
BENCH_IN_THREADS(rowsInThreads, one_module, 0);

}  // namespace

BENCHMARK_MAIN();
