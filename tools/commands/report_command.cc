// SPDX-License-Identifier: Apache-2.0
#include <ctime>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "command_line/command_line.h"
#include "command_line/output_file.h"
#include "command_line/ring_reading.h"
#include "command_line/text_output.h"
#include "configuration/configuration.h"
#include "configuration/report.h"
#include "doctor/diagnosis.h"
#include "report/gathering.h"
#include "report/page.h"
#include "table/code_meanings.h"
#include "table/environment.h"

namespace kw::trx::tools {
namespace {

struct ReportOptions {
  std::vector<std::string> rings, tables;
  OutputOptions output;
  bool json = false;
  FilterOptions requests;
};

/// The tables of `paths` and of the configuration, if that can be read: a report is wanted above
/// all when something is wrong.
TableFlows tablesOf(const std::vector<std::string>& paths) {
  Configured found;
  try {
    found = configured();
  } catch (const std::runtime_error&) {
    // The page says what is wrong with the configuration.
  }
  return readTables(tableFilesOf(paths), found.tables).flows;
}

int report(ReportOptions options) {
  options.rings = ringsOf(options.rings);
  if (options.output.path.empty() && !options.json) {
    return fail("where to write the page? Add -o report.html, or --json");
  }
  std::vector<std::string> inputs = options.rings;
  inputs.insert(inputs.end(), options.tables.begin(), options.tables.end());
  const OutputFile output(options.output, {options.json ? ".json" : ".html"}, inputs);
  Report report;
  report.tables = tablesOf(options.tables);
  const RequestFilter filter = filterOf(options.requests, options.rings);
  ReportGatherer gatherer(report.tables, filter);
  RequestReader reader(gatherer);
  if (const int opened = openRings(options.rings, reader); opened != kExitOk) {
    return opened;
  }
  const int status = readRings(reader, options.rings, false);
  gatherer.finish(report);
  report.records = reader.records();
  report.start_ns = reader.startNs();
  report.end_ns = reader.endNs();
  report.threads = reader.threads();
  report.losses = reader.losses();
  report.version = ZQM_TRX_VERSION;
  report.made_s = static_cast<std::uint64_t>(std::time(nullptr));
  report.rings = options.rings;
  report.meaning = configuredMeanings();
  report.configuration = reportConfiguration();
  report.machine = examine({ZQM_TRX_VERSION, "", 0});
  const std::string json = boundedJsonOf(report);
  if (output) {
    output.write(options.json ? json + '\n' : pageOf(json));
  } else {
    std::cout << json << '\n';
  }
  return status;
}

void describeReport(CommandOptions& command) {
  auto options = std::make_shared<ReportOptions>();
  addRings(command, options->rings);
  addTables(command, options->tables);
  addOutputOptions(command, options->output,
                   {"-o,--output", "Where to write the page, with --json what it shows", "FILE"});
  command.json(options->json);
  addFilterOptions(command, options->requests);
  command.run([options] { return report(*options); });
}

const RegisteredCommand kReportCommand(
    {"report", Group::kTraces, "Writes what happened in trace rings as one page for a browser",
     "The page needs nothing but itself: it can be sent by mail. It starts with the requests that "
     "failed, equal ones as one, and those that have not ended; then come what happened in each, a "
     "timeline, the tables with what ran of them, figures, and the configuration of this machine.",
     "/var/board/trace.ring -o report.html", "the page is written", ""},
    describeReport);

}  // namespace
}  // namespace kw::trx::tools
