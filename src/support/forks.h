// SPDX-License-Identifier: Apache-2.0
// Tells a process from the children that a fork made of it.
#ifndef KW_TRX_SUPPORT_FORKS_H_
#define KW_TRX_SUPPORT_FORKS_H_

namespace kw::trx::trx {

/// How many forks lie between the process that loaded the library and this one, modulo 256. A
/// child made without the handlers of `fork` (`_Fork`, `clone`) is not told from its parent.
unsigned char forksBefore();

}  // namespace kw::trx::trx

#endif  // KW_TRX_SUPPORT_FORKS_H_
