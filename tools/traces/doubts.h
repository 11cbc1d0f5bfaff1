// SPDX-License-Identifier: Apache-2.0
// Trace records that the engine cannot have written so, as their ring was damaged, and lost ones.
#ifndef KW_TRX_TOOLS_TRACES_DOUBTS_H_
#define KW_TRX_TOOLS_TRACES_DOUBTS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "kw/platform.h"

namespace kw::trx::tools {

/// What makes `record` doubtful, as in "its level is not that of its id"; null when nothing does. A
/// changed value that might as well be right is not found out. Any thread.
const char* doubtOf(const kw::platform::TraceRecord& record);

/// A sentence each on how many records of a ring are doubtful and could not be read, if any.
std::vector<std::string> lossWords(std::uint64_t doubtful, std::uint64_t lost);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACES_DOUBTS_H_
