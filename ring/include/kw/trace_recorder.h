/* SPDX-License-Identifier: Apache-2.0 */
/* The recorder, libzqm_trx_recorder.so: it defines kw_trace_write, keeps each record in a ring file
 * that trxctl reads, and passes it on to the kw_trace_write of the platform, which comes behind it
 * in the order of the libraries. Link it before the platform library, or preload it. From C and
 * C++.
 *
 * Without a call of these, a program that is started with these in its environment has a ring:
 *   ZQM_TRX_RECORD_FILE   path of the ring file, absolute or from the folder the program starts in
 *   ZQM_TRX_RECORD_SIZE   number of records that the ring has room for; 65536 without it
 *   ZQM_TRX_RECORD_LEVEL  error, info, debug or debug2: records of this level and graver ones;
 *                         debug2 without it
 * The file is made when the recorder is loaded or, in a program without a platform library at that
 * time, at its first record. It never takes the place of another file: then, as when it cannot be
 * made, a line on standard error says so, and nothing is recorded. Programs that the program starts
 * have the same environment; the one that writes the first record gets the file. */
#ifndef KW_TRACE_RECORDER_H_
#define KW_TRACE_RECORDER_H_

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Levels of records, as bits. */
#define ZQM_TRX_RECORD_ERROR 1u
#define ZQM_TRX_RECORD_INFO 2u
#define ZQM_TRX_RECORD_DEBUG 4u
#define ZQM_TRX_RECORD_DEBUG2 8u
#define ZQM_TRX_RECORD_ALL 15u

/* Makes the ring file `file` with room for at least `records` records, 1 to 16777216, and keeps all
 * records of `levels` in it from now on, instead of in the ring opened before. A regular file of
 * that name is replaced when `replace` is not 0; else it is refused (EEXIST). Returns 0, or -1 with
 * `errno` set and the ring opened before still in use: EINVAL for what is no regular file, and for
 * a number out of range; EFBIG when the process may not write files of that size. Any thread may
 * call it. */
__attribute__((visibility("default"))) int zqm_trx_recorder_open(const char* file, size_t records,
                                                                 unsigned int levels, int replace);

/* Ends the recording of this process, when no record is being stored any more; the file stays, and
 * records still go to the platform. Any thread may call it. */
__attribute__((visibility("default"))) void zqm_trx_recorder_close(void);

#ifdef __cplusplus
}
#endif

#endif /* KW_TRACE_RECORDER_H_ */
