// SPDX-License-Identifier: Apache-2.0
// Base class of the HAP API object that a host installs in the engine.
#ifndef KW_TRX_HAPAPI_HAPAPI_H_
#define KW_TRX_HAPAPI_HAPAPI_H_

#include "kw/export.h"

namespace kw::trx::trx {
class TRXInfo;
}  // namespace kw::trx::trx

namespace kw::trx::hapapi {

/// What the engine notifies around the outermost HAP of a request. One object serves all requests,
/// so its operations are called from several threads at once.
class KW_PLATFORM_API HAPAPI {
 public:
  HAPAPI() = default;
  HAPAPI(const HAPAPI&) = delete;
  HAPAPI& operator=(const HAPAPI&) = delete;
  virtual ~HAPAPI();

  /// Called just before the outermost HAP of `info` runs. What it throws fails the request, and
  /// the HAP is not called.
  virtual void beginHAPExec(trx::TRXInfo* info) = 0;

  /// Called just after that HAP returned or threw; not when `beginHAPExec` threw.
  virtual void endHAPExec(trx::TRXInfo* info) = 0;

  /// The trace class number of the records that HAPs write through their product trace.
  virtual unsigned int getTraceClass() = 0;
};

}  // namespace kw::trx::hapapi

#endif  // KW_TRX_HAPAPI_HAPAPI_H_
