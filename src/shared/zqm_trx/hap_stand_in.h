// SPDX-License-Identifier: Apache-2.0
// HAPs that stand in for those of modules, in tests and simulations.
#ifndef KW_TRX_SHARED_HAP_STAND_IN_H_
#define KW_TRX_SHARED_HAP_STAND_IN_H_

#include <string>

#include "kw/trx/hap_controller.h"
#include "kw/trx/hapapi/hapapi.h"

namespace kw::trx::trx {

/// An API object that is asked for each HAP before the modules are. The engine knows it by its type
/// when it is installed by `TRX::setHAPAPI`.
class HAPStandIn : public hapapi::HAPAPI {
 public:
  /// The function to run as the HAP `name`; null: that of its module. The same thread calls the
  /// function right afterwards, or not at all. Called by the threads of all requests.
  virtual HAPFunction findHAP(const std::string& name) = 0;

  void beginHAPExec(TRXInfo* /*info*/) override {}
  void endHAPExec(TRXInfo* /*info*/) override {}
  unsigned int getTraceClass() override { return kTraceClass; }

 private:
  static constexpr unsigned int kTraceClass = 9;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_SHARED_HAP_STAND_IN_H_
