// SPDX-License-Identifier: Apache-2.0
#include "commands/mutants_output.h"

#include <iostream>
#include <map>

#include "command_line/command_line.h"
#include "command_line/text_output.h"

namespace kw::trx::tools {
namespace {

void printMutant(const MutantResult& mutant) {
  const bool is_open = mutant.kind == MutantResult::Kind::kOpen;
  std::cout << '\n'
            << (is_open ? paint(Colour::kYellow, "open") : paint(Colour::kRed, "gap")) << ' '
            << mutant.file << ':' << mutant.line << ": " << mutant.change << '\n';
  if (is_open) {
    std::cout << "  whether it does the same in all runs is not known\n";
    return;
  }
  std::cout << "  now: " << mutant.before << "\n  then: " << mutant.after << '\n'
            << (mutant.rows.empty()
                    ? "  no case notices it by rows, end, first failing row or waits\n"
                    : mutant.rows);
}

}  // namespace

int printMutants(const CaseFile& file, const MutantOptions& options) {
  std::map<MutantResult::Kind, std::size_t> counts;
  std::map<std::string, std::size_t> noticed;
  for (const MutantResult& mutant : testMutants(file, options)) {
    ++counts[mutant.kind];
    if (mutant.kind == MutantResult::Kind::kNoticed) {
      ++noticed[mutant.noticed_by];
    } else if (mutant.kind == MutantResult::Kind::kNotNoticed ||
               mutant.kind == MutantResult::Kind::kOpen) {
      printMutant(mutant);
    }
  }
  const std::size_t gaps = counts[MutantResult::Kind::kNotNoticed];
  const std::size_t open = counts[MutantResult::Kind::kOpen];
  std::cout << '\n'
            << file.file << ": " << counts[MutantResult::Kind::kNoticed] << " of "
            << counts[MutantResult::Kind::kNoticed] + gaps + open << " faults are noticed; "
            << counts[MutantResult::Kind::kSame] << " more do the same in all runs, "
            << counts[MutantResult::Kind::kRefused] << " more are not loaded\n";
  for (const auto& [name, count] : noticed) {
    std::cout << "  " << count << " first by " << name << '\n';
  }
  return gaps != 0 ? kExitFindings : open != 0 ? kExitFailed : kExitOk;
}

}  // namespace kw::trx::tools
