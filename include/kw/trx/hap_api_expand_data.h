// SPDX-License-Identifier: Apache-2.0
// Base of the data that hosts and HAP modules hang on a context.
#ifndef KW_TRX_HAP_API_EXPAND_DATA_H_
#define KW_TRX_HAP_API_EXPAND_DATA_H_

#include "kw/trx/export.h"

namespace kw::trx::hapapi {

/// Derive from it and attach the object with `TRXInfo::setHAPAPIExpandData`; the context then owns
/// it. An object whose class lives in a module must be gone before the next load closes the module.
class ZQM_TRX_API HAPAPIExpandData {
 public:
  HAPAPIExpandData();
  HAPAPIExpandData(const HAPAPIExpandData&) = delete;
  HAPAPIExpandData& operator=(const HAPAPIExpandData&) = delete;
  virtual ~HAPAPIExpandData();
};

}  // namespace kw::trx::hapapi

#endif  // KW_TRX_HAP_API_EXPAND_DATA_H_
