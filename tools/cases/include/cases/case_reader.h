// SPDX-License-Identifier: Apache-2.0
// The rows of a case file, one after the other. One thread.
#ifndef KW_TRX_TOOLS_CASES_CASE_READER_H_
#define KW_TRX_TOOLS_CASES_CASE_READER_H_

#include <map>
#include <set>
#include <string>
#include <vector>

#include "cases/case_file.h"
#include "kw/trx/table_data.h"

namespace kw::trx::tools {

/// The cells of one row, without empty ones behind the last.
using Cells = std::vector<std::string>;

Cells cellsOf(const trx::TableData& data, unsigned int row);

/// True for a row that is empty or a comment.
bool saysNothing(const Cells& cells);

/// What is wrong with a cell.
struct Refusal {
  unsigned int column;
  std::string message;
};

/// Reads the rows of one file one after the other.
class CaseReader {
 public:
  CaseReader(CaseFile& file, const CellLines& lines, const HAPDescriptions& descriptions)
      : file_(file), lines_(lines), descriptions_(descriptions) {}

  /// Throws `Refusal`.
  void read(const Cells& cells, unsigned int row);
  /// Drops what a refused row makes of no use.
  void refused(const Cells& cells);
  /// Drops the cases that cannot be run.
  void finish();
  const TableFlows& tables() const { return tables_; }

 private:
  using Read = void (CaseReader::*)(const Cells& cells);
  struct Kind {
    Read read;
    std::size_t least;  ///< cells
    std::size_t most;
    bool in_case;
  };
  static const std::map<std::string, Kind>& kinds();

  void readTables(const Cells& cells);
  void readNestLimit(const Cells& cells);
  void readRule(const Cells& cells);
  void beginCase(const Cells& cells);
  void readUnits(const Cells& cells);
  void readOutcomes(const Cells& cells);
  void readRows(const Cells& cells);
  void readEnd(const Cells& cells);
  void readFirst(const Cells& cells);
  void readCalled(const Cells& cells);
  void readNotCalled(const Cells& cells);
  void readWait(const Cells& cells);

  CallPattern callPatternOf(const Cells& cells, unsigned int column) const;
  std::string rowOf(const Cells& cells, unsigned int column) const;
  TableCase& current() { return file_.cases.back(); }

  void refuseUndescribed(const CallPattern& where, const HAPOutcome& outcome,
                         unsigned int column) const;

  CaseFile& file_;
  const CellLines& lines_;
  const HAPDescriptions& descriptions_;
  TableFlows tables_;
  unsigned int row_ = 0;
  unsigned int line_ = 0;
  std::map<std::string, unsigned int> case_lines_;  // by name
  std::map<std::string, unsigned int> rule_lines_;
  bool is_nest_limit_read_ = false;
  bool skips_ = false;       // the CASE row of these rows is refused
  bool is_useless_ = false;  // what holds for all cases is not known
  std::set<std::size_t> refused_cases_;
};

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_CASES_CASE_READER_H_
