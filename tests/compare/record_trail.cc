// SPDX-License-Identifier: Apache-2.0
// Runs a fixed set of loads, requests and tables, and prints the trace records and outcomes of
// each. Two builds of the engine print the same text: words that are a process, a thread or an
// address show as names. The folder given holds the files of the run, as records show their paths.
#include <sys/sem.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "kw/dev/parts/lib_semaphore.h"
#include "kw/trx/testing/engine_fixture.h"
#include "kw/trx/trx_lock.h"

namespace kw::trx::testing {
namespace {

namespace fs = std::filesystem;

constexpr char kTables[][2][400] = {
    {"flow",
     ",1,START\n,2,HAP,TST_Ok,mode,,1 ffffffff -1 7f\n,3,HAP,TST_Fail,,STACK,3 0\n,4,CHECK,,,late\n"
     ",5,END,NOT_REACHED\nlate,6,WAIT,,0\n,7,WAIT,,4294967\n,8,HAP,TST_None,,jump\n,9,END\n"
     "jump,a,HAP,TST_Throw,,NOP,0 77\n,b,TABLE,called\n,c,END,MESSAGE\n"},
    {"called", ",fffffffff,START\n,-1a,HAP,PLAIN_Pass,,STACK,8000000a\n,0x5,END\n"},
    {"bytes", ",1,START\n\xe9t\xe9,2,HAP,TST_Ok\n,3,END\n"},
    {"stop", ",1,START\n,2,HAP,TST_FailDetail,,,20001 9 80000000 ff000000 1\n,3,END\n"},
    {"foreign", ",1,START\n,2,HAP,TST_Throw,,NOP,1\n,3,END\n"},
    {"ring", ",1,START\n,2,TABLE,ring\n,3,END\n"},
    {"lost", ",1,START\n,2,TABLE,nowhere\n,3,END\n"},
};

/// It jumps back for as long as its HAP fails, and here no module has that HAP.
constexpr char kEndlessTable[] = "right-jump-back";

struct Request {
  const char* hap;
  const char* mode;
  std::vector<unsigned int> para;
};

const Request kRequests[] = {
    {"TST_Ok", "a mode", {0x80000001}},
    {"TST_Units", "", {0}},
    {"TST_Fail", "", {1, 0x77}},
    {"TST_Fail", "", {0xffffffff, 0x10000}},
    {"TST_FailDetail", "", {0x20001, 0}},
    {"TST_FailDetail", "", {0x20002, 28, 1, 2, 3, 4, 5, 6, 0xfffffff7}},
    {"TST_FailDetail", "", {0x20003, 33, 1, 2, 3, 4, 5, 6, 7, 8, 0x89abcdef}},
    {"TST_FailAPI", "", {0x40001, 0}},
    {"TST_FailAPI", "", {0x40001, 7}},
    {"TST_FailAPI", "", {0x40001, 300}},
    {"TST_FailAPI", "", {0x60001, 4}},
    {"TST_Throw", "", {0, 0x90001}},
    {"TST_Throw", "", {0, 0x7000c}},
    {"TST_Throw", "", {1}},
    {"TST_Throw", "", {2}},
    {"PLAIN_Pass", "", {0x12345}},
    {"TST_Reset", "", {0x55}},
    {"TST_Nest", "", {0}},
    {"TST_Call", "TST_Ok", {6}},
    {"TST_Call", "TST_None", {6}},
    {"TST_Stale", "", {0}},
    {"TST_None", "", {0}},
    {"NONE_Ok", "", {0}},
    {"DBGTOOL_Ok", "", {0}},
    {"_", "", {0}},
    {"", "\xe9", {0}},
};

/// The trail with "address" for the second word of the records that show one.
std::string withoutAddresses(const std::string& trail) {
  std::istringstream lines(trail);
  std::string out;
  for (std::string line; std::getline(lines, line);) {
    for (const char* head : {"D 4000001 (id ", "D 4002001 (id ", "D 4002003 (id ", "E 6000000 (id ",
                             "I 6002000 (id ", "E 6004000 (id "}) {
      if (line.rfind(head, 0) == 0) {
        const std::size_t begin = std::string(head).size();
        line.replace(begin, line.find(' ', begin) - begin, "address");
      }
    }
    out += line + '\n';
  }
  return out;
}

class Recorder : public EngineFixture {
 public:
  explicit Recorder(fs::path folder) : folder_(std::move(folder)) {
    fs::create_directories(folder_);
    for (const char* module : {MODULE_TST, MODULE_PLAIN, MODULE_DBGTOOL}) {
      modules_.push_back(folder_ / fs::path(module).filename());
      fs::copy_file(module, modules_.back(), fs::copy_options::overwrite_existing);
    }
    for (const auto& [name, rows] : kTables) {
      tables_.push_back(folder_ / (std::string(name) + ".csv"));
      std::ofstream(tables_.back(), std::ios::binary) << "FORMAT,0\nVERSION,fffffff0\n" << rows;
    }
    const std::set<fs::path> guide{fs::directory_iterator(GUIDE_TABLES), {}};
    for (const fs::path& table : guide) {
      tables_.push_back(folder_ / table.filename());
      fs::copy_file(table, tables_.back(), fs::copy_options::overwrite_existing);
    }
    units = {&rail_, &fan_};
  }

  void TestBody() override {
    recordLoads();
    recordRefusals();
    for (const Request& request : kRequests) {
      record(request);
    }
    for (const std::string& table : tables_) {
      const std::string name = fs::path(table).stem().string();
      if (name != kEndlessTable) {
        recordTable(name);
      }
    }
    units.push_back(&rack_);
    record({"TST_Units", "", {0}});
    recordMisuse();
    recordLocked();
  }

 private:
  /// Prints what `step` traces and then what it returns.
  void section(const std::string& title, const std::function<std::string()>& step) {
    const std::string result = step();
    std::string trail = withoutAddresses(capture_.trail());
    for (std::size_t at = 0; (at = trail.find(dir.path(), at)) != std::string::npos;) {
      trail.replace(at, dir.path().size(), "DIR");
    }
    std::printf("# %s\n%s-> %s\n", title.c_str(), trail.c_str(), result.c_str());
  }

  void load(const std::string& title) {
    section(title, [this] { return outcomeOf([this] { start(); }); });
  }

  void recordLoads() {
    load("load without a configuration");
    configureRaw("hapmodule.number=0\n");
    load("load without tables");
    configureRaw("hapmodule.number=2\nhapmodule.file.1=/x\n\xe9=\xe9\n");
    load("load without a listed module");
    configure({"/no/such/folder/libzq_hap_gone.so"}, {});
    load("load of a missing module");
    configure(modules_, tables_);
    load("load that stops at a table");
    tables_.push_back("/no/such/folder/gone.csv");
    tables_.push_back(folder_ / "no-table.txt");
    configure({modules_[0], "/no/such/folder/libzq_hap_gone.so", modules_[1], modules_[2]}, tables_,
              "hapmodule.loading.err.mode=continue\nhaptable.loading.err.mode=continue\n"
              "haptable.tblcmd.wait.handler=requester\nhaptable.nest.exec.limit=2\n"
              "hapmodule.nest.exec.limit=0x2\n");
    load("load that skips what cannot be loaded");
  }

  void recordRefusals() {
    section("no API object", [this] {
      engine->setHAPAPI(nullptr);
      trx::TRXInfo info;
      const std::string outcome = execHAP(info, "TST_Ok");
      return outcome + ", " + execTable(info, "flow");
    });
    section("no context", [this] {
      engine->setHAPAPI(new QuietAPI);
      return outcomeOf([this] { engine->execHAP(nullptr, units, "TST_Ok", "", nullptr, nullptr); });
    });
    section("stopped", [this] {
      engine->setStopFlag(true);
      trx::TRXInfo info;
      std::string outcomes = execHAP(info, "TST_Ok");
      outcomes += ", " + execTable(info, "flow");
      engine->setStopFlag(false);
      return outcomes;
    });
  }

  void record(const Request& request) {
    section(std::string("HAP ") + request.hap, [&] {
      trx::TRXInfo info;
      unsigned int out[4] = {};
      std::vector<unsigned int> para = request.para;
      para.resize(16);
      std::string result = execHAP(info, request.hap, request.mode, para.data(), out);
      for (const unsigned int word : out) {
        result += ' ' + std::to_string(word);
      }
      return result + "; " + errorOf(info);
    });
  }

  void recordTable(const std::string& table) {
    section("table " + table, [&] {
      trx::TRXInfo info;
      const std::string outcome = execTable(info, table);
      return outcome + "; " + errorOf(info) + "; " + info.getTblRtnMsg();
    });
  }

  void recordMisuse() {
    section("misuse of a context", [] {
      trx::TRXInfo info;
      info.error.setAPIError(nullptr, -5);
      info.error.setHAPError(1, nullptr, 0x80000000);
      info.error.getHAPErrorDetail(nullptr, 4);
      info.error.addErrUnit(nullptr);
      info.popHAPCtlInfo();
      info.popTblCtlInfo();
      return "done";
    });
  }

  static void removeSemaphore() {
    kw::dev::parts::LibSemaphore semaphore(trx::kExclusionSemaphoreKey);
    if (semaphore.get() == 0) {
      semctl(semaphore.id, 0, IPC_RMID);
    }
  }

  void recordLocked() {
    configure(modules_, {}, "hapmodule.exec.exclusion.control=on\n");
    removeSemaphore();
    load("load without the semaphore");
    record({"TST_Ok", "", {1}});
    trx::TRX::startUp();
    load("load with the semaphore");
    record({"TST_Nest", "", {1}});
    record({"TST_Throw", "", {1}});
    removeSemaphore();
    record({"TST_Ok", "", {1}});
  }

  fs::path folder_;
  std::vector<std::string> modules_;
  std::vector<std::string> tables_;
  kw::sysobj::Component rack_{1, 0, "rack"};
  kw::sysobj::Component rail_{300, 2, "rail2", &rack_};
  kw::sysobj::Component fan_{301, 40, "fan", &rack_};
  TraceCapture capture_;
};

}  // namespace
}  // namespace kw::trx::testing

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: record_trail FOLDER\n");
    return 2;
  }
  kw::trx::testing::Recorder(argv[1]).TestBody();
  return 0;
}
