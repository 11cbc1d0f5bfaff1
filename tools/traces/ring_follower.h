// SPDX-License-Identifier: Apache-2.0
// Reads a ring file by its name, also when a new one takes its place. One thread.
#ifndef KW_TRX_TOOLS_TRACES_RING_FOLLOWER_H_
#define KW_TRX_TOOLS_TRACES_RING_FOLLOWER_H_

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <utility>

#include "kw/platform.h"
#include "kw/ring_reader.h"

namespace kw::trx::tools {

class RingFollower {
 public:
  explicit RingFollower(const std::string& path) : path_(kw::platform::resolvePath(path)) {}

  /// Opens the ring. Returns 0, or -1 with `errno` set.
  int open();

  bool next(kw::platform::TraceRecord& record) { return reader_.next(record); }

  /// True when a host that was started again has made the ring anew.
  bool isReplaced() const;

  /// Goes over to the new ring; what the old one still has is not read any more. False when that
  /// cannot be read yet.
  bool switchOver();

  /// Records that could not be read, of all rings read so far.
  std::uint64_t lost() const { return lost_of_former_ + reader_.lost(); }

 private:
  /// Device and inode: another pair is another file. Zeros while there is none.
  using FileIdentity = std::pair<dev_t, ino_t>;

  FileIdentity identity() const;

  const std::string path_;
  kw::platform::RingReader reader_;
  FileIdentity file_;
  std::uint64_t lost_of_former_ = 0;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACES_RING_FOLLOWER_H_
