// SPDX-License-Identifier: Apache-2.0
// What every command does with the record of the table that it runs in. A HAP that empties its
// context takes the record away; the driver then ends the run, and the commands only have to
// survive.
#ifndef KW_TRX_TABLE_CURRENT_TABLE_H_
#define KW_TRX_TABLE_CURRENT_TABLE_H_

#include "kw/trx/table_driver.h"
#include "kw/trx/trx_info.h"

namespace kw::trx::trx {

/// Lets the current table of `info` go on at `index`, and returns `index`.
inline int goOnAt(TRXInfo* info, int index) {
  TblCtlInfo* current = info->getCurTblCtlInfo();
  if (current != nullptr) {
    current->index = index;
  }
  return index;
}

/// Lets the current table of `info` end with error, and returns the index that ends it.
inline int endWithError(TRXInfo* info) {
  TblCtlInfo* current = info->getCurTblCtlInfo();
  if (current != nullptr) {
    current->errEnd = true;
  }
  return goOnAt(info, -1);
}

}  // namespace kw::trx::trx

#endif  // KW_TRX_TABLE_CURRENT_TABLE_H_
