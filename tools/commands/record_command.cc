// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "command_line/command_line.h"
#include "command_line/text_output.h"
#include "common/paths.h"
#include "engine/recording.h"
#include "kw/platform.h"
#include "kw/ring_reader.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kDefaultRecords = 65536;
constexpr std::size_t kMaxRecords = std::size_t{1} << 24;

struct RecordOptions {
  std::string ring, level = "debug2";
  std::size_t records = kDefaultRecords;
  bool force = false;
  std::vector<std::string> host;
};

/// Makes way for the ring; what is wrong with its place, or empty.
std::string placeProblem(const std::string& ring, bool force) {
  const std::string folder = std::filesystem::path(ring).parent_path();
  if (access(folder.c_str(), W_OK | X_OK) != 0) {
    return folder + ": " + std::strerror(errno);
  }
  std::error_code error;
  if (!std::filesystem::exists(std::filesystem::symlink_status(ring, error))) {
    return {};
  }
  if (kw::platform::RingReader reader; reader.open(ring) != 0) {
    return ring + " is there and is no trace ring; name another file with -o";
  }
  if (!force) {
    return ring + " is there; name another file with -o, or remove it with --force";
  }
  return unlink(ring.c_str()) == 0 ? "" : ring + ": " + std::strerror(errno);
}

int record(const RecordOptions& options) {
  const std::string program = programOf(options.host[0]);
  if (program.empty()) {
    return fail(options.host[0] + ": no such program");
  }
  std::string problem = preloadProblem(program);
  if (!problem.empty()) {
    return fail(program + " " + problem);
  }
  const std::string root = kw::platform::getSystemRoot();
  const std::string ring = absolutePath(!options.ring.empty() ? options.ring
                                        : root.empty()        ? "trace.ring"
                                                              : root + "/trace.ring");
  problem = placeProblem(ring, options.force);
  return fail(problem.empty() ? becomeRecorded({ring, options.records, options.level}, options.host)
                              : problem);
}

void describeRecord(CommandOptions& command) {
  auto options = std::make_shared<RecordOptions>();
  command.texts(options->host,
                {"HOST", "The program, and its arguments behind --", "ARG", {}, true});
  command.text(
      options->ring,
      {"-o,--output", "The ring file; else trace.ring in the system root, or here", "FILE"});
  command.number(options->records,
                 {"--records", "Records that the ring has room for, 128 bytes each", "COUNT"}, 1,
                 kMaxRecords);
  command.text(options->level, {"--level",
                                "Keep records of this level and graver ones",
                                "LEVEL",
                                {"error", "info", "debug", "debug2"}});
  command.flag(options->force, {"--force", "Remove a ring of that name first"});
  command.run([options] { return record(*options); });
}

const RegisteredCommand kRecordCommand(
    {"record", Group::kRequests,
     "Starts a host that writes a trace ring beside the trace of its platform",
     "The recorder is preloaded: it keeps each record in the ring, then passes it on to the "
     "platform library. The ring is made once the host, or a program that it starts, writes "
     "records; the first one gets it, the others say so and run without. This process becomes the "
     "host, so the exit status is that of the host.",
     "-o /tmp/trace.ring -- /opt/board/host --config board.conf",
     "and others are those of the host", ""},
    describeRecord);

}  // namespace
}  // namespace kw::trx::tools
