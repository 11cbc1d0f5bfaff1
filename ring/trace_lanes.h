// SPDX-License-Identifier: Apache-2.0
// The lanes of a ring file as a reader finds them; docs/trace-ring.md tells the model. It reads the
// file instead of mapping it, so that a file that somebody cuts short is an end of the records and
// not the end of the reader. One thread.
#ifndef KW_RING_TRACE_LANES_H_
#define KW_RING_TRACE_LANES_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kw/ring_reader.h"
#include "trace_file.h"
#include "unique_fd.h"

namespace kw::platform {

/// Records of one lane, written one after the other under one claim.
struct LaneRun {
  std::uint32_t lane;
  std::uint64_t first, end;  ///< their numbers
  std::uint64_t slot;        ///< of the first one, in the file
  std::uint64_t claim;
  std::uint32_t process_id, thread_id;

  /// True for a record that says that it was written under the same claim.
  bool isOf(const trace_file::Body& body) const {
    return body.claim == static_cast<std::uint32_t>(claim) && body.process_id == process_id &&
           body.thread_id == thread_id;
  }
};

class TraceLanes {
 public:
  /// Opens the ring file at `path`. Returns 0, or -1 with `errno` set.
  int open(const std::string& path);

  /// Appends all records begun by now that no look has found before, and counts those that cannot
  /// be read. One in the middle of its writing is waited for, but not for ever, as its writer may
  /// be dead.
  void look(std::vector<LaneRun>& runs);

  /// The record with this number of `run`, valid until the next call; null when its place has been
  /// used again since it was looked for.
  const trace_file::Body* find(const LaneRun& run, std::uint64_t number);

  void countLost() { lost_ += error_ == 0 ? 1 : 0; }
  std::uint64_t lost() const { return lost_; }
  /// `errno` of the first read that failed.
  int error() const { return error_; }
  RingWriters writers() const;

 private:
  /// A part of a lane as it was read last; the mark of a slot that changed meanwhile is 0.
  struct Window {
    std::uint64_t slot = 0;
    std::vector<trace_file::SlotCopy> slots;
  };

  void readHeads();
  bool scan(std::uint32_t index, bool given_up, std::vector<LaneRun>& runs);
  void add(const LaneRun& record, std::size_t first_of_lane, std::vector<LaneRun>& runs) const;
  std::uint64_t wholeClaim(std::uint32_t low_half) const;
  std::size_t readAt(void* to, std::size_t bytes, std::uint64_t offset);
  std::size_t readSlots(std::uint64_t first, std::size_t count,
                        std::vector<trace_file::SlotCopy>& slots);
  void load(Window& window, std::uint64_t slot, std::size_t count);

  std::string path_;
  UniqueFd file_;
  int error_ = 0;
  trace_file::Shape shape_{};
  std::vector<trace_file::LaneCopy> lanes_;  // their heads as last read
  std::vector<std::uint64_t> positions_;     // for each lane the first record not looked at yet
  std::vector<Window> windows_;              // for each lane
  std::vector<trace_file::SlotCopy> scanned_, before_, after_;
  std::uint64_t claims_ = 0;
  std::uint64_t dropped_ = 0;
  std::uint64_t lost_ = 0;
};

}  // namespace kw::platform

#endif  // KW_RING_TRACE_LANES_H_
