// SPDX-License-Identifier: Apache-2.0
#include "doctor/ring_place.h"

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

// The form of ring files: a head, the heads of the lanes, and the slots. A test compares the sum
// with files that the platform makes.
constexpr std::uint64_t kHeadBytes = 128;
constexpr std::uint64_t kLaneBytes = 64;
constexpr std::uint64_t kSlotBytes = 128;
constexpr std::uint64_t kWideLanes = 128;  ///< of a ring with more slots than these
constexpr std::uint64_t kNarrowLanes = 256;

constexpr std::uint64_t kKiB = 1024;
constexpr std::uint64_t kMiB = kKiB * kKiB;
constexpr std::uint64_t kParts = 100;  ///< of a MiB that are told

/// "12 KiB" or "1.06 MiB"; what is needed is rounded up, what there is down.
std::string sizeText(std::uint64_t bytes, bool is_needed) {
  const std::uint64_t unit = bytes < kMiB ? kKiB : kMiB;
  const std::uint64_t scale = bytes < kMiB ? 1 : kParts;
  // Whole units apart: large disks times the scale would not fit.
  const std::uint64_t rest = bytes % unit * scale + (is_needed ? unit - 1 : 0);
  const std::uint64_t parts = bytes / unit * scale + rest / unit;
  if (unit == kKiB) {
    return std::to_string(parts) + " KiB";
  }
  const std::string hundredths = std::to_string(kParts + parts % kParts).substr(1);
  return std::to_string(parts / kParts) + '.' + hundredths + " MiB";
}

}  // namespace

std::uint64_t ringFileBytes(std::size_t records) {
  std::uint64_t slots = 1;
  while (slots < records) slots *= 2;
  const bool is_wide = slots > kWideLanes;
  const std::uint64_t lanes = is_wide ? kWideLanes + kNarrowLanes : slots;
  return kHeadBytes + lanes * kLaneBytes + (slots + (is_wide ? kNarrowLanes : 0)) * kSlotBytes;
}

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
  const std::uint64_t size = std::uint64_t{system.f_blocks} * system.f_frsize;
  const std::uint64_t needed = ringFileBytes(records);
  return room >= needed ? ""
                        : "needs " + sizeText(needed, true) + " for " + std::to_string(records) +
                              " records, and of the " + sizeText(size, false) +
                              " of the file system " + sizeText(room, false) + " are free";
}

}  // namespace kw::trx::tools
