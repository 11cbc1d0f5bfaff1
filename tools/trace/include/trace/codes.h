// SPDX-License-Identifier: Apache-2.0
// The engine's exception codes and record codes in words.
#ifndef KW_TRX_TOOLS_TRACE_CODES_H_
#define KW_TRX_TOOLS_TRACE_CODES_H_

#include <string>

namespace kw::trx::tools {

/// What a code tells.
struct CodeText {
  unsigned int code;
  const char* name;     ///< constant in kw/trx/errors.h
  const char* meaning;  ///< what happened
  const char* causes;   ///< usual causes
  const char* advice;   ///< what to do
};

/// The words for an exception code or a record code of the engine; null for any other.
const CodeText* findCode(unsigned int code);

/// The same for the name of its constant.
const CodeText* findCode(const std::string& name);

/// What the error code of a request means: the engine's own words, or what its class bits tell.
std::string recordCodeMeaning(unsigned int code);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_TRACE_CODES_H_
