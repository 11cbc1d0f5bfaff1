// SPDX-License-Identifier: Apache-2.0
// Built without sanitizers, as those allocate before they work.
#include "short_memory.h"

#include <cerrno>
#include <cstddef>
#include <new>

// The allocator below this one: under a sanitizer its own.
#ifdef ZQM_TRX_SANITIZED
#define BELOW(function) __interceptor_##function
#else
#define BELOW(function) __libc_##function
#endif

extern "C" {
void* BELOW(malloc)(std::size_t size);
void* BELOW(calloc)(std::size_t count, std::size_t size);
void* BELOW(realloc)(void* block, std::size_t size);
void* BELOW(memalign)(std::size_t alignment, std::size_t size);
void BELOW(free)(void* block);
}

namespace kw::trx::testing {

thread_local Shortage shortage;

namespace {

long living = 0;

void* counted(void* block) {
  if (block != nullptr) __atomic_add_fetch(&living, 1, __ATOMIC_RELAXED);
  return block;
}

void uncount(const void* block) {
  if (block != nullptr) __atomic_sub_fetch(&living, 1, __ATOMIC_RELAXED);
}

bool mustFail() {
  if (shortage.left < 0 || shortage.left-- != 0) return false;
  if (shortage.lasting) shortage.left = 0;
  shortage.felt = true;
  errno = ENOMEM;
  return true;
}

}  // namespace

long livingBlocks() { return __atomic_load_n(&living, __ATOMIC_RELAXED); }

}  // namespace kw::trx::testing

using kw::trx::testing::counted;
using kw::trx::testing::mustFail;
using kw::trx::testing::uncount;

extern "C" {

void* malloc(std::size_t size) { return mustFail() ? nullptr : counted(BELOW(malloc)(size)); }

void* calloc(std::size_t count, std::size_t size) {
  return mustFail() ? nullptr : counted(BELOW(calloc)(count, size));
}

void* realloc(void* block, std::size_t size) {
  if (mustFail()) return nullptr;
  void* const moved = BELOW(realloc)(block, size);
  const bool kept = moved == nullptr && size != 0;
  if (!kept) uncount(block);
  return counted(moved);
}

void* memalign(std::size_t alignment, std::size_t size) {
  return mustFail() ? nullptr : counted(BELOW(memalign)(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) { return memalign(alignment, size); }

int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  void* const made = memalign(alignment, size);
  if (made == nullptr) return ENOMEM;
  *block = made;
  return 0;
}

void free(void* block) {
  uncount(block);
  BELOW(free)(block);
}

}  // extern "C"

// Those of a sanitizer do not come here by themselves.
void* operator new(std::size_t size) {
  void* const block = malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* block) noexcept { free(block); }
void operator delete[](void* block) noexcept { free(block); }
void operator delete(void* block, std::size_t) noexcept { free(block); }
void operator delete[](void* block, std::size_t) noexcept { free(block); }
