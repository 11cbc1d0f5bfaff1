// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/testing/trace_capture.h"

#include <cstdint>
#include <cstring>
#include <sstream>
#include <vector>

#include "kw/trx/trx.h"

namespace kw::trx::testing {
namespace {

char levelLetter(unsigned int level) {
  switch (level) {
    case 0x8002:
      return 'E';
    case 0x8001:
      return 'I';
    case 0x801:
      return 'D';
    case 0x1:
      return 'd';
    default:
      return '?';
  }
}

std::string wordsText(const void* data, std::size_t size) {
  std::vector<std::uint32_t> words(size / sizeof(std::uint32_t));
  std::memcpy(words.data(), data, size);
  std::ostringstream out;
  out << std::hex;
  const char* separator = "";
  for (const std::uint32_t word : words) {
    out << separator;
    separator = " ";
    if (word == trx::TRX::getTRXID()) {
      out << "id";
    } else {
      out << word;
    }
  }
  return out.str();
}

}  // namespace

TraceCapture::TraceCapture(unsigned int levels) {
  kw::platform::setTraceLevels(levels);
  kw::platform::setTraceListener(&TraceCapture::record, this);
}

TraceCapture::~TraceCapture() {
  kw::platform::setTraceListener(nullptr, nullptr);
  kw::platform::setTraceLevels(kw::platform::kTraceAll);
}

std::string TraceCapture::trail() {
  const std::lock_guard<std::mutex> guard(mutex_);
  std::string taken;
  taken.swap(trail_);
  return taken;
}

void TraceCapture::record(void* context, unsigned long region, unsigned int level,
                          unsigned short trace_class, unsigned long id, const void* data,
                          int length) {
  const auto size = static_cast<std::size_t>(length);
  const char* bytes = static_cast<const char*>(data);
  std::ostringstream line;
  line << levelLetter(level) << ' ' << std::hex << id << ' ';
  // Records of words and texts look alike: a text ends with its only NUL.
  if (size != 0 && std::memchr(bytes, '\0', size) == bytes + size - 1) {
    line << '"' << bytes << '"';
  } else {
    const bool four = size == 16;
    line << (four ? '(' : '[') << wordsText(data, size) << (four ? ')' : ']');
  }
  if (region != 101 || trace_class != 7) {
    line << " region " << region << " class " << trace_class;
  }
  line << '\n';
  auto* self = static_cast<TraceCapture*>(context);
  const std::lock_guard<std::mutex> guard(self->mutex_);
  self->trail_ += line.str();
}

}  // namespace kw::trx::testing
