// SPDX-License-Identifier: Apache-2.0
// How the host of the truth test steers the HAPs of module TRU: it attaches this to each context.
#ifndef KW_TRX_TESTS_TRUTH_STEERING_H_
#define KW_TRX_TESTS_TRUTH_STEERING_H_

#include "kw/trx/hap.h"

namespace kw::trx::truth {

struct Steering : hapapi::HAPAPIExpandData {
  /// What the HAP `name` does, on the thread that runs it. `mode` is null for none.
  virtual int run(trx::TRXInfo* info, const char* name, const char* mode) = 0;
};

/// One HAP has a name in Latin-1, as editors of old boards write them.
constexpr char kLatinHAP[] = "TRU_\xe9tat";
constexpr const char* kHAPNames[] = {"TRU_A", "TRU_B", "TRU_C", "TRU_D", "TRU_E", kLatinHAP};

}  // namespace kw::trx::truth

#endif  // KW_TRX_TESTS_TRUTH_STEERING_H_
