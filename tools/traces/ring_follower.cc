// SPDX-License-Identifier: Apache-2.0
#include "traces/ring_follower.h"

#include <sys/stat.h>

namespace kw::trx::tools {

int RingFollower::open() {
  const int result = reader_.open(path_);
  file_ = identity();
  return result;
}

bool RingFollower::isReplaced() const { return identity() != file_; }

bool RingFollower::switchOver() {
  const FileIdentity now = identity();
  const std::uint64_t lost_of_former = reader_.lost();
  if (reader_.open(path_) != 0) {
    return false;
  }
  file_ = now;
  lost_of_former_ += lost_of_former;
  return true;
}

RingFollower::FileIdentity RingFollower::identity() const {
  struct stat status {};
  return stat(path_.c_str(), &status) == 0 ? FileIdentity{status.st_dev, status.st_ino}
                                           : FileIdentity{};
}

}  // namespace kw::trx::tools
