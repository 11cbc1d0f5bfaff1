// SPDX-License-Identifier: Apache-2.0
// Takes the place of the allocator of the C library, for the whole process, and lets allocations
// fail.
#ifndef KW_TRX_TESTS_FAULT_SHORT_MEMORY_H_
#define KW_TRX_TESTS_FAULT_SHORT_MEMORY_H_

namespace kw::trx::testing {

/// Which allocations of a thread fail.
struct Shortage {
  long left = -1;        ///< allocations until one fails; negative: none does
  bool lasting = false;  ///< all behind that one fail too
  bool felt = false;     ///< becomes true when one has failed
};
extern thread_local Shortage shortage;

/// Number of blocks that are allocated now, by all threads.
long livingBlocks();

}  // namespace kw::trx::testing

#endif  // KW_TRX_TESTS_FAULT_SHORT_MEMORY_H_
