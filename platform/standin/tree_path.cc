// SPDX-License-Identifier: Apache-2.0
#include "kw/sysobj/tree_path.h"

namespace kw::sysobj {

TreePath::TreePath() = default;

TreePath::~TreePath() = default;

std::string TreePath::toString() const {
  std::string text;
  const char* separator = "";
  for (const std::string& name : names_) {
    text += separator;
    text += name;
    separator = "/";
  }
  return text;
}

}  // namespace kw::sysobj
