// SPDX-License-Identifier: Apache-2.0
// The platform's wrapper of one System V semaphore.
#ifndef KW_DEV_PARTS_LIB_SEMAPHORE_H_
#define KW_DEV_PARTS_LIB_SEMAPHORE_H_

#include <atomic>

#include "kw/export.h"

namespace kw::dev::parts {

/// One System V semaphore with an integer key. The semaphore operations themselves are made by its
/// user through `semop` on the public state below. The object never removes the semaphore.
class KW_PLATFORM_API LibSemaphore {
 public:
  /// An object for `key`; no system call is made.
  explicit LibSemaphore(int key);
  LibSemaphore(const LibSemaphore&) = delete;
  LibSemaphore& operator=(const LibSemaphore&) = delete;
  virtual ~LibSemaphore();

  /// Creates the system semaphore, free for one holder, or finishes one of this class whose creator
  /// died before it was free for anybody. Returns 0, or nonzero with `errno` set when it could not,
  /// which includes that it exists already, or that somebody else finished it meanwhile.
  int create();

  /// Finds the existing system semaphore and changes nothing. Returns 0, or nonzero with `errno`
  /// set and `id` -1.
  int get();

  int id;                    ///< system semaphore id; -1 while none was created or found
  std::atomic<bool> held;    ///< set by the user while it holds the semaphore
  bool unchecked;            ///< set by this class: users then skip their checks of `held`
  unsigned short semNumber;  ///< semaphore number of every operation
  short semFlags;            ///< operation flags of every operation

 private:
  int key_;
};

}  // namespace kw::dev::parts

#endif  // KW_DEV_PARTS_LIB_SEMAPHORE_H_
