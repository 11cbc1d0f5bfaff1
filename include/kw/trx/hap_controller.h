// SPDX-License-Identifier: Apache-2.0
// Owner of the loaded HAP modules; runs single HAPs.
#ifndef KW_TRX_HAP_CONTROLLER_H_
#define KW_TRX_HAP_CONTROLLER_H_

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "kw/dev/parts/lib_semaphore.h"
#include "kw/sysobj/component.h"
#include "kw/trx/export.h"
#include "kw/trx/hap_module.h"
#include "kw/trx/trx_info.h"

namespace kw::trx::trx {

/// Signature of every HAP: context (never null), mode text (null when empty), parameter words and
/// result area as the caller gave them. Returns 0 for success.
using HAPFunction = int (*)(TRXInfo* info, const char* mode, const unsigned int* para,
                            unsigned int* out);

/// The engine holds one. `execHAP` may be called from any thread, each with its own context; `load`
/// and `unload` only while no HAP runs, which the engine sees to.
class ZQM_TRX_API HAPController {
 public:
  HAPController();
  HAPController(const HAPController&) = delete;
  HAPController& operator=(const HAPController&) = delete;
  virtual ~HAPController();

  /// Replaces all modules by those of `files`, and takes nest limit and exclusion control from the
  /// configuration. Modules whose key begins with "DBG" are loaded only with `with_debug_modules`.
  /// Throws `TRXException` `kCodeModuleLoad` for the first unusable file when the configuration
  /// stops on load errors; the modules before it stay loaded then.
  void load(std::vector<std::string>& files, bool with_debug_modules);

  /// True when at least one module is loaded.
  bool isLoaded() const;

  /// Closes all modules and releases the semaphore object.
  void unload();

  /// Runs the HAP `name` on `units`. `para` and `out` may be null and are only passed on.
  /// `err_disable` true: a nonzero result of the HAP is traced, but is no failure. HAPs that run
  /// further HAPs call this with their own context. Throws `TRXException` `kCodeContext` for a null
  /// context, `kCodeHAPFailed` for an undefined, too deeply nested or failed HAP, `kCodeLock` and
  /// `kCodeUnlock` for the exclusion semaphore, and passes on whatever the HAP throws.
  void execHAP(TRXInfo* info, std::vector<kw::sysobj::Component*>& units, const std::string& name,
               const std::string& mode, const unsigned int* para, unsigned int* out,
               bool err_disable);

  /// Records in the context that the HAP `name` is not defined, and throws `kCodeHAPFailed`.
  [[noreturn]] void errUndefHAP(TRXInfo* info, const std::string& name);

  /// Records in the context that the HAP `name` failed, and writes the error record to the trace.
  void errExecHAP(TRXInfo* info, const std::string& name);

 private:
  /// What one call is made with, as the caller gave it.
  struct Call {
    const std::string& name;
    const std::string& mode;
    const unsigned int* para;
    unsigned int* out;
    bool outermost;
  };

  void loadModule(const std::string& file, bool with_debug_modules);
  void openModule(const std::string& key, const std::string& file, const std::string& file_name);
  void openSemaphore();
  HAPFunction findHAP(TRXInfo* info, const std::string& name);
  void callRecorded(TRXInfo* info, HAPCtlInfo& record, HAPFunction function, const Call& call);
  int callLocked(TRXInfo* info, HAPFunction function, const Call& call);
  static int callNotified(TRXInfo* info, hapapi::HAPAPI* api, HAPFunction function,
                          const Call& call);

  std::map<std::string, HAPCache*, std::less<>> modules_;
  unsigned int nest_limit_ = 10;
  kw::dev::parts::LibSemaphore* semaphore_ = nullptr;
  bool exclusion_control_ = false;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_HAP_CONTROLLER_H_
