// SPDX-License-Identifier: Apache-2.0
// Tables in memory: one table, one command of a table, and the list of all loaded tables. They are
// filled and emptied only while the engine loads, when no request runs; in between any number of
// requests may read them at the same time.
#ifndef KW_TRX_TABLE_H_
#define KW_TRX_TABLE_H_

#include <map>
#include <string>
#include <vector>

#include "kw/trx/export.h"

namespace kw::trx::trx {

class TRXInfo;

/// One command of a table. It keeps nothing of a request, so several may run it at once.
class ZQM_TRX_API HAPTableCommand {
 public:
  HAPTableCommand(const HAPTableCommand&) = delete;
  HAPTableCommand& operator=(const HAPTableCommand&) = delete;
  virtual ~HAPTableCommand();

  /// Runs the command for the context `info`, whose stack of tables must not be empty, and stores
  /// where its current table goes on in the record of that table. Returns the entry index to go on
  /// at, or -1 when the driver has to leave the current table: it ends, ends with error, or calls
  /// another table. Each command says what it throws.
  virtual int exec(TRXInfo* info) = 0;

  /// Entry index after this command; -1 when the table ends with it.
  virtual int getNextIndex();

  /// NUMBER of the row.
  virtual unsigned int getNumber();

 protected:
  HAPTableCommand(const unsigned int& number, const int& next_index);

 private:
  unsigned int number_;
  int next_index_;
};

/// The commands of one table in the order of its rows; entry 0 is the START row. Owns its commands.
class ZQM_TRX_API HAPTable {
 public:
  /// A table without entries. `version` is the VERSION of its file, kept for whoever asks.
  HAPTable(const std::string& table_name, unsigned int version);
  HAPTable(const HAPTable&) = delete;
  HAPTable& operator=(const HAPTable&) = delete;
  /// Destroys the commands as `deleteEntry` does.
  virtual ~HAPTable();

  /// Appends `command`, which the table owns from the call on, also when memory runs out in it
  /// (`std::bad_alloc`). Null is refused with an error record.
  void addEntry(HAPTableCommand* command);

  /// The command at `index`, which stays the table's; null and an error record for an index outside
  /// 0 to the number of entries - 1.
  HAPTableCommand* getEntry(const int& index) const;

  /// Destroys all commands. A table without entries gets an info record.
  void deleteEntry();

  /// The VERSION that the table was made with.
  unsigned int getVersion() const;

  std::string name;  ///< the name by which the table is registered and called

 private:
  unsigned int version_;
  std::vector<HAPTableCommand*> entries_;
};

/// All loaded tables by name, compared byte by byte. Owns its tables.
class ZQM_TRX_API TableList {
 public:
  TableList();
  TableList(const TableList&) = delete;
  TableList& operator=(const TableList&) = delete;
  virtual ~TableList();

  /// Registers `table` under its name, in place of a table of that name, which is destroyed. The
  /// list owns it from the call on, also when memory runs out in it (`std::bad_alloc`). It must not
  /// be registered already. Null is refused with an error record.
  void addTable(HAPTable* table);

  /// The table called `name`, which stays the list's; null and an error record when there is none.
  HAPTable* getTable(const std::string& name) const;

  /// Destroys all tables.
  void clear();

 private:
  std::map<std::string, HAPTable*> tables_;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_TABLE_H_
