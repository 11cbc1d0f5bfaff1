// SPDX-License-Identifier: Apache-2.0
// The recorder: each record goes into the ring, then to the platform's own trace facility. What a
// record passes neither locks nor allocates, so that it may come from a signal handler.
#include "kw/trace_recorder.h"

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include "kw/trace.h"
#include "no_cancellation.h"
#include "trace_levels.h"
#include "trace_published.h"
#include "trace_ring.h"
#include "trace_writer.h"

namespace kw::platform {

namespace {

constexpr int kFailed = -1;
constexpr unsigned long kDefaultRecords = 65536;

using Write = decltype(&kw_trace_write);

int passFirst(unsigned long region, unsigned int level, unsigned short trace_class,
              unsigned long id, const void* data, int length);

/// Beside the bits of levels: the environment may ask for a ring, and was not looked at yet.
constexpr unsigned int kAsk = 1U << 31;

// Records may come before the constructors and after the destructors of any other object: all of
// these need neither.
std::atomic<Write> platform_write{&passFirst};  // null when there is none
Published<TraceRing> ring;
std::atomic<unsigned int> open_levels{kAsk};
std::atomic<bool> asked{false};
std::mutex control_mutex;  // guards every change of the ring

/// Passes on the first record, or those of several threads.
int passFirst(unsigned long region, unsigned int level, unsigned short trace_class,
              unsigned long id, const void* data, int length) {
  const auto next = reinterpret_cast<Write>(dlsym(RTLD_NEXT, "kw_trace_write"));
  platform_write.store(next);
  return next == nullptr ? 0 : next(region, level, trace_class, id, data, length);
}

int openRing(const char* file, std::size_t records, unsigned int levels, Existing existing) {
  TraceRing made;
  if (TraceRing::create(file, records, existing, made) != 0) return kFailed;
  ring.replace(&made).release();
  asked.store(true);
  open_levels.store(levels & kTraceAll);
  return 0;
}

/// What the environment asks for.
struct Wish {
  const char* file;
  unsigned long records = kDefaultRecords;
  unsigned int levels = kTraceAll;
  const char* wrong = nullptr;  ///< the variable that is not understood
};

/// The levels from error to `name`; 0 when there is no such level.
unsigned int levelsTo(const char* name) noexcept {
  unsigned int levels = kTraceError;
  for (const char* const level : {"error", "info", "debug", "debug2"}) {
    if (std::strcmp(name, level) == 0) return levels;
    levels = levels << 1 | kTraceError;
  }
  return 0;
}

Wish wishOfEnvironment() noexcept {
  Wish wish{std::getenv("ZQM_TRX_RECORD_FILE")};
  if (const char* const size = std::getenv("ZQM_TRX_RECORD_SIZE")) {
    char* end = nullptr;
    wish.records = std::strtoul(size, &end, 10);
    wish.wrong = *end != '\0' || *size < '0' || *size > '9' ? "ZQM_TRX_RECORD_SIZE" : wish.wrong;
  }
  if (const char* const level = std::getenv("ZQM_TRX_RECORD_LEVEL")) {
    wish.levels = levelsTo(level);
    wish.wrong = wish.levels == 0 ? "ZQM_TRX_RECORD_LEVEL" : wish.wrong;
  }
  return wish;
}

void say(const char* what, const char* why) noexcept {
  char line[512];
  const int length = snprintf(line, sizeof(line),
                              "libzqm_trx_recorder: %.400s: %s; nothing is recorded\n", what, why);
  static_cast<void>(
      !write(STDERR_FILENO, line,
             std::min<std::size_t>(static_cast<std::size_t>(length), sizeof(line) - 1)));
}

/// Opens the ring that the environment asks for, once. A handler that comes in the middle of
/// `zqm_trx_recorder_open` must not wait for it.
void openAsAsked() noexcept {
  if (asked.exchange(true)) return;
  const int error = errno;
  const Wish wish = wishOfEnvironment();
  const std::unique_lock<std::mutex> lock(control_mutex, std::try_to_lock);
  if (wish.file != nullptr && lock && wish.wrong != nullptr) {
    say(wish.wrong, "is not understood");
  } else if (wish.file != nullptr && lock &&
             openRing(wish.file, wish.records, wish.levels, Existing::kRefuse) != 0) {
    char buffer[128];
    say(wish.file, strerror_r(errno, buffer, sizeof(buffer)));
  }
  open_levels.fetch_and(~kAsk);
  errno = error;
}

/// Opens the ring as early as it is clear that this is a program that writes records: one that was
/// started on the way to it, a shell, must not take its file.
__attribute__((constructor)) void onLoad() {
  const auto next = reinterpret_cast<Write>(dlsym(RTLD_NEXT, "kw_trace_write"));
  if (next != nullptr) platform_write.store(next);
  if (next != nullptr || std::getenv("ZQM_TRX_RECORD_FILE") == nullptr) openAsAsked();
}

/// Apart from kw_trace_write, which then passes a record on without a stack frame.
__attribute__((noinline)) bool keep(unsigned long region, unsigned int level,
                                    unsigned short trace_class, unsigned long id, const void* data,
                                    int length) {
  if ((open_levels.load(std::memory_order_relaxed) & kAsk) != 0) {
    openAsAsked();
    if ((open_levels.load(std::memory_order_relaxed) & levelBit(level)) == 0) return true;
  }
  Writer& writer = threadWriter();
  const Published<TraceRing>::Use use(ring, writer.seat);
  const TraceRing* const to = use.get();
  return to == nullptr || to->store({region, level, trace_class, id, data, length}, writer);
}

/// The child has one thread alone: whatever the others of its parent held is free.
void startAnewAfterFork() {
  forgetThreadWriter();
  freeSeats();
  ring.forgetUses();
  new (&control_mutex) std::mutex;
}

[[maybe_unused]] const int kForkHandler = pthread_atfork(nullptr, nullptr, startAnewAfterFork);

}  // namespace

}  // namespace kw::platform

int kw_trace_write(unsigned long region, unsigned int level, unsigned short trace_class,
                   unsigned long id, const void* data, int length) {
  using namespace kw::platform;
  const bool kept = (open_levels.load(std::memory_order_relaxed) & (levelBit(level) | kAsk)) == 0 ||
                    keep(region, level, trace_class, id, data, length);
  const Write next = platform_write.load(std::memory_order_relaxed);
  if (next == nullptr) return kept ? 0 : kFailed;
  return next(region, level, trace_class, id, data, length);
}

int zqm_trx_recorder_open(const char* file, size_t records, unsigned int levels, int replace) {
  using namespace kw::platform;
  const NoCancellation uncancelled;
  const std::lock_guard<std::mutex> lock(control_mutex);
  return openRing(file, records, levels, replace != 0 ? Existing::kReplace : Existing::kRefuse);
}

void zqm_trx_recorder_close(void) {
  using namespace kw::platform;
  const NoCancellation uncancelled;
  const std::lock_guard<std::mutex> lock(control_mutex);
  asked.store(true);
  open_levels.store(0);
  ring.replace(nullptr).release();
}
