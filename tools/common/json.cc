// SPDX-License-Identifier: Apache-2.0
#include "common/json.h"

#include <utility>

#include "common/characters.h"

namespace kw::trx::tools {
namespace {

/// Changes when a member changes its meaning or goes.
constexpr std::uint64_t kFormat = 1;

/// The letter that stands behind a backslash for `c`; 0 when there is none.
char escapeOf(char c) {
  switch (c) {
    case '"':
    case '\\':
      return c;
    case '\b':
      return 'b';
    case '\f':
      return 'f';
    case '\n':
      return 'n';
    case '\r':
      return 'r';
    case '\t':
      return 't';
    default:
      return 0;
  }
}

}  // namespace

JsonWriter& JsonWriter::key(std::string_view name) {
  beginValue();
  quote(name);
  out_ += indent_ < 0 ? ":" : ": ";
  after_key_ = true;
  return *this;
}

JsonWriter& JsonWriter::text(std::string_view text) {
  beginValue();
  quote(text);
  return *this;
}

JsonWriter& JsonWriter::number(std::uint64_t number) { return raw(std::to_string(number)); }

JsonWriter& JsonWriter::boolean(bool value) { return raw(value ? "true" : "false"); }

JsonWriter& JsonWriter::raw(std::string_view text) {
  beginValue();
  out_ += text;
  return *this;
}

JsonWriter& JsonWriter::texts(std::string_view name, const std::vector<std::string>& texts) {
  key(name).beginArray();
  for (const std::string& one : texts) {
    text(one);
  }
  return endArray();
}

std::string JsonWriter::taken() { return std::exchange(out_, {}); }

JsonWriter& JsonWriter::begin(char bracket) {
  beginValue();
  out_ += bracket;
  filled_.push_back(false);
  return *this;
}

JsonWriter& JsonWriter::end(char bracket) {
  const bool filled = filled_.back();
  filled_.pop_back();
  if (filled) {
    newLine();
  }
  out_ += bracket;
  return *this;
}

void JsonWriter::beginValue() {
  if (std::exchange(after_key_, false) || filled_.empty()) {
    return;
  }
  if (filled_.back()) {
    out_ += ',';
  }
  filled_.back() = true;
  newLine();
}

void JsonWriter::newLine() {
  if (indent_ >= 0) {
    out_ += '\n';
    out_.append(filled_.size() * static_cast<std::size_t>(indent_), ' ');
  }
}

void JsonWriter::quote(std::string_view text) {
  constexpr char digits[] = "0123456789abcdef";
  constexpr unsigned char first_printable = ' ';
  constexpr unsigned char delete_character = 0x7f;
  out_ += '"';
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t size = characterAt(text, at);
    const auto byte = static_cast<unsigned char>(text[at]);
    if (size == 0) {
      out_ += "\\\\x";  // as `visible` shows it
      out_ += {digits[byte / 16], digits[byte % 16]};
    } else if (const char letter = escapeOf(text[at]); letter != 0) {
      out_ += {'\\', letter};
    } else if (byte < first_printable || byte == delete_character) {
      out_ += "\\u00";
      out_ += {digits[byte / 16], digits[byte % 16]};
    } else if (const auto next = size == 2 ? static_cast<unsigned char>(text[at + 1]) : 0;
               byte == 0xc2 && next < 0xa0) {  // a control character, too
      out_ += "\\u00";
      out_ += {digits[next / 16], digits[next % 16]};
    } else {
      out_ += text.substr(at, size);
    }
    at += size == 0 ? 1 : size;
  }
  out_ += '"';
}

void startOutput(const std::string& command, JsonWriter& json) {
  json.beginObject().key("format").number(kFormat).member("command", command);
}

void writeTime(const std::string& name, std::uint64_t time_ns, JsonWriter& json) {
  json.member(name + "Ns", std::to_string(time_ns));
}

}  // namespace kw::trx::tools
