// SPDX-License-Identifier: Apache-2.0
#include "commands/request_rules.h"

#include <iostream>
#include <stdexcept>

#include "command_line/ring_reading.h"
#include "command_line/text_output.h"
#include "common/characters.h"
#include "common/json.h"
#include "replay/recorded_rules.h"

namespace kw::trx::tools {
namespace {

void printRules(const RecordedRules& result) {
  for (const RecordedRules::Broken& broken : result.broken) {
    std::cout << paint(Colour::kRed, "broken") << ' ' << broken.request << ' '
              << visible(broken.message) << '\n';
  }
  for (const std::string& problem : result.not_judged) {
    std::cout << paint(Colour::kYellow, "not judged") << ' ' << visible(problem) << '\n';
  }
  for (const std::string& rule : result.not_recorded) {
    std::cout << paint(Colour::kYellow, "not judged") << " rule " << rule
              << ": records tell neither words of HAPs nor messages of tables\n";
  }
  for (const std::string& rule : result.untested) {
    std::cout << paint(Colour::kYellow, "open") << " no request puts the rule " << rule
              << " to the test\n";
  }
  std::cout << result.judged << " requests judged, rules broken " << result.broken.size()
            << " times\n";
}

void printRulesJson(const RecordedRules& result) {
  JsonWriter json{2};
  startOutput("requests", json);
  json.key("judged").number(result.judged).key("broken").beginArray();
  for (const RecordedRules::Broken& broken : result.broken) {
    json.beginObject().member("request", broken.request).member("rule", broken.rule);
    json.member("message", broken.message).endObject();
  }
  json.endArray().texts("notJudged", result.not_judged).texts("notRecorded", result.not_recorded);
  std::cout << json.texts("untested", result.untested).endObject().taken() << '\n';
}

}  // namespace

int showRules(const std::vector<std::string>& rings, const std::string& rules, bool json) {
  const CaseFile file = readCaseFile(rules);
  if (!file.findings.empty()) {
    throw std::runtime_error(rules + ": " + file.findings[0].message + "; see trxctl check");
  }
  if (file.rules.empty()) {
    throw std::runtime_error(rules + ": it has no rules");
  }
  RequestRecording recording(0);
  RequestReader reader(recording);
  if (const int opened = openRings(rings, reader); opened != kExitOk) {
    return opened;
  }
  if (const int status = readRings(reader, rings, false); status != kExitOk) {
    return status;
  }
  const RecordedRules result = judgeRecorded(file.rules, recording.results());
  if (json) {
    printRulesJson(result);
  } else {
    printRules(result);
  }
  return result.broken.empty() ? kExitOk : kExitFindings;
}

}  // namespace kw::trx::tools
