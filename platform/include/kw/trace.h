// SPDX-License-Identifier: Apache-2.0
// The platform's trace facility, as its writers see it.
#ifndef KW_TRACE_H_
#define KW_TRACE_H_

#include "kw/export.h"

extern "C" {

/// Writes one trace record: `length` bytes at `data` under the message number `id`. `level` is
/// 0x8002 (error), 0x8001 (info), 0x801 (debug) or 0x1 (debug2); any other counts as an error. Null
/// `data` and a negative `length` make a record without data. Neither blocks nor allocates. Returns
/// 0 when the record was taken or filtered, -1 when it could not be stored. Any thread may call it
/// at any time; while there is no listener, a signal handler may too.
KW_PLATFORM_API int kw_trace_write(unsigned long region, unsigned int level,
                                   unsigned short trace_class, unsigned long id, const void* data,
                                   int length);

}  // extern "C"

#endif  // KW_TRACE_H_
