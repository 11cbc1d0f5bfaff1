// SPDX-License-Identifier: Apache-2.0
// Whether a trace ring can be written.
#ifndef KW_TRX_TOOLS_DOCTOR_RING_PLACE_H_
#define KW_TRX_TOOLS_DOCTOR_RING_PLACE_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace kw::trx::tools {

/// Size in bytes of the file of a ring for so many records, at most 2^24.
std::uint64_t ringFileBytes(std::size_t records);

/// Why this user cannot make a ring of so many records there, in words; empty: it can.
std::string ringProblem(const std::string& file, std::size_t records);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_DOCTOR_RING_PLACE_H_
