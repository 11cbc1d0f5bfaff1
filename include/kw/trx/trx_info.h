// SPDX-License-Identifier: Apache-2.0
// The execution context that a host creates for its requests, and the record of one HAP call on it.
#ifndef KW_TRX_TRX_INFO_H_
#define KW_TRX_TRX_INFO_H_

#include <string>
#include <vector>

#include "kw/sysobj/component.h"
#include "kw/trx/errors.h"
#include "kw/trx/export.h"
#include "kw/trx/hap_api_expand_data.h"
#include "kw/trx/hapapi/hapapi.h"
#include "kw/trx/logger.h"

namespace kw::trx::trx {

class TblCtlInfo;

/// One HAP call in progress. It points at the caller's data, so it lives no longer than the call.
class ZQM_TRX_API HAPCtlInfo {
 public:
  /// Records the addresses of `units`, `hap_name` and `mode`, and the values of the others.
  /// `err_disable` true means that a failure of this HAP does not fail the request.
  HAPCtlInfo(std::vector<kw::sysobj::Component*>& units, const std::string& hap_name,
             const std::string& mode, const unsigned int* para, unsigned int* out,
             bool err_disable);
  HAPCtlInfo(const HAPCtlInfo&) = delete;
  HAPCtlInfo& operator=(const HAPCtlInfo&) = delete;
  virtual ~HAPCtlInfo();

  /// Makes `out` a copy of the unit list.
  void getUnitList(std::vector<kw::sysobj::Component*>& out) const;

 private:
  friend class TRXInfo;

  std::vector<kw::sysobj::Component*>* unit_list_;
  const std::string* hap_name_;
  [[maybe_unused]] const std::string* mode_;
  [[maybe_unused]] const unsigned int* para_;
  [[maybe_unused]] unsigned int* out_;
  int api_auto_rtn_ = 1;
  int api_rtn_value_ = 0;
  bool err_disable_;
};

/// Everything that belongs to one request: who asked, what runs, what failed. The host creates and
/// destroys it, passes it to `TRX::execHAP` or `TRX::execTable`, reads the outcome, and calls
/// `initialize()` before it is used again. Not synchronised: while a request runs, only the thread
/// that runs it may touch its context. Nothing here throws but `std::bad_alloc`.
class ZQM_TRX_API TRXInfo {
 public:
  /// A context of the constructing thread, with trace handle 126.
  TRXInfo();
  /// A context of the constructing thread; `handle` is the handle of its product trace.
  explicit TRXInfo(unsigned int handle);
  /// A context of the requester `id`.
  TRXInfo(unsigned int id, unsigned int handle);
  TRXInfo(const TRXInfo&) = delete;
  TRXInfo& operator=(const TRXInfo&) = delete;
  virtual ~TRXInfo();

  /// The API object of the running request; the engine sets it. Not owned.
  void setAPI(hapapi::HAPAPI* api);
  hapapi::HAPAPI* getAPI() const;

  /// Attaches `data`, which the context now owns until `initialize()` or its end. The object
  /// attached before is not destroyed: it is the caller's again.
  void setHAPAPIExpandData(hapapi::HAPAPIExpandData* data);
  hapapi::HAPAPIExpandData* getHAPAPIExpandData() const;

  /// The trace of the product, created on the first call with the trace class of the API object (8
  /// without one) and kept from then on. The context owns it.
  KWTrace* getProductHAPAPITrace();

  /// Puts `record` on top of the stack of HAP calls; the caller keeps it. Returns 0, or -1 for
  /// null.
  int pushHAPCtlInfo(HAPCtlInfo* record);
  /// Takes the top record off and returns it; null when the stack is empty.
  HAPCtlInfo* popHAPCtlInfo();
  bool isHAPCtlInfoEmpty() const;
  /// How many HAP calls of exactly this name are in progress.
  int getSameNameHAPNestCount(const std::string& name) const;
  /// Empties the stack of HAP calls without destroying its records.
  void releaseHAPCtlInfo();

  /// Makes `out` a copy of the unit list of the running HAP; leaves it alone when none runs.
  void getHAPUnitList(std::vector<kw::sysobj::Component*>& out) const;
  /// Automatic-return setting of the running HAP; 1 when none runs.
  void setAPIAutoRtn(int value);
  int getAPIAutoRtn() const;
  /// Return value that the HAP API recorded for the running HAP; 0 when none runs.
  void setAPIRtnValue(int value);
  int getAPIRtnValue() const;

  /// True when a failing HAP does not fail the request: for the running HAP, or for the context.
  bool isErrDisables() const;
  /// Lets no failing HAP of this context fail its request, until `initialize()`.
  void setErrDisable(bool disable);

  /// The table that `TRX::execTable` runs.
  void setTableName(const std::string& name);
  std::string getTableName() const;
  /// The units that its HAPs work on: the list is copied, the units stay the host's.
  void setTableUnitList(const std::vector<kw::sysobj::Component*>& units);
  std::vector<kw::sysobj::Component*>& getTableUnitList();

  /// Puts `record` on top of the stack of tables; the context now owns it. Returns 0, or -1 for
  /// null.
  int pushTblCtlInfo(TblCtlInfo* record);
  /// Takes the top record off; the caller now owns it. Null when the stack is empty.
  TblCtlInfo* popTblCtlInfo();
  /// The record of the running table, null when none runs. The context keeps it.
  TblCtlInfo* getCurTblCtlInfo() const;
  bool isTblCtlInfoEmpty() const;
  /// How many running tables have exactly this name.
  int getSameNameTblNestCount(const std::string& name) const;
  /// Destroys every record on the stack of tables.
  void releaseTblCtlInfo();

  /// The mark that a HAP row of mode STACK has failed; it stays until it is taken away or
  /// `initialize()`.
  void setTblCmdErrStack();
  void delTblCmdErrStack();
  bool isTblCmdErrStack() const;

  /// The mark that the table run ends with error; only `initialize()` takes it away.
  void setTblErrEnd();
  bool isTblErrEnd() const;

  /// The message of the END row that ended the run.
  void setTblRtnMsg(const std::string& message);
  std::string getTblRtnMsg() const;

  /// Makes the context ready for its next request. Kept are `trxId`, the trace handle and the
  /// product trace, the table name and the table unit list.
  void initialize();

 private:
  hapapi::HAPAPI* api_ = nullptr;
  hapapi::HAPAPIExpandData* expand_data_ = nullptr;

 public:
  TRXError error;      ///< what failed in the request
  unsigned int trxId;  ///< who asked: first value of most trace records

 private:
  unsigned int trace_handle_;
  KWTrace* product_trace_ = nullptr;
  std::vector<HAPCtlInfo*> hap_ctl_stack_;
  std::string table_name_;
  std::vector<kw::sysobj::Component*> table_unit_list_;
  std::vector<TblCtlInfo*> tbl_ctl_stack_;
  bool tbl_cmd_err_stack_ = false;
  bool tbl_err_end_ = false;
  std::string tbl_rtn_msg_;
  bool err_disable_ = false;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_TRX_INFO_H_
