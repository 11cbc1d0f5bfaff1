// SPDX-License-Identifier: Apache-2.0
// What the HAPs of a module say of themselves.
#ifndef KW_TRX_TOOLS_MODULES_DESCRIPTIONS_H_
#define KW_TRX_TOOLS_MODULES_DESCRIPTIONS_H_

#include <cstdint>
#include <map>
#include <string>

namespace kw::trx::tools {

struct DescribedPara {
  std::string name;
  std::string unit;  ///< empty: none
  std::uint32_t least, most;
};

struct DescribedResult {
  std::string name;
  std::string unit;  ///< empty: none
};

/// The description of one HAP. What is not in it, the HAP does not take, give or report. Its texts
/// are made visible; modes, as names of HAPs, are as the module has them.
struct HAPDescription {
  std::string about;
  std::map<std::uint32_t, DescribedPara> paras;      ///< by word, from 0
  std::map<std::string, std::string> modes;          ///< by MODE; empty: none is told
  std::map<std::uint32_t, DescribedResult> results;  ///< by word, from 0
  std::map<std::uint32_t, std::string> errors;       ///< by error code
};

/// Descriptions by HAP.
using HAPDescriptions = std::map<std::string, HAPDescription>;

/// Reads the section of a module file that holds its descriptions. Records that cannot be read, of
/// a later version or damaged, are counted in `unreadable`.
HAPDescriptions descriptionsFrom(const std::string& section, std::size_t& unreadable);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_MODULES_DESCRIPTIONS_H_
