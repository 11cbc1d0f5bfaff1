// SPDX-License-Identifier: Apache-2.0
#include "kw/trx/errors.h"
#include "kw/trx/hap_module.h"
#include "support/trace.h"

namespace kw::trx::trx {

HAPCache::HAPCache(const std::string& path) {
  if (library_.load(path) != 0) {
    throw TRXException(kCodeModuleLoad);
  }
  mutex_.init();
}

HAPCache::~HAPCache() {
  mutex_.destroy();
  functions_.clear();
}

int HAPCache::load(const std::string& path) { return library_.load(path); }

void* HAPCache::getHAP(const std::string& name) {
  const MutexGuard guard(mutex_);
  const auto found = functions_.find(name);
  if (found != functions_.end()) {
    void* address = found->second;
    trace(kHAPCacheHit, name);
    return address;
  }
  void* address = library_.getHAP(name);
  if (address == nullptr) {
    trace(kHAPCacheUnresolved, name);
    return nullptr;
  }
  functions_.emplace(name, address);
  trace(kHAPCacheResolved, name);
  return address;
}

}  // namespace kw::trx::trx
