// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include "command_line/command_line.h"
#include "command_line/text_output.h"
#include "commands/description_output.h"
#include "common/json.h"
#include "common/paths.h"
#include "common/text.h"
#include "configuration/configuration.h"
#include "modules/listed_modules.h"

namespace kw::trx::tools {
namespace {

constexpr std::size_t kMaxNamed = 8;

void print(const ListedModule& listed, bool describe) {
  const auto& [file, module, replaced_by] = listed;
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
    std::cout << "  exports no HAP"
              << (module.others.empty()
                      ? "; modules are called libzq_hap_KEY.so, and their HAPs KEY_..."
                      : ": names of HAPs begin with " + module.key + "_, and it exports " +
                            tools::listed(module.others, kMaxNamed))
              << '\n';
  }
  for (const std::string& hap : module.haps) {
    const auto description = module.descriptions.find(hap);
    std::cout << "  " << hap << '\n';
    if (describe && description != module.descriptions.end()) {
      printDescription(description->second);
    }
  }
  if (describe) {
    printDescriptionProblems(module);
  }
}

void write(const ListedModule& listed, bool describe, JsonWriter& json) {
  const ModuleFile& module = listed.module;
  json.beginObject().member("file", listed.file).member("key", module.key);
  json.key("loads").boolean(module.problems.empty());
  json.key("isDebug").boolean(module.is_debug).member("replacedBy", listed.replaced_by);
  json.key("hapsKnown").boolean(module.has_sections);
  json.texts("problems", module.problems);
  json.texts("haps", module.haps);
  json.texts("otherFunctions", module.others);
  if (describe) {
    writeDescriptions(json, module);
  }
  json.endObject();
}

int listModules(std::vector<std::string> files, bool describe, bool is_json) {
  if (files.empty()) {
    const Configured found = configured();
    if (!found.is_there) {
      return fail("no configuration is found; name module files, or the system root with --root");
    }
    if (found.modules.empty()) {
      return fail(
          "no modules are configured; name module files, or list them in the configuration");
    }
    files = found.modules;
  } else {
    for (std::string& file : files) {
      file = absolutePath(file);
    }
  }
  int status = kExitOk;
  JsonWriter json(2);
  startOutput("modules", json);
  json.key("modules").beginArray();
  for (const ListedModule& listed : inspectModules(files)) {
    is_json ? write(listed, describe, json) : print(listed, describe);
    status = listed.module.problems.empty() ? status : kExitFindings;
  }
  if (is_json) {
    std::cout << json.endArray().endObject().taken() << '\n';
  }
  return status;
}

void describeModules(CommandOptions& command) {
  struct Options {
    std::vector<std::string> files;
    bool describe = false;
    bool json = false;
  };
  auto options = std::make_shared<Options>();
  command.texts(options->files, {"MODULE", "Module files; else those of the configuration"});
  command.flag(options->describe,
               {"--describe", "Show what the HAPs say of their words, modes and errors"});
  command.json(options->json);
  command.run([options] { return listModules(options->files, options->describe, options->json); });
}

const RegisteredCommand kModulesCommand(
    {"modules", Group::kModules, "Lists the HAPs of modules, and whether the modules would load",
     "Reads the files alone; none of their code runs. They are looked at as a host would load them "
     "that is linked with nothing but the engine and the C++ library.",
     "libzq_hap_psu.so", "all would load", "one would not"},
    describeModules);

}  // namespace
}  // namespace kw::trx::tools
