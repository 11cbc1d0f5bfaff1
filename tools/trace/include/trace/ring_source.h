// SPDX-License-Identifier: Apache-2.0
// The records of rings, also of rings that are still written. One thread.
#ifndef KW_TRX_TOOLS_TRACE_RING_SOURCE_H_
#define KW_TRX_TOOLS_TRACE_RING_SOURCE_H_

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kw/ring_reader.h"

namespace kw::trx::tools {

/// Reads rings of any hosts in the order of time.
class RingSource {
 public:
  /// Opens a further ring. Returns 0, or -1 with `errno` set as `RingReader::open` does.
  int open(const std::string& file);

  /// Takes the next record; false: there is none now.
  bool next(kw::platform::TraceRecord& record);

  /// The place, among those opened, of the ring that the last record came from. Processes and
  /// threads of different rings are different ones, also with the same ids: those of other
  /// machines.
  std::size_t ring() const { return ring_; }
  std::size_t rings() const { return rings_.size(); }

  /// True when a host that was started again has made that ring anew.
  bool isReplaced(std::size_t ring) const;

  /// Goes over to the new ring; what the old one still has is not read any more. False when that
  /// cannot be read yet.
  bool switchOver(std::size_t ring);

  /// `errno` of the first read of that ring that failed; 0: none did.
  int error(std::size_t ring) const { return rings_[ring]->reader.error(); }
  kw::platform::RingWriters writers(std::size_t ring) const {
    return rings_[ring]->reader.writers();
  }

  /// Records that were overwritten, torn or cut off, of all rings read so far.
  std::uint64_t lost() const;

 private:
  /// Device and inode: another pair is another file. Zeros while there is none.
  using FileIdentity = std::pair<dev_t, ino_t>;

  struct Ring {
    std::string file;
    FileIdentity identity;
    kw::platform::RingReader reader;
    kw::platform::TraceRecord record{};  // the next one
    bool has_record = false;
    std::uint64_t lost_of_former = 0;
  };

  static FileIdentity identityOf(const std::string& file);

  std::vector<std::unique_ptr<Ring>> rings_;
  std::size_t ring_ = 0;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_RING_SOURCE_H_
