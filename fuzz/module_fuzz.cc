// SPDX-License-Identifier: Apache-2.0
// The reader of modules, which looks at them as files, on any bytes and on a damaged module.
//
// The first byte of an input tells what it is: 0: a file as it stands behind that byte; otherwise
// damage to a whole module, as damage.h has it.
#include <fstream>
#include <iterator>

#include "damage.h"
#include "harness.h"
#include "modules/elf_file.h"
#include "modules/module_file.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kw::trx::fuzz;
  static const InputFile file("libzq_hap_fuzz.so");
  static const std::string whole = [] {
    std::ifstream in(MODULE_FUZZ, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }();
  std::string_view text = textOf(data, size);
  const bool is_damage = !text.empty() && text[0] % 2 == 1;
  text.remove_prefix(text.empty() ? 0 : 1);
  const std::string& path = file.write(is_damage ? damaged(whole, text) : std::string(text));
  const kw::trx::tools::ElfFile elf = kw::trx::tools::readElf(path);
  require(!kw::trx::tools::architectureOf(elf).empty(), "every architecture has a name");
  if (is_damage && text.empty()) {
    require(kw::trx::tools::inspectModule(path).haps.size() == 2, "a whole module has its HAPs");
  }
  return 0;
}
