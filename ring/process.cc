// SPDX-License-Identifier: Apache-2.0
#include "process.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "unique_fd.h"

namespace kw::platform {

namespace {

// Fields of a stat file in /proc, counted from 1. The second one is the name of the program, which
// may hold blanks and brackets.
constexpr int kState = 3;
constexpr int kThreads = 20;
constexpr int kStart = 22;

/// The text of a field behind the name.
const char* fieldOf(const char* text, int field) noexcept {
  const char* at = std::strrchr(text, ')');
  for (int i = kState; at != nullptr && i <= field; ++i) {
    at = std::strchr(at + 1, ' ');
  }
  return at == nullptr ? "" : at + 1;
}

std::uint64_t numberAt(const char* at) noexcept {
  std::uint64_t number = 0;
  for (; *at >= '0' && *at <= '9'; ++at) {
    number = number * 10 + static_cast<std::uint64_t>(*at - '0');
  }
  return number;
}

/// When the process was started; 0 when it is over, or nothing is known of it. The file is that of
/// its first thread: emulators make up one of the own process.
std::uint64_t startOf(std::uint32_t process) noexcept {
  char text[1024];
  const auto id = static_cast<unsigned long>(process);
  snprintf(text, sizeof(text), "/proc/%lu/task/%lu/stat", id, id);
  const UniqueFd file(open(text, O_RDONLY | O_CLOEXEC));
  const ssize_t length = file.get() < 0 ? 0 : read(file.get(), text, sizeof(text) - 1);
  text[length < 0 ? 0 : length] = '\0';
  // The first thread may be over while others run.
  const bool is_over = *fieldOf(text, kState) == 'Z' && numberAt(fieldOf(text, kThreads)) <= 1;
  return is_over ? 0 : numberAt(fieldOf(text, kStart));
}

}  // namespace

ProcessKey thisProcess() noexcept {
  const auto id = static_cast<std::uint32_t>(getpid());
  return {id, startOf(id)};
}

bool isRunning(const ProcessKey& process) noexcept {
  return process.start != 0 && startOf(process.id) == process.start;
}

}  // namespace kw::platform
