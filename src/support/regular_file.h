// SPDX-License-Identifier: Apache-2.0
// A file that a load reads. Whatever stands at its path, neither its opening nor its reading blocks
// or goes on without end. Belongs to one thread.
#ifndef KW_TRX_SUPPORT_REGULAR_FILE_H_
#define KW_TRX_SUPPORT_REGULAR_FILE_H_

#include <cstddef>
#include <string>

namespace kw::trx::trx {

/// The descriptor of a regular file, opened for reading and closed at the end of the scope.
class RegularFile {
 public:
  /// What stands at a path.
  enum class Kind {
    kNone,     ///< nothing that can be opened
    kOther,    ///< a directory, pipe, socket or device
    kRegular,  ///< a regular file, which is now open
  };

  /// Opens the file at `path`. A pipe without a writer is not waited for.
  explicit RegularFile(const std::string& path);
  RegularFile(const RegularFile&) = delete;
  RegularFile& operator=(const RegularFile&) = delete;
  ~RegularFile();

  Kind kind() const { return kind_; }

  /// The length of the regular file when it was opened. It may grow, or tell no length at all.
  unsigned long long size() const { return size_; }

  /// Reads up to `bytes` from `offset` on. Returns how many it got, less only where the file ends,
  /// or -1 when it cannot be read.
  long long readAt(void* to, std::size_t bytes, unsigned long long offset) const;

  /// Makes `content` all that the regular file holds. False when it cannot be read to its end, or
  /// is longer than `max_bytes`.
  bool readAll(unsigned long long max_bytes, std::string& content) const;

 private:
  int fd_;
  Kind kind_ = Kind::kNone;
  unsigned long long size_ = 0;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_SUPPORT_REGULAR_FILE_H_
