// SPDX-License-Identifier: Apache-2.0
// The records of several rings together. One thread.
#ifndef KW_TRX_TOOLS_TRACES_RING_MERGER_H_
#define KW_TRX_TOOLS_TRACES_RING_MERGER_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kw/ring_reader.h"

namespace kw::trx::tools {

/// Reads rings of any hosts in the order of time, as they stand when they are read. Doubtful
/// records are counted and left out.
class RingMerger {
 public:
  /// Opens a further ring. Returns 0, or -1 with `errno` set as `RingReader::open` does.
  int open(const std::string& file);

  /// Takes the next record; false: there are no more.
  bool next(kw::platform::TraceRecord& record);

  /// The place, among those opened, of the ring that the last record came from. Processes and
  /// threads of different rings are different ones, also with the same ids: those of other
  /// machines.
  std::size_t ring() const { return ring_; }

  std::uint64_t doubtful() const { return doubtful_; }
  /// Records that were overwritten, torn or cut off.
  std::uint64_t lost() const;

 private:
  struct Ring {
    kw::platform::RingReader reader;
    kw::platform::TraceRecord record{};  // the next one
    bool has_record = false;
  };

  void advance(Ring& ring);

  std::vector<std::unique_ptr<Ring>> rings_;
  std::size_t ring_ = 0;
  std::uint64_t doubtful_ = 0;
};

/// The time of the last record of these rings, as far as they can be read; 0: there is none.
std::uint64_t endOfRings(const std::vector<std::string>& files);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACES_RING_MERGER_H_
