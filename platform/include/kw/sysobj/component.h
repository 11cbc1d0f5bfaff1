// SPDX-License-Identifier: Apache-2.0
// The platform's system objects, which HAP units are.
#ifndef KW_SYSOBJ_COMPONENT_H_
#define KW_SYSOBJ_COMPONENT_H_

#include <string>

#include "kw/export.h"

namespace kw::sysobj {

class TreePath;

/// One object of the system tree. It holds a plain pointer to its parent, which must outlive it.
/// Immutable, so any thread may read it.
class KW_PLATFORM_API Component {
 public:
  /// An object of the type number `type`, the `no`-th of its type, called `name`; `parent` null
  /// makes it a root.
  Component(int type, int no, std::string name, const Component* parent = nullptr);
  virtual ~Component();

  /// The type number. Resource masks know 300, 301, 302 and 303.
  int getType() const;

  /// The number of the object within its type.
  int getNo() const;

  /// Makes `path` describe the place of this object in the system tree.
  void getTreePath(TreePath& path) const;

 private:
  int type_;
  int no_;
  std::string name_;
  const Component* parent_;
};

}  // namespace kw::sysobj

#endif  // KW_SYSOBJ_COMPONENT_H_
