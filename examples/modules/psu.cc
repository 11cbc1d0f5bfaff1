// SPDX-License-Identifier: Apache-2.0
// HAPs of the supply rails. A rail is a unit of type 300; its number is its channel.
#include <string>
#include <vector>

#include "board.h"
#include "kw/trx/hap.h"
#include "kw/trx/hap_controller.h"
#include "kw/trx/hap_description.h"
#include "kw/trx/trx.h"

namespace {

constexpr unsigned int kMaxMillivolts = 5500;

/// The rail that the units name, or -1 after the failure is recorded.
int railOf(kw::trx::trx::TRXInfo* info) {
  const int channel = kw::trx::trx::get_sbc_ch_value(info);
  if (channel < 0 || channel >= demo::kRails) {
    const auto detail = static_cast<unsigned int>(channel);
    info->error.setHAPError(demo::kErrorUnit, &detail, sizeof(detail));
    return -1;
  }
  return channel;
}

void runNested(kw::trx::trx::TRXInfo* info, const std::string& name, const unsigned int* para) {
  std::vector<kw::sysobj::Component*> units;
  info->getHAPUnitList(units);
  kw::trx::trx::TRX::getInstance()->getHAPController()->execHAP(info, units, name, "", para,
                                                                nullptr, false);
}

}  // namespace

ZQM_HAP_ABOUT(PSU_SetVoltage, "Sets the voltage of a rail");
ZQM_HAP_PARA(PSU_SetVoltage, 0, "voltage", "mV", 0, 5500);
ZQM_HAP_ERROR(PSU_SetVoltage, 0x20001, "the voltage is above the limit of the rail");
ZQM_HAP_ERROR(PSU_SetVoltage, 0x20002, "the units name no rail");
ZQM_HAP(PSU_SetVoltage) {
  const int rail = railOf(info);
  if (rail < 0 || para == nullptr) {
    return 1;
  }
  if (para[0] > kMaxMillivolts) {
    const unsigned int detail[] = {static_cast<unsigned int>(rail), para[0], kMaxMillivolts};
    info->error.setHAPError(demo::kErrorVoltage, detail, sizeof(detail));
    std::vector<kw::sysobj::Component*> units;
    info->getHAPUnitList(units);
    info->error.addErrUnitList(units);
    return 1;
  }
  demo::boardOf(info).set_mv[static_cast<std::size_t>(rail)] = para[0];
  return 0;
}

ZQM_HAP_ABOUT(PSU_Enable, "Switches a rail on or off");
ZQM_HAP_MODE(PSU_Enable, "", "on");
ZQM_HAP_MODE(PSU_Enable, "off", "off");
ZQM_HAP_ERROR(PSU_Enable, 0x20002, "the units name no rail");
ZQM_HAP(PSU_Enable) {
  const int rail = railOf(info);
  if (rail < 0) {
    return 1;
  }
  const bool off = mode != nullptr && std::string(mode) == "off";
  demo::boardOf(info).enabled[static_cast<std::size_t>(rail)] = !off;
  return 0;
}

ZQM_HAP_ABOUT(PSU_PowerUp, "Sets the voltage of a rail and switches it on");
ZQM_HAP_PARA(PSU_PowerUp, 0, "voltage", "mV", 0, 5500);
ZQM_HAP_ERROR(PSU_PowerUp, 0x20001, "the voltage is above the limit of the rail");
ZQM_HAP_ERROR(PSU_PowerUp, 0x20002, "the units name no rail");
ZQM_HAP(PSU_PowerUp) {
  runNested(info, "PSU_SetVoltage", para);
  runNested(info, "PSU_Enable", nullptr);
  return 0;
}
