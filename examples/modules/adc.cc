// SPDX-License-Identifier: Apache-2.0
// HAPs of the measuring converter.
#include <cstring>

#include "board.h"
#include "kw/trx/hap.h"

// Measures the rail that the units name. out[0]: millivolts, 0 while the rail is off.
ZQM_HAP(ADC_Measure) {
  const int channel = kw::trx::trx::get_sbc_ch_value(info);
  if (channel < 0 || channel >= demo::kRails) {
    const auto detail = static_cast<unsigned int>(channel);
    info->error.setHAPError(demo::kErrorUnit, &detail, sizeof(detail));
    return 1;
  }
  const demo::Board& board = demo::boardOf(info);
  const auto rail = static_cast<std::size_t>(channel);
  if (out != nullptr) {
    out[0] = board.enabled[rail] ? board.set_mv[rail] : 0;
  }
  return 0;
}

// Fails as a broken converter would, with a block of data from its driver.
ZQM_HAP(ADC_Calibrate) {
  char report[] = "no reference voltage";
  info->error.setAPIError(report, sizeof(report));
  info->error.setErrCode(demo::kErrorConverter);
  return 1;
}
