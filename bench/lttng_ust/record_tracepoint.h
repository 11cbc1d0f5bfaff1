/* SPDX-License-Identifier: Apache-2.0
 * A record of LTTng-UST with what a record of the trace facility holds: four words under a number.
 * Time stamp, process and thread id are the tracer's. LTTng includes this file several times. */
#undef LTTNG_UST_TRACEPOINT_PROVIDER
#define LTTNG_UST_TRACEPOINT_PROVIDER zqm_trx_bench

#undef LTTNG_UST_TRACEPOINT_INCLUDE
#define LTTNG_UST_TRACEPOINT_INCLUDE "record_tracepoint.h"

#if !defined(BENCH_LTTNG_UST_RECORD_TRACEPOINT_H_) || \
    defined(LTTNG_UST_TRACEPOINT_HEADER_MULTI_READ)
#define BENCH_LTTNG_UST_RECORD_TRACEPOINT_H_

#include <lttng/tracepoint.h>
#include <stdint.h>

/* clang-format off */
LTTNG_UST_TRACEPOINT_EVENT(
    zqm_trx_bench, record,
    LTTNG_UST_TP_ARGS(uint32_t, id, const uint32_t*, words),
    LTTNG_UST_TP_FIELDS(
        lttng_ust_field_integer(uint32_t, id, id)
        lttng_ust_field_array(uint32_t, words, words, 4)))
/* clang-format on */

#endif

#include <lttng/tracepoint-event.h>
