// SPDX-License-Identifier: Apache-2.0
// Whether all is there that a host on this machine needs.
#ifndef KW_TRX_TOOLS_DOCTOR_DIAGNOSIS_H_
#define KW_TRX_TOOLS_DOCTOR_DIAGNOSIS_H_

#include <cstddef>
#include <string>
#include <vector>

namespace kw::trx::tools {

/// One thing that was looked at.
struct Diagnosis {
  enum class Verdict { kGood, kWarning, kError };

  Verdict verdict;
  std::string subject;  ///< such as "lock"
  std::string message;  ///< what was found
  std::string remedy;   ///< what to do; empty when it is good
};

struct DiagnosisRequest {
  std::string version;           ///< of the tool
  std::string ring;              ///< file that the host writes its trace into; empty: none
  std::size_t ring_records = 0;  ///< that it is to have room for
};

/// Looks at versions, configuration, modules, tables, lock and ring, in this order. Changes nothing
/// and runs no module.
std::vector<Diagnosis> examine(const DiagnosisRequest& request);

/// "ok", "warning" or "error".
const char* nameOf(Diagnosis::Verdict verdict);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_DOCTOR_DIAGNOSIS_H_
