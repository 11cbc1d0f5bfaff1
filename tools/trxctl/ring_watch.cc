// SPDX-License-Identifier: Apache-2.0
#include "trxctl/ring_watch.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <utility>

#include "trxctl/text_output.h"

namespace kw::trx::tools {
namespace {

constexpr int kFollowPollMs = 100;

std::atomic<bool> interrupted{false};

}  // namespace

RingWatch::RingWatch(std::string file, bool follow)
    : file_(std::move(file)), follow_(follow), ring_(file_) {
  static_cast<void>(std::signal(SIGINT, [](int) { interrupted = true; }));
}

RingWatch::End RingWatch::run(const OnRecord& on_record, const OnPause& on_pause) {
  if (const End opened = open(); opened != End::kRead) {
    return opened;
  }
  while (!interrupted) {
    takeAll(on_record, on_pause);
    if (!follow_ || !waitWithReader(kFollowPollMs)) {
      break;
    }
    if (ring_.isReplaced()) {
      takeAll(on_record, on_pause);
      if (ring_.switchOver()) {
        std::cerr << "trxctl: " << file_ << " was made anew\n";
      }
    }
  }
  return End::kRead;
}

/// Opens the ring, or waits for it.
RingWatch::End RingWatch::open() {
  if (ring_.open() == 0) {
    return End::kRead;
  }
  if (!follow_ || errno != ENOENT) {
    return End::kNotOpened;
  }
  std::cerr << "trxctl: waiting for " << file_ << '\n';
  while (!interrupted && waitWithReader(kFollowPollMs)) {
    if (ring_.open() == 0) {
      return End::kRead;
    }
    if (errno != ENOENT) {
      return End::kNotOpened;
    }
  }
  return End::kGivenUp;
}

void RingWatch::takeAll(const OnRecord& on_record, const OnPause& on_pause) {
  while (!interrupted && std::cout && ring_.next(record_)) {
    on_record(record_);
  }
  on_pause();
}

}  // namespace kw::trx::tools
