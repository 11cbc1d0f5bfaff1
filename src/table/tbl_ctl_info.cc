// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/table_driver.h"

namespace kw::trx::trx {

TblCtlInfo::TblCtlInfo(const std::string& table_name,
                       const std::vector<kw::sysobj::Component*>& units)
    : tableName(table_name), unitList(units) {}

TblCtlInfo::~TblCtlInfo() = default;

}  // namespace kw::trx::trx
