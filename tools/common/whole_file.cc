// SPDX-License-Identifier: Apache-2.0
#include "common/whole_file.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <system_error>

#include "common/characters.h"

namespace kw::trx::tools {
namespace {

/// An open file, closed at the end.
class OpenFile {
 public:
  explicit OpenFile(int descriptor) : descriptor_(descriptor) {}
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() { static_cast<void>(close()); }

  int descriptor() const { return descriptor_; }

  bool write(const std::string& content) const {
    for (std::size_t done = 0; done < content.size();) {
      const ssize_t written = ::write(descriptor_, content.data() + done, content.size() - done);
      if (written < 0 && errno != EINTR) {
        return false;
      }
      done += written < 0 ? 0 : static_cast<std::size_t>(written);
    }
    return true;
  }

  bool close() {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    return descriptor < 0 || ::close(descriptor) == 0;
  }

 private:
  int descriptor_;
};

[[noreturn]] void refuse(const std::string& path) {
  throw std::runtime_error(visible(path) + ": " + std::generic_category().message(errno));
}

/// Gives the new file the rights of the one that it replaces, or those of any new file.
bool setRights(const OpenFile& file, const struct stat* replaced) {
  if (replaced == nullptr) {
    const mode_t mask = umask(0);
    umask(mask);
    return fchmod(file.descriptor(), 0666 & ~mask) == 0;
  }
  const bool is_foreign = replaced->st_uid != geteuid() || replaced->st_gid != getegid();
  if (is_foreign && fchown(file.descriptor(), replaced->st_uid, replaced->st_gid) != 0) {
    return fchmod(file.descriptor(), replaced->st_mode & 0777) == 0;  // without further rights
  }
  return fchmod(file.descriptor(), replaced->st_mode & 07777) == 0;
}

/// Waits until the new name of a file is on the disk: a power cut would bring the former one back.
/// A folder that may not be read, or whose file system knows no such thing, cannot be waited for.
void syncFolderOf(const std::string& path) {
  const std::size_t end = path.rfind('/');
  const std::string folder = end == std::string::npos ? "." : path.substr(0, end + 1);
  const OpenFile names(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (names.descriptor() >= 0) {
    static_cast<void>(fsync(names.descriptor()));
  }
}

}  // namespace

void writeWhole(const std::string& path, const std::string& content) {
  struct stat there {};
  const bool is_there = lstat(path.c_str(), &there) == 0;
  if (struct stat target{};
      is_there && stat(path.c_str(), &target) == 0 && !S_ISREG(target.st_mode)) {
    OpenFile device(open(path.c_str(), O_WRONLY | O_CLOEXEC));
    if (device.descriptor() < 0 || !device.write(content) || !device.close()) {
      refuse(path);
    }
    return;
  }
  std::string part = path + ".XXXXXX";
  OpenFile file(mkostemp(part.data(), O_CLOEXEC));
  if (file.descriptor() < 0) {
    refuse(path);
  }
  const bool is_file = is_there && S_ISREG(there.st_mode);
  if (!file.write(content) || !setRights(file, is_file ? &there : nullptr) ||
      fsync(file.descriptor()) != 0 || !file.close() ||
      std::rename(part.c_str(), path.c_str()) != 0) {
    const int error = errno;
    unlink(part.c_str());
    errno = error;
    refuse(path);
  }
  syncFolderOf(path);
}

}  // namespace kw::trx::tools
