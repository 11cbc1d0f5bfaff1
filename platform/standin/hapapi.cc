// SPDX-License-Identifier: Apache-2.0
// Home of the HAP API class's table of virtual operations and type information.
#include "kw/trx/hapapi/hapapi.h"

namespace kw::trx::hapapi {

HAPAPI::~HAPAPI() = default;

}  // namespace kw::trx::hapapi
