// SPDX-License-Identifier: Apache-2.0
// The place of a system object in the system tree.
#ifndef KW_SYSOBJ_TREE_PATH_H_
#define KW_SYSOBJ_TREE_PATH_H_

#include <string>
#include <vector>

#include "kw/export.h"

namespace kw::sysobj {

class Component;

/// The names from the root of the tree down to one object. Not synchronised.
class KW_PLATFORM_API TreePath {
 public:
  /// An empty path.
  TreePath();
  ~TreePath();

  /// The names from the root on, joined with "/"; empty text for an empty path.
  std::string toString() const;

 private:
  friend class Component;

  std::vector<std::string> names_;
};

}  // namespace kw::sysobj

#endif  // KW_SYSOBJ_TREE_PATH_H_
