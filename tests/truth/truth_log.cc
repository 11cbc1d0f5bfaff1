// SPDX-License-Identifier: Apache-2.0
#include "truth_log.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>

#include "kw/sysobj/tree_path.h"

namespace kw::trx::truth {
namespace {

int file = -1;
/// Shared by all processes of the host.
std::atomic<std::uint32_t>* serial = nullptr;

std::uint64_t nowNs() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1000000000U +
         static_cast<std::uint64_t>(now.tv_nsec);
}

}  // namespace

void openTruth(const std::string& path) {
  file = open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_APPEND | O_CLOEXEC, 0644);
  void* const shared =
      mmap(nullptr, sizeof(*serial), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (file < 0 || shared == MAP_FAILED) {
    std::perror(path.c_str());
    std::exit(2);
  }
  serial = new (shared) std::atomic<std::uint32_t>(0);
}

std::uint64_t nextSerial() { return ++*serial; }

std::uint64_t threadId() { return static_cast<std::uint64_t>(syscall(SYS_gettid)); }

Event::Event(const char* kind) {
  line_ = "{\"e\":" + quoted(kind);
  number("t", nowNs()).number("pid", static_cast<std::uint64_t>(getpid()));
  number("tid", threadId());
}

Event::~Event() {
  line_ += "}\n";
  if (write(file, line_.data(), line_.size()) != static_cast<ssize_t>(line_.size())) {
    std::perror("the truth file");
    _exit(2);
  }
}

Event& Event::number(const char* key, std::uint64_t value) {
  return raw(key, std::to_string(value));
}

Event& Event::text(const char* key, const std::string& value) { return raw(key, quoted(value)); }

Event& Event::units(const std::vector<kw::sysobj::Component*>& units) {
  std::string list;
  for (const kw::sysobj::Component* const unit : units) {
    kw::sysobj::TreePath path;
    unit->getTreePath(path);
    list += (list.empty() ? "" : ",") + quoted(path.toString());
  }
  return raw("units", "[" + list + "]");
}

Event& Event::raw(const char* key, const std::string& json) {
  line_ += ",\"" + std::string(key) + "\":" + json;
  return *this;
}

std::string quoted(const std::string& text) {
  std::string out = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte > 0x7e || c == '"' || c == '\\') {
      char escape[8];
      std::snprintf(escape, sizeof(escape), "\\u%04x", byte);
      out += escape;
    } else {
      out += c;
    }
  }
  return out + '"';
}

}  // namespace kw::trx::truth
