// SPDX-License-Identifier: Apache-2.0
#include "traces/statistics.h"

#include <algorithm>

#include "common/text.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

constexpr std::uint64_t kPercent = 100;

std::uint64_t less(std::uint64_t from, std::uint64_t part) { return from > part ? from - part : 0; }

Work workOf(const Slice& slice) {
  return slice.kind == Slice::Kind::kHAP ? Work{"", 0, "", slice.name}
                                         : Work{slice.table, slice.row, slice.command, slice.name};
}

}  // namespace

void Durations::add(std::uint64_t duration_ns) {
  all_ns_.push_back(duration_ns);
  is_sorted_ = false;
  sum_ns_ += duration_ns;
}

std::uint64_t Durations::quantile(unsigned int percent) const {
  if (all_ns_.empty()) {
    return 0;
  }
  if (!is_sorted_) {
    std::sort(all_ns_.begin(), all_ns_.end());
    is_sorted_ = true;
  }
  const std::uint64_t rank = (percent * std::uint64_t{all_ns_.size()} + kPercent - 1) / kPercent;
  return all_ns_[static_cast<std::size_t>(rank == 0 ? 0 : rank - 1)];
}

std::string textOf(const Work& work) {
  if (work.table.empty()) {
    return "HAP " + work.name;
  }
  return "row " + work.table + '/' + hexDigits(work.row) + " (" + work.command +
         (work.name.empty() ? "" : ' ' + work.name) + ')';
}

void Statistics::take(const Slice& slice, std::size_t trace) {
  if (slice.refused || (slice.kind != Slice::Kind::kHAP && slice.kind != Slice::Kind::kRow)) {
    return;
  }
  if (slice.doubtful) {
    ++doubtful_;
    return;
  }
  const Work work = workOf(slice);
  WorkFigures& figures = all_[work];
  figures.calls += slice.resumed ? 0 : 1;
  figures.failures += slice.failed ? 1 : 0;
  figures.wait_ns += slice.wait_ns;
  figures.lock_ns += slice.lock_ns;
  figures.lock_wait_ns += slice.lock_wait_ns;
  const std::uint64_t first_ns = slice.resumed ? slice.first_ns : slice.begin_ns;
  // The wait of those that a called table ran lies in the time of the table.
  const bool calls_table = work.command == trx::kCommandTable;
  std::uint64_t own_ns = less(less(slice.end_ns, slice.begin_ns),
                              slice.nested_ns + (calls_table ? 0 : slice.lock_wait_ns));
  const auto key = std::make_tuple(trace, slice.request, first_ns, work);
  const auto before = slice.resumed ? interrupted_.find(key) : interrupted_.end();
  if (before != interrupted_.end()) {
    own_ns += before->second;
    interrupted_.erase(before);
  }
  if (!slice.cut) {
    figures.total.add(less(slice.end_ns, first_ns));
    figures.own.add(own_ns);
  } else if (work.command == trx::kCommandWait || calls_table) {
    figures.unfinished += interrupted_.insert_or_assign(key, own_ns).second ? 0 : 1;
  } else {
    ++figures.unfinished;
  }
}

void Statistics::finish() {
  for (const auto& [key, own_ns] : interrupted_) {
    ++all_[std::get<Work>(key)].unfinished;
  }
  interrupted_.clear();
}

}  // namespace kw::trx::tools
