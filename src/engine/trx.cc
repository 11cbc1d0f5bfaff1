// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/trx.h"

#include <unistd.h>

#include <algorithm>
#include <memory>

#include "kw/dev/parts/lib_semaphore.h"
#include "kw/sysobj/tree_path.h"
#include "kw/trx/hap_controller.h"
#include "kw/trx/table_controller.h"
#include "kw/trx/trx_config.h"
#include "kw/trx/trx_lock.h"
#include "support/handlers.h"
#include "support/requester_id.h"
#include "support/stop_flag.h"

namespace kw::trx::trx {
namespace {

constexpr unsigned int kPollSeconds = 1;

void traceHAPRequest(const TRXInfo& info, const std::vector<kw::sysobj::Component*>& units,
                     const std::string& name, const std::string& mode) {
  trace(kTrxHAPName, name);
  if (!mode.empty()) {
    trace(kTrxHAPMode, mode);
  }
  for (kw::sysobj::Component* unit : units) {
    kw::sysobj::TreePath path;
    unit->getTreePath(path);
    trace(kTrxHAPUnit, path.toString());
  }
  trace(kTrxHAPAdmitted, info.trxId);
}

}  // namespace

/// Keeps new requests out while `load` or `setHAPAPI` works: holds the engine mutex with the
/// loading flag set, once no request is in progress.
class TRX::LoadingScope {
 public:
  explicit LoadingScope(TRX& engine) : engine_(engine), lock_(engine.engine_mutex_) {}
  LoadingScope(const LoadingScope&) = delete;
  LoadingScope& operator=(const LoadingScope&) = delete;
  ~LoadingScope() { engine_.loading_ = false; }

  void begin() {
    engine_.loading_ = true;
    engine_.hapExecWaiting();
  }

 private:
  TRX& engine_;
  MutexGuard lock_;
};

/// Takes an admitted context out of the registry at the end of its request.
class TRX::RunningScope {
 public:
  RunningScope(TRX& engine, TRXInfo* info) : engine_(engine), info_(info) {}
  RunningScope(const RunningScope&) = delete;
  RunningScope& operator=(const RunningScope&) = delete;
  ~RunningScope() { engine_.deleteTRXInfo(info_); }

 private:
  TRX& engine_;
  TRXInfo* info_;
};

std::atomic<TRX*> TRX::instance_{nullptr};

TRX* TRX::getInstance() {
  TRX* engine = instance_.load(std::memory_order_acquire);
  if (engine == nullptr) {
    engine = new TRX();
    instance_.store(engine, std::memory_order_release);
  }
  trace(kTrxInstance, requesterId(), traceWord(engine));
  return engine;
}

TRX::TRX() {
  engine_mutex_.init();
  registry_mutex_.init();
  auto hap_controller = std::make_unique<HAPController>();
  table_controller_ = new TableController();
  hap_controller_ = hap_controller.release();
  engine_stop_flag = &stop_;  // last: an engine that could not be made leaves nobody watching it
}

unsigned int TRX::getTRXID() { return requesterId(); }

int TRX::startUp() {
  kw::dev::parts::LibSemaphore semaphore(kExclusionSemaphoreKey);
  const bool created = semaphore.create() == 0;
  trace(created ? kTrxSemaphoreCreated : kTrxSemaphoreNotCreated, requesterId());
  return 0;
}

void TRX::load(bool with_debug_modules) {
  trace(kTrxLoadEntered, requesterId());
  LoadingScope scope(*this);
  trace(kTrxLoadLocked, requesterId());
  scope.begin();
  TRXConfig& config = TRXConfig::getInstance();
  config.load();
  failAs(kCodeModuleLoad, kTrxLoadHAPFailed, requesterId(), [&] {
    std::vector<std::string> files = config.getHAPModuleFiles();
    hap_controller_->load(files, with_debug_modules);
  });
  failAs(kCodeTableLoad, kTrxLoadTableFailed, requesterId(), [&] {
    std::vector<std::string> files = config.getTableFiles();
    table_controller_->load(files);
  });
  trace(kTrxLoadDone, requesterId());
}

void TRX::setHAPAPI(hapapi::HAPAPI* api) {
  trace(kTrxSetAPI, requesterId(), traceWord(api));
  LoadingScope scope(*this);
  scope.begin();
  if (api == nullptr) {
    trace(kTrxSetAPINull, requesterId());
  }
  if (api_ != nullptr && api_ != api) {
    trace(kTrxSetAPIOld, requesterId(), traceWord(api_));
    const NoCancellation uncancelled;
    delete api_;
  }
  api_ = api;
}

void TRX::execHAP(TRXInfo* info, std::vector<kw::sysobj::Component*>& units,
                  const std::string& hap_name, const std::string& mode, const unsigned int* para,
                  unsigned int* out) {
  admit(info);
  {
    const RunningScope running(*this, info);
    traceHAPRequest(*info, units, hap_name, mode);
    checkExecHAPCondition(info);
    info->setAPI(api_);
    traceForeignException(kTrxHAPForeignException, info->trxId, [&] {
      hap_controller_->execHAP(info, units, hap_name, mode, para, out, false);
    });
  }
  trace(kTrxHAPDone, hap_name);
}

void TRX::execTable(TRXInfo* info) {
  if (stop_) {
    trace(kTrxTableStopped, requesterId());
    throw TRXException(kCodeStopped);
  }
  admit(info);
  const RunningScope running(*this, info);
  trace(kTrxTableAdmitted, info->trxId);
  trace(kTrxTableName, info->getTableName());
  info->setAPI(api_);
  traceForeignException(kTrxTableForeignException, info->trxId,
                        [&] { table_controller_->execTable(info); });
}

void TRX::execTable(TRXInfo* info, std::vector<kw::sysobj::Component*>& units,
                    const std::string& table_name) {
  prepareTable(info, units, table_name);
  execTable(info);
}

void TRX::setStopFlag(bool stop) { stop_ = stop; }

bool TRX::isStopFlag() const { return stop_; }

HAPController* TRX::getHAPController() const { return hap_controller_; }

void TRX::hapExecWaiting() {
  while (true) {
    {
      const MutexGuard guard(registry_mutex_);
      if (registry_.empty()) {
        return;
      }
    }
    sleep(kPollSeconds);
  }
}

void TRX::loadWaiting() {
  while (loading_) {
    sleep(kPollSeconds);
  }
}

int TRX::chkAndAddTRXInfo(TRXInfo* info) {
  const MutexGuard guard(registry_mutex_);
  if (info == nullptr) {
    trace(kTrxNoContext, requesterId());
    return -1;
  }
  const auto place = std::lower_bound(registry_.begin(), registry_.end(), info);
  if (place != registry_.end() && *place == info) {
    trace(kTrxContextRunning, info->trxId);
    return -1;
  }
  registry_.insert(place, info);
  return 0;
}

void TRX::deleteTRXInfo(TRXInfo* info) {
  const MutexGuard guard(registry_mutex_);
  registry_.erase(std::remove(registry_.begin(), registry_.end(), info), registry_.end());
}

void TRX::checkExecHAPCondition(TRXInfo*) {
  if (stop_) {
    trace(kTrxHAPStopped, requesterId());
    throw TRXException(kCodeStopped);
  }
  if (!hap_controller_->isLoaded()) {
    trace(kTrxNoModule, requesterId());
    throw TRXException(kCodeNoModule);
  }
  if (api_ == nullptr) {
    trace(kTrxNoAPI, requesterId());
    throw TRXException(kCodeNoAPI);
  }
}

/// Registers the context of a request; the engine mutex keeps requests out while a load works.
void TRX::admit(TRXInfo* info) {
  const MutexGuard guard(engine_mutex_);
  if (chkAndAddTRXInfo(info) != 0) {
    throw TRXException(kCodeContext);
  }
  loadWaiting();
}

/// Look-up and change are one step under the registry mutex: no request on the same context starts
/// in between.
void TRX::prepareTable(TRXInfo* info, const std::vector<kw::sysobj::Component*>& units,
                       const std::string& table_name) {
  const MutexGuard guard(registry_mutex_);
  if (info == nullptr || std::binary_search(registry_.begin(), registry_.end(), info)) {
    trace(kTrxTableRefused, requesterId());
    throw TRXException(kCodeContext);
  }
  info->setTableUnitList(units);
  info->setTableName(table_name);
}

}  // namespace kw::trx::trx
