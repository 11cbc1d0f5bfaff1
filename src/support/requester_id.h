// SPDX-License-Identifier: Apache-2.0
// Who calls: the process and thread behind a trace record.
#ifndef KW_TRX_SUPPORT_REQUESTER_ID_H_
#define KW_TRX_SUPPORT_REQUESTER_ID_H_

namespace kw::trx::trx {

/// The value of `TRX::getTRXID` for the calling thread. Makes system calls only the first time in a
/// thread, and after a fork.
unsigned int requesterId();

}  // namespace kw::trx::trx

#endif  // KW_TRX_SUPPORT_REQUESTER_ID_H_
