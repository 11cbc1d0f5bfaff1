// SPDX-License-Identifier: Apache-2.0
#include "doctor/diagnosis.h"

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "common/characters.h"
#include "common/paths.h"
#include "common/text.h"
#include "configuration/configuration.h"
#include "configuration/report.h"
#include "doctor/ring_place.h"
#include "kw/trx/trx.h"
#include "kw/trx/trx_config.h"
#include "kw/trx/trx_lock.h"
#include "lint/check.h"
#include "lock/lock_state.h"
#include "lock/other_namespaces.h"
#include "zqm_trx/config_keys.h"
#include "zqm_trx/module_key.h"
#include "zqm_trx/table_words.h"

namespace kw::trx::tools {
namespace {

using Verdict = Diagnosis::Verdict;

constexpr std::size_t kCallersMost = 10;

/// "; its HAPs are called by the tables init and selftest"; empty when none calls them.
std::string callersText(const TableFlows& tables, const std::string& key) {
  std::vector<std::string> callers;
  for (const auto& [name, flow] : tables) {
    if (std::any_of(flow.rows.begin(), flow.rows.end(), [&key](const FlowRow& row) {
          return row.command == Command::kHAP && trx::keyOfHAP(row.name) == key;
        })) {
      callers.push_back(visible(name));
    }
  }
  if (callers.empty() || key.empty()) {
    return {};
  }
  return "; its HAPs are called by " +
         std::string(callers.size() == 1 ? "the table " : "the tables ") +
         tools::listed(callers, kCallersMost);
}

class Examiner {
 public:
  explicit Examiner(const DiagnosisRequest& request) : request_(request) {}

  std::vector<Diagnosis> run() {
    examineVersions();
    if (examineConfiguration()) {
      const std::vector<std::string> tables = tableFiles();
      const Environment around = environmentOf(tables);
      examineModules(around.tables.flows);
      examineTables(tables, around);
      examineLock();
    }
    if (!request_.ring.empty()) {
      const std::string problem = ringProblem(request_.ring, request_.ring_records);
      judge("place for the ring", request_.ring, problem,
            "give the host a file in a folder that it may write to, with room");
    }
    return found_;
  }

 private:
  void add(Verdict verdict, const std::string& subject, const std::string& message,
           const std::string& remedy = "") {
    found_.push_back({verdict, subject, message, remedy});
  }

  /// Good without a problem, else an error.
  void judge(const std::string& subject, const std::string& name, const std::string& problem,
             const std::string& remedy) {
    problem.empty() ? add(Verdict::kGood, subject, name)
                    : add(Verdict::kError, subject, name + ": " + problem, remedy);
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
            entry.file + ":" + std::to_string(entry.line) + ": " + entry.message,
            "see trxctl config");
      }
    }
    judge("configuration", "path file and configuration", report.problem,
          "fix what trxctl config names");
    return report.problem.empty();
  }

  static std::vector<std::string> tableFiles() {
    std::vector<std::string> tables;
    for (const std::string& file : trx::TRXConfig::getInstance().getTableFiles()) {
      tables.push_back(absolutePath("/" + file));
    }
    return tables;
  }

  void examineModules(const TableFlows& tables) {
    const trx::TRXConfig& config = trx::TRXConfig::getInstance();
    for (const ListedModule& listed : inspectModules(config.getHAPModuleFiles())) {
      std::string problem = tools::listed(listed.module.problems);
      problem += problem.empty() ? "" : callersText(tables, listed.module.key);
      judge("module", listed.file, problem,
            "fix or replace it, or install what it needs; the host does not load without it unless "
            "hapmodule.loading.err.mode is continue");
      if (!listed.replaced_by.empty()) {
        add(Verdict::kWarning, "module", listed.file + ": " + listed.replaced_by + " takes its key",
            "list one of the two");
      }
    }
  }

  void examineTables(const std::vector<std::string>& tables, const Environment& around) {
    const TableChecker checker(around);
    for (const std::string& file : tables) {
      const CheckedFile checked = checker.check(file);
      if (checked.findings.empty()) {
        add(Verdict::kGood, "table", file);
      }
      for (const Finding& finding : checked.findings) {
        add(finding.is_error ? Verdict::kError : Verdict::kWarning, "table",
            file + (finding.line == 0 ? "" : ":" + std::to_string(finding.line)) + ": " +
                finding.message,
            finding.is_error ? "fix the file; the host does not load without it unless "
                               "haptable.loading.err.mode is continue"
                             : "fix the row or what it names, unless it is meant so");
      }
    }
  }

  void examineLock() {
    if (!trx::TRXConfig::getInstance().isExclusionControl()) {
      add(Verdict::kGood, "lock",
          std::string("exclusion is off, HAPs of several processes run at once: ") +
              trx::kKeyExclusionControl + " is off or absent");
      return;
    }
    try {
      const LockState state = lookAtLock(trx::kExclusionSemaphoreKey);
      const OtherNamespaces others = otherNamespaces();
      const std::string elsewhere = wordsOf(others);
      const bool wrong = isWrong(state.condition);
      const bool none_found = others.hosts.empty();
      add(wrong ? Verdict::kError : Verdict::kGood, "lock",
          meaningOf(state) + (elsewhere.empty() || !none_found ? "" : "; " + elsewhere),
          wrong ? adviceOf(state) : "");
      if (!none_found) {
        add(Verdict::kWarning, "lock", elsewhere, adviceOf(others));
      }
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
