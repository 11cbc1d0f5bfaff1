// SPDX-License-Identifier: Apache-2.0
#include "support/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "support/no_cancellation.h"

namespace kw::trx::trx {
namespace {

constexpr std::size_t kBlockBytes = 16384;

}  // namespace

RegularFile::RegularFile(const std::string& path)
    : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
  struct stat status {};
  if (fd_ < 0 || fstat(fd_, &status) != 0) {
    return;
  }
  kind_ = S_ISREG(status.st_mode) ? Kind::kRegular : Kind::kOther;
  size_ = static_cast<unsigned long long>(status.st_size);
}

RegularFile::~RegularFile() {
  if (fd_ >= 0) {
    const NoCancellation uncancelled;
    close(fd_);
  }
}

long long RegularFile::readAt(void* to, std::size_t bytes, unsigned long long offset) const {
  std::size_t done = 0;
  while (done < bytes) {
    const ssize_t got =
        pread(fd_, static_cast<char*>(to) + done, bytes - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      return -1;
    }
    if (got == 0) {
      break;
    }
    done += static_cast<std::size_t>(got);
  }
  return static_cast<long long>(done);
}

RegularFileBuffer::RegularFileBuffer(const std::string& path, unsigned long long max_bytes)
    : file_(path),
      max_bytes_(max_bytes),
      good_(file_.kind() == RegularFile::Kind::kRegular && file_.size() <= max_bytes) {
  if (good_) {
    block_.reset(new char[kBlockBytes]);
  }
}

/// A file may be longer than it was when it was opened, or tell no length at all.
RegularFileBuffer::int_type RegularFileBuffer::underflow() {
  const long long got = good_ ? file_.readAt(block_.get(), kBlockBytes, read_) : 0;
  read_ += got > 0 ? static_cast<unsigned long long>(got) : 0;
  good_ = good_ && got >= 0 && read_ <= max_bytes_;
  if (!good_ || got == 0) {
    return traits_type::eof();
  }
  setg(block_.get(), block_.get(), block_.get() + got);
  return traits_type::to_int_type(*gptr());
}

}  // namespace kw::trx::trx
