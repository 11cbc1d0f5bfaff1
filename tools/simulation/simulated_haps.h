// SPDX-License-Identifier: Apache-2.0
// HAPs that do what a run chooses for them.
#ifndef KW_TRX_TOOLS_SIMULATION_SIMULATED_HAPS_H_
#define KW_TRX_TOOLS_SIMULATION_SIMULATED_HAPS_H_

#include <functional>
#include <string>

#include "simulation/outcome.h"
#include "zqm_trx/hap_stand_in.h"

namespace kw::trx::tools {

/// Stands in for every HAP whose name has a module key. One object in a process.
class SimulatedHAPs : public trx::HAPStandIn {
 public:
  /// What the HAP `name` does that a row of `info` calls.
  using Choose = std::function<HAPOutcome(const trx::TRXInfo& info, const std::string& name)>;

  explicit SimulatedHAPs(Choose choose);
  trx::HAPFunction findHAP(const std::string& name) override;

 private:
  static int call(trx::TRXInfo* info, const char* mode, const unsigned int* para,
                  unsigned int* out);

  const Choose choose_;
  std::string name_;  // of the HAP that is called next
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_SIMULATION_SIMULATED_HAPS_H_
