// SPDX-License-Identifier: Apache-2.0
#include "simulator/simulated_haps.h"

#include <stdexcept>

#include "kw/trx/errors.h"
#include "zqm_trx/hap_stand_in.h"
#include "zqm_trx/module_key.h"

namespace kw::trx::tools {
namespace {

ChooseOutcome chosen_by = nullptr;
std::string called;  // the HAP that runs next: a HAP function is not told its name

constexpr int kFailed = 1;

int runSimulated(trx::TRXInfo* info, const char* /*mode*/, const unsigned int* /*para*/,
                 unsigned int* /*out*/) {
  const HAPOutcome outcome = chosen_by(*info, called);
  switch (outcome.kind) {
    case HAPOutcome::Kind::kSuccess:
      return 0;
    case HAPOutcome::Kind::kFailure:
      if (outcome.code != 0) {
        const auto bytes = static_cast<unsigned int>(outcome.detail.size() * sizeof(unsigned int));
        info->error.setHAPError(outcome.code, outcome.detail.data(), bytes);
      }
      return kFailed;
    case HAPOutcome::Kind::kThrow:
      break;
  }
  if (outcome.code != 0) {
    throw trx::TRXException(outcome.code);
  }
  throw std::runtime_error("thrown by a simulated HAP");
}

trx::HAPFunction findSimulated(const std::string& name) {
  if (chosen_by == nullptr || trx::keyOfHAP(name).empty()) {
    return nullptr;  // without a key no module can have it
  }
  called = name;
  return runSimulated;
}

}  // namespace

void simulateHAPs(ChooseOutcome choose) { chosen_by = choose; }

}  // namespace kw::trx::tools

kw::trx::trx::HAPFunction zqm_trx_stand_in(const std::string& name) {
  return kw::trx::tools::findSimulated(name);
}
