// SPDX-License-Identifier: Apache-2.0
#include "lock/other_namespaces.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "common/text.h"
#include "lock/process_facts.h"

namespace kw::trx::tools {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFirstPidNamespace = "pid:[4026531836]";  // the kernel's own constant
constexpr const char* kEngine = "/libzqm_trx.so";
constexpr std::size_t kShownMost = 10;

std::string namespaceOf(const fs::path& process, const char* kind, std::error_code& error) {
  return fs::read_symlink(process / "ns" / kind, error).string();
}

/// False for the tool itself, which comes with the engine for what it knows.
bool isHost(const fs::path& process) {
  std::error_code error;
  if (fs::read_symlink(process / "exe", error).filename() == "trxctl") {
    return false;
  }
  std::ifstream maps(process / "maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find(kEngine) != std::string::npos) {
      return true;
    }
  }
  return false;
}

}  // namespace

OtherNamespaces otherNamespaces() {
  OtherNamespaces others;
  std::error_code error;
  const std::string own = namespaceOf("/proc/self", "ipc", error);
  others.all_listed = namespaceOf("/proc/self", "pid", error) == kFirstPidNamespace;
  for (const pid_t process : allProcesses()) {
    const fs::path folder = "/proc/" + std::to_string(process);
    const std::string ipc = namespaceOf(folder, "ipc", error);
    if (error == std::errc::permission_denied) {
      // Threads of the kernel have no command line; they are no hosts.
      others.unseen += std::ifstream(folder / "cmdline").peek() == EOF ? 0 : 1;
    } else if (!error && ipc != own && isHost(folder)) {
      others.hosts.push_back(process);
    }
  }
  return others;
}

std::string wordsOf(const OtherNamespaces& others) {
  std::vector<std::string> names;
  for (const pid_t host : others.hosts) {
    const std::string command = factsOf(host).command;
    names.push_back(std::to_string(host) + (command.empty() ? "" : " (" + command + ")"));
  }
  if (names.size() > kShownMost) {
    const std::string more = std::to_string(names.size() - kShownMost) + " more";
    names.resize(kShownMost);
    names.push_back(more);
  }
  if (!names.empty()) {
    const bool one = others.hosts.size() == 1;
    return (one ? "process " : "processes ") + listed(names) + (one ? " runs" : " run") +
           " the engine in another IPC namespace, which has a semaphore of its own";
  }
  const std::string unknown =
      "whether a host runs in another IPC namespace, with a semaphore of its own, is not known: ";
  if (!others.all_listed) {
    return unknown + "processes outside of this PID namespace are not seen";
  }
  return others.unseen == 0
             ? ""
             : unknown + "this user may not look into " + std::to_string(others.unseen) +
                   (others.unseen == 1 ? " process" : " processes") +
                   (geteuid() == 0 ? "" : "; root may look into more");
}

std::string adviceOf(const OtherNamespaces& others) {
  return others.hosts.empty() ? ""
                              : "nsenter --ipc --target " + std::to_string(others.hosts[0]) +
                                    " trxctl lock shows the semaphore of that process";
}

}  // namespace kw::trx::tools
