// SPDX-License-Identifier: Apache-2.0
// Export marker of the engine library: everything without it stays hidden.
#ifndef KW_TRX_EXPORT_H_
#define KW_TRX_EXPORT_H_

#define ZQM_TRX_API __attribute__((visibility("default")))

#endif  // KW_TRX_EXPORT_H_
