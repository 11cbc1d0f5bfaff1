// SPDX-License-Identifier: Apache-2.0
// Runs HAPs and tables on the foreign platform, with waits, exclusion and reloads: foreign_host
// TABLE, the file of the table "fan". Prints a line for each step, beginning with "host ", that
// says what came of it.
#include <sys/sem.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <string>

#include "kw/trx/hap_controller.h"
#include "kw/trx/table_format.h"
#include "kw/trx/trx.h"
#include "kw/trx/trx_lock.h"
#include "kw/trx/unit_functions.h"

namespace {

using namespace kw::trx::trx;

/// What the notification of the next HAP does, under the lock.
std::function<void()> in_hap;

class PlainAPI : public kw::trx::hapapi::HAPAPI {
 public:
  ~PlainAPI() override { std::puts("host API object destroyed"); }
  void beginHAPExec(TRXInfo* info) override {
    std::printf("host begin, channel %d\n", get_sbc_ch_value(info));
    if (in_hap) {
      in_hap();
    }
  }
  void endHAPExec(TRXInfo*) override { std::puts("host end"); }
  unsigned int getTraceClass() override { return 77; }
};

/// An empty class of its own, without type information.
class OwnFormat : public TblFmt00 {
 public:
  using TblFmt00::TblFmt00;
};

kw::sysobj::Component fan(303, 5, "fan");
std::vector<kw::sysobj::Component*> units = {&fan};

template <typename Request>
void report(const char* what, const Request& request) {
  try {
    request();
    std::printf("host %s: ok\n", what);
  } catch (const TRXException& failure) {
    std::printf("host %s: %x, detail %u\n", what, failure.getCode(), failure.getDetail());
  }
}

void runHAP(const char* what) {
  report(what, [] {
    TRXInfo info;
    const unsigned int percent = 40;
    unsigned int before = 99;
    TRX::getInstance()->execHAP(&info, units, "FAN_SetSpeed", "", &percent, &before);
    info.getProductHAPAPITrace()->info(0xabc, "product");
    std::printf("host speed before %u\n", before);
  });
}

void runTable(const char* what) {
  TRXInfo info;
  report(what, [&] { TRX::getInstance()->execTable(&info, units, "fan"); });
  report("table goes on", [&] { TRX::getInstance()->execTable(&info); });
  std::printf("host message '%s'\n", info.getTblRtnMsg().c_str());
}

void checkOwnFormat(const std::string& file) {
  auto* data = new TableData;
  data->load(file);
  OwnFormat format("own", data);
  const std::unique_ptr<HAPTable> table(format.checkFormat() == 0 ? format.createHAPTable()
                                                                  : nullptr);
  std::printf("host own format: %s\n", table == nullptr ? "refused" : "table");
}

/// The value of the semaphore that the platform uses, or how many wait for it (GETNCNT).
int semaphore(int question) { return semctl(semget(kExclusionSemaphoreKey, 0, 0), 2, question); }

/// A HAP of another process is waited for; one of this process is refused while another one runs.
void excludeOthers() {
  int ends[2];
  char taken = 0;
  std::fflush(stdout);
  if (pipe(ends) != 0) {
    return;
  }
  const pid_t child = fork();
  if (child == 0) {
    in_hap = [&] {
      const bool told = write(ends[1], "t", 1) == 1;
      while (told && semaphore(GETNCNT) == 0) {
        usleep(1000);
      }
    };
    if (std::freopen("/dev/null", "w", stdout) != nullptr) {
      runHAP("HAP of the other process");
    }
    _exit(0);
  }
  const bool is_held = read(ends[0], &taken, 1) == 1 && semaphore(GETVAL) == 0;
  runHAP(is_held ? "HAP that waited" : "HAP");
  waitpid(child, nullptr, 0);
  in_hap = [] {
    in_hap = nullptr;
    runHAP("HAP within a HAP");
  };
  runHAP("HAP with the lock");
  std::printf("host semaphore %d\n", semaphore(GETVAL));
}

}  // namespace

int main(int argc, char** argv) {
  const std::string file = argc > 1 ? argv[1] : "";
  TRX::startUp();
  TRX* engine = TRX::getInstance();
  report("load", [&] { engine->load(false); });
  engine->setHAPAPI(new PlainAPI);
  runHAP("HAP");
  runTable("table");
  checkOwnFormat(file);
  excludeOthers();
  std::ofstream(file) << "FORMAT,0\nVERSION,2\n,1,START\n,2,WAIT,,1\n,3,END,AGAIN\n";
  report("load again", [&] { engine->load(false); });
  runTable("another table");
  engine->setHAPAPI(nullptr);
  semaphore(IPC_RMID);
  return 0;
}
