// SPDX-License-Identifier: Apache-2.0
// Reads a ring to its end, or goes on with it until interrupted. One thread.
#ifndef KW_TRX_TOOLS_TRXCTL_RING_WATCH_H_
#define KW_TRX_TOOLS_TRXCTL_RING_WATCH_H_

#include <cstdint>
#include <functional>
#include <string>

#include "kw/platform.h"
#include "traces/ring_follower.h"

namespace kw::trx::tools {

class RingWatch {
 public:
  using OnRecord = std::function<void(const kw::platform::TraceRecord& record)>;
  using OnPause = std::function<void()>;

  /// With `follow` it waits for a ring that is not there yet, for new records and for a ring made
  /// anew, until SIGINT or until nobody reads standard output any more.
  RingWatch(std::string file, bool follow);

  enum class End {
    kRead,
    kNotOpened,  ///< `errno` tells why
    kGivenUp,    ///< interrupted before there was a ring
  };

  /// Hands on each record, and calls `on_pause` whenever there is none for now.
  End run(const OnRecord& on_record, const OnPause& on_pause);

  /// Records that could not be read.
  std::uint64_t lost() const { return ring_.lost(); }

 private:
  End open();
  void takeAll(const OnRecord& on_record, const OnPause& on_pause);

  const std::string file_;
  const bool follow_;
  RingFollower ring_;
  kw::platform::TraceRecord record_{};
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRXCTL_RING_WATCH_H_
