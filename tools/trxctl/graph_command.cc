// SPDX-License-Identifier: Apache-2.0
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>

#include "common/paths.h"
#include "configuration/configuration.h"
#include "coverage/graph_counts.h"
#include "kw/trx/file_path.h"
#include "tables/graph.h"
#include "trxctl/commands.h"
#include "trxctl/text_output.h"

extern char** environ;

namespace kw::trx::tools {
namespace {

/// The first one is text, the others are pictures.
const std::vector<std::string> kFormats = {"dot", "svg", "png", "pdf"};

struct GraphOptions {
  std::vector<std::string> files;
  std::string format;  ///< empty: as the extension of `output` tells
  std::string output;
  std::string coverage;
};

/// Lets `dot` draw `graph` into `output`.
int draw(const std::string& graph, const GraphOptions& options) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
  if (file == nullptr || std::fputs(graph.c_str(), file.get()) < 0) {
    return fail(std::string("a temporary file: ") + std::strerror(errno));
  }
  std::rewind(file.get());
  const std::string type = "-T" + options.format;
  const std::string output = "-o" + options.output;
  const char* const arguments[] = {"dot", type.c_str(), output.c_str(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fileno(file.get()), STDIN_FILENO);
  pid_t child = 0;
  const int error =
      posix_spawnp(&child, "dot", &actions, nullptr, const_cast<char* const*>(arguments), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error == ENOENT) {
    return fail(
        "dot, which draws pictures, is not installed: apt-get install graphviz, or print "
        "the graph with --format dot");
  }
  int status = 0;
  const bool ended = error == 0 && waitpid(child, &status, 0) == child;
  return ended && status == 0 ? kExitOk : fail("dot failed to draw " + options.output);
}

int writeText(const std::string& graph, const std::string& output) {
  if (output.empty()) {
    std::cout << graph;
    return kExitOk;
  }
  std::ofstream file(output);
  file << graph;
  file.close();
  return file.fail() ? fail(output + ": " + std::strerror(errno)) : kExitOk;
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

int graphTables(GraphOptions options) {
  options.format = options.format.empty() ? formatOf(options.output) : options.format;
  if (options.format != "dot" && options.output.empty()) {
    return fail("a picture needs a file to be written to: add -o FILE." + options.format);
  }
  std::vector<std::string> names;
  TableFlow flow;
  for (const std::string& file : options.files) {
    if (!readFlow(file, flow)) {
      const std::string hint = nearFileHint(file);
      return fail(file + ": the engine does not load this table" +
                  (hint.empty() ? "; trxctl check tells why" : hint));
    }
    names.push_back(flow.name);
  }
  std::optional<std::vector<std::string>> modules;
  const KnownTables tables = readTables(options.files, configuredTables(modules));
  GraphCounts counts;
  if (!options.coverage.empty()) {
    counts = graphCountsOf(tables.flows, readCoverage(options.coverage));
  }
  const std::string graph = graphOf(tables, names, counts);
  return options.format == "dot" ? writeText(graph, options.output) : draw(graph, options);
}

}  // namespace

void addGraphCommand(CommandLine& line) {
  auto options = std::make_shared<GraphOptions>();
  Command command = line.add(
      "graph", "Draws the flow of tables and of the tables that they call",
      "Red dashed arrows are errors, blue dotted ones calls; rows that nothing reaches are grey.\n"
      "Called tables are looked for among the files and in the configuration.\n"
      "Example: trxctl graph selftest.csv rails.csv -o selftest.svg\n"
      "Exit status: 0 the graph is written; 2 it is not.");
  command.texts(options->files, {"FILE", "Table files", "", {}, true});
  command.text(
      options->format,
      {"--format", "dot, or with Graphviz svg, png or pdf; else as the file of -o is named, or dot",
       "", kFormats});
  command.text(
      options->output,
      {"-o,--output", "Where to write; else standard output, which takes no picture", "FILE"});
  command.text(
      options->coverage,
      {"--coverage", "Colour what has run, by a file of trxctl coverage, and count it", "FILE"});
  command.run([options] { return graphTables(*options); });
}

}  // namespace kw::trx::tools
