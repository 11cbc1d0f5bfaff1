// SPDX-License-Identifier: Apache-2.0
// Runs a fuzz target over the files of a folder, for compilers without libFuzzer.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "harness.h"

int main(int argc, char** argv) {
  if (argc != 2) return EXIT_FAILURE;
  std::size_t inputs = 0;
  for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
    std::cout << entry.path().filename().string() << std::endl;
    std::ifstream in(entry.path(), std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    ++inputs;
  }
  return inputs == 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}
