// SPDX-License-Identifier: Apache-2.0
#include "trace/advice.h"

#include "zqm_trx/trace_points.h"

namespace kw::trx::tools {
namespace {

/// The records from `first` to `last`.
struct AdviceRange {
  unsigned long first;
  unsigned long last;
  Advice advice;
};

/// For errors; what stands first counts.
constexpr AdviceRange kAdvice[] = {
    {trx::kHAPCacheUnresolved.id,
     trx::kHAPCacheUnresolved.id,
     {"the name is misspelt, or the module lacks ZQM_HAP() for it",
      "compare with the names that trxctl modules lists"}},
    {trx::kHAPLoadNoKey.id,
     trx::kHAPLoadNoKey.id,
     {"the file is not called libzq_hap_KEY.so, or nothing stands where its key should",
      "rename the module file, and name it so in the configuration"}},
    {trx::kHAPLoadNoKeySkipped.id,
     trx::kHAPLoadForeignException.id,
     {"a listed module is missing, of another architecture, or has unresolved symbols",
      "run trxctl modules"}},
    {trx::kHAPLoadSemaphoreMissing.id,
     trx::kHAPLoadSemaphoreMissing.id,
     {"TRX::startUp was not called on this system since it was booted, or the semaphore was "
      "removed",
      "call TRX::startUp once per system before the load"}},
    {trx::kHAPLoadSemaphoreNoMemory.id,
     trx::kHAPLoadSemaphoreNoMemory.id,
     {"the process has no memory left, or a limit on it", "free some and load again"}},
    {trx::kHAPLoadSemaphoreException.id,
     trx::kHAPLoadSemaphoreException.id,
     {"the platform's semaphore threw", "look into the platform library, then load again"}},
    {trx::kHAPExecNoContext.id,
     trx::kHAPExecNoContext.id,
     {"the host or HAP passed a null context", "pass the TRXInfo of the request"}},
    {trx::kHAPExecNoKey.id,
     trx::kHAPExecUnresolved.id,
     {"the HAP's name is misspelt, or its module is not configured or was skipped",
      "run trxctl modules: the part before the first _ is the key of the module"}},
    {trx::kHAPExecNestLimit.id,
     trx::kHAPExecNestLimit.id,
     {"HAPs call each other without an end",
      "look for the loop; hapmodule.nest.exec.limit is the limit"}},
    {trx::kHAPExecLockFailed.id,
     trx::kHAPExecUnlockFailed.id,
     {"the system semaphore is missing, or this process holds it in another thread",
      "see trxctl explain 0x7000c"}},
    {trx::kHAPExecThrew.id,
     trx::kHAPErrAPIWords.id,
     {"the HAP threw, or returned nonzero",
      "code and detail are the HAP's own: look into its module's documentation"}},
    {trx::kLibLoadFailed.id,
     trx::kLibNoSymbolReason.id,
     {"the library is missing or damaged, or it lacks a symbol", "run trxctl modules"}},
    {trx::kTableNullEntry.id,
     trx::kTableNothingToDelete.id,
     {"a program works on the commands of a table itself", "leave tables to the engine"}},
    {trx::kTrxLoadHAPFailed.id,
     trx::kTrxLoadTableFailed.id,
     {"a module or table cannot be loaded",
      "the records before name the file; run trxctl modules or trxctl check on it"}},
    {trx::kTrxSetAPINull.id,
     trx::kTrxSetAPINull.id,
     {"the host took its API object away", "install one before the next HAP"}},
    {trx::kTrxHAPForeignException.id,
     trx::kTrxTableForeignException.id,
     {"a HAP threw an exception of its own",
      "the host has to catch it; a table run again goes on with the same row"}},
    {trx::kTrxNoModule.id,
     trx::kTrxNoAPI.id,
     {"the host did not load a module or did not call TRX::setHAPAPI",
      "run trxctl modules; install an API object after load"}},
    {trx::kTrxTableRefused.id,
     trx::kTrxContextRunning.id,
     {"two threads share one context", "use one TRXInfo a request"}},
    {trx::kTrxSemaphoreNotCreated.id,
     trx::kTrxSemaphoreNotCreated.id,
     {"usually it exists already, which is no failure",
      "trxctl lock shows what is wrong with it, if anything"}},
    {trx::kConfigNoPathFile.id,
     trx::kConfigNoEntry.id,
     {"a file or a key of the configuration is missing or misspelt", "run trxctl config"}},
    {trx::kErrorNoAPIData.id,
     trx::kInfoTableStackEmpty.id,
     {"a HAP or host passed nothing to a context or its error record",
      "look into the HAP or host that wrote the record; nothing was changed"}},
    {trx::kTblLoadNoNameSkipped.id,
     trx::kDataKeyNotHex.id,
     {"a table file is missing, or breaks a rule of table files",
      "run trxctl config, then trxctl check on the file"}},
    {trx::kDriverErrorEnd.id,
     trx::kDriverErrorEnd.id,
     {"a row failed, an END row has a message, or a table is missing",
      "the records before tell which; trxctl table shows the run row by row"}},
    {trx::kDriverNestLimit.id,
     trx::kDriverNestLimit.id,
     {"tables call each other without an end",
      "run trxctl check and trxctl graph; haptable.nest.exec.limit is the limit"}},
    {trx::kDriverStart.id,
     trx::kListMissing.id,
     {"the table is misspelt or not loaded", "run trxctl check and trxctl config"}},
    {trx::kCmdCheckJump.id,
     trx::kCmdHAPForeignException.id,
     {"a HAP of this or an earlier row failed",
      "the error record and the records before name the HAP and its error"}},
    {trx::kFmtFileInvalid.id,
     trx::kFmtCharacter.id,
     {"the file breaks a rule of table files",
      "run trxctl check on the file: it names line, column and reason of every fault"}},
    {trx::kUnitType.id,
     trx::kUnitType.id,
     {"a unit of another type was passed", "pass units of the types that the record names"}},
};

}  // namespace

const Advice* findAdvice(const Point& point) {
  for (const AdviceRange& range : kAdvice) {
    if (point.level == trx::kLevelError && point.id >= range.first && point.id <= range.last) {
      return &range.advice;
    }
  }
  return nullptr;
}

}  // namespace kw::trx::tools
