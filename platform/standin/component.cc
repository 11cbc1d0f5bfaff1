// SPDX-License-Identifier: Apache-2.0
#include "kw/sysobj/component.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "kw/sysobj/tree_path.h"

namespace kw::sysobj {

Component::Component(int type, int no, std::string name, const Component* parent)
    : type_(type), no_(no), name_(std::move(name)), parent_(parent) {}

Component::~Component() = default;

int Component::getType() const { return type_; }

int Component::getNo() const { return no_; }

void Component::getTreePath(TreePath& path) const {
  std::vector<std::string> names;
  for (const Component* object = this; object != nullptr; object = object->parent_) {
    names.push_back(object->name_);
  }
  std::reverse(names.begin(), names.end());
  path.names_ = std::move(names);
}

}  // namespace kw::sysobj
