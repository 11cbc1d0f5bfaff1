// SPDX-License-Identifier: Apache-2.0
// The files below /proc are those of proc(5).
#include "lock/process_facts.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>
#include <vector>

#include "common/text.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kCommandMost = 200;

/// Places in /proc/PID/stat behind the name, which stands in brackets and may hold anything.
constexpr std::size_t kState = 0;
constexpr std::size_t kThreads = 17;
constexpr std::size_t kStartTicks = 19;

std::string contentOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

std::vector<std::string> statOf(const std::string& folder) {
  const std::string stat = contentOf(folder + "/stat");
  std::istringstream message(stat.substr(std::min(stat.rfind(')'), stat.size() - 1) + 1));
  return {std::istream_iterator<std::string>(message), {}};
}

std::string commandOf(const std::string& folder) {
  std::string command = contentOf(folder + "/cmdline");
  if (command.empty()) {
    command = contentOf(folder + "/comm");
  }
  while (!command.empty() && (command.back() == '\0' || command.back() == '\n')) {
    command.pop_back();
  }
  command.resize(std::min(command.size(), kCommandMost));
  for (char& c : command) {
    const auto byte = static_cast<unsigned char>(c);
    c = byte == 0 ? ' ' : (byte < ' ' || byte == 0x7f ? '?' : c);
  }
  return command;
}

/// When the system was started, in seconds since 1970.
std::optional<std::int64_t> bootTime() {
  std::ifstream in("/proc/stat");
  for (std::string word; in >> word;) {
    std::int64_t seconds = 0;
    if (word == "btime" && in >> seconds) {
      return seconds;
    }
  }
  return std::nullopt;
}

}  // namespace

ProcessFacts factsOf(pid_t id) {
  ProcessFacts facts;
  facts.gone = kill(id, 0) != 0 && errno == ESRCH;
  const std::string folder = "/proc/" + std::to_string(id);
  const std::vector<std::string> stat = statOf(folder);
  if (facts.gone || stat.size() <= kStartTicks) {
    return facts;
  }
  // The first thread may be over while others run: then the process is not.
  facts.gone = (stat[kState] == "Z" || stat[kState] == "X") && stat[kThreads] == "1";
  facts.command = commandOf(folder);
  const long ticks_per_second = sysconf(_SC_CLK_TCK);
  if (const auto boot = bootTime(); boot && ticks_per_second > 0) {
    const std::uint64_t ticks = std::strtoull(stat[kStartTicks].c_str(), nullptr, 10);
    facts.started =
        *boot + static_cast<std::int64_t>(ticks / static_cast<std::uint64_t>(ticks_per_second));
  }
  return facts;
}

std::vector<pid_t> allProcesses() {
  std::vector<pid_t> all;
  std::error_code error;
  for (std::filesystem::directory_iterator process("/proc", error), end; !error && process != end;
       process.increment(error)) {
    if (const auto number = decimalNumber(process->path().filename().string())) {
      all.push_back(static_cast<pid_t>(*number));
    }
  }
  std::sort(all.begin(), all.end());
  return all;
}

}  // namespace kw::trx::tools
