// SPDX-License-Identifier: Apache-2.0
// The object that is asked for HAPs before the modules are.
#ifndef KW_TRX_HAP_STAND_IN_H_
#define KW_TRX_HAP_STAND_IN_H_

#include "kw/trx/hapapi/hapapi.h"

namespace kw::trx::trx {

/// Makes `api` that object when it is one of that type, null or another API object none. Only while
/// no request is in progress, and before the object of before is used by another request.
void setStandIn(hapapi::HAPAPI* api);

}  // namespace kw::trx::trx

#endif  // KW_TRX_HAP_STAND_IN_H_
