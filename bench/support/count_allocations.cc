// SPDX-License-Identifier: Apache-2.0
#include "support/count_allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace bench {
namespace {
std::atomic<long> counted{0};
}  // namespace

long allocations() { return counted; }

}  // namespace bench

// The other forms of the C++ library end in this one.
void* operator new(std::size_t size) {
  bench::counted.fetch_add(1, std::memory_order_relaxed);
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
