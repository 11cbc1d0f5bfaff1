// SPDX-License-Identifier: Apache-2.0
// Owner of one file descriptor, which it closes at its end. Not synchronised.
#ifndef KW_RING_UNIQUE_FD_H_
#define KW_RING_UNIQUE_FD_H_

#include <unistd.h>

#include <cerrno>

#include "no_cancellation.h"

namespace kw::platform {

class UniqueFd {
 public:
  explicit UniqueFd(int fd = -1) noexcept : fd_(fd) {}
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  ~UniqueFd() { reset(-1); }

  /// The descriptor; negative when there is none.
  int get() const noexcept { return fd_; }

  /// Closes the descriptor held and takes `fd` instead. `errno` stays as it was.
  void reset(int fd) noexcept {
    const int error = errno;
    if (fd_ >= 0) {
      const NoCancellation uncancelled;
      close(fd_);
    }
    fd_ = fd;
    errno = error;
  }

 private:
  int fd_;
};

}  // namespace kw::platform

#endif  // KW_RING_UNIQUE_FD_H_
