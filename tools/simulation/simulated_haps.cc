// SPDX-License-Identifier: Apache-2.0
#include "simulation/simulated_haps.h"

#include <stdexcept>

#include "kw/trx/errors.h"
#include "kw/trx/trx_info.h"
#include "zqm_trx/module_key.h"

namespace kw::trx::tools {
namespace {

/// A HAP function gets no object: the one that the engine has.
SimulatedHAPs* installed = nullptr;

constexpr int kFailed = 1;

}  // namespace

SimulatedHAPs::SimulatedHAPs(Choose choose) : choose_(std::move(choose)) { installed = this; }

trx::HAPFunction SimulatedHAPs::findHAP(const std::string& name) {
  if (trx::keyOfHAP(name).empty()) {
    return nullptr;  // no module can have it
  }
  name_ = name;
  return call;
}

int SimulatedHAPs::call(trx::TRXInfo* info, const char* /*mode*/, const unsigned int* /*para*/,
                        unsigned int* /*out*/) {
  const HAPOutcome outcome = installed->choose_(*info, installed->name_);
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

}  // namespace kw::trx::tools
