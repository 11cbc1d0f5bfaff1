// SPDX-License-Identifier: Apache-2.0
#include "support/bench_engine.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "kw/platform.h"
#include "kw/trx/hapapi/hapapi.h"

namespace bench {
namespace {

constexpr std::size_t kRingRecords = 16384;  // 2 MB

class QuietAPI : public kw::trx::hapapi::HAPAPI {
 public:
  void beginHAPExec(kw::trx::trx::TRXInfo*) override {}
  void endHAPExec(kw::trx::trx::TRXInfo*) override {}
  unsigned int getTraceClass() override { return 9; }
};

void list(std::ostream& out, const std::string& what, const std::vector<std::string>& files) {
  out << what << ".number=" << files.size() << '\n';
  for (std::size_t i = 0; i < files.size(); ++i) {
    out << what << ".file." << i << '=' << files[i] << '\n';
  }
}

void countRecord(void* context, unsigned long, unsigned int, unsigned short, unsigned long,
                 const void*, int) {
  ++*static_cast<double*>(context);
}

}  // namespace

// A disk writes the pages of a ring back now and then, and the next record on such a page waits.
Folder::Folder() : path_(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") {
  path_ += "/zqm_trx_bench.XXXXXX";
  if (mkdtemp(path_.data()) == nullptr) {
    throw std::runtime_error("no folder can be made: " + path_);
  }
}

Folder::~Folder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string Folder::write(const std::string& name, const std::string& content) const {
  const std::filesystem::path file = std::filesystem::path(path_) / name;
  std::filesystem::create_directories(file.parent_path());
  std::ofstream(file) << content;
  return file;
}

std::string tableText(std::size_t rows, const std::string& hap, std::size_t label_every) {
  std::ostringstream out;
  out << "FORMAT,00\nVERSION,01\nLABEL,NUMBER,COMMAND,HAP/TABLE,MODE,ERROR,PARA,RSV1,RSV2\n"
      << ",1,START,,,,,,\n";
  for (std::size_t row = 0; row < rows; ++row) {
    const bool labelled = label_every != 0 && row % label_every == 0;
    if (labelled) {
      out << 'L' << row;
    }
    out << ',' << std::hex << row + 2 << std::dec << ",HAP," << hap << ",,";
    if (labelled) {
      out << 'L' << (rows - 1 - row) / label_every * label_every;
    }
    out << ",ce4,,\n";
  }
  out << ',' << std::hex << rows + 2 << ",END,,,,,,\n";
  return out.str();
}

std::string moduleFile(int number) {
  return std::string(BENCH_MODULE_DIR) + "/libzq_hap_bm" + std::to_string(number) + ".so";
}

BenchEngine::BenchEngine() : engine_(kw::trx::trx::TRX::getInstance()) {
  kw::platform::setSystemRoot(folder_.path());
  folder_.write("kw/etc/kwpath.conf", "path.trx.conf=" + folder_.path() + "/trx.conf\n");
  engine_->setHAPAPI(new QuietAPI);
  // The C library leaves the locked instructions out of a process that never had a second thread.
  std::thread([] {}).join();
}

void BenchEngine::load(const std::vector<std::string>& modules,
                       const std::vector<std::string>& tables) const {
  std::ostringstream out;
  list(out, "hapmodule", modules);
  list(out, "haptable", tables);
  folder_.write("trx.conf", out.str());
  engine_->load(false);
}

OpenRing::OpenRing(const Folder& folder) {
  if (kw::platform::openTraceRing(folder.path() + "/ring", kRingRecords) != 0) {
    throw std::runtime_error("the trace ring cannot be opened");
  }
}

OpenRing::~OpenRing() { kw::platform::closeTraceRing(); }

double countRecords(const std::function<void()>& work) {
  double count = 0;
  kw::platform::setTraceListener(countRecord, &count);
  work();
  kw::platform::setTraceListener(nullptr, nullptr);
  return count;
}

}  // namespace bench
