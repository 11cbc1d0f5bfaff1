// SPDX-License-Identifier: Apache-2.0
#include "diagnosis/diagnosis.h"

#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "common/paths.h"
#include "common/text.h"
#include "configuration/configuration.h"
#include "configuration/report.h"
#include "diagnosis/ring_place.h"
#include "kw/trx/trx.h"
#include "kw/trx/trx_config.h"
#include "kw/trx/trx_lock.h"
#include "lock/lock_state.h"
#include "tables/check.h"

namespace kw::trx::tools {
namespace {

using Verdict = Diagnosis::Verdict;

class Examiner {
 public:
  explicit Examiner(const DiagnosisRequest& request) : request_(request) {}

  std::vector<Diagnosis> run() {
    examineVersions();
    if (examineConfiguration()) {
      examineModules();
      examineTables();
      examineLock();
    }
    if (!request_.ring.empty()) {
      const std::string problem = ringProblem(request_.ring, request_.ring_records);
      judge("ring", request_.ring, problem,
            "give the host a file in a folder that it may write to, with room");
    }
    return found_;
  }

 private:
  void add(Verdict verdict, const std::string& subject, const std::string& words,
           const std::string& way_out = "") {
    found_.push_back({verdict, subject, words, way_out});
  }

  /// Good without a problem, else an error.
  void judge(const std::string& subject, const std::string& name, const std::string& problem,
             const std::string& way_out) {
    problem.empty() ? add(Verdict::kGood, subject, name)
                    : add(Verdict::kError, subject, name + ": " + problem, way_out);
  }

  void examineVersions() {
    Dl_info library = {};
    // A function of the engine tells which file of it this tool has loaded.
    dladdr(reinterpret_cast<void*>(&trx::TRX::getTRXID), &library);
    std::error_code ignored;
    const std::string file =
        std::filesystem::canonical(library.dli_fname, ignored).filename().string();
    const bool same = file.size() > request_.version.size() &&
                      file.substr(file.size() - request_.version.size()) == request_.version;
    add(same ? Verdict::kGood : Verdict::kError, "versions",
        "trxctl " + request_.version + " with " + (file.empty() ? "an unknown library" : file),
        same ? "" : "install tool and library of one version");
  }

  /// False when the engine does not accept it.
  bool examineConfiguration() {
    const ConfigReport report = reportConfiguration();
    for (const ConfigEntry& entry : report.entries) {
      if (entry.is_warning) {
        add(Verdict::kWarning, "configuration",
            entry.file + ":" + std::to_string(entry.line) + ": " + entry.words,
            "see trxctl config");
      }
    }
    judge("configuration", "path file and configuration", report.problem,
          "mend what trxctl config names");
    return report.problem.empty();
  }

  void examineModules() {
    const trx::TRXConfig& config = trx::TRXConfig::getInstance();
    for (const ListedModule& listed : inspectModules(config.getHAPModuleFiles())) {
      judge("module", listed.file, tools::listed(listed.module.problems),
            "see trxctl modules; the host does not load without it unless "
            "hapmodule.loading.err.mode is continue");
      if (!listed.replaced_by.empty()) {
        add(Verdict::kWarning, "module", listed.file + ": " + listed.replaced_by + " takes its key",
            "list one of the two");
      }
    }
  }

  void examineTables() {
    const std::vector<std::string>& files = trx::TRXConfig::getInstance().getTableFiles();
    std::vector<std::string> tables;
    tables.reserve(files.size());
    for (const std::string& file : files) {
      tables.push_back(absolutePath("/" + file));
    }
    const Surroundings around = surroundingsOf(tables);
    for (const std::string& file : tables) {
      const CheckedFile checked = checkFile(file, around);
      if (checked.findings.empty()) {
        add(Verdict::kGood, "table", file);
      }
      for (const Finding& finding : checked.findings) {
        add(finding.is_error ? Verdict::kError : Verdict::kWarning, "table",
            file + (finding.line == 0 ? "" : ":" + std::to_string(finding.line)) + ": " +
                finding.words,
            "see trxctl check");
      }
    }
  }

  void examineLock() {
    if (!trx::TRXConfig::getInstance().isExclusionControl()) {
      add(Verdict::kGood, "lock", "the configuration does not use it");
      return;
    }
    try {
      const LockState state = lookAtLock(trx::kExclusionSemaphoreKey);
      const bool wrong = isWrong(state.condition);
      add(wrong ? Verdict::kError : Verdict::kGood, "lock", meaningOf(state.condition),
          wrong ? adviceOf(state.condition) : "");
    } catch (const std::system_error& problem) {
      add(Verdict::kError, "lock", problem.what(), "see trxctl lock");
    }
  }

  const DiagnosisRequest& request_;
  std::vector<Diagnosis> found_;
};

}  // namespace

std::vector<Diagnosis> examine(const DiagnosisRequest& request) { return Examiner(request).run(); }

const char* nameOf(Diagnosis::Verdict verdict) {
  return verdict == Verdict::kGood ? "ok" : verdict == Verdict::kWarning ? "warning" : "error";
}

}  // namespace kw::trx::tools
