// SPDX-License-Identifier: Apache-2.0
// Where the loader of the system finds libraries.
#ifndef KW_TRX_TOOLS_MODULES_LOADER_H_
#define KW_TRX_TOOLS_MODULES_LOADER_H_

#include <string>

#include "modules/elf_file.h"

namespace kw::trx::tools {

/// The program that runs.
constexpr char kOwnFile[] = "/proc/self/exe";

/// Where the loader finds the library `name` for `user`; empty when it finds none.
std::string findLibrary(const std::string& name, const ElfFile& user);

/// Where this process has loaded the library `name` from, whoever uses it; empty when it has not.
std::string findLoaded(const std::string& name, const ElfFile& user);

}  // namespace kw::trx::tools

#endif  // KW_TRX_TOOLS_MODULES_LOADER_H_
