// SPDX-License-Identifier: Apache-2.0
#include "support/pair_of_threads.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include "support/clock.h"

namespace bench {
namespace {

constexpr int kThreads = 2;
constexpr double kSliceNs = 1e6;
constexpr double kStartDelayNs = 200000;
constexpr int kSlicesPerIteration = 15;
constexpr int kTriesPerIteration = 400;
constexpr int kLowestRealTimePriority = 1;

/// Allowed time without a CPU, in a slice and for each time that the thread was woken in it: a wake
/// takes some time on an idle CPU too.
constexpr double kToleranceNs = 20000;
constexpr double kWakeToleranceNs = 10000;

/// Tells whether the calling thread had to wait for its CPU while it was ready.
class Disturbance {
 public:
  Disturbance() : file_(open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC)) {}
  Disturbance(const Disturbance&) = delete;
  Disturbance& operator=(const Disturbance&) = delete;
  ~Disturbance() { close(file_); }

  void begin() { read(); }

  /// True when there was some since `begin`.
  bool end() {
    const rusage before = usage_;
    const double waited_before = waited_ns_;
    read();
    const auto wakes = static_cast<double>(usage_.ru_nvcsw - before.ru_nvcsw);
    return usage_.ru_nivcsw != before.ru_nivcsw ||
           waited_ns_ - waited_before > kToleranceNs + wakes * kWakeToleranceNs;
  }

 private:
  void read() {
    getrusage(RUSAGE_THREAD, &usage_);
    waited_ns_ = waitedNs();
  }

  double waitedNs() const {
    char text[128] = {};
    if (pread(file_, text, sizeof(text) - 1, 0) <= 0) {
      return 0;
    }
    char* rest = nullptr;
    std::strtod(text, &rest);
    return std::strtod(rest, nullptr);
  }

 private:
  int file_;
  rusage usage_{};
  double waited_ns_ = 0;
};

/// Gives the calling thread a CPU of its own, as far as the system permits: other processes do not
/// take it away from a thread of a real-time class.
void takeCPU(int number) {
  cpu_set_t cpus;
  CPU_ZERO(&cpus);
  CPU_SET(number, &cpus);
  pthread_setaffinity_np(pthread_self(), sizeof(cpus), &cpus);
  sched_param parameters{};
  parameters.sched_priority = kLowestRealTimePriority;
  pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters);
}

/// Two threads, pinned, that work in slices when told.
class PairOfThreads {
 public:
  explicit PairOfThreads(const ThreadWork& work) : work_(work) {
    for (int i = 0; i < kThreads; ++i) {
      threads_[static_cast<std::size_t>(i)] = std::thread([this, i] { serve(i); });
    }
  }
  PairOfThreads(const PairOfThreads&) = delete;
  PairOfThreads& operator=(const PairOfThreads&) = delete;
  ~PairOfThreads() {
    runSlice(-1);
    for (std::thread& thread : threads_) {
      thread.join();
    }
  }

  /// Nanoseconds of one operation of each thread, or 0 for a disturbed slice.
  double slice(int threads) {
    runSlice(threads);
    double throughput = 0;
    for (int i = 0; i < threads; ++i) {
      const Result& result = results_[static_cast<std::size_t>(i)];
      if (result.disturbed) {
        return 0;
      }
      throughput += result.operations / result.ns;
    }
    return threads / throughput;
  }

 private:
  struct alignas(64) Result {
    double operations;
    double ns;
    bool disturbed;
  };

  void runSlice(int threads) {
    done_ = 0;
    active_ = threads;
    start_ns_ = wallNs() + kStartDelayNs;
    round_.fetch_add(1);
    while (done_ != kThreads) {
      usleep(200);
    }
  }

  void serve(int self) {
    takeCPU(self);
    Disturbance disturbance;
    for (int round = 1;; ++round) {
      while (round_ < round) {
        usleep(20);
      }
      const int active = active_;
      if (self < active) {
        workOnce(self, disturbance);
      }
      done_.fetch_add(1);
      if (active < 0) {
        return;
      }
    }
  }

  void workOnce(int self, Disturbance& disturbance) {
    Result& result = results_[static_cast<std::size_t>(self)];
    disturbance.begin();
    const double start = start_ns_;
    double now = wallNs();
    const bool late = now > start;
    while (now < start) {
      now = wallNs();
    }
    const double begin = now;
    double operations = 0;
    while (now < start + kSliceNs) {
      operations += work_(self);
      now = wallNs();
    }
    result = {operations, now - begin, disturbance.end() || late};
  }

  const ThreadWork& work_;
  std::array<Result, kThreads> results_{};
  std::array<std::thread, kThreads> threads_;
  std::atomic<int> round_{0};
  std::atomic<int> active_{0};
  std::atomic<int> done_{0};
  std::atomic<double> start_ns_{0};
};

}  // namespace

void compareThreads(benchmark::State& state, const ThreadWork& work) {
  std::vector<double> one;
  std::vector<double> two;
  double tried = 0;
  PairOfThreads threads(work);
  const auto collect = [&](int count, std::vector<double>& costs) {
    ++tried;
    const double cost = threads.slice(count);
    if (cost > 0) {
      costs.push_back(cost);
    }
  };
  for ([[maybe_unused]] auto iteration : state) {
    for (int i = 0; i < kTriesPerIteration && two.size() < kSlicesPerIteration; ++i) {
      collect(1, one);
      collect(kThreads, two);
    }
    state.SetIterationTime(medianOf(two) / 1e9);
  }
  if (two.empty() || one.empty()) {
    state.SkipWithError("the machine was too busy for one undisturbed slice");
    return;
  }
  state.counters["one_ns"] = medianOf(one);
  state.counters["two_ns"] = medianOf(two);
  state.counters["speedup"] = kThreads * medianOf(one) / medianOf(two);
  state.counters["disturbed"] = 1 - static_cast<double>(one.size() + two.size()) / tried;
}

}  // namespace bench
