// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/trx_info.h"

namespace kw::trx::trx {

HAPCtlInfo::HAPCtlInfo(std::vector<kw::sysobj::Component*>& units, const std::string& hap_name,
                       const std::string& mode, const unsigned int* para, unsigned int* out,
                       bool err_disable)
    : unit_list_(&units),
      hap_name_(&hap_name),
      mode_(&mode),
      para_(para),
      out_(out),
      err_disable_(err_disable) {}

HAPCtlInfo::~HAPCtlInfo() = default;

void HAPCtlInfo::getUnitList(std::vector<kw::sysobj::Component*>& out) const {
  if (unit_list_ != nullptr) {
    out = *unit_list_;
  }
}

}  // namespace kw::trx::trx
