// SPDX-License-Identifier: Apache-2.0
// HAPs of the measuring converter.
#include <cstring>

#include "board.h"
#include "kw/trx/hap.h"
#include "kw/trx/hap_description.h"

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

ZQM_HAP_ABOUT(ADC_Measure, "Measures a rail");
ZQM_HAP_RESULT(ADC_Measure, 0, "voltage", "mV");
ZQM_HAP_ERROR(ADC_Measure, 0x20002, "the units name no rail");
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

ZQM_HAP_ABOUT(ADC_Expect, "Fails unless a rail has a voltage between two limits");
ZQM_HAP_PARA(ADC_Expect, 0, "lowest voltage", "mV", 0, 6000);
ZQM_HAP_PARA(ADC_Expect, 1, "highest voltage", "mV", 0, 6000);
ZQM_HAP_ERROR(ADC_Expect, 0x20002, "the units name no rail");
ZQM_HAP_ERROR(ADC_Expect, 0x20003, "the voltage is out of its limits");
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

// As a broken converter would, with a block of data from its driver.
ZQM_HAP_ABOUT(ADC_Calibrate, "Calibrates the converter, which has no reference and fails");
ZQM_HAP_ERROR(ADC_Calibrate, 0x40001, "the converter is broken");
ZQM_HAP(ADC_Calibrate) {
  char report[] = "no reference voltage";
  info->error.setAPIError(report, sizeof(report));
  info->error.setErrCode(demo::kErrorConverter);
  return 1;
}
