// SPDX-License-Identifier: Apache-2.0
#include "engine/engine_start.h"

#include "configuration/board_copy.h"
#include "configuration/configuration.h"
#include "engine/failure_reason.h"
#include "kw/trx/trx.h"
#include "kw/trx/trx_config.h"
#include "modules/module_file.h"
#include "trace/codes.h"
#include "trace/record_collector.h"

namespace kw::trx::tools {
namespace {

/// An API object that does nothing.
class QuietAPI : public hapapi::HAPAPI {
 public:
  void beginHAPExec(trx::TRXInfo*) override {}
  void endHAPExec(trx::TRXInfo*) override {}
  unsigned int getTraceClass() override { return 8; }
};

/// Why a configured module cannot run in this process; empty: all can, as far as files tell.
std::string platformProblem() {
  for (const std::string& file : trx::TRXConfig::getInstance().getHAPModuleFiles()) {
    const std::string platform = inspectModule(file).other_platform;
    if (!platform.empty()) {
      return std::string("the module ")
          .append(file)
          .append(" needs the platform library ")
          .append(platform)
          .append(
              ", and this tool runs modules on its own stand-in for one alone; run the request in "
              "a host, which trxctl record records");
    }
  }
  return {};
}

}  // namespace

std::string startEngine(bool with_debug_modules) {
  const BoardCopy copy;  // the engine loads the configuration again
  const std::string problem = loadConfiguration();
  if (!problem.empty()) {
    return problem + "; name the system root with --root, and see trxctl config";
  }
  std::string platform_problem = platformProblem();
  if (!platform_problem.empty()) {
    return platform_problem;
  }
  if (trx::TRXConfig::getInstance().isExclusionControl()) {
    trx::TRX::startUp();
  }
  RecordCollector collector(kw::platform::kTraceAll);
  trx::TRX* engine = trx::TRX::getInstance();
  try {
    engine->load(with_debug_modules);
  } catch (const trx::TRXException& exception) {
    const CodeText* text = findCode(exception.getCode());
    return exceptionText(exception.getCode()) + loadFailureText(collector.taken()) +
           (text == nullptr ? "" : std::string("\n  ") + text->advice);
  }
  engine->setHAPAPI(new QuietAPI);
  return {};
}

}  // namespace kw::trx::tools
