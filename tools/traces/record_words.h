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

/// The text of a text record, control characters made visible.
std::string textOf(const kw::platform::TraceRecord& record);

/// Appends the sentence of the catalogue for `record`, with its values filled in. A record that the
/// catalogue does not know, or whose data does not fit, is shown by its id and bytes.
void appendDescription(const kw::platform::TraceRecord& record, std::string& text);

/// That sentence alone.
std::string describe(const kw::platform::TraceRecord& record);

/// What the catalogue says of the data of records with this id: how many words are named, or that
/// it is a text.
struct DataForm {
  std::size_t words;
  bool is_text;
};
DataForm dataFormOf(unsigned int id);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACES_RECORD_WORDS_H_
