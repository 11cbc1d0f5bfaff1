// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>

#include "command_line/command_line.h"
#include "commands/request_run.h"
#include "commands/run_json.h"
#include "commands/run_output.h"
#include "common/text.h"
#include "engine/failure_reason.h"
#include "engine/units.h"
#include "kw/trx/trx.h"
#include "trace/record_collector.h"

namespace kw::trx::tools {
namespace {

/// Room for the result words of a HAP, which says nowhere how many it writes.
constexpr std::size_t kResultWords = 1024;
/// A HAP says nowhere how many words it reads either: after those given stand zeros.
constexpr std::size_t kMinParaWords = 64;

struct HAPOptions : RequestOptions {
  std::string mode;
  std::vector<std::string> para;
  std::size_t results = 0;
};

std::string wordProblem(const std::string& text) {
  return wordNumber(text) ? std::string()
                          : "'" + text + "' is no word of 32 bits; write it as 3300 or 0xce4";
}

std::vector<unsigned int> wordsOf(const std::vector<std::string>& texts) {
  std::vector<unsigned int> words;
  words.reserve(std::max(texts.size(), kMinParaWords));
  for (const std::string& text : texts) {
    words.push_back(wordNumber(text).value_or(0));
  }
  words.resize(std::max(words.size(), kMinParaWords));
  return words;
}

/// How many result words are shown: those `wanted`, or up to the last that is not 0.
std::size_t shownOf(const std::vector<unsigned int>& results, std::size_t wanted) {
  std::size_t shown = wanted;
  for (std::size_t i = 0; i < results.size() && wanted == 0; ++i) {
    shown = results[i] != 0 ? i + 1 : shown;
  }
  return shown;
}

void printResults(const std::vector<unsigned int>& results, std::size_t wanted) {
  for (std::size_t i = 0; i < shownOf(results, wanted); ++i) {
    std::cout << "  result word " << i << ": " << hexText(results[i]) << " (" << results[i]
              << ")\n";
  }
}

void write(const RunReport& report, const std::vector<unsigned int>& results,
           const HAPOptions& options) {
  if (!options.json) {
    printRun(report);
    printResults(results, options.results);
    return;
  }
  JsonWriter json(2);
  startOutput("hap", json);
  writeRun(report, json);
  json.key("results").beginArray();
  for (std::size_t i = 0; i < shownOf(results, options.results); ++i) {
    json.number(results[i]);
  }
  std::cout << json.endArray().endObject().taken() << '\n';
}

int runHAP(const HAPOptions& options) {
  Units units(options.units);
  if (!beginRun(options)) {
    return kExitFailed;
  }
  trx::TRXInfo info;
  std::vector<unsigned int> results(kResultWords);
  const std::vector<unsigned int> words = wordsOf(options.para);
  const unsigned int* para = options.para.empty() ? nullptr : words.data();
  RowEvents rows(info, {});
  const RecordCollector collector(
      kw::platform::kTraceAll, [&](const kw::platform::TraceRecord& record) { rows.take(record); });
  const auto call = [&] {
    trx::TRX::getInstance()->execHAP(&info, units.list(), options.name, options.mode, para,
                                     results.data());
  };
  const RunReport report = runRequest(info, options, {call, {}, {}}, rows);
  write(report, results, options);
  return statusOf(report);
}

void describeHAP(CommandOptions& command) {
  auto options = std::make_shared<HAPOptions>();
  options->kind = RequestKind::kHAP;
  addRequestOptions(command, *options, "The HAP");
  command.text(options->mode, {"--mode", "The mode text", "TEXT"});
  command.texts(
      options->para,
      {"--para", "A parameter word, such as 3300 or 0xce4", "WORD", {}, false, wordProblem});
  command.number(
      options->results,
      {"--results", "How many result words to print; else those up to the last that is not 0",
       "COUNT"},
      1, kResultWords);
  command.run([options] { return runApart(*options, [options] { return runHAP(*options); }); });
}

const RegisteredCommand kHAPCommand(
    {"hap", Group::kRequests, "Runs one HAP on the configured modules",
     "A HAP that relies on data which its host hangs on the context cannot be run this way. "
     "Without --para the HAP gets no parameter words; else zeros follow those given, to 64. It "
     "runs in a process of its own: a crash is told with its signal and the last records.",
     "PSU_SetVoltage --root /opt/board --unit 300:2 --para 3300", "the HAP succeeded", "it failed",
     "it crashed", "write --para @ for a parameter word"},
    describeHAP);

}  // namespace
}  // namespace kw::trx::tools
