// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/hap_api_expand_data.h"

namespace kw::trx::hapapi {

HAPAPIExpandData::HAPAPIExpandData() = default;
HAPAPIExpandData::~HAPAPIExpandData() = default;

}  // namespace kw::trx::hapapi
