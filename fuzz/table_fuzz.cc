// SPDX-License-Identifier: Apache-2.0
// Table files: the reader of comma-separated values, the checks and the building of a table, and a
// bounded run of it. Each step is made in two ways that have to agree, trace records included.
#include <fstream>
#include <memory>
#include <sstream>
#include <vector>

#include "harness.h"
#include "kw/platform.h"
#include "kw/trx/errors.h"
#include "kw/trx/hap_controller.h"
#include "kw/trx/table.h"
#include "kw/trx/table_data.h"
#include "kw/trx/table_driver.h"
#include "kw/trx/table_format.h"
#include "kw/trx/trx.h"
#include "kw/util/config/comma_separated_values.h"

namespace kw::trx::fuzz {
namespace {

using Rows = std::vector<std::vector<std::string>>;

/// What the reader of comma-separated values takes at once.
constexpr std::size_t kBlockBytes = 65536;

constexpr char kTableName[] = "t";

/// A run that has written more trace records is stopped.
constexpr std::size_t kMaxRunRecords = 2000;
constexpr int kNestLimit = 3;

Rows readRows(const std::string& text) {
  std::istringstream in(text);
  util::config::CommaSeparatedValues csv;
  csv.load(in);
  Rows rows;
  for (int row = 0; row < csv.rowCount(); ++row) rows.push_back(csv[row]);
  return rows;
}

/// The rows of a text do not depend on where the blocks end that it is read in. Blocks take time:
/// the length of a text decides whether it is looked at.
void checkBlocks(std::string_view text) {
  constexpr std::size_t kOneOf = 8;
  if (text.empty() || text.size() % kOneOf != 0) return;
  if (text[0] == '\xEF') return;  // a byte order mark counts in front alone
  Rows rows = readRows(std::string(text));
  rows.insert(rows.begin(), {std::string(kBlockBytes - 1 - text.size() / 2, 'x')});
  require(readRows(rows[0][0] + '\n' + std::string(text)) == rows, "blocks leave no mark in rows");
}

/// Takes the trace records as one number and stops what writes too many.
class Watch {
 public:
  explicit Watch(trx::TRX* engine) : engine_(engine) {
    platform::setTraceListener(&Watch::take, this);
  }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  ~Watch() {
    platform::setTraceListener(nullptr, nullptr);
    engine_->setStopFlag(false);
  }

  void beginRun() { records_left_ = kMaxRunRecords; }
  std::size_t digest() const { return digest_; }

 private:
  static void take(void* context, unsigned long, unsigned int level, unsigned short,
                   unsigned long id, const void* data, int length) {
    auto* self = static_cast<Watch*>(context);
    const std::string_view bytes(static_cast<const char*>(data), static_cast<std::size_t>(length));
    constexpr std::size_t kFactor = 31;
    self->digest_ = (self->digest_ * kFactor + level) * kFactor + id;
    self->digest_ = self->digest_ * kFactor + std::hash<std::string_view>()(bytes);
    if (--self->records_left_ == 0) self->engine_->setStopFlag(true);
  }

  trx::TRX* engine_;
  std::size_t records_left_ = 0;
  std::size_t digest_ = 0;
};

/// Overrides what a format may read its cells by, so that nothing else may be used for it.
class OwnFormat : public trx::TblFmt00 {
 public:
  using TblFmt00::TblFmt00;
  std::string getMember(const unsigned int& row, const std::string& column) override {
    return TblFmt00::getMember(row, column);
  }
  std::vector<unsigned int> findEntry(const unsigned int& col, const std::string& value,
                                      const unsigned int& from, const unsigned int& to) override {
    return TblFmt00::findEntry(col, value, from, to);
  }
};

std::unique_ptr<trx::TableData> readFile(const std::string& path) {
  auto data = std::make_unique<trx::TableData>();
  require(data->load(path) == 0, "the file can be read");
  return data;
}

/// The format of the file at `path`, or one of the same kind with look-ups of its own; null without
/// one.
std::unique_ptr<trx::TblFmtFactory> formatOf(const std::string& path, bool own) {
  auto data = readFile(path);
  std::unique_ptr<trx::TblFmtFactory> format(trx::TblFmtFactory::getTblFmt(kTableName, data.get()));
  if (format == nullptr) return nullptr;
  const trx::TableData& taken = *data.release();
  if (!own) return format;
  auto copy = readFile(path);
  copy->formatNo = taken.formatNo;
  copy->versionNo = taken.versionNo;
  return std::make_unique<OwnFormat>(kTableName, copy.release());
}

/// Runs the table of `tables` to its end, waits not waited for. Returns the code it ended with.
unsigned int run(trx::TableList& tables) {
  trx::TRXInfo info(1, 1);
  info.setTableName(kTableName);
  trx::TableDriver driver(kNestLimit);
  while (true) {
    try {
      driver.execTable(&info, &tables);
      require(info.isTblCtlInfoEmpty(), "an ended run leaves no table on the context");
      return 0;
    } catch (const trx::TRXException& exception) {
      if (exception.getCode() == trx::kCodeWaitHandOver) continue;
      require(info.isTblCtlInfoEmpty(), "a failed run leaves no table on the context");
      return exception.getCode();
    }
  }
}

/// Loads and runs the table file at `path`. Returns what came of it as one number.
std::size_t loadAndRun(trx::TRX* engine, const std::string& path, bool own_format) {
  const std::unique_ptr<trx::TblFmtFactory> format = formatOf(path, own_format);
  if (format == nullptr) return 0;
  Watch watch(engine);
  unsigned int code = 0;
  if (format->checkFormat() == 0) {
    trx::TableList tables;
    tables.addTable(format->createHAPTable());
    watch.beginRun();
    code = run(tables);
    require(code == 0 || code == trx::kCodeTableFailed || code == trx::kCodeTableStopped,
            "a run ends with a code of its own");
  }
  return watch.digest() ^ code;
}

/// An engine with the module of the HAPs that tables may run.
trx::TRX* startEngine() {
  static const InputFile conf("trx.conf");
  const std::string path = conf.write("hapmodule.number=1\nhapmodule.file.0=" MODULE_FUZZ
                                      "\nhaptable.number=0\n"
                                      "haptable.tblcmd.wait.handler=requester\n");
  conf.dir().write("kw/etc/kwpath.conf", "path.trx.conf=" + path + "\n");
  platform::setSystemRoot(conf.dir().path());
  trx::TRX* engine = trx::TRX::getInstance();
  engine->load(false);
  // From the first time on a HAP is looked up elsewhere, with other trace records.
  trx::TRXInfo info(1, 1);
  std::vector<sysobj::Component*> units;
  for (const char* hap : {"FUZZ_Ok", "FUZZ_Maybe"}) {
    engine->getHAPController()->execHAP(&info, units, hap, "", nullptr, nullptr, false);
  }
  return engine;
}

}  // namespace
}  // namespace kw::trx::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kw::trx::fuzz;
  static kw::trx::trx::TRX* const engine = startEngine();
  static const InputFile file("t.csv");
  const std::string_view text = textOf(data, size);
  if (text.size() > kBlockBytes) return 0;
  checkBlocks(text);
  const std::string path = file.write(text);
  require(loadAndRun(engine, path, false) == loadAndRun(engine, path, true),
          "a format that overrides its look-ups judges and runs alike");
  return 0;
}
