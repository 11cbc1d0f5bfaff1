// SPDX-License-Identifier: Apache-2.0
#include "running/engine_start.h"

#include "configuration/configuration.h"
#include "kw/trx/trx.h"
#include "kw/trx/trx_config.h"
#include "running/failure_reason.h"
#include "traces/codes.h"
#include "traces/record_collector.h"

namespace kw::trx::tools {
namespace {

/// An API object that does nothing.
class QuietAPI : public hapapi::HAPAPI {
 public:
  void beginHAPExec(trx::TRXInfo*) override {}
  void endHAPExec(trx::TRXInfo*) override {}
  unsigned int getTraceClass() override { return 8; }
};

}  // namespace

std::string startEngine(bool with_debug_modules) {
  const std::string problem = loadConfiguration();
  if (!problem.empty()) {
    return problem + "; name the system root with --root, and see trxctl config";
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
