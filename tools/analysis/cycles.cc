// SPDX-License-Identifier: Apache-2.0
#include "analysis/cycles.h"

#include <algorithm>

namespace kw::trx::tools {
namespace {

class ComponentFinder {
 public:
  explicit ComponentFinder(const Activation& activation)
      : activation_(activation),
        order_(activation.steps.size(), 0),
        low_(order_.size(), 0),
        is_open_(order_.size()) {}

  std::vector<std::vector<std::size_t>> find() {
    visit(activation_.first());
    return components_;
  }

 private:
  struct Frame {
    std::size_t state;
    std::size_t next;  ///< of its steps
  };

  /// Depth first from `first`, without recursion: tables may have any number of rows.
  void visit(std::size_t first) {
    std::vector<Frame> frames;
    enter(first, frames);
    while (!frames.empty()) {
      Frame& frame = frames.back();
      const auto& steps = activation_.steps[frame.state];
      if (frame.next < steps.size()) {
        const Step& step = steps[frame.next++];
        if (step.to >= 0) {
          follow(frame.state, static_cast<std::size_t>(step.to), frames);
        }
        continue;
      }
      const std::size_t state = frame.state;
      frames.pop_back();
      if (low_[state] == order_[state]) {
        close(state);
      }
      if (!frames.empty()) {
        low_[frames.back().state] = std::min(low_[frames.back().state], low_[state]);
      }
    }
  }

  void enter(std::size_t state, std::vector<Frame>& frames) {
    order_[state] = low_[state] = ++count_;
    open_.push_back(state);
    is_open_[state] = true;
    frames.push_back({state, 0});
  }

  void follow(std::size_t from, std::size_t to, std::vector<Frame>& frames) {
    if (order_[to] == 0) {
      enter(to, frames);
    } else if (is_open_[to]) {
      low_[from] = std::min(low_[from], order_[to]);
    }
  }

  void close(std::size_t root) {
    components_.emplace_back();
    for (std::size_t state = root + 1; state != root;) {
      state = open_.back();
      open_.pop_back();
      is_open_[state] = false;
      components_.back().push_back(state);
    }
  }

  const Activation& activation_;
  std::vector<std::size_t> order_, low_;
  std::vector<bool> is_open_;
  std::vector<std::size_t> open_;
  std::size_t count_ = 0;
  std::vector<std::vector<std::size_t>> components_;
};

}  // namespace

std::vector<std::vector<std::size_t>> componentsOf(const Activation& activation) {
  return ComponentFinder(activation).find();
}

}  // namespace kw::trx::tools
