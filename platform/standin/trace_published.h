// SPDX-License-Identifier: Apache-2.0
// A value that any thread may use without a lock, while one thread replaces it and waits until
// nobody uses the former one. Lives as long as the process.
#ifndef KW_PLATFORM_STANDIN_TRACE_PUBLISHED_H_
#define KW_PLATFORM_STANDIN_TRACE_PUBLISHED_H_

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <thread>

namespace kw::platform {

template <typename T>
class Published {
 private:
  struct Entry;

 public:
  /// Holds the value published at its construction, if there is one, until its end.
  class Use {
   public:
    /// `user` tells threads apart, so that they count on different cache lines.
    Use(Published& published, std::uint32_t user) noexcept {
      Entry* entry = published.current_.load(std::memory_order_acquire);
      while (entry != nullptr) {
        users_ = &entry->users[user % kStripes].count;
        users_->fetch_add(1);  // before the second look, as replace() looks after its exchange
        Entry* const again = published.current_.load();
        if (again == entry) break;
        users_->fetch_sub(1, std::memory_order_release);
        entry = again;
      }
      entry_ = entry;
    }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    ~Use() {
      if (entry_ != nullptr) users_->fetch_sub(1, std::memory_order_release);
    }

    /// The value; null when none is published.
    const T* get() const noexcept { return entry_ == nullptr ? nullptr : &entry_->value; }

   private:
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
    for (const Stripe& stripe : former->users) {
      while (stripe.count.load() != 0) std::this_thread::sleep_for(kDrainPoll);
    }
    return former->value;
  }

  /// Forgets the uses of threads that a fork left behind in the parent; for the child alone.
  void forgetUses() noexcept {
    for (Entry& entry : entries_) {
      for (Stripe& stripe : entry.users) stripe.count.store(0);
    }
  }

 private:
  static constexpr std::size_t kStripes = 16;

  // Sleeping lets a user run that has a lower real-time priority than the one who waits for it.
  static constexpr std::chrono::microseconds kDrainPoll{50};

  struct alignas(64) Stripe {
    std::atomic<int> count{0};
  };

  struct Entry {
    T value{};
    Stripe users[kStripes];
  };

  // Entries are never freed: a late user may still count on one that was replaced long ago, and
  // sees at its second look that it must not use it.
  Entry entries_[2];
  std::atomic<Entry*> current_{nullptr};
};

}  // namespace kw::platform

#endif  // KW_PLATFORM_STANDIN_TRACE_PUBLISHED_H_
