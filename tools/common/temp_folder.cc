// SPDX-License-Identifier: Apache-2.0
#include "common/temp_folder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "common/text.h"

namespace kw::trx::tools {
namespace {

namespace fs = std::filesystem;

constexpr char kPrefix[] = "trxctl-";

[[noreturn]] void fail(const std::string& path, int error) {
  throw std::runtime_error(path + ": " + std::strerror(error));
}

/// A process that is not seen may still run in another namespace: its folder is left so long.
constexpr std::time_t kLeftOverAgeS = 3600;

/// True for the old folder of a process of this user that is not there any more.
bool isLeftOver(const fs::path& path) {
  const std::string name = path.filename().string();
  if (name.compare(0, sizeof(kPrefix) - 1, kPrefix) != 0) {
    return false;
  }
  const std::size_t start = sizeof(kPrefix) - 1;
  const auto process = decimalNumber(name.substr(start, name.find('-', start) - start));
  struct stat facts {};
  return process && kill(static_cast<pid_t>(*process), 0) != 0 && errno == ESRCH &&
         lstat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode) && facts.st_uid == geteuid() &&
         facts.st_mtime < std::time(nullptr) - kLeftOverAgeS;
}

void removeLeftOvers(const fs::path& folder) {
  std::error_code ignored;
  for (fs::directory_iterator entry(folder, ignored), end; !ignored && entry != end;
       entry.increment(ignored)) {
    if (isLeftOver(entry->path())) {
      std::error_code unremoved;
      fs::remove_all(entry->path(), unremoved);
    }
  }
}

}  // namespace

TempFolder::TempFolder() {
  std::error_code error;
  const fs::path folder = fs::temp_directory_path(error);
  if (error) {
    throw std::runtime_error("the folder of temporary files, TMPDIR: " + error.message());
  }
  removeLeftOvers(folder);
  path_ = (folder / (kPrefix + std::to_string(getpid()) + "-XXXXXX")).string();
  if (mkdtemp(path_.data()) == nullptr) {
    fail(path_, errno);
  }
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

void TempFolder::write(const std::string& name, const std::string& content) const {
  const fs::path path = fs::path(path_) / name;
  fs::create_directories(path.parent_path());
  errno = 0;
  std::ofstream out(path, std::ios::binary);
  out << content;
  out.close();
  if (!out) {
    fail(path, errno == 0 ? EIO : errno);
  }
}

}  // namespace kw::trx::tools
