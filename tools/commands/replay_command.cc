// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <iostream>
#include <memory>

#include "cases/case_run.h"
#include "cases/case_words.h"
#include "cases/case_writer.h"
#include "command_line/command_line.h"
#include "command_line/output_file.h"
#include "command_line/ring_reading.h"
#include "command_line/text_output.h"
#include "common/characters.h"
#include "common/json.h"
#include "common/paths.h"
#include "common/text.h"
#include "common/times.h"
#include "configuration/configuration.h"
#include "replay/replay.h"
#include "replay/request_recording.h"
#include "table/environment.h"
#include "table/named_files.h"
#include "trace/selection.h"

namespace kw::trx::tools {
namespace {

constexpr int kIndent = 2;

/// What no record tells of any request.
constexpr char kNeverTold[] =
    "traces do not tell what HAPs were given (PARA) and gave back, nor the message of a table";

struct ReplayOptions {
  std::string ring, request;
  OutputOptions output;
  std::vector<std::string> tables;
  bool json = false;
};

std::string idOf(const RecordedRequest& recorded) {
  return requestText(recorded.request.id, recorded.request.number);
}

std::string endText(const ExpectedEnd& end) {
  return end.kind == ExpectedEnd::Kind::kOk      ? "ok"
         : end.kind == ExpectedEnd::Kind::kError ? "error"
                                                 : "exception that is not the engine's";
}

const char* endingOf(bool has_succeeded) {
  return nameOf(has_succeeded ? Ending::kSucceeded : Ending::kFailed);
}

std::string rowsText(std::size_t rows) {
  return std::to_string(rows) + (rows == 1 ? " row" : " rows");
}

std::string stepText(const std::vector<RecordedRow>& rows, std::size_t step) {
  return step < rows.size() ? visible(rows[step].name() + " " + rows[step].action()) : "the end";
}

/// The last row that both ran, with what its HAP did; empty: there is none.
std::string lastCommonText(const RecordedRequest& request, std::size_t step) {
  if (step == 0) {
    return {};
  }
  const RecordedRow& row = request.rows[step - 1];
  return row.name() + " " + row.action() + (row.callsHAP() ? ": " + textOf(row.outcome) : "");
}

/// The files of the case as they are found from its folder.
std::vector<std::string> filesFrom(const std::string& output,
                                   const std::vector<std::string>& files) {
  const auto folder = std::filesystem::path(absolutePath(output)).parent_path();
  std::vector<std::string> names;
  for (const std::string& file : files) {
    const std::filesystem::path whole = absolutePath(file);
    const std::filesystem::path near = whole.lexically_relative(folder);
    names.push_back((near.empty() || *near.begin() == ".." ? whole : near).string());
  }
  return names;
}

std::string caseText(const ReplayOptions& options, const RecordedRequest& request,
                     const TableFlows& tables) {
  const std::string name =
      "request " + idOf(request) + " of " + localMicrosText(request.request.start_ns);
  std::string text = tablesRows(
      filesFrom(options.output.path, filesFor(request.request.name, tables)), request.nest_limit);
  for (const std::string& note : request.notes) {
    text += commentRow(note);
  }
  for (const std::string& unit : request.request.units) {
    text += commentRow("a HAP worked on unit " + unit + ", whose type and number are not told");
  }
  return text + caseRows(caseOf(request, name), request.request.name);
}

std::string failingText(const RecordedRequest& request) {
  const RecordedRow* const row = request.firstFailing();
  return row == nullptr ? kFirstNone : row->ran.row.text();
}

std::string failingText(const Replay& replay) {
  const std::optional<RowId>& row = replay.run.record.first_failing;
  return row ? row->text() : kFirstNone;
}

void printDifferences(const RecordedRequest& request, const Replay& replay) {
  std::cout << paint(Colour::kRed, "the replay differs") << ": " << rowsText(replay.rows.size())
            << ", end: " << endText(replay.run) << '\n';
  if (replay.first_difference) {
    const std::size_t step = *replay.first_difference;
    const std::string behind = lastCommonText(request, step);
    std::cout << "step " << step + 1 << ": " << stepText(replay.rows, step) << "; recorded "
              << stepText(request.rows, step) << (behind.empty() ? "" : "; behind " + behind)
              << '\n';
  }
  if (!replay.same_failing) {
    std::cout << "first failing row: " << failingText(replay) << "; recorded "
              << failingText(request) << '\n';
  }
}

void print(const RecordedRequest& request, const Replay& replay) {
  std::cout << "request " << idOf(request) << " of process " << request.request.process_id << ", "
            << localMicrosText(request.request.start_ns) << ": table " << request.request.name;
  for (std::size_t i = 0; i < request.request.units.size(); ++i) {
    std::cout << (i == 0 ? " on " : ", ") << request.request.units[i];
  }
  std::cout << ", " << rowsText(request.rows.size()) << ", end: " << endText(request.end) << '\n';
  if (replay.isSame()) {
    std::cout << paint(Colour::kGreen, "the replay runs the same rows to the same end") << '\n';
  } else {
    printDifferences(request, replay);
  }
  const auto list = [](const char* what, const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
      std::cout << what << ": " << line << '\n';
    }
  };
  list("changed", replay.changed);
  list("assumed", replay.assumed);
  list("note", request.notes);
  std::cout << "note: " << kNeverTold << '\n';
}

void writeRows(JsonWriter& json, const std::vector<RecordedRow>& rows, bool with_outcomes) {
  json.key("rows").beginArray();
  for (const RecordedRow& row : rows) {
    write(row.ran.row, json.beginObject().key("row"));
    json.member("action", row.action());
    if (with_outcomes && row.callsHAP()) {
      json.member("outcome", textOf(row.outcome));
    }
    json.endObject();
  }
  json.endArray();
}

void printJson(const RecordedRequest& request, const Replay& replay, const std::string& text) {
  JsonWriter json(kIndent);
  startOutput("replay", json);
  json.member("request", hexText(request.request.id));
  json.key("requestNumber").number(request.request.number);
  writeTime("start", request.request.start_ns, json);
  json.key("process").number(request.request.process_id);
  json.member("table", request.request.name).texts("units", request.request.units);
  json.key("same").boolean(replay.isSame());
  json.key("recorded").beginObject();
  json.member("ending", endingOf(request.end.kind == ExpectedEnd::Kind::kOk));
  json.member("message", endText(request.end));
  const RecordedRow* const row = request.firstFailing();
  write(row == nullptr ? std::nullopt : std::optional<RowId>(row->ran.row),
        json.key("firstFailingRow"));
  writeRows(json, request.rows, true);
  json.endObject().key("replayed").beginObject();
  json.member("ending", endingOf(replay.run.failure.empty()));
  json.member("message", endText(replay.run));
  write(replay.run.record.first_failing, json.key("firstFailingRow"));
  writeRows(json, replay.rows, false);
  json.endObject();
  if (replay.first_difference) {
    json.key("firstDifference").number(*replay.first_difference + 1);
  }
  json.texts("changed", replay.changed).texts("assumed", replay.assumed);
  json.texts("notes", request.notes).member("case", text);
  std::cout << json.endObject().taken() << '\n';
}

int replayRequest(ReplayOptions options) {
  options.tables = tableFilesOf(options.tables);
  std::vector<std::string> inputs = options.tables;
  inputs.push_back(options.ring);
  const OutputFile output(options.output, {".csv"}, inputs);
  const auto wanted = *requestOf(options.request);
  RequestRecording recording(wanted.first, wanted.second);
  RequestReader reader(recording);
  if (const int opened = openRings({options.ring}, reader); opened != kExitOk) {
    return opened;
  }
  if (const int status = readRings(reader, {options.ring}, false); status != kExitOk) {
    return status;
  }
  const RecordedRequest request = recording.result();
  const KnownTables known = readTables(options.tables, configured().tables);
  for (const std::string& file : options.tables) {
    TableFlow flow;
    if (!readFlow(file, flow)) {
      return fail(file + ": the engine does not load it; see trxctl check");
    }
  }
  if (known.flows.count(request.request.name) == 0) {
    return fail("table " + request.request.name +
                " of the request is neither among the files nor in a "
                "configuration" +
                tableHint(request.request.name, known.names()));
  }
  std::vector<std::string> files;
  for (const auto& [name, flow] : known.flows) {
    files.push_back(flow.file);
  }
  const Simulator simulator(files, request.nest_limit);
  const Replay result = replay(request, simulator);
  const std::string text = caseText(options, request, simulator.tables());
  if (options.json) {
    printJson(request, result, text);
  } else if (!output.isStandardOutput()) {
    print(request, result);
  }
  if (output) {
    output.write(text);
  }
  return result.isSame() ? kExitOk : kExitFindings;
}

void describeReplay(CommandOptions& command) {
  auto options = std::make_shared<ReplayOptions>();
  command.text(options->ring, {"RING", "Trace ring", "", {}, true});
  addTables(command, options->tables);
  command.text(options->request, {"--request",
                                  "The request to run, as trxctl requests shows it",
                                  "ID[.N]",
                                  {},
                                  true,
                                  requestIdProblem});
  addOutputOptions(command, options->output, {"-o,--output", "Write it as a case file", "FILE"});
  command.json(options->json);
  command.run([options] { return replayRequest(*options); });
}

const RegisteredCommand kReplayCommand(
    {"replay", Group::kRequests,
     "Runs a table request of a trace ring again, with HAPs that do what they did",
     "Tells whether the simulation runs the same rows to the same end, or what an edited table "
     "does otherwise. Tables are those given, and of others those of the configuration.",
     "trace.ring --tables rails.csv --request 0x12671267.12", "the table runs the same",
     "it differs", "", "write --tables @ for a table"},
    describeReplay);

}  // namespace
}  // namespace kw::trx::tools
