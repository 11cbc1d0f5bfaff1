// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include "command_line/command_line.h"
#include "command_line/output_file.h"
#include "command_line/ring_reading.h"
#include "graph/timeline.h"
#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

constexpr char kPerfetto[] = "perfetto";

struct ExportOptions {
  std::vector<std::string> rings;
  FilterOptions requests;
  std::string format = kPerfetto;
  OutputOptions output;
};

/// Draws the requests that are wanted.
class TimelineDrawer : public RequestListener {
 public:
  void spanEnded(const Request& request, const Span& span) override { timeline.add(request, span); }
  void requestEnded(const Request& request) override { timeline.add(request); }

  Timeline timeline;
};

int exportRings(ExportOptions& options) {
  options.rings = ringsOf(options.rings);
  if (options.output.path.empty()) {
    throw UsageError("-o is required: the file to write, or - for standard output");
  }
  const OutputFile output(options.output, {".json"}, options.rings);
  const RequestFilter filter = filterOf(options.requests, options.rings);
  TimelineDrawer drawer;
  FilteredRequests filtered(filter, drawer);
  RequestReader reader(filtered);
  if (const int opened = openRings(options.rings, reader); opened != kExitOk) {
    return opened;
  }
  if (filter.takesAll()) {
    const auto take = [&drawer](const PlacedRecord& placed) {
      if (placed.suspicion == nullptr && placed.record.level == trx::kLevelError) {
        drawer.timeline.addError(placed.record);
      }
    };
    reader.watch(take, false);
  }
  const int status = readRings(reader, options.rings, false);
  output.write(drawer.timeline.text());
  return status;
}

void describeExport(CommandOptions& command) {
  auto options = std::make_shared<ExportOptions>();
  addRings(command, options->rings);
  command.text(options->format, {"--format", "The form", "FORMAT", {kPerfetto}});
  addOutputOptions(command, options->output, {"-o,--output", "The file to write", "FILE"});
  addFilterOptions(command, options->requests);
  command.run([options] { return exportRings(*options); });
}

const RegisteredCommand kExportCommand(
    {"export", Group::kTraces, "Writes what trace rings tell as a timeline for another program",
     "perfetto is what ui.perfetto.dev opens: requests, tables and HAPs by process and thread, and "
     "without a filter the records of errors.",
     "trace.ring -o timeline.json", "the file is written", ""},
    describeExport);

}  // namespace
}  // namespace kw::trx::tools
