// SPDX-License-Identifier: Apache-2.0
// What a running HAP can make of its units: a resource mask and a channel number.
#ifndef KW_TRX_UNIT_FUNCTIONS_H_
#define KW_TRX_UNIT_FUNCTIONS_H_

#include "kw/trx/export.h"
#include "kw/trx/trx_info.h"

namespace kw::trx::trx {

/// The resource mask of the units of the HAP that runs on `info`: unit number n sets bit n for type
/// 301, n + 16 for type 300, n + 32 for type 302 and n + 40 for type 303; a bit outside 0 to 63 is
/// left out. 0 without units. A unit of another type gives all ones and sets the API return value
/// of the running HAP to -1.
ZQM_TRX_API unsigned long long get_rsc_bit(TRXInfo* info);

/// The channel of the lowest bit of that mask, or -1 for a unit of another type. Without units it
/// is the channel of bit 64, which is 48.
ZQM_TRX_API int get_sbc_ch_value(TRXInfo* info);

/// The channel of resource bit `value`: `value` - 16 above 15, otherwise `value`.
ZQM_TRX_API int rsc_value_to_sbc_ch_value(int value);

}  // namespace kw::trx::trx

#endif  // KW_TRX_UNIT_FUNCTIONS_H_
