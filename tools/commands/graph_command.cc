// SPDX-License-Identifier: Apache-2.0
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>

#include "command_line/command_line.h"
#include "command_line/output_file.h"
#include "command_line/ring_reading.h"
#include "command_line/text_output.h"
#include "common/json.h"
#include "configuration/configuration.h"
#include "graph/graph.h"
#include "graph/ring_runs.h"
#include "kw/ring_reader.h"
#include "kw/trx/file_path.h"
#include "modules/listed_modules.h"
#include "table/named_files.h"
#include "trace/selection.h"

extern char** environ;

namespace kw::trx::tools {
namespace {

/// The first one is text, the others are pictures.
const std::vector<std::string> kFormats = {"dot", "svg", "png", "pdf"};

struct GraphOptions {
  std::vector<std::string> files;
  std::string format;  ///< empty: as the extension of `output` tells
  bool is_dark = false, is_json = false;
  OutputOptions output;
  std::vector<std::string> coverage, rings;  // among the files
  FilterOptions requests;
};

/// All that can be read from `file`.
std::string contentOf(std::FILE* file) {
  std::string content;
  char piece[65536];
  for (std::size_t size = 0; (size = std::fread(piece, 1, sizeof(piece), file)) != 0;) {
    content.append(piece, size);
  }
  return content;
}

/// A file without a name, in memory.
std::unique_ptr<std::FILE, int (*)(std::FILE*)> memoryFile() {
  const int descriptor = memfd_create("graph", MFD_CLOEXEC);
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
      descriptor < 0 ? nullptr : fdopen(descriptor, "w+"), std::fclose);
  if (file == nullptr) {
    throw std::runtime_error(std::string("a file in memory: ") + std::strerror(errno));
  }
  return file;
}

/// `graph` as `dot` draws it. Throws when that fails.
std::string drawn(const std::string& graph, const std::string& format) {
  const auto input = memoryFile();
  const auto output = memoryFile();
  if (std::fputs(graph.c_str(), input.get()) < 0 || std::fflush(input.get()) != 0) {
    throw std::runtime_error(std::string("a file in memory: ") + std::strerror(errno));
  }
  std::rewind(input.get());
  const std::string type = "-T" + format;
  const char* const arguments[] = {"dot", type.c_str(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fileno(input.get()), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, fileno(output.get()), STDOUT_FILENO);
  pid_t child = 0;
  const int error =
      posix_spawnp(&child, "dot", &actions, nullptr, const_cast<char* const*>(arguments), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error == ENOENT) {
    throw std::runtime_error(
        "dot, which draws pictures, is not installed: apt-get install graphviz, or print "
        "the graph with --format dot");
  }
  int status = 0;
  const bool ended = error == 0 && waitpid(child, &status, 0) == child;
  std::rewind(output.get());
  std::string picture = contentOf(output.get());
  if (!ended || status != 0 || picture.empty()) {
    throw std::runtime_error("dot failed to draw the picture");
  }
  return picture;
}

/// The format of a picture when the name of the file ends so, in any letter case; else "dot".
std::string formatOf(const std::string& output) {
  trx::FilePath extension(std::filesystem::path(output).extension().string());
  extension.toLower();
  for (const std::string& format : kFormats) {
    if (extension.value == "." + format) {
      return format;
    }
  }
  return kFormats[0];
}

/// Reads the files that are drawn. Throws `std::runtime_error` when the engine does not load one.
std::vector<std::string> namesOf(const std::vector<std::string>& files) {
  std::vector<std::string> names;
  TableFlow flow;
  for (const std::string& file : files) {
    if (!readFlow(file, flow)) {
      throw std::runtime_error(file +
                               ": the engine does not load this table; trxctl check tells why");
    }
    names.push_back(flow.name);
  }
  return names;
}

/// Adds what ran by the rings, or in one request of them. Returns the exit status.
int addRuns(const GraphOptions& options, Picture& picture) {
  const auto request = requestOf(options.requests.request);
  const bool is_way = request && request->second != 0;
  picture.view = is_way ? GraphView::kWay : picture.view;
  const RequestFilter filter = filterOf(options.requests, options.rings);
  RingRuns runs(picture.tables.flows, is_way);
  FilteredRequests filtered(filter, runs);
  RequestReader reader(filtered);
  if (const int opened = openRings(options.rings, reader); opened != kExitOk) {
    return opened;
  }
  const int status = readRings(reader, options.rings, false);
  sayLeftOut(runs.leftOut());
  if (is_way && filtered.taken() == 0) {
    return fail(missingRequestText(*filter.request, filter.request_number, reader.requests()));
  }
  if (is_way && runs.rings().size() > 1) {
    return fail("request " + options.requests.request +
                " is in more than one of the rings; name one ring");
  }
  const std::vector<std::string> ran = runs.tables();
  if (const std::vector<std::string> unknown = runs.problems({}); ran.empty() && !unknown.empty()) {
    return fail("nothing can be drawn: " + unknown.front());
  }
  if (ran.empty()) {
    return fail((is_way ? "request " + options.requests.request + " ran no row of a table"
                        : std::string("no record tells of a row")) +
                "; those of the level info must be in the ring");
  }
  picture.names = options.files.empty() ? ran : picture.names;
  for (const std::string& problem :
       runs.problems(withCalled(picture.names, picture.tables.flows))) {
    std::cerr << "trxctl: " << problem << '\n';
  }
  picture.counts = runs.counts();
  picture.sources = options.rings;
  picture.requests = runs.requests();
  picture.start_ns = runs.startNs();
  picture.end_ns = runs.endNs();
  return status;
}

/// Moves rings and coverage out of the files.
void sortFiles(GraphOptions& options) {
  std::vector<std::string> tables;
  for (const std::string& file : options.files) {
    kw::platform::RingReader ring;
    std::vector<std::string>& kind = ring.open(file) == 0   ? options.rings
                                     : isCoverageFile(file) ? options.coverage
                                                            : tables;
    kind.push_back(file);
  }
  options.files = tables;
}

/// Adds what ran by files of coverage.
void addCoverage(const GraphOptions& options, Picture& picture) {
  Coverage coverage;
  for (const std::string& file : options.coverage) {
    merge(coverage, readCoverage(file));
  }
  picture.counts = graphCountsOf(picture.tables.flows, coverage);
  picture.sources = options.coverage;
}

/// The file to be written, of a name that fits what is written.
OutputFile outputOf(const GraphOptions& options) {
  std::vector<std::string> inputs = options.files;
  inputs.insert(inputs.end(), options.rings.begin(), options.rings.end());
  inputs.insert(inputs.end(), options.coverage.begin(), options.coverage.end());
  std::vector<std::string> extensions;
  for (const std::string& format : options.is_json ? std::vector<std::string>{"json"} : kFormats) {
    extensions.push_back('.' + format);
  }
  return {options.output, extensions, inputs};
}

std::string textOf(const Picture& picture, const GraphOptions& options) {
  if (options.is_json) {
    JsonWriter json(2);
    startOutput("graph", json);
    writeGraph(picture, json);
    return json.endObject().taken() + '\n';
  }
  const std::string dot = dotOf(picture, options.is_dark);
  return options.format == "dot" ? dot : drawn(dot, options.format);
}

void checkUse(const GraphOptions& options) {
  if (!options.coverage.empty() && !options.rings.empty()) {
    throw UsageError("counts come from rings or from files of trxctl coverage, not from both");
  }
  if (options.files.empty() && options.rings.empty()) {
    throw UsageError("FILE is required: a table, or a ring with what ran");
  }
  if (options.is_json && !options.format.empty()) {
    throw UsageError("--json has a format of its own, without --format");
  }
}

int graphTables(GraphOptions options) {
  sortFiles(options);
  checkUse(options);
  options.format = options.format.empty() ? formatOf(options.output.path) : options.format;
  if (!options.is_json && options.format != "dot" && options.output.path.empty()) {
    return fail("a picture needs a file to be written to: add -o FILE." + options.format);
  }
  options.files = namedFiles(options.files);
  const OutputFile output = outputOf(options);
  const Configured found = configured();
  Picture picture;
  picture.names = namesOf(options.files);
  picture.tables = readTables(options.files, found.tables);
  if (picture.tables.flows.empty()) {
    return fail(
        "which tables? Name files, or the system root of the host, whose configuration names them, "
        "with --root");
  }
  picture.descriptions = hapsOf(found.modules).descriptions;
  if (!options.coverage.empty()) {
    addCoverage(options, picture);
  } else if (!options.rings.empty()) {
    if (const int status = addRuns(options, picture); status != kExitOk) {
      return status;
    }
  }
  const std::string text = textOf(picture, options);
  if (output) {
    output.write(text);
  } else {
    std::cout << text;
  }
  return kExitOk;
}

void describeGraph(CommandOptions& command) {
  auto options = std::make_shared<GraphOptions>();
  command.texts(options->files,
                {"FILE",
                 "Table files or names of configured tables; rings, or files of trxctl coverage, "
                 "for how often rows ran and failed"});
  command.text(
      options->format,
      {"--format", "Pictures need Graphviz; without it as the file of -o is named, else dot",
       "FORMAT", kFormats});
  command.flag(options->is_dark, {"--dark", "Light on dark"});
  command.json(options->is_json);
  addOutputOptions(
      command, options->output,
      {"-o,--output", "Where to write; else standard output, which takes no picture", "FILE"});
  addFilterOptions(command, options->requests);
  command.run([options] { return graphTables(*options); });
}

const RegisteredCommand kGraphCommand(
    {"graph", Group::kTables, "Draws the flow of tables and of the tables that they call",
     "A legend tells what colours and arrows mean. Called tables are looked for among the "
     "files and in the configuration. With a ring, the "
     "tables may be left out: what ran is drawn, by the configuration.",
     "selftest.csv rails.csv -o selftest.svg", "the graph is written", ""},
    describeGraph);

}  // namespace
}  // namespace kw::trx::tools
