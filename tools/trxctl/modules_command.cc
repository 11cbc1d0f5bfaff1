// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <map>
#include <memory>

#include "trxctl/commands.h"
#include "trxctl/configuration.h"
#include "trxctl/elf_module.h"

namespace kw::trx::trxctl {
namespace {

void print(const std::string& file, const ModuleFile& module, const std::string& replaced_by) {
  const bool loads = module.problems.empty();
  const char* const verdict = module.has_sections ? "would load" : "may load";
  std::cout << file << ": " << (module.key.empty() ? "no key" : "key " + module.key) << ", "
            << (loads ? paint(Colour::kGreen, verdict) : paint(Colour::kRed, "would not load"))
            << '\n';
  for (const std::string& problem : module.problems) {
    std::cout << "  problem: " << problem << '\n';
  }
  if (module.is_debug) {
    std::cout << "  a debug module: loaded only when the host asks for those\n";
  }
  if (!replaced_by.empty()) {
    std::cout << "  key taken: " << replaced_by << " comes later and replaces it\n";
  }
  if (!module.has_sections) {
    std::cout << "  its section table is missing: its HAPs and what it needs cannot be told\n";
  } else if (loads && module.haps.empty()) {
    std::cout << "  exports no HAP\n";
  }
  for (const std::string& hap : module.haps) {
    std::cout << "  " << hap << '\n';
  }
}

int listModules(std::vector<std::string> files) {
  if (files.empty()) {
    std::optional<std::vector<std::string>> configured;
    configuredTables(configured);
    if (!configured) {
      return fail("no configuration is found; name module files, or the system root with --root");
    }
    if (configured->empty()) {
      return fail(
          "no modules are configured; name module files, or list them in the configuration");
    }
    files = *configured;
  } else {
    for (std::string& file : files) {
      file = absolutePath(file);
    }
  }
  std::vector<ModuleFile> modules;
  std::map<std::string, std::string> last;
  for (const std::string& file : files) {
    modules.push_back(inspectModule(file));
    if (modules.back().problems.empty()) {
      last[modules.back().key] = file;
    }
  }
  int status = kExitOk;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const auto owner = last.find(modules[i].key);
    const bool taken = modules[i].problems.empty() && owner->second != files[i];
    print(files[i], modules[i], taken ? owner->second : "");
    status = modules[i].problems.empty() ? status : kExitFailed;
  }
  return status;
}

}  // namespace

void addModulesCommand(CLI::App& app, int& status) {
  auto files = std::make_shared<std::vector<std::string>>();
  CLI::App* command =
      addCommand(app, "modules", "Lists the HAPs of modules, and whether the modules would load",
                 "Reads the files alone; none of their code runs. They are looked at as a host "
                 "would load them\n"
                 "that is linked with nothing but the engine and the C++ library.\n"
                 "Example: trxctl modules libzq_hap_psu.so\n"
                 "Exit status: 0 all would load; 2 one would not, or there is nothing to list.");
  command->add_option("FILE", *files, "Module files; else those of the configuration");
  command->callback([files, &status] { status = listModules(*files); });
}

}  // namespace kw::trx::trxctl
