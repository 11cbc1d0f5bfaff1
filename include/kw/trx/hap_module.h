// SPDX-License-Identifier: Apache-2.0
// One opened HAP module library, and the cache of the HAPs found in it.
#ifndef KW_TRX_HAP_MODULE_H_
#define KW_TRX_HAP_MODULE_H_

#include <map>
#include <string>

#include "kw/trx/export.h"
#include "kw/trx/mutex.h"

namespace kw::trx::trx {

/// One shared library opened by the dynamic loader. Not synchronised. Failures are results and
/// trace records; only `std::bad_alloc` is thrown.
class ZQM_TRX_API HAPDynamicLib {
 public:
  HAPDynamicLib();
  HAPDynamicLib(const HAPDynamicLib&) = delete;
  HAPDynamicLib& operator=(const HAPDynamicLib&) = delete;
  virtual ~HAPDynamicLib();

  /// Opens the file "/" + `path`, all its symbols resolved at once. Returns 0, or -1 when it cannot
  /// be opened; what is no regular file, or ends before a page that its headers have mapped, never
  /// is. To be called once in the life of the object.
  int load(const std::string& path);

  /// The address of the exported symbol `name`, valid until `unload`; null when there is none.
  void* getHAP(const std::string& name);

  /// Closes the library if one is open.
  void unload();

 private:
  void* handle_ = nullptr;
};

/// One module with the addresses of the HAPs that were asked for. Any thread may call `getHAP`.
class ZQM_TRX_API HAPCache {
 public:
  /// Opens the library "/" + `path`. Throws `TRXException` `kCodeModuleLoad` when it cannot.
  explicit HAPCache(const std::string& path);
  HAPCache(const HAPCache&) = delete;
  HAPCache& operator=(const HAPCache&) = delete;
  /// Closes the library: addresses handed out before become invalid.
  virtual ~HAPCache();

  /// `HAPDynamicLib::load` of the library held.
  int load(const std::string& path);

  /// The address of the HAP `name`, or null. The loader is asked only until it has found it once.
  void* getHAP(const std::string& name) ZQM_TRX_EXCLUDES(mutex_);

 private:
  std::map<std::string, void*> functions_ ZQM_TRX_GUARDED_BY(mutex_);
  HAPDynamicLib library_;
  Mutex mutex_;
};

}  // namespace kw::trx::trx

#endif  // KW_TRX_HAP_MODULE_H_
