// SPDX-License-Identifier: Apache-2.0
// The first cells of the rows of a case file, and the words behind them.
#ifndef KW_TRX_TOOLS_CASES_CASE_WORDS_H_
#define KW_TRX_TOOLS_CASES_CASE_WORDS_H_

#include "table/first_words.h"

namespace kw::trx::tools {

constexpr char kCaseNest[] = "NEST";            // nest limit of tables
constexpr char kCaseRule[] = "RULE";            // name, pattern of what must always hold
constexpr char kCaseUnit[] = "UNIT";            // units
constexpr char kCaseHAP[] = "HAP";              // HAP or row, outcomes of its calls in their order
constexpr char kCaseRows[] = "ROWS";            // rows that run, in their order
constexpr char kCaseEnd[] = "END";              // ok; error, message; exception, code; never
constexpr char kCaseFirst[] = "FIRST";          // first failing row
constexpr char kCaseCalled[] = "CALLED";        // HAP or row, PARA, MODE, times
constexpr char kCaseNotCalled[] = "NOTCALLED";  // HAPs or rows
constexpr char kCaseWait[] = "WAIT";            // milliseconds

/// Between outcomes: those behind it repeat for ever.
constexpr char kOutcomesAgain[] = "again";

constexpr char kEndOk[] = "ok";
constexpr char kEndNever[] = "never";
constexpr char kEndError[] = "error";
constexpr char kFirstNone[] = "none";
constexpr char kEndException[] = "exception";

/// A row that begins so says nothing.
constexpr char kCaseComment = '#';

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_CASES_CASE_WORDS_H_
