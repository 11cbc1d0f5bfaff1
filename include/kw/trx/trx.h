// SPDX-License-Identifier: Apache-2.0
// The entry point of the library: the engine that loads modules and tables and runs requests.
#ifndef KW_TRX_TRX_H_
#define KW_TRX_TRX_H_

#include <atomic>
#include <string>
#include <vector>

#include "kw/sysobj/component.h"
#include "kw/trx/export.h"
#include "kw/trx/hapapi/hapapi.h"
#include "kw/trx/mutex.h"
#include "kw/trx/trx_info.h"

namespace kw::trx::trx {

class HAPController;
class TableController;

/// One object per process, created by the first `getInstance()` and never destroyed. Usual order:
/// `startUp()` once per system, `getInstance()`, `load`, `setHAPAPI`, then requests from any number
/// of threads, each with its own context. `load` and `setHAPAPI` may be repeated: they wait for the
/// requests in progress, so a HAP must not call them. All waiting polls once a second.
class ZQM_TRX_API TRX {
 public:
  TRX(const TRX&) = delete;
  TRX& operator=(const TRX&) = delete;

  /// The engine. Its first call must be over before other threads call it.
  static TRX* getInstance();

  /// Who calls: low 16 bits of the process id in bits 31 to 16, low 16 bits of the kernel thread id
  /// below. Right in every thread and in a child after `fork`.
  static unsigned int getTRXID();

  /// Creates the system semaphore of the exclusion control, or finishes one whose creator died in
  /// here. Returns 0, also when it exists already or cannot be created; the trace tells.
  static int startUp();

  /// Reads the configuration, the HAP modules and the HAP tables, in this order, in place of those
  /// loaded before. Modules whose key begins with "DBG" are loaded only `with_debug_modules`.
  /// Throws `TRXException` `kCodeConfig`, `kCodeModuleLoad` or `kCodeTableLoad`, and stops at that
  /// step.
  void load(bool with_debug_modules);

  /// Installs `api`, which the engine now owns, in place of the one before, which is destroyed.
  /// Null installs none. The object already installed stays as it is.
  void setHAPAPI(hapapi::HAPAPI* api);

  /// Runs the HAP `hap_name` on `units` for the context `info`. `mode`, `para` (parameter words,
  /// may be null) and `out` (result area, may be null) are passed on to the HAP; all must stay
  /// valid until the call returns. Throws `TRXException`: `kCodeContext` for a context that is null
  /// or running, `kCodeStopped`, `kCodeNoModule`, `kCodeNoAPI`, and what `HAPController::execHAP`
  /// throws; passes on whatever the HAP throws. `info->error` tells what failed.
  void execHAP(TRXInfo* info, std::vector<kw::sysobj::Component*>& units,
               const std::string& hap_name, const std::string& mode, const unsigned int* para,
               unsigned int* out);

  /// Runs the table that the context names, or goes on with the one that was interrupted in it.
  /// Throws `TRXException`: `kCodeStopped`, `kCodeContext` for a context that is null or running,
  /// `kCodeTableStopped`, `kCodeTableFailed`, and `kCodeWaitHandOver`, after which the requester
  /// waits `getDetail()` milliseconds and calls this again with the same context.
  void execTable(TRXInfo* info);

  /// Sets unit list (copied) and table name in the context, then does the same. A context that is
  /// null or running is refused untouched with `kCodeContext`. Of two threads that call this at
  /// once on one idle context, one is refused, and the other may run with the values of either.
  void execTable(TRXInfo* info, std::vector<kw::sysobj::Component*>& units,
                 const std::string& table_name);

  /// Sets or clears the stop flag. While it is set, new requests are refused with `kCodeStopped`
  /// and a running table is abandoned before its next row with `kCodeTableStopped`. Any thread and
  /// any signal handler may call it.
  void setStopFlag(bool stop);
  bool isStopFlag() const;

  /// The controller that runs HAPs, for HAPs that run further HAPs on their own context.
  HAPController* getHAPController() const;

  /// Returns when no request is in progress.
  void hapExecWaiting() ZQM_TRX_EXCLUDES(registry_mutex_);

  /// Returns when neither `load` nor `setHAPAPI` is working.
  void loadWaiting();

  /// Enters `info` into the registry of running contexts. Returns 0, or -1 for a context that is
  /// null or entered already.
  int chkAndAddTRXInfo(TRXInfo* info) ZQM_TRX_EXCLUDES(registry_mutex_);

  /// Takes `info` out of the registry; an absent one is no error.
  void deleteTRXInfo(TRXInfo* info) ZQM_TRX_EXCLUDES(registry_mutex_);

  /// Throws `TRXException` `kCodeStopped`, `kCodeNoModule` or `kCodeNoAPI` when no HAP may run.
  void checkExecHAPCondition(TRXInfo* info);

 private:
  class LoadingScope;
  class RunningScope;

  TRX();

  void admit(TRXInfo* info) ZQM_TRX_EXCLUDES(engine_mutex_, registry_mutex_);
  void prepareTable(TRXInfo* info, const std::vector<kw::sysobj::Component*>& units,
                    const std::string& table_name) ZQM_TRX_EXCLUDES(registry_mutex_);

  static std::atomic<TRX*> instance_;

  hapapi::HAPAPI* api_ = nullptr;
  HAPController* hap_controller_;
  TableController* table_controller_;
  Mutex engine_mutex_;  // taken before the registry mutex
  Mutex registry_mutex_;
  std::atomic<bool> loading_{false};
  std::atomic<bool> stop_{false};
  // In the order of their addresses. A vector keeps the memory for those of the next requests.
  std::vector<TRXInfo*> registry_ ZQM_TRX_GUARDED_BY(registry_mutex_);
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_TRX_H_
