// SPDX-License-Identifier: Apache-2.0
// HAPs that stand in for those of modules, in tests and simulations.
#ifndef KW_TRX_SHARED_HAP_STAND_IN_H_
#define KW_TRX_SHARED_HAP_STAND_IN_H_

#include <string>

#include "kw/trx/hap_controller.h"

extern "C" {

/// The function to run as the HAP `name`; null: that of its module. The engine calls it when the
/// program defines it, and runs the function on the same thread right afterwards, or not at all.
/// Called by the threads of all requests. Hosts do not define it.
__attribute__((weak, visibility("default"))) kw::trx::trx::HAPFunction zqm_trx_stand_in(
    const std::string& name);

}  // extern "C"

#endif  // KW_TRX_SHARED_HAP_STAND_IN_H_
