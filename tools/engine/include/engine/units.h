// SPDX-License-Identifier: Apache-2.0
// Units as words name them.
#ifndef KW_TRX_TOOLS_ENGINE_UNITS_H_
#define KW_TRX_TOOLS_ENGINE_UNITS_H_

#include <memory>
#include <string>
#include <vector>

#include "kw/sysobj/component.h"

namespace kw::trx::tools {

/// What is wrong with a unit written as TYPE:NO or TYPE:NO:PATH, the names in PATH parted by "/";
/// empty when nothing is.
std::string unitProblem(const std::string& text);

/// Units with the objects above them.
class Units {
 public:
  /// `texts`: such as `unitProblem` takes. Throws `std::invalid_argument` with the problem.
  explicit Units(const std::vector<std::string>& texts);

  std::vector<kw::sysobj::Component*>& list() { return list_; }

 private:
  void add(const std::string& text);

  std::vector<std::unique_ptr<kw::sysobj::Component>> owned_;
  std::vector<kw::sysobj::Component*> list_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_ENGINE_UNITS_H_
