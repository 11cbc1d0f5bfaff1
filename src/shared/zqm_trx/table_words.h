// SPDX-License-Identifier: Apache-2.0
// The words of a table file: its header keys, columns, commands and error modes.
#ifndef KW_TRX_SHARED_TABLE_WORDS_H_
#define KW_TRX_SHARED_TABLE_WORDS_H_

namespace kw::trx::trx {

constexpr char kKeyFormat[] = "FORMAT";
constexpr char kKeyVersion[] = "VERSION";
/// Where a header key stands in its row; its value stands in the next cell.
constexpr unsigned int kKeyColumn = 0;

constexpr char kColumnLabel[] = "LABEL";
constexpr char kColumnNumber[] = "NUMBER";
constexpr char kColumnCommand[] = "COMMAND";
constexpr char kColumnName[] = "HAP/TABLE";
constexpr char kColumnMode[] = "MODE";
constexpr char kColumnError[] = "ERROR";
constexpr char kColumnPara[] = "PARA";
constexpr char kColumnRsv1[] = "RSV1";
constexpr char kColumnRsv2[] = "RSV2";

/// The place of each column in a row, and the columns in that order.
enum Column : unsigned int {
  kPlaceLabel,
  kPlaceNumber,
  kPlaceCommand,
  kPlaceName,
  kPlaceMode,
  kPlaceError,
  kPlacePara,
  kPlaceRsv1,
  kPlaceRsv2,
  kColumns
};
constexpr const char* kColumnNames[kColumns] = {kColumnLabel, kColumnNumber, kColumnCommand,
                                                kColumnName,  kColumnMode,   kColumnError,
                                                kColumnPara,  kColumnRsv1,   kColumnRsv2};

constexpr char kCommandStart[] = "START";
constexpr char kCommandEnd[] = "END";
constexpr char kCommandHAP[] = "HAP";
constexpr char kCommandCheck[] = "CHECK";
constexpr char kCommandWait[] = "WAIT";
constexpr char kCommandTable[] = "TABLE";

constexpr char kErrorNop[] = "NOP";
constexpr char kErrorStack[] = "STACK";

/// Between the parameters of a HAP row.
constexpr char kParaSeparator = ' ';

/// The longest wait of a WAIT row in milliseconds, which longer ones are cut to.
constexpr unsigned int kWaitMaxMs = 3600000;

constexpr unsigned int kHexBase = 16;
constexpr unsigned int kDecimalBase = 10;

}  // namespace kw::trx::trx

#endif  // KW_TRX_SHARED_TABLE_WORDS_H_
