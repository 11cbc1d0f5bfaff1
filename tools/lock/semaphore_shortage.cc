// SPDX-License-Identifier: Apache-2.0
// /proc/sys/kernel/sem has the limits and /proc/sysvipc/sem the sets of the IPC namespace of the
// process that reads them, see proc(5).
#include "lock/semaphore_shortage.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <sstream>

#include "lock/lock_state.h"

namespace kw::trx::tools {
namespace {

/// The numbers in the file of limits, in their order.
enum Limit : std::size_t { kOfASet, kOfAllSets, kOfACall, kSets, kLimits };

using Limits = std::array<std::uint64_t, kLimits>;

Limits usedNow() {
  Limits used = {};
  std::ifstream in("/proc/sysvipc/sem");
  std::string line;
  std::getline(in, line);
  while (std::getline(in, line)) {
    std::istringstream message(line);
    std::string key, id, mode;
    std::uint64_t semaphores = 0;
    message >> key >> id >> mode >> semaphores;
    used[kOfAllSets] += semaphores;
    ++used[kSets];
  }
  return used;
}

/// The command that sets the limits to `limits`.
std::string raiseText(const Limits& limits) {
  std::string text = "sysctl -w kernel.sem='";
  for (std::size_t i = 0; i < kLimits; ++i) {
    text += (i == 0 ? "" : " ") + std::to_string(limits[i]);
  }
  return text + "'";
}

}  // namespace

SemaphoreShortage semaphoreShortage() {
  Limits limits = {};
  std::ifstream in("/proc/sys/kernel/sem");
  for (std::uint64_t& limit : limits) {
    if (!(in >> limit)) {
      return {};
    }
  }
  const Limits used = usedNow();
  const Limits needed = {kLockSemaphores, used[kOfAllSets] + kLockSemaphores, 0, used[kSets] + 1};
  Limits raised = limits;
  SemaphoreShortage shortage;
  const auto compare = [&](Limit which, const std::string& message, const char* place) {
    if (needed[which] > limits[which]) {
      raised[which] = std::max(limits[which] * 2, needed[which]);
      shortage.message += (shortage.message.empty() ? "" : "; ") + message + ", and the " + place +
                          " number of /proc/sys/kernel/sem is " + std::to_string(limits[which]);
    }
  };
  compare(kOfASet, "a set needs " + std::to_string(kLockSemaphores) + " semaphores", "first");
  compare(kOfAllSets,
          std::to_string(used[kOfAllSets]) + " semaphores exist, " +
              std::to_string(kLockSemaphores) + " more are needed",
          "second");
  compare(kSets, std::to_string(used[kSets]) + " semaphore sets exist", "fourth");
  if (!shortage.message.empty()) {
    shortage.advice =
        "remove sets that nobody uses (ipcs -s lists them, ipcrm -s ID removes "
        "one), or raise the limit: " +
        raiseText(raised);
  }
  return shortage;
}

}  // namespace kw::trx::tools
