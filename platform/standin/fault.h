// SPDX-License-Identifier: Apache-2.0
// Asks whether a call was told to fail. Any thread may ask.
#ifndef KW_PLATFORM_STANDIN_FAULT_H_
#define KW_PLATFORM_STANDIN_FAULT_H_

#include "kw/platform.h"

namespace kw::platform {

/// Counts one call of `fault`; true when it is the one that must fail.
bool mustFail(Fault fault) noexcept;

}  // namespace kw::platform

#endif  // KW_PLATFORM_STANDIN_FAULT_H_
