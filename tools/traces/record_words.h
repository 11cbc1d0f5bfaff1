// SPDX-License-Identifier: Apache-2.0
// Trace records in words, by the engine's own catalogue.
#ifndef KW_TRX_TOOLS_TRACES_RECORD_WORDS_H_
#define KW_TRX_TOOLS_TRACES_RECORD_WORDS_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kw/platform.h"

namespace kw::trx::tools {

/// The name of a value of a record, and how the catalogue shows it.
struct ValueForm {
  std::string name;
  char form;

  bool isText() const { return form == 's'; }
};

/// The forms that a line of the catalogue lists.
std::vector<ValueForm> formsOf(const char* values);

/// One value of a record: a word, or the text of the record.
struct Value {
  std::string name;
  std::string text;        ///< the value as the catalogue shows it
  std::uint32_t word = 0;  ///< 0 for a text
};

/// The values of `record` that the catalogue names; none when its data is too short for them.
std::vector<Value> valuesOf(const kw::platform::TraceRecord& record);

/// The word called `name` in `record`, or `otherwise`.
std::uint32_t wordOf(const kw::platform::TraceRecord& record, const char* name,
                     std::uint32_t otherwise);

/// The text of a text record, escaped as `visible` does.
std::string textOf(const kw::platform::TraceRecord& record);

/// Appends the sentence of the catalogue for `record`, with its values filled in. A record that the
/// catalogue does not know, or whose data does not fit, is shown by its id and bytes.
void appendDescription(const kw::platform::TraceRecord& record, std::string& text);

/// That sentence alone.
std::string describe(const kw::platform::TraceRecord& record);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACES_RECORD_WORDS_H_
