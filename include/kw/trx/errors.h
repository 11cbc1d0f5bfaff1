// SPDX-License-Identifier: Apache-2.0
// How failures are told: exceptions with a code, and the error record of a context.
#ifndef KW_TRX_ERRORS_H_
#define KW_TRX_ERRORS_H_

#include <exception>
#include <string>
#include <vector>

#include "kw/sysobj/component.h"
#include "kw/trx/export.h"

namespace kw::trx::trx {

/// Codes of the exceptions that the library throws; there are no others.
constexpr unsigned int kCodeStopped = 0x70001;       ///< request refused: the stop flag is set
constexpr unsigned int kCodeTableStopped = 0x70002;  ///< table abandoned: the stop flag is set
/// A WAIT row hands its wait over: wait `getDetail()` milliseconds, then run the context again.
constexpr unsigned int kCodeWaitHandOver = 0x70003;
constexpr unsigned int kCodeConfig = 0x70004;      ///< the configuration cannot be used
constexpr unsigned int kCodeModuleLoad = 0x70005;  ///< a HAP module cannot be loaded
constexpr unsigned int kCodeTableLoad = 0x70006;   ///< a HAP table cannot be loaded
constexpr unsigned int kCodeNoModule = 0x70007;    ///< no HAP module is loaded
constexpr unsigned int kCodeNoAPI = 0x70008;       ///< no HAP API object is installed
constexpr unsigned int kCodeContext = 0x70009;     ///< the context is null or already running
/// The HAP is not defined, is nested too deeply, or returned nonzero.
constexpr unsigned int kCodeHAPFailed = 0x7000a;
/// The table ended with error, or is nested too deeply.
constexpr unsigned int kCodeTableFailed = 0x7000b;
constexpr unsigned int kCodeLock = 0x7000c;    ///< the exclusion semaphore cannot be taken
constexpr unsigned int kCodeUnlock = 0x7000d;  ///< the exclusion semaphore cannot be given back

/// Codes that the engine itself writes into an error record.
constexpr unsigned int kRecordUndefinedHAP = 0x1000001;    ///< the named HAP is not defined
constexpr unsigned int kRecordTableNotLoaded = 0x1000002;  ///< a table named by the run is missing

/// Classes of a record code: without a bit of the mask there is nothing further to report.
constexpr unsigned int kRecordClassMask = 0xff0000;
constexpr unsigned int kRecordClassHAP = 0x20000;  ///< HAP error: code and detail bytes
constexpr unsigned int kRecordClassAPI = 0x40000;  ///< API error: the API error block

/// Base of the exceptions of the library.
class ZQM_TRX_API KWException : public std::exception {
 public:
  explicit KWException(unsigned int code);
  KWException(const KWException&);
  KWException& operator=(const KWException&);
  ~KWException() override;

  /// Always "KWException": the code tells the cases apart.
  const char* what() const noexcept override;

  unsigned int getCode() const;

 private:
  unsigned int code_;
  std::string message_;
};

/// What every failing operation of the library throws.
class ZQM_TRX_API TRXException : public KWException {
 public:
  explicit TRXException(unsigned int code, unsigned int detail = 0);
  TRXException(const TRXException&);
  TRXException& operator=(const TRXException&);
  ~TRXException() override;

  /// The wait time in milliseconds for `kCodeWaitHandOver`, otherwise 0.
  unsigned int getDetail() const;

 private:
  unsigned int detail_;
};

/// The error record that a HAP hands over: 128 bytes in native byte order.
struct HAP_ERR_T {
  unsigned int code;        ///< HAP error code; becomes the error code of the request
  unsigned int detail[31];  ///< detail, handled as 124 bytes
};
static_assert(sizeof(HAP_ERR_T) == 128, "modules and engine exchange exactly 128 bytes");

/// What failed in a request. Part of its context: one thread at a time. Misuse is traced and
/// changes nothing; nothing here throws but `std::bad_alloc`.
class ZQM_TRX_API TRXError {
 public:
  TRXError();
  TRXError(const TRXError&) = delete;
  TRXError& operator=(const TRXError&) = delete;
  virtual ~TRXError();

  /// Clears everything but the name of the failed HAP, which stays readable.
  void clear();

  /// The error code of the request: a record code of the engine, or one set by a HAP.
  void setErrCode(const unsigned int& code);
  unsigned int getErrCode() const;

  /// The name of the HAP that failed.
  void setErrHAPName(const std::string& name);
  std::string getErrHAPName() const;

  /// Stores a copy of the `size` bytes at `data` in place of the block held. Null data or a size
  /// below 1 changes nothing.
  void setAPIError(void* data, int size);
  /// The block held, null when none; the record keeps it until the next `setAPIError` or `clear`.
  void* getAPIError() const;
  /// Size of the block in bytes.
  int getAPIErrorSize() const;

  /// Records a HAP error: `code` becomes the HAP's and the request's error code, and the first
  /// `size` bytes (not words) at `detail` become the detail. Null detail or size 0 leaves it empty.
  void setHAPError(const unsigned int& code, const unsigned int* detail, unsigned int size);
  /// The same with all 124 detail bytes of `record`; null changes nothing.
  void setHAPError(HAP_ERR_T* record);
  unsigned int getHAPErrorCode() const;
  /// Fills the `size` bytes at `buf` with the detail, with zeros after its end.
  void getHAPErrorDetail(unsigned int* buf, unsigned int size);
  /// Fills `record` with code and detail; null is ignored.
  void getHAPError(HAP_ERR_T* record);
  /// Length of the detail in bytes.
  unsigned int getHAPErrorDetailSize() const;

  /// Names a unit concerned by the failure; null is refused. The unit stays the host's.
  void addErrUnit(kw::sysobj::Component* unit);
  /// Appends all of `units`, unchecked.
  void addErrUnitList(std::vector<kw::sysobj::Component*>& units);
  /// Makes `out` a copy of the units concerned.
  void getErrUnitList(std::vector<kw::sysobj::Component*>& out) const;
  void clearErrUnitList();

 private:
  unsigned int err_code_ = 0;
  std::string err_hap_name_;

 public:
  std::string errTableName;       ///< table of the first HAP row that failed; empty when none
  unsigned int errCmdNumber = 0;  ///< NUMBER of that row

 private:
  unsigned int hap_err_code_ = 0;
  std::vector<unsigned char> hap_err_detail_;
  std::vector<kw::sysobj::Component*> err_unit_list_;
  unsigned char* api_error_ = nullptr;
  int api_error_size_ = 0;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_ERRORS_H_
