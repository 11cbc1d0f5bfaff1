// SPDX-License-Identifier: Apache-2.0
// A file that a load reads. Whatever stands at its path, neither its opening nor its reading blocks
// or goes on without end. Belongs to one thread.
#ifndef KW_TRX_SUPPORT_REGULAR_FILE_H_
#define KW_TRX_SUPPORT_REGULAR_FILE_H_

#include <cstddef>
#include <memory>
#include <streambuf>
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

  /// The length of the regular file when it was opened.
  unsigned long long size() const { return size_; }

  /// Reads up to `bytes` from `offset` on. Returns how many it got, less only where the file ends,
  /// or -1 when it cannot be read.
  long long readAt(void* to, std::size_t bytes, unsigned long long offset) const;

 private:
  int fd_;
  Kind kind_ = Kind::kNone;
  unsigned long long size_ = 0;
};

/// The content of a regular file as a stream gets it, up to a maximum length.
class RegularFileBuffer : public std::streambuf {
 public:
  /// Opens the file at `path`, of which no more than `max_bytes` are accepted.
  RegularFileBuffer(const std::string& path, unsigned long long max_bytes);

  /// False when there is no regular file to read at the path, when it is longer than the maximum,
  /// and once it turned out that it could not be read to its end.
  bool isGood() const { return good_; }

 protected:
  int_type underflow() override;

 private:
  RegularFile file_;
  unsigned long long max_bytes_;
  unsigned long long read_ = 0;
  bool good_;
  std::unique_ptr<char[]> block_;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_SUPPORT_REGULAR_FILE_H_
