// SPDX-License-Identifier: Apache-2.0
// A value that any thread may use without a lock, while one thread replaces it and waits until
// nobody uses the former one. Lives as long as the process.
#ifndef KW_RING_TRACE_PUBLISHED_H_
#define KW_RING_TRACE_PUBLISHED_H_

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <thread>

namespace kw::platform {

/// Where a thread counts its uses. On a seat of its own it does so with plain stores, and whoever
/// replaces a value makes them visible first; on a shared one with locked instructions.
struct Seat {
  static constexpr std::uint32_t kOwn = 64;
  static constexpr std::uint32_t kShared = 16;

  std::uint32_t index = kOwn;  ///< shared from `kOwn` on
};

/// A seat for the calling thread, whose kernel thread id is `thread`: its own when one is free or
/// its thread is dead and the kernel offers `showAllStores`, else a shared one. Kept for life.
Seat takeSeat(std::uint32_t thread) noexcept;

/// Frees all seats; for the child of a fork, whose one thread then takes its seat anew.
void freeSeats() noexcept;

/// Returns after every thread of the process has made its earlier stores visible and before any
/// later load of it.
void showAllStores() noexcept;

template <typename T>
class Published {
 private:
  struct Entry;

 public:
  /// Holds the value published at its construction, if there is one, until its end.
  class Use {
   public:
    Use(Published& published, Seat seat) noexcept : own_(seat.index < Seat::kOwn) {
      Entry* entry = published.current_.load(std::memory_order_acquire);
      while (entry != nullptr) {
        users_ = &entry->users[seat.index].count;
        add(1);  // before the second look, as replace() looks after its exchange
        Entry* const again = published.current_.load();
        if (again == entry) break;
        add(-1);
        entry = again;
      }
      entry_ = entry;
    }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    ~Use() {
      if (entry_ != nullptr) add(-1);
    }

    /// The value; null when none is published.
    const T* get() const noexcept { return entry_ == nullptr ? nullptr : &entry_->value; }

   private:
    void add(int change) noexcept {
      if (own_) {
        users_->store(users_->load(std::memory_order_relaxed) + change, std::memory_order_release);
        std::atomic_signal_fence(std::memory_order_seq_cst);
      } else {
        users_->fetch_add(change);
      }
    }

    const bool own_;
    Entry* entry_;
    std::atomic<int>* users_ = nullptr;
  };

  constexpr Published() noexcept = default;

  /// True when nothing is published now.
  bool empty() const noexcept { return current_.load(std::memory_order_relaxed) == nullptr; }

  /// Publishes `*value`, or nothing when null, and waits for the end of every use of the former
  /// value, which it returns; a value-initialised one if there was none. One thread at a time, and
  /// none that uses the value.
  T replace(const T* value) noexcept {
    Entry* const former = current_.load();
    Entry* const spare = former == &entries_[0] ? &entries_[1] : &entries_[0];
    if (value != nullptr) spare->value = *value;
    current_.store(value == nullptr ? nullptr : spare);
    if (former == nullptr) return T{};
    showAllStores();
    for (const Count& users : former->users) {
      while (users.count.load() != 0) std::this_thread::sleep_for(kDrainPoll);
    }
    return former->value;
  }

  /// Forgets the uses of threads that a fork left behind in the parent; for the child alone.
  void forgetUses() noexcept {
    for (Entry& entry : entries_) {
      for (Count& users : entry.users) users.count.store(0);
    }
  }

 private:
  // Sleeping lets a user run that has a lower real-time priority than the one who waits for it.
  static constexpr std::chrono::microseconds kDrainPoll{50};

  struct alignas(64) Count {
    std::atomic<int> count{0};
  };

  struct Entry {
    T value{};
    Count users[Seat::kOwn + Seat::kShared];
  };

  // Entries are never freed: a late user may still count on one that was replaced long ago, and
  // sees at its second look that it must not use it.
  Entry entries_[2];
  std::atomic<Entry*> current_{nullptr};
};

}  // namespace kw::platform

#endif  // KW_RING_TRACE_PUBLISHED_H_
