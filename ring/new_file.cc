// SPDX-License-Identifier: Apache-2.0
#include "new_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace kw::platform {

namespace {

constexpr int kFailed = -1;
constexpr mode_t kFileMode = 0644;

/// True when the process may write files of that size. Beyond it the kernel sends a SIGXFSZ.
bool mayHold(std::uint64_t bytes) noexcept {
  rlimit most{};
  return getrlimit(RLIMIT_FSIZE, &most) != 0 || bytes <= most.rlim_cur;
}

/// Gives the file its blocks on the disk, as a full disk would later kill a writer with SIGBUS.
int allocate(int fd, std::uint64_t bytes) noexcept {
  int error = mayHold(bytes) ? EINTR : EFBIG;
  while (error == EINTR) {
    error = posix_fallocate(fd, 0, static_cast<off_t>(bytes));
  }
  return error;
}

}  // namespace

NewFile::NewFile(const char* path) noexcept : path_(path) {
  const int length =
      snprintf(own_name_, sizeof(own_name_), "%s.%ld.new", path, static_cast<long>(getpid()));
  if (length < 0 || static_cast<std::size_t>(length) >= sizeof(own_name_)) {
    own_name_[0] = '\0';
    errno = ENAMETOOLONG;
    return;
  }
  unlink(own_name_);
  file_.reset(open(own_name_, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode));
  if (file_.get() < 0) own_name_[0] = '\0';
}

NewFile::~NewFile() {
  const int error = errno;
  if (own_name_[0] != '\0') unlink(own_name_);
  errno = error;
}

void* NewFile::map(std::uint64_t bytes) const noexcept {
  const int error = allocate(file_.get(), bytes);
  if (error != 0) {
    errno = error;
    return MAP_FAILED;
  }
  return mmap(nullptr, static_cast<std::size_t>(bytes), PROT_READ | PROT_WRITE, MAP_SHARED,
              file_.get(), 0);
}

int NewFile::giveName(Existing existing) noexcept {
  int result = kFailed;
  if (existing == Existing::kRefuse) {
    result = renameat2(AT_FDCWD, own_name_, AT_FDCWD, path_, RENAME_NOREPLACE);
    // Some file systems can't be told to refuse: there the look before has to do.
    if (result != 0 && errno != EINVAL && errno != ENOSYS) return kFailed;
    if (result != 0 && checkPlace(path_, existing) != 0) return kFailed;
  }
  if (result != 0) result = rename(own_name_, path_);
  if (result == 0) own_name_[0] = '\0';
  return result;
}

int checkPlace(const char* path, Existing existing) noexcept {
  struct stat status {};
  if (stat(path, &status) != 0) return 0;
  if (S_ISREG(status.st_mode) && existing == Existing::kReplace) return 0;
  errno = S_ISREG(status.st_mode) ? EEXIST : S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  return kFailed;
}

}  // namespace kw::platform
