/* SPDX-License-Identifier: Apache-2.0
 * The code that LTTng makes of the record. */
#define LTTNG_UST_TRACEPOINT_CREATE_PROBES
#define LTTNG_UST_TRACEPOINT_DEFINE
#include "record_tracepoint.h"
