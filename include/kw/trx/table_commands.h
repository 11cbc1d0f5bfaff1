// SPDX-License-Identifier: Apache-2.0
// The six commands of a table. Each is made and filled once, when its table is built, and is
// unchanged from then on; it lives as long as its table. Any number of requests may run it at once.
#ifndef KW_TRX_TABLE_COMMANDS_H_
#define KW_TRX_TABLE_COMMANDS_H_

#include <string>

#include "kw/trx/export.h"
#include "kw/trx/table.h"

namespace kw::trx::trx {

/// What a failure does in a HAP or CHECK row: exactly one of these values.
constexpr unsigned int kErrModeStop = 0;   ///< the table ends with error
constexpr unsigned int kErrModeNop = 1;    ///< the failure is ignored
constexpr unsigned int kErrModeStack = 2;  ///< the failure is kept for CHECK rows
constexpr unsigned int kErrModeJump = 4;   ///< the table goes on at the row of a label

/// START: the first entry of every table. Its `exec` throws nothing.
class ZQM_TRX_API TblCmdStart : public HAPTableCommand {
 public:
  TblCmdStart(const unsigned int& number, const int& next_index);
  ~TblCmdStart() override;

  int exec(TRXInfo* info) override;
};

/// END: ends its table; with a message it ends every calling table and the request with error. The
/// message is then read with `TRXInfo::getTblRtnMsg`. Its `exec` throws `std::bad_alloc` alone.
class ZQM_TRX_API TblCmdEnd : public HAPTableCommand {
 public:
  TblCmdEnd(const unsigned int& number, const int& next_index);
  ~TblCmdEnd() override;

  int exec(TRXInfo* info) override;

  /// Sets the message; empty text makes this a normal end.
  virtual void setRtnMsg(const std::string& message);

 private:
  std::string rtn_msg_;
};

/// HAP: runs one HAP on the units of the current table, and turns its failure into the error mode
/// of the row. The first failing row of a request that is not of mode NOP stays named in the
/// context's `error`. Its `exec` throws no `TRXException`; what else the HAP throws passes on, and
/// the request then stays at this row: run again, it runs this row again.
class ZQM_TRX_API TblCmdHAP : public HAPTableCommand {
 public:
  TblCmdHAP(const unsigned int& number, const int& next_index);
  ~TblCmdHAP() override;

  int exec(TRXInfo* info) override;

  /// Sets everything. `para` (parameter words) and `out` (result area) may be null; otherwise they
  /// come from array new and belong to the command once this returns, in place of those held
  /// before, which are released. After `std::bad_alloc` they are still the caller's. `err_mode` is
  /// one of the `kErrMode` values; `jump_index` is the entry index for `kErrModeJump`, else -1.
  virtual void setMember(const std::string& hap_name, const std::string& mode,
                         const unsigned int* para, unsigned int* out, const unsigned int& err_mode,
                         const unsigned int& jump_index);

  virtual bool isErrStop();
  virtual bool isErrNop();
  virtual bool isErrStack();
  virtual bool isErrJump();

 private:
  int goOnAfterFailure(TRXInfo* info, unsigned int code);

  std::string hap_name_;
  std::string mode_;
  const unsigned int* para_ = nullptr;
  unsigned int* out_ = nullptr;
  unsigned int err_mode_ = kErrModeStop;
  int jump_index_ = -1;
};

/// CHECK: jumps, or ends its table with error, when a HAP row of mode STACK has failed in this
/// request. The mark of that failure stays. Its `exec` throws nothing.
class ZQM_TRX_API TblCmdCheck : public HAPTableCommand {
 public:
  TblCmdCheck(const unsigned int& number, const int& next_index);
  ~TblCmdCheck() override;

  int exec(TRXInfo* info) override;

  /// `err_mode` is `kErrModeStop` with `jump_index` -1, or `kErrModeJump` with an entry index.
  virtual void setErrMode(const unsigned int& err_mode, const unsigned int& jump_index);

  virtual bool isErrStop();
  virtual bool isErrJump();

 private:
  unsigned int err_mode_ = kErrModeStop;
  int jump_index_ = -1;
};

/// WAIT: waits in the engine, or hands its wait to the requester, as the configuration said when
/// the command was made. Its `exec` sleeps at least its time, signals or not; or it throws
/// `TRXException` `kCodeWaitHandOver` with the time, and the request goes on behind this row when
/// it is run again.
class ZQM_TRX_API TblCmdWait : public HAPTableCommand {
 public:
  TblCmdWait(const unsigned int& number, const int& next_index);
  ~TblCmdWait() override;

  int exec(TRXInfo* info) override;

  /// Sets the time in milliseconds; 0 does not wait.
  virtual void setTime(const unsigned int& time_ms);

 private:
  unsigned int time_ = 0;
  bool wait_in_engine_;
};

/// TABLE: calls another table, after whose end the current one goes on behind this row. Its `exec`
/// returns -1 always and throws `std::bad_alloc` alone.
class ZQM_TRX_API TblCmdTable : public HAPTableCommand {
 public:
  TblCmdTable(const unsigned int& number, const int& next_index);
  ~TblCmdTable() override;

  int exec(TRXInfo* info) override;

  /// Sets the table to call. With an empty name the row ends its own table.
  virtual void setTableName(const std::string& name);

 private:
  std::string table_name_;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_TABLE_COMMANDS_H_
