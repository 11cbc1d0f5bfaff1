// SPDX-License-Identifier: Apache-2.0
#include <mutex>

#include "kw/platform.h"

namespace kw::platform {

namespace {

constexpr char kOwnFiles[] = "/kw/";

struct SystemRoot {
  std::mutex mutex;
  std::string dir;
};

/// Never destroyed: files are opened until the very end of the process.
SystemRoot& systemRoot() {
  static SystemRoot* const root = new SystemRoot;
  return *root;
}

}  // namespace

void setSystemRoot(const std::string& dir) {
  SystemRoot& root = systemRoot();
  const std::lock_guard<std::mutex> lock(root.mutex);
  root.dir = dir;
}

std::string getSystemRoot() {
  SystemRoot& root = systemRoot();
  const std::lock_guard<std::mutex> lock(root.mutex);
  return root.dir;
}

std::string resolvePath(const std::string& path) {
  const bool own_file = path.compare(0, sizeof(kOwnFiles) - 1, kOwnFiles) == 0;
  return own_file ? getSystemRoot() + path : path;
}

}  // namespace kw::platform
