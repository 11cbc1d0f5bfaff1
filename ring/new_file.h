// SPDX-License-Identifier: Apache-2.0
// A file that gets its name once it is whole: a reader or writer of the one before keeps that. It
// allocates nothing, so a signal handler may use it. One thread.
#ifndef KW_RING_NEW_FILE_H_
#define KW_RING_NEW_FILE_H_

#include <climits>
#include <cstdint>

#include "unique_fd.h"

namespace kw::platform {

/// What becomes of a regular file that has the name already.
enum class Existing { kReplace, kRefuse };

class NewFile {
 public:
  /// Makes the file under a name of its own beside `path`; `fd` is negative, and `errno` set, when
  /// it can't. `path` must stay valid.
  explicit NewFile(const char* path) noexcept;
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  /// Removes the file unless it got its name. `errno` stays as it was.
  ~NewFile();

  int fd() const noexcept { return file_.get(); }

  /// Maps the file, made that long first, for reading and writing; MAP_FAILED with `errno` set when
  /// it can't: EFBIG when the process may not write files of that size.
  void* map(std::uint64_t bytes) const noexcept;

  /// Gives the file the name `path`. Returns 0, or -1 with `errno` set: EEXIST when something has
  /// it and nothing may be replaced.
  int giveName(Existing existing) noexcept;

 private:
  const char* const path_;
  char own_name_[PATH_MAX];
  UniqueFd file_;
};

/// 0 when `path` may be given to a new file; else -1 with `errno` set: EISDIR for a directory,
/// EINVAL for anything else that is no regular file, EEXIST for one that must not be replaced.
int checkPlace(const char* path, Existing existing) noexcept;

}  // namespace kw::platform

#endif  // KW_RING_NEW_FILE_H_
