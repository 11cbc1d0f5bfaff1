/* SPDX-License-Identifier: Apache-2.0
 * The one header of a HAP module: begins the definition of a HAP, and in C++ declares what a HAP
 * asks its context for and reports to it. A HAP that runs further HAPs includes hap_controller.h
 * and trx.h as well. */
#ifndef KW_TRX_HAP_H_
#define KW_TRX_HAP_H_

#ifdef __cplusplus
#include "kw/trx/errors.h"
#include "kw/trx/hap_api_expand_data.h"
#include "kw/trx/trx_info.h"
#include "kw/trx/unit_functions.h"

#define ZQM_HAP_LINKAGE extern "C"
#define ZQM_HAP_CONTEXT kw::trx::trx::TRXInfo
#else
/* C sees a context as an address to pass on. */
struct kw_trx_info;
#define ZQM_HAP_LINKAGE
#define ZQM_HAP_CONTEXT struct kw_trx_info
#endif

#define ZQM_HAP_SIGNATURE(name)                                                                \
  int name(                                                                                    \
      ZQM_HAP_CONTEXT* info __attribute__((unused)), const char* mode __attribute__((unused)), \
      const unsigned int* para __attribute__((unused)), unsigned int* out __attribute__((unused)))

/* Begins the definition of the HAP `name`, which is the upper-case module key, "_" and the function
 * part: ZQM_HAP(PSU_Enable) { ...; return 0; } in libzq_hap_psu.so. The body has
 *   info  the context of the request, never null;
 *   mode  the mode text, null when the caller gave none;
 *   para  the caller's parameter words, null when there are none; their number is not passed;
 *   out   the caller's result area, null when there is none, as in a table row;
 * and returns 0 for success. Before it returns another value it records its error in info->error. A
 * HAP runs on the requester's thread, and for several requests at once. */
#define ZQM_HAP(name)                                                             \
  ZQM_HAP_LINKAGE __attribute__((visibility("default"))) ZQM_HAP_SIGNATURE(name); \
  ZQM_HAP_LINKAGE ZQM_HAP_SIGNATURE(name)

#endif /* KW_TRX_HAP_H_ */
