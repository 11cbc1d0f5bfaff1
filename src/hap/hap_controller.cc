// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/hap_controller.h"

#include <memory>
#include <new>
#include <string_view>

#include "kw/sysobj/tree_path.h"
#include "kw/trx/file_path.h"
#include "kw/trx/trx_config.h"
#include "kw/trx/trx_lock.h"
#include "support/handlers.h"
#include "support/requester_id.h"
#include "zqm_trx/hap_stand_in.h"
#include "zqm_trx/module_key.h"

namespace kw::trx::trx {
namespace {

std::string baseName(const std::string& file) {
  FilePath name(file);
  name.erasePath();
  return name.value;
}

/// Takes the record of a HAP call off its context at the end of a scope.
struct PopAtEnd {
  TRXInfo& info;
  ~PopAtEnd() {
    const NoCancellation uncancelled;
    info.popHAPCtlInfo();
  }
};

void traceThrown(const TRXInfo& info, const TRXException& exception) {
  switch (exception.getCode()) {
    case kCodeLock:
      trace(kHAPExecLockFailed, info.trxId);
      break;
    case kCodeUnlock:
      trace(kHAPExecUnlockFailed, info.trxId);
      break;
    default:
      trace(kHAPExecThrew, info.trxId, exception.getCode());
      break;
  }
}

void traceNestedEntry(const TRXInfo& info, const std::vector<kw::sysobj::Component*>& units,
                      const std::string& name, const std::string& mode) {
  trace(kHAPExecNested, name);
  if (!mode.empty()) {
    trace(kHAPExecNestedMode, mode);
  }
  for (kw::sysobj::Component* unit : units) {
    kw::sysobj::TreePath path;
    unit->getTreePath(path);
    trace(kHAPExecNestedUnit, path.toString());
  }
  trace(kHAPExecNestedEntry, info.trxId);
}

/// The exception of the HAP is the one that the caller has to get: a second one from here is
/// dropped. No thread can end in here, above a handler: that ends the process.
void endDroppingExceptions(hapapi::HAPAPI& api, TRXInfo* info) {
  const NoCancellation uncancelled;
  try {
    api.endHAPExec(info);
  } catch (...) {  // NOLINT(bugprone-empty-catch)
  }
}

}  // namespace

HAPController::HAPController() = default;

HAPController::~HAPController() { unload(); }

void HAPController::load(std::vector<std::string>& files, bool with_debug_modules) {
  unload();
  const TRXConfig& config = TRXConfig::getInstance();
  nest_limit_ = config.getHAPNestLimit();
  for (const std::string& file : files) {
    loadModule(file, with_debug_modules);
  }
  exclusion_control_ = config.isExclusionControl();
  if (exclusion_control_) {
    openSemaphore();
  }
}

void HAPController::loadModule(const std::string& file, bool with_debug_modules) {
  const bool stop_on_error = TRXConfig::getInstance().isHAPStopOnLoadError();
  const std::string file_name = baseName(file);
  const std::string key = moduleKey(file_name);
  if (key.empty()) {
    if (stop_on_error) {
      trace(kHAPLoadNoKey, file_name);
      throw TRXException(kCodeModuleLoad);
    }
    trace(kHAPLoadNoKeySkipped, file_name);
    trace(kHAPLoadNoKeySkippedEnd);
    return;
  }
  if (!with_debug_modules && isDebugModule(key)) {
    return;
  }
  try {
    openModule(key, file, file_name);
  } catch (const TRXException&) {
    const NoCancellation uncancelled;
    if (stop_on_error) {
      trace(kHAPLoadNotOpened, file_name);
      throw;
    }
    trace(kHAPLoadNotOpenedSkipped, file_name);
    trace(kHAPLoadNotOpenedSkippedEnd);
  } catch (...) {
    traceInHandler(kHAPLoadForeignException);
    throw;
  }
}

void HAPController::openModule(const std::string& key, const std::string& file,
                               const std::string& file_name) {
  // The new library is open before the old one of the same key goes: without it, the old one stays.
  auto cache = std::make_unique<HAPCache>(file);
  const auto old = modules_.find(key);
  if (old != modules_.end()) {
    trace(kHAPLoadReplaced, file_name);
    delete old->second;
    modules_.erase(old);
  }
  modules_.emplace(key, cache.get());
  static_cast<void>(cache.release());
}

void HAPController::openSemaphore() {
  try {
    semaphore_ = new kw::dev::parts::LibSemaphore(kExclusionSemaphoreKey);
    if (semaphore_->get() != 0) {
      trace(kHAPLoadSemaphoreMissing);
    }
  } catch (const std::bad_alloc&) {
    traceInHandler(kHAPLoadSemaphoreNoMemory);
    throw;
  } catch (...) {
    traceInHandler(kHAPLoadSemaphoreException);
    throw;
  }
}

bool HAPController::isLoaded() const { return !modules_.empty(); }

void HAPController::unload() {
  if (!modules_.empty()) {
    trace(kHAPUnload, requesterId());
    for (const auto& module : modules_) {
      delete module.second;
    }
    modules_.clear();
  }
  delete semaphore_;
  semaphore_ = nullptr;
}

void HAPController::execHAP(TRXInfo* info, std::vector<kw::sysobj::Component*>& units,
                            const std::string& name, const std::string& mode,
                            const unsigned int* para, unsigned int* out, bool err_disable) {
  if (info == nullptr) {
    trace(kHAPExecNoContext, requesterId());
    throw TRXException(kCodeContext);
  }
  const bool nested = !info->isHAPCtlInfoEmpty() || !info->isTblCtlInfoEmpty();
  if (nested) {
    traceNestedEntry(*info, units, name, mode);
  }
  const bool outermost = info->isHAPCtlInfoEmpty();
  const HAPFunction function = findHAP(info, name);
  const int running = info->getSameNameHAPNestCount(name);
  if (static_cast<unsigned int>(running) > nest_limit_) {
    trace(kHAPExecNestLimit, name);
    throw TRXException(kCodeHAPFailed);
  }
  HAPCtlInfo record(units, name, mode, para, out, err_disable);
  callRecorded(info, record, function, {name, mode, para, out, outermost});
  if (nested) {
    trace(kHAPExecNestedEnd, name);
  }
}

HAPFunction HAPController::findHAP(TRXInfo* info, const std::string& name) {
  const HAPFunction stand_in = zqm_trx_stand_in == nullptr ? nullptr : zqm_trx_stand_in(name);
  if (stand_in != nullptr) {
    return stand_in;
  }
  const std::string_view key = keyOfHAP(name);
  if (key.empty()) {
    trace(kHAPExecNoKey, name);
    errUndefHAP(info, name);
  }
  const auto module = modules_.find(key);
  if (module == modules_.end()) {
    trace(kHAPExecNoModule, std::string(key));
    errUndefHAP(info, name);
  }
  void* address = module->second->getHAP(name);
  if (address == nullptr) {
    trace(kHAPExecUnresolved, std::string(key));
    errUndefHAP(info, name);
  }
  return reinterpret_cast<HAPFunction>(address);
}

void HAPController::callRecorded(TRXInfo* info, HAPCtlInfo& record, HAPFunction function,
                                 const Call& call) {
  info->pushHAPCtlInfo(&record);
  int result = 0;
  try {
    result = callLocked(info, function, call);
  } catch (const TRXException& exception) {
    const NoCancellation uncancelled;
    info->popHAPCtlInfo();
    traceThrown(*info, exception);
    throw;
  } catch (...) {
    const NoCancellation uncancelled;
    info->popHAPCtlInfo();
    trace(kHAPExecForeignException, info->trxId);
    throw;
  }
  if (result == 0) {
    info->popHAPCtlInfo();
    return;
  }
  const PopAtEnd pop{*info};
  errExecHAP(info, call.name);
  if (!info->isErrDisables()) {
    throw TRXException(kCodeHAPFailed);
  }
}

int HAPController::callLocked(TRXInfo* info, HAPFunction function, const Call& call) {
  const TRXLock lock(semaphore_, exclusion_control_, call.outermost);
  try {
    hapapi::HAPAPI* api = call.outermost ? info->getAPI() : nullptr;
    return callNotified(info, api, function, call);
  } catch (...) {
    // A thread that exits inside a HAP unwinds without an exception that could be counted. Thrown
    // on from here it counts, and the lock does not throw its own failure into it.
    throw;
  }
}

int HAPController::callNotified(TRXInfo* info, hapapi::HAPAPI* api, HAPFunction function,
                                const Call& call) {
  const char* mode = call.mode.empty() ? nullptr : call.mode.c_str();
  if (api == nullptr) {
    return function(info, mode, call.para, call.out);
  }
  api->beginHAPExec(info);
  int result = 0;
  try {
    result = function(info, mode, call.para, call.out);
  } catch (...) {
    endDroppingExceptions(*api, info);
    throw;
  }
  api->endHAPExec(info);
  return result;
}

}  // namespace kw::trx::trx
