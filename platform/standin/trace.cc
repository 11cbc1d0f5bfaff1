// SPDX-License-Identifier: Apache-2.0
// The trace facility: what passes the level mask goes to the listener, then to the ring. Nothing
// in here may rely on kw_trace_write being the one called, as a program may define its own.
#include "kw/trace.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <mutex>
#include <new>

#include "kw/platform.h"
#include "no_cancellation.h"
#include "trace_levels.h"
#include "trace_published.h"
#include "trace_ring.h"
#include "trace_writer.h"

namespace kw::platform {

namespace {

constexpr int kFailed = -1;

struct Listener {
  TraceListener call = nullptr;
  void* context = nullptr;
};

// Records may come before the constructors and after the destructors of any other object: all of
// these need neither.
Published<Listener> listener;
Published<TraceRing> ring;
std::atomic<unsigned int> open_levels{0};  // the level mask; 0 while nobody takes records

std::mutex control_mutex;  // guards what follows and every change of the above
unsigned int level_mask = kTraceAll;

void updateOpenLevels() {
  const bool taken = !listener.empty() || !ring.empty();
  open_levels.store(taken ? level_mask : 0, std::memory_order_relaxed);
}

/// Takes a copy, so that without a listener the arguments of a record can stay in registers.
__attribute__((noinline)) void notifyListener(TraceArguments record, Seat seat) {
  const Published<Listener>::Use use(listener, seat);
  if (const Listener* const to = use.get()) {
    to->call(to->context, record.region, record.level, record.trace_class, record.id, record.data,
             record.length);
  }
}

/// Apart from kw_trace_write, which then drops a record without a stack frame.
__attribute__((noinline)) int dispatch(unsigned long region, unsigned int level,
                                       unsigned short trace_class, unsigned long id,
                                       const void* data, int length) {
  const TraceArguments record{region, level, trace_class, id, data, length};
  Writer& writer = threadWriter();
  if (!listener.empty()) notifyListener(record, writer.seat);
  const Published<TraceRing>::Use use(ring, writer.seat);
  const TraceRing* const to = use.get();
  return to == nullptr || to->store(record, writer) ? 0 : kFailed;
}

/// The child has one thread alone: whatever the others of its parent held is free.
void startAnewAfterFork() {
  forgetThreadWriter();
  freeSeats();
  listener.forgetUses();
  ring.forgetUses();
  new (&control_mutex) std::mutex;
}

[[maybe_unused]] const int kForkHandler = pthread_atfork(nullptr, nullptr, startAnewAfterFork);

}  // namespace

void setTraceListener(TraceListener call, void* context) {
  const NoCancellation uncancelled;
  const std::lock_guard<std::mutex> lock(control_mutex);
  const Listener next{call, context};
  listener.replace(call == nullptr ? nullptr : &next);
  updateOpenLevels();
}

void setTraceLevels(unsigned int mask) {
  const std::lock_guard<std::mutex> lock(control_mutex);
  level_mask = mask & kTraceAll;
  updateOpenLevels();
}

int openTraceRing(const std::string& path, std::size_t records) try {
  const NoCancellation uncancelled;
  const std::lock_guard<std::mutex> lock(control_mutex);
  TraceRing made;
  if (TraceRing::create(resolvePath(path).c_str(), records, Existing::kReplace, made) != 0)
    return kFailed;
  ring.replace(&made).release();
  updateOpenLevels();
  return 0;
} catch (const std::bad_alloc&) {
  errno = ENOMEM;
  return kFailed;
}

void closeTraceRing() {
  const NoCancellation uncancelled;
  const std::lock_guard<std::mutex> lock(control_mutex);
  ring.replace(nullptr).release();
  updateOpenLevels();
}

}  // namespace kw::platform

int kw_trace_write(unsigned long region, unsigned int level, unsigned short trace_class,
                   unsigned long id, const void* data, int length) {
  using namespace kw::platform;
  if ((open_levels.load(std::memory_order_relaxed) & levelBit(level)) == 0) return 0;
  return dispatch(region, level, trace_class, id, data, length);
}
