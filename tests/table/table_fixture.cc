// SPDX-License-Identifier: Apache-2.0
#include "table_fixture.h"

#include <map>
#include <sstream>
#include <stdexcept>

namespace kw::trx::testing {

std::string recordsOf(const std::string& trail) {
  std::istringstream lines(trail);
  std::string kept;
  for (std::string line; std::getline(lines, line);) {
    const unsigned long trace_class = std::stoul(line.substr(2), nullptr, 16) >> 24;
    kept += trace_class >= 0x9 && trace_class <= 0x12 ? line + "\n" : "";
  }
  return kept;
}

std::string flowOf(const std::string& trail) {
  static const std::map<std::string, std::string> commands = {
      {"10000000", "START"}, {"e000000", "END!"},   {"e000001", "END"},   {"f000000", "HAP"},
      {"d000000", "CHECK"},  {"11000000", "TABLE"}, {"12000000", "WAIT"},
  };
  std::istringstream records(recordsOf(trail));
  std::string flow;
  for (std::string level, id, value, rest; records >> level >> id >> value;) {
    std::getline(records, rest);
    const auto command = commands.find(id);
    flow += flow.empty() ? "" : " ";
    if (command != commands.end()) {
      flow += command->second + rest.substr(1, rest.find(' ', 1) - 1);
    } else {
      flow += id + value;
    }
  }
  return flow;
}

void TableFixture::load(const Tables& tables, const std::string& lines) {
  std::vector<std::string> files;
  for (const auto& [name, rows] : tables) files.push_back(dir.write(name + ".csv", kHead + rows));
  configure({MODULE_TBL}, files, lines);
  start();
}

void TableFixture::follow(trx::TRXInfo& info, Script::Function script) {
  auto* data = new Script;
  data->run = std::move(script);
  delete info.getHAPAPIExpandData();
  info.setHAPAPIExpandData(data);
}

void TableFixture::obeyModes(trx::TRXInfo& info) {
  follow(info, [this](trx::TRXInfo* context, const std::string& mode, const unsigned int*) {
    if (mode == "trx") throw trx::TRXException(0x12345);
    if (mode == "other") throw std::runtime_error("other");
    if (mode == "stop") engine->setStopFlag(true);
    if (mode == "drop") context->releaseTblCtlInfo();
    if (mode != "fail" && mode != "drop") return 0;
    context->error.setErrCode(0x77);
    return 1;
  });
}

std::string TableFixture::run(trx::TRXInfo& info, const std::string& table) {
  return outcomeOf([&] {
    if (table.empty()) {
      engine->execTable(&info);
    } else {
      engine->execTable(&info, units, table);
    }
  });
}

}  // namespace kw::trx::testing
