// SPDX-License-Identifier: Apache-2.0
// What the HAPs of module TBL do: a test attaches it to its context.
#ifndef KW_TRX_TESTS_TABLE_MODULES_SCRIPT_H_
#define KW_TRX_TESTS_TABLE_MODULES_SCRIPT_H_

#include <functional>
#include <string>

#include "kw/trx/hap.h"

namespace kw::trx::testing {

struct Script : hapapi::HAPAPIExpandData {
  /// Gives the result of the HAP. The mode is "null" for a null mode.
  using Function = std::function<int(trx::TRXInfo*, const std::string&, const unsigned int*)>;
  Function run;
};

}  // namespace kw::trx::testing

#endif  // KW_TRX_TESTS_TABLE_MODULES_SCRIPT_H_
