// SPDX-License-Identifier: Apache-2.0
#include "trace/codes.h"

#include <algorithm>
#include <iterator>

#include "kw/trx/errors.h"

namespace kw::trx::tools {
namespace {

#define ZQM_CODE(constant, meaning, causes, advice) \
  { trx::constant, #constant, meaning, causes, advice }

constexpr CodeText kCodes[] = {
    ZQM_CODE(kCodeStopped, "the request was refused: the engine's stop flag is set",
             "the host is shutting down, or forgot to clear the flag",
             "call TRX::setStopFlag(false) before new requests"),
    ZQM_CODE(kCodeTableStopped, "the table was abandoned before a row: the stop flag was set",
             "the host stopped the engine while the table ran",
             "call TRXInfo::initialize() and run the table again from its start"),
    ZQM_CODE(kCodeWaitHandOver, "a WAIT row hands its wait to the requester; this is no failure",
             "the configuration has haptable.tblcmd.wait.handler=requester",
             "wait getDetail() milliseconds, then call execTable with the same context"),
    ZQM_CODE(kCodeConfig, "the configuration cannot be used",
             "the path file or the configuration is missing, or lacks a count key or a listed file",
             "run trxctl config: it names the file and the key"),
    ZQM_CODE(kCodeModuleLoad, "the HAP modules cannot be loaded",
             "a listed module is missing, of another architecture, or has unresolved symbols",
             "run trxctl modules; hapmodule.loading.err.mode=continue skips such modules"),
    ZQM_CODE(kCodeTableLoad, "the HAP tables cannot be loaded",
             "a listed table file is missing or breaks a rule of its format",
             "run trxctl check on the files; haptable.loading.err.mode=continue skips such tables"),
    ZQM_CODE(kCodeNoModule, "no HAP module is loaded",
             "load was not called or failed, or hapmodule.number is 0",
             "run trxctl config and trxctl modules"),
    ZQM_CODE(kCodeNoAPI, "no HAP API object is installed", "the host did not call TRX::setHAPAPI",
             "install one after load and before the first HAP"),
    ZQM_CODE(kCodeContext, "the context is null, or already has a request in progress",
             "two threads share one context, or a HAP calls TRX::execHAP on its own context",
             "use one TRXInfo a request; a HAP runs others through TRX::getHAPController()"),
    ZQM_CODE(
        kCodeHAPFailed, "a HAP failed",
        "it is not defined, returned nonzero, or is nested in itself beyond its limit",
        "read the context's error record: code, HAP name and detail; trxctl modules lists HAPs"),
    ZQM_CODE(kCodeTableFailed, "the table ended with error",
             "a HAP row failed, CHECK found a failure, an END row has a message, a called table is "
             "not loaded, or a table is nested in itself beyond its limit",
             "read errTableName, errCmdNumber and getTblRtnMsg(), or run trxctl table"),
    ZQM_CODE(kCodeLock, "the exclusion semaphore cannot be taken",
             "TRX::startUp was never called on this system, the semaphore was removed or is not "
             "permitted to this user, another thread of this process holds it, or a signal came in "
             "between",
             "call TRX::startUp once per system and run one outermost HAP a process at a time; "
             "trxctl lock shows what is wrong with it"),
    ZQM_CODE(kCodeUnlock, "the exclusion semaphore cannot be given back",
             "somebody removed the semaphore while a HAP ran",
             "call TRX::startUp again and load the engine anew"),
    ZQM_CODE(kRecordUndefinedHAP, "the HAP is not defined",
             "no loaded module has the key before the first _ of its name, or the module does not "
             "export it; letter case counts",
             "run trxctl modules and compare the names"),
    ZQM_CODE(kRecordTableNotLoaded, "a table that the run names is not loaded",
             "the table is not configured, was skipped by the load, or its name is misspelt",
             "run trxctl config and trxctl check"),
};

}  // namespace

const CodeText* findCode(unsigned int code) {
  for (const CodeText& text : kCodes) {
    if (text.code == code) {
      return &text;
    }
  }
  return nullptr;
}

const CodeText* findCode(const std::string& name) {
  const auto found = std::find_if(std::begin(kCodes), std::end(kCodes),
                                  [&name](const CodeText& text) { return name == text.name; });
  return found == std::end(kCodes) ? nullptr : &*found;
}

std::string recordCodeMeaning(unsigned int code) {
  const CodeText* text = findCode(code);
  if (text != nullptr) {
    return text->meaning;
  }
  if ((code & trx::kRecordClassHAP) != 0) {
    return "a HAP's own error, with its detail";
  }
  return (code & trx::kRecordClassAPI) != 0 ? "an error of the HAP API, with its data"
                                            : "an error without detail";
}

}  // namespace kw::trx::tools
