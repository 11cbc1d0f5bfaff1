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
#include <set>
#include <sstream>

#include "kw/trx/file_path.h"
#include "tablefile/words.h"
#include "trxctl/commands.h"
#include "trxctl/configuration.h"

extern char** environ;

namespace kw::trx::trxctl {
namespace {

constexpr char kUnreached[] = "color=grey fontcolor=grey";
constexpr char kOnError[] = "color=red style=dashed";
constexpr char kCall[] = "color=blue style=dotted";

struct GraphOptions {
  std::vector<std::string> files;
  std::string format;  ///< empty: as the extension of `output` tells
  std::string output;
};

/// `text` as the language of Graphviz writes it.
std::string dotText(const std::string& text) {
  std::string out = "\"";
  for (const char c : text) {
    const bool special = c == '"' || c == '\\' || c == '\n';
    out += special ? std::string("\\") + (c == '\n' ? 'n' : c) : std::string(1, c);
  }
  return out + '"';
}

/// Writes tables in the language of Graphviz.
class GraphWriter {
 public:
  explicit GraphWriter(const KnownTables& tables) : tables_(tables) {}

  /// The tables called `names` and those that they call.
  std::string write(const std::vector<std::string>& names) {
    out_ << "digraph tables {\n  node [shape=box fontname=\"sans-serif\" fontsize=10]\n"
            "  edge [fontname=\"sans-serif\" fontsize=9]\n";
    for (const std::string& name : names) {
      add(name);
    }
    out_ << calls_.str() << "}\n";
    return out_.str();
  }

 private:
  static std::string node(const std::string& table, const std::string& place) {
    return dotText(table + ":" + place);
  }

  static std::string node(const std::string& table, std::size_t place) {
    return node(table, std::to_string(place));
  }

  void add(const std::string& name) {
    if (!added_.insert(name).second) {
      return;
    }
    const auto found = tables_.flows.find(name);
    if (found == tables_.flows.end()) {
      const bool is_refused = tables_.refused.count(name) != 0;
      out_ << "  " << node(name, 0) << " [label="
           << dotText(name + (is_refused ? "\nnot loaded by the engine" : "\nnot among the files"))
           << " style=dashed]\n";
      return;
    }
    const TableFlow& flow = found->second;
    const std::vector<bool> reached = flow.reached(true);
    out_ << "  subgraph " << dotText("cluster " + name) << " {\n    label=" << dotText(name)
         << '\n';
    for (std::size_t at = 0; at < flow.rows.size(); ++at) {
      writeRow(flow, at, reached[at]);
    }
    out_ << "  }\n";
    for (std::size_t at = 0; at < flow.rows.size(); ++at) {
      const FlowRow& row = flow.rows[at];
      if (row.command == trx::kCommandTable && !row.name.empty()) {
        calls_ << "  " << node(name, at) << " -> " << node(row.name, 0) << " [" << kCall
               << " label=\"calls\"]\n";
        add(row.name);
      }
    }
  }

  void writeRow(const TableFlow& flow, std::size_t at, bool reached) {
    const FlowRow& row = flow.rows[at];
    const bool end = row.command == trx::kCommandEnd;
    std::string label = row.number + "  " + row.command;
    for (const std::string& part : {row.name, row.mode, row.para}) {
      label += part.empty() ? "" : " " + part;
    }
    if (!row.label.empty()) {
      label = row.label + "\n" + label;
    }
    out_ << "    " << node(flow.name, at) << " [label=" << dotText(label)
         << (end ? " shape=ellipse" : "") << (end && !row.name.empty() ? " color=red" : "")
         << (reached ? "" : std::string(" ") + kUnreached) << "]\n";
    const bool last = end || (row.command == trx::kCommandTable && row.name.empty());
    if (!last) {
      writeEdge(node(flow.name, at), node(flow.name, at + 1), reached ? "" : kUnreached, row);
    }
    if (row.jump >= 0) {
      out_ << "    " << node(flow.name, at) << " -> "
           << node(flow.name, static_cast<std::size_t>(row.jump)) << " ["
           << (reached ? kOnError : kUnreached) << " label=\"error\"]\n";
    } else if (row.endsOnError()) {
      const std::string failed = node(flow.name, std::to_string(at) + " error");
      out_ << "    " << failed << " [label=\"\" shape=point "
           << (reached ? "color=red" : kUnreached) << "]\n    " << node(flow.name, at) << " -> "
           << failed << " [" << (reached ? kOnError : kUnreached) << " label=\"error end\"]\n";
    }
  }

  void writeEdge(const std::string& from, const std::string& to, const std::string& style,
                 const FlowRow& row) {
    const bool mode = row.command == trx::kCommandHAP && row.jump < 0 && !row.error.empty();
    out_ << "    " << from << " -> " << to << (style.empty() ? "" : " [" + style + "]")
         << (mode ? " [label=" + dotText(row.error) + "]" : "") << '\n';
  }

  const KnownTables& tables_;
  std::set<std::string> added_;
  std::ostringstream out_, calls_;
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

/// "svg" or "png" when the name of the file ends so, in any letter case; else "dot".
std::string formatOf(const std::string& output) {
  trx::FilePath extension(std::filesystem::path(output).extension().string());
  extension.toLower();
  return extension.value == ".svg" ? "svg" : extension.value == ".png" ? "png" : "dot";
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
      return fail(file + ": the engine does not load this table; trxctl check tells why");
    }
    names.push_back(flow.name);
  }
  std::optional<std::vector<std::string>> modules;
  const KnownTables tables = readTables(options.files, configuredTables(modules));
  const std::string graph = GraphWriter(tables).write(names);
  return options.format == "dot" ? writeText(graph, options.output) : draw(graph, options);
}

}  // namespace

void addGraphCommand(CLI::App& app, int& status) {
  auto options = std::make_shared<GraphOptions>();
  CLI::App* command = addCommand(
      app, "graph", "Draws the flow of tables and of the tables that they call",
      "Red dashed arrows are errors, blue dotted ones calls; rows that nothing reaches are grey.\n"
      "Called tables are looked for among the files and in the configuration.\n"
      "Example: trxctl graph selftest.csv rails.csv -o selftest.svg\n"
      "Exit status: 0 the graph is written; 2 it is not.");
  command->add_option("FILE", options->files, "Table files")->required();
  command
      ->add_option("--format", options->format,
                   "dot, or with Graphviz svg or png; else as the file of -o is named, or dot")
      ->check(CLI::IsMember({"dot", "svg", "png"}));
  command
      ->add_option("-o,--output", options->output,
                   "Where to write; else standard output, which takes no picture")
      ->type_name("FILE");
  command->callback([options, &status] { status = graphTables(*options); });
}

}  // namespace kw::trx::trxctl
