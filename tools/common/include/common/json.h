// SPDX-License-Identifier: Apache-2.0
// How JSON is written. One thread.
#ifndef KW_TRX_TOOLS_COMMON_JSON_H_
#define KW_TRX_TOOLS_COMMON_JSON_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kw::trx::tools {

/// Writes one JSON value after the other, in the order of the calls. Text that is no UTF-8 gets the
/// replacement character for each wrong byte.
class JsonWriter {
 public:
  /// `indent`: blanks before each level; below 0 all stands in one line.
  explicit JsonWriter(int indent) : indent_(indent) {}

  JsonWriter& beginObject() { return begin('{'); }
  JsonWriter& endObject() { return end('}'); }
  JsonWriter& beginArray() { return begin('['); }
  JsonWriter& endArray() { return end(']'); }
  JsonWriter& key(std::string_view name);
  JsonWriter& text(std::string_view text);
  JsonWriter& number(std::uint64_t number);
  JsonWriter& boolean(bool value);
  /// A number as `text` writes it.
  JsonWriter& raw(std::string_view text);

  JsonWriter& member(std::string_view name, std::string_view value) {
    return key(name).text(value);
  }

  /// A list of texts under `name`.
  JsonWriter& texts(std::string_view name, const std::vector<std::string>& texts);

  /// What was written since the last call.
  std::string taken();

 private:
  JsonWriter& begin(char bracket);
  JsonWriter& end(char bracket);
  void beginValue();
  void newLine();
  void quote(std::string_view text);

  int indent_;
  std::string out_;
  std::vector<bool> filled_;  // for each open bracket, whether something stands behind it
  bool after_key_ = false;
};

/// Starts the object that `command` prints, with its name and the number of the format.
void startOutput(const std::string& command, JsonWriter& json);

/// A point in time: nanoseconds since 1970 as text, as many readers of JSON round such numbers.
/// The key is `name` and Ns.
void writeTime(const std::string& name, std::uint64_t time_ns, JsonWriter& json);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_COMMON_JSON_H_
