// SPDX-License-Identifier: Apache-2.0
// Something counted over time in a bounded number of buckets, which grow as the time does.
#ifndef KW_TRX_TOOLS_REPORT_TIME_BUCKETS_H_
#define KW_TRX_TOOLS_REPORT_TIME_BUCKETS_H_

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace kw::trx::tools {

/// `Cell` is what a bucket holds; `cell += other` joins two. Not synchronised.
template <typename Cell>
class TimeBuckets {
 public:
  /// At most `max` buckets, from 1, of which the first starts at `start_ns`.
  TimeBuckets(std::uint64_t start_ns, std::size_t max) : start_ns_(start_ns), max_(max) {}

  /// The bucket of this time; times before the start are in the first one. Valid until the
  /// next call.
  Cell& at(std::uint64_t time_ns) {
    const std::uint64_t offset_ns = time_ns > start_ns_ ? time_ns - start_ns_ : 0;
    while (offset_ns / width_ns_ >= max_) {
      fold();
    }
    const auto index = static_cast<std::size_t>(offset_ns / width_ns_);
    if (cells_.size() <= index) {
      cells_.resize(index + 1);
    }
    return cells_[index];
  }

  /// Time that a bucket covers. It is the same for all that have counted up to the same time.
  std::uint64_t widthNs() const { return width_ns_; }
  std::uint64_t startNs() const { return start_ns_; }
  const std::vector<Cell>& cells() const { return cells_; }

 private:
  /// Joins pairs of neighbours.
  void fold() {
    std::vector<Cell> wider((cells_.size() + 1) / 2);
    for (std::size_t i = 0; i < cells_.size(); ++i) {
      wider[i / 2] += cells_[i];
    }
    cells_ = std::move(wider);
    width_ns_ *= 2;
  }

  std::uint64_t start_ns_;
  std::size_t max_;
  std::uint64_t width_ns_ = 1 << 17;
  std::vector<Cell> cells_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_REPORT_TIME_BUCKETS_H_
