// SPDX-License-Identifier: Apache-2.0
#include "diagnosis/ring_place.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>

#include "common/paths.h"

namespace kw::trx::tools {
namespace {

namespace fs = std::filesystem;

/// What the stand-in writes for each record.
constexpr std::uint64_t kRecordBytes = 128;
constexpr std::uint64_t kMegabyte = std::uint64_t{1024} * 1024;

}  // namespace

std::string ringProblem(const std::string& file, std::size_t records) {
  const fs::path path = absolutePath(file);
  const std::string folder = path.parent_path().string();
  std::error_code ignored;
  if (fs::exists(path, ignored) && !fs::is_regular_file(path, ignored)) {
    return "is no regular file, and a ring takes the place of no other";
  }
  // The ring is made anew beside the old one.
  if (access(folder.c_str(), W_OK | X_OK) != 0) {
    return "cannot be made in " + folder + ": " + std::strerror(errno);
  }
  struct statvfs system = {};
  if (statvfs(folder.c_str(), &system) != 0) {
    return "cannot be told of: " + std::string(std::strerror(errno));
  }
  const std::uint64_t room = std::uint64_t{system.f_bavail} * system.f_frsize;
  const std::uint64_t needed = records * kRecordBytes;
  return room >= needed ? ""
                        : "needs about " + std::to_string(needed / kMegabyte + 1) +
                              " MiB, and there is room for " + std::to_string(room / kMegabyte);
}

}  // namespace kw::trx::tools
