// SPDX-License-Identifier: Apache-2.0
// HAPs that do what their parameter words tell them.
#include <dlfcn.h>
#include <pthread.h>
#include <sys/sem.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "kw/trx/hap.h"
#include "kw/trx/hap_controller.h"
#include "kw/trx/trx.h"

using kw::trx::trx::TRX;
using kw::trx::trx::TRXException;

namespace {

void runOnSameContext(kw::trx::trx::TRXInfo* info, const std::string& name,
                      const unsigned int* para, unsigned int* out) {
  std::vector<kw::sysobj::Component*> units;
  info->getHAPUnitList(units);
  TRX::getInstance()->getHAPController()->execHAP(info, units, name, "", para, out, false);
}

}  // namespace

// Copies the first parameter word and tells the length of the mode, -1 for none.
ZQM_HAP(TST_Ok) {
  if (para != nullptr && out != nullptr) {
    out[0] = para[0];
    out[1] = mode == nullptr ? ~0U : static_cast<unsigned int>(std::strlen(mode));
  }
  return 0;
}

// Fails with result para[0] after it set error code para[1].
ZQM_HAP(TST_Fail) {
  info->error.setErrCode(para[1]);
  return static_cast<int>(para[0]);
}

// Fails with HAP error para[0] and the para[1] bytes that follow as detail.
ZQM_HAP(TST_FailDetail) {
  info->error.setHAPError(para[0], para + 2, para[1]);
  return 1;
}

// Fails with API error code para[0] and a block of para[1] bytes, each its own position.
ZQM_HAP(TST_FailAPI) {
  std::vector<unsigned char> block(para[1]);
  for (std::size_t i = 0; i < block.size(); ++i) {
    block[i] = static_cast<unsigned char>(i);
  }
  info->error.setAPIError(block.data(), static_cast<int>(block.size()));
  info->error.setErrCode(para[0]);
  return 1;
}

// Throws: 0 an engine exception with code para[1], 1 a standard exception, otherwise a number.
ZQM_HAP(TST_Throw) {
  switch (para[0]) {
    case 0:
      throw TRXException(para[1]);
    case 1:
      throw std::runtime_error("test");
    default:
      throw 5;
  }
}

// Ends the process by the signal in the first word, or with the status in the second when that is
// 0.
ZQM_HAP(TST_Kill) {
  if (para[0] == 0) {
    _exit(static_cast<int>(para[1]));
  }
  return raise(static_cast<int>(para[0]));
}

// Ends the thread that runs it, after it removed the semaphore with the id para[0].
ZQM_HAP(TST_Exit) {
  if (para != nullptr) {
    semctl(static_cast<int>(para[0]), 0, IPC_RMID);
  }
  pthread_exit(nullptr);
  return 0;
}

// Empties its context in the middle of the call, then throws.
ZQM_HAP(TST_Reset) {
  info->initialize();
  throw TRXException(para[0]);
}

// Runs itself on the same context until the engine refuses; counts its runs in out[0].
ZQM_HAP(TST_Nest) {
  ++out[0];
  runOnSameContext(info, "TST_Nest", para, out);
  return 0;
}

// Runs the HAP named by the mode on the same context.
ZQM_HAP(TST_Call) {
  runOnSameContext(info, mode, para, out);
  return 0;
}

// Mask of its units in out[0] (low) and out[1] (high), channel in out[2], API value in out[3].
ZQM_HAP(TST_Units) {
  const unsigned long long mask = kw::trx::trx::get_rsc_bit(info);
  out[0] = static_cast<unsigned int>(mask & 0xffffffffU);
  out[1] = static_cast<unsigned int>(mask >> 32);
  out[2] = static_cast<unsigned int>(kw::trx::trx::get_sbc_ch_value(info));
  out[3] = static_cast<unsigned int>(info->getAPIRtnValue());
  return 0;
}

// Says in out[0] that it runs, and runs until out[1] is set.
ZQM_HAP(TST_Hold) {
  __atomic_store_n(&out[0], 1U, __ATOMIC_RELEASE);
  while (__atomic_load_n(&out[1], __ATOMIC_ACQUIRE) == 0) {
    usleep(1000);
  }
  return 0;
}

// Leaves the text of a failed dlopen behind.
ZQM_HAP(TST_Stale) { return dlopen("/no/such/library.so", RTLD_NOW) == nullptr ? 0 : 1; }
