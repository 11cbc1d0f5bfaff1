// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iostream>
#include <memory>
#include <string>

#include "kw/platform.h"
#include "trxctl/commands.h"
#include "trxctl/trace_catalogue.h"

namespace kw::trx::trxctl {
namespace {

constexpr std::uint64_t kNanosPerSecond = 1000000000;
constexpr std::uint64_t kNanosPerMicro = 1000;

std::string timeText(std::uint64_t time_ns) {
  const auto seconds = static_cast<std::time_t>(time_ns / kNanosPerSecond);
  std::tm parts{};
  localtime_r(&seconds, &parts);
  char clock[16];
  std::strftime(clock, sizeof(clock), "%H:%M:%S", &parts);
  char micros[16];
  std::snprintf(micros, sizeof(micros), ".%06u",
                static_cast<unsigned int>(time_ns % kNanosPerSecond / kNanosPerMicro));
  return std::string(clock) + micros;
}

void print(const kw::platform::TraceRecord& record) {
  char head[96];
  std::snprintf(head, sizeof(head), "%s %u/%u %-6s %08x ", timeText(record.time_ns).c_str(),
                record.process_id, record.thread_id, levelName(record.level).c_str(), record.id);
  std::cout << head << describe(record);
  const std::string origin = originOf(record.id);
  if (!origin.empty()) {
    std::cout << "  (" << origin << ')';
  }
  std::cout << '\n';
}

/// The level with the name `name`, as bits that it and all graver levels have.
unsigned int maskOf(const std::string& name) {
  constexpr const char* kNames[] = {"error", "info", "debug", "debug2"};
  unsigned int mask = 0;
  for (const char* known : kNames) {
    mask = mask << 1 | 1U;
    if (name == known) {
      break;
    }
  }
  return mask;
}

unsigned int bitOf(unsigned int level) { return (maskOf(levelName(level)) + 1) >> 1; }

int decode(const std::string& file, unsigned int mask) {
  kw::platform::TraceRingReader reader;
  if (reader.open(file) != 0) {
    std::cerr << "trxctl: " << file << ": "
              << (errno == EINVAL ? "is no trace ring" : std::strerror(errno)) << '\n';
    return kExitFailed;
  }
  kw::platform::TraceRecord record;
  while (reader.next(record)) {
    if ((bitOf(record.level) & mask) != 0) {
      print(record);
    }
  }
  if (reader.lost() != 0) {
    std::cout << reader.lost() << " older records were overwritten or torn\n";
  }
  return kExitOk;
}

}  // namespace

void addTraceCommand(CLI::App& app, int& status) {
  CLI::App* command =
      app.add_subcommand("trace", "Decodes the trace ring of a running or dead process");
  auto file = std::make_shared<std::string>();
  command->add_option("FILE", *file, "The ring file")->required();
  auto level = std::make_shared<std::string>("debug2");
  command->add_option("--level", *level, "Shows records of this level and graver ones")
      ->check(CLI::IsMember({"error", "info", "debug", "debug2"}))
      ->capture_default_str();
  command->footer(
      "Each line: time, process/thread, level, trace id, what happened, and where.\n"
      "Example: trxctl trace --level info /tmp/trace.ring");
  command->callback([file, level, &status] { status = decode(*file, maskOf(*level)); });
}

}  // namespace kw::trx::trxctl
