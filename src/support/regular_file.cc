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

bool RegularFile::readAll(unsigned long long max_bytes, std::string& content) const {
  content.clear();
  if (kind_ != Kind::kRegular || size_ > max_bytes) {
    return false;
  }
  std::size_t got = kBlockBytes;
  while (got == kBlockBytes && content.size() <= max_bytes) {
    const std::size_t length = content.size();
    content.resize(length + kBlockBytes);
    const long long bytes = readAt(&content[length], kBlockBytes, length);
    if (bytes < 0) {
      return false;
    }
    got = static_cast<std::size_t>(bytes);
    content.resize(length + got);
  }
  return content.size() <= max_bytes;
}

}  // namespace kw::trx::trx
