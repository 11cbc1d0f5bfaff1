// SPDX-License-Identifier: Apache-2.0
// HAPs of the measuring converter.
#include <cstring>

#include "board.h"
#include "kw/trx/hap.h"

namespace {

/// Measures the rail that the units name, in millivolts, 0 while it is off. False after the failure
/// is recorded.
bool measure(kw::trx::trx::TRXInfo* info, unsigned int& millivolts) {
  const int channel = kw::trx::trx::get_sbc_ch_value(info);
  if (channel < 0 || channel >= demo::kRails) {
    const auto detail = static_cast<unsigned int>(channel);
    info->error.setHAPError(demo::kErrorUnit, &detail, sizeof(detail));
    return false;
  }
  const demo::Board& board = demo::boardOf(info);
  const auto rail = static_cast<std::size_t>(channel);
  millivolts = board.enabled[rail] ? board.set_mv[rail] : 0;
  return true;
}

}  // namespace

// Measures a rail. out[0]: millivolts.
ZQM_HAP(ADC_Measure) {
  unsigned int millivolts = 0;
  if (!measure(info, millivolts)) {
    return 1;
  }
  if (out != nullptr) {
    out[0] = millivolts;
  }
  return 0;
}

// Fails unless a rail has para[0] to para[1] millivolts.
ZQM_HAP(ADC_Expect) {
  unsigned int millivolts = 0;
  if (para == nullptr || !measure(info, millivolts)) {
    return 1;
  }
  if (millivolts < para[0] || millivolts > para[1]) {
    const unsigned int detail[] = {millivolts, para[0], para[1]};
    info->error.setHAPError(demo::kErrorMeasured, detail, sizeof(detail));
    return 1;
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
