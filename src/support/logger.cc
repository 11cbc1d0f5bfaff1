// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/logger.h"

#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>

#include "kw/trace.h"
#include "support/trace.h"

namespace kw::trx::trx {
namespace {

// A record holds 32-bit words on every host; of a wider value they keep the low half.
std::uint32_t toWord(unsigned long value) { return static_cast<std::uint32_t>(value); }
std::uint32_t toWord(int value) { return static_cast<std::uint32_t>(value); }
std::uint32_t toWord(const void* address) {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(address));
}

}  // namespace

KWTrace::KWTrace(unsigned int region, unsigned int trace_class)
    : region_(region), trace_class_(trace_class) {}

KWTrace::~KWTrace() = default;

void KWTrace::setRegionHandle(unsigned int handle) {
  // All threads store the same value all the time: a store only when it changes keeps them from
  // taking the cache line from each other.
  if (region_.load(std::memory_order_relaxed) != handle) {
    region_.store(handle, std::memory_order_relaxed);
  }
}

int KWTrace::write(unsigned int level, unsigned long id, const void* data, int length) const {
  return kw_trace_write(region_.load(std::memory_order_relaxed), level,
                        static_cast<unsigned short>(trace_class_ & 0xffffU), id, data, length);
}

template <typename... Values>
int KWTrace::writeWords(unsigned int level, unsigned long id, Values... values) const {
  const std::array<std::uint32_t, sizeof...(Values)> words = {toWord(values)...};
  return write(level, id, words.data(), static_cast<int>(sizeof(words)));
}

int KWTrace::writeText(unsigned int level, unsigned long id, const char* text) const {
  return write(level, id, text, static_cast<int>(std::strlen(text)) + 1);
}

#define ZQM_TRX_WRITERS(name, level)                                                          \
  int KWTrace::name(unsigned long id, unsigned long v1, unsigned long v2, unsigned long v3,   \
                    unsigned long v4) {                                                       \
    return writeWords(level, id, v1, v2, v3, v4);                                             \
  }                                                                                           \
  int KWTrace::name(unsigned long id, unsigned long v1, unsigned long v2, unsigned long v3,   \
                    unsigned long v4, unsigned long v5, unsigned long v6, unsigned long v7,   \
                    unsigned long v8) {                                                       \
    return writeWords(level, id, v1, v2, v3, v4, v5, v6, v7, v8);                             \
  }                                                                                           \
  int KWTrace::name(unsigned long id, int v1, int v2, int v3, int v4) {                       \
    return writeWords(level, id, v1, v2, v3, v4);                                             \
  }                                                                                           \
  int KWTrace::name(unsigned long id, int v1, int v2, int v3, int v4, int v5, int v6, int v7, \
                    int v8) {                                                                 \
    return writeWords(level, id, v1, v2, v3, v4, v5, v6, v7, v8);                             \
  }                                                                                           \
  int KWTrace::name(unsigned long id, const unsigned char* data, int length) const {          \
    return write(level, id, data, length);                                                    \
  }                                                                                           \
  int KWTrace::name(unsigned long id, const char* text) const {                               \
    return writeText(level, id, text);                                                        \
  }                                                                                           \
  int KWTrace::name(unsigned long id, const void* v1, unsigned long v2, unsigned long v3,     \
                    unsigned long v4) const {                                                 \
    return writeWords(level, id, v1, v2, v3, v4);                                             \
  }                                                                                           \
  int KWTrace::name(unsigned long id, const void* v1, const void* v2, unsigned long v3,       \
                    unsigned long v4) const {                                                 \
    return writeWords(level, id, v1, v2, v3, v4);                                             \
  }                                                                                           \
  int KWTrace::name(unsigned long id, const void* v1, const void* v2, const void* v3,         \
                    unsigned long v4) const {                                                 \
    return writeWords(level, id, v1, v2, v3, v4);                                             \
  }                                                                                           \
  int KWTrace::name(unsigned long id, const void* v1, const void* v2, const void* v3,         \
                    const void* v4) const {                                                   \
    return writeWords(level, id, v1, v2, v3, v4);                                             \
  }

ZQM_TRX_WRITERS(error, kLevelError)
ZQM_TRX_WRITERS(info, kLevelInfo)
ZQM_TRX_WRITERS(debug, kLevelDebug)
ZQM_TRX_WRITERS(debug2, kLevelDebug2)
#undef ZQM_TRX_WRITERS

}  // namespace kw::trx::trx

namespace kw::clib_trx {
namespace {

constexpr int kRegionOffset = 102;
constexpr std::size_t kLogBufferSize = 512;

/// Never destroyed: other threads and late destructors write records to the very end. In plain
/// storage, as no record may need memory.
__attribute__((noinline)) Logger* makeLogger() {
  alignas(Logger) static unsigned char storage[sizeof(Logger)];
  return new (storage) Logger;
}

}  // namespace

// Without the construction in it, the way of every call but the first needs no stack frame.
Logger* Logger::getLogger() {
  static Logger* const logger = makeLogger();
  return logger;
}

Logger::Logger() : KWTrace(0, trx::trx::kEngineTraceClass), output_(&std::cout) {}

Logger::~Logger() = default;

#define ZQM_TRX_REGION_WRITERS(name, text)                                                       \
  void Logger::name(const std::string& message) { logging(text, message); }                      \
  int Logger::name(int region, unsigned long id, unsigned long v1, unsigned long v2,             \
                   unsigned long v3, unsigned long v4) {                                         \
    setRegion(region);                                                                           \
    return name(id, v1, v2, v3, v4);                                                             \
  }                                                                                              \
  int Logger::name(int region, unsigned long id, unsigned long v1, unsigned long v2,             \
                   unsigned long v3, unsigned long v4, unsigned long v5, unsigned long v6,       \
                   unsigned long v7, unsigned long v8) {                                         \
    setRegion(region);                                                                           \
    return name(id, v1, v2, v3, v4, v5, v6, v7, v8);                                             \
  }                                                                                              \
  int Logger::name(int region, unsigned long id, int v1, int v2, int v3, int v4) {               \
    setRegion(region);                                                                           \
    return name(id, v1, v2, v3, v4);                                                             \
  }                                                                                              \
  int Logger::name(int region, unsigned long id, int v1, int v2, int v3, int v4, int v5, int v6, \
                   int v7, int v8) {                                                             \
    setRegion(region);                                                                           \
    return name(id, v1, v2, v3, v4, v5, v6, v7, v8);                                             \
  }                                                                                              \
  int Logger::name(int region, unsigned long id, const char* message) {                          \
    setRegion(region);                                                                           \
    return name(id, message);                                                                    \
  }

ZQM_TRX_REGION_WRITERS(error, "error")
ZQM_TRX_REGION_WRITERS(info, "info ")
ZQM_TRX_REGION_WRITERS(debug, "debug")
ZQM_TRX_REGION_WRITERS(debug2, "debug2")
#undef ZQM_TRX_REGION_WRITERS

void Logger::setRegion(int region) {
  setRegionHandle(static_cast<unsigned int>(region) + kRegionOffset);
}

void Logger::logging(const std::string& level, const std::string& message) {
  *output_ << "[" << level << "] " << message << std::endl;
}

void Logger::log(const char* format, ...) {
  const std::unique_ptr<char[]> buffer(new char[kLogBufferSize]());
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(buffer.get(), kLogBufferSize - 1, format, arguments);
  va_end(arguments);
  if (length < 1) {
    return;
  }
  std::printf("[trace] %s\n", buffer.get());
}

}  // namespace kw::clib_trx
