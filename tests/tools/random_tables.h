// SPDX-License-Identifier: Apache-2.0
// Small tables of any rows: a, b and c call each other, and one that is not there.
#ifndef KW_TRX_TESTS_TOOLS_RANDOM_TABLES_H_
#define KW_TRX_TESTS_TOOLS_RANDOM_TABLES_H_

#include <random>
#include <string>

namespace kw::trx::testing {

class RandomTables {
 public:
  explicit RandomTables(unsigned int seed) : random_(seed) {}

  std::string table(bool calls_all) {
    const unsigned int count = 2 + pick(5);
    std::string text = "FORMAT,0\nVERSION,1\nr0,1,START\n";
    for (unsigned int i = 1; i <= count; ++i) {
      const std::string label = "r" + std::to_string(pick(2) == 0 ? pick(count + 2) : i + 1);
      const std::string head = "r" + std::to_string(i) + "," + std::to_string(i + 1) + ",";
      const char* const modes[] = {"", "NOP", "STACK", label.c_str()};
      switch (pick(8)) {
        case 0:
          text += head + "CHECK,,," + (pick(2) == 0 ? "" : label) + "\n";
          break;
        case 1:
          text += head + "WAIT,," + std::to_string(pick(3)) + "\n";
          break;
        case 2:
        case 3:
          text += head + "TABLE," + callee(calls_all) + "\n";
          break;
        case 4:
          text += head + "END," + (pick(2) == 0 ? "" : "M" + std::to_string(pick(3))) + "\n";
          break;
        default:
          text += head + "HAP,TST_" + std::string(1, static_cast<char>('A' + pick(2))) + ",," +
                  modes[pick(4)] + "\n";
      }
    }
    return text + "r" + std::to_string(count + 1) + "," + std::to_string(count + 2) + ",END\n";
  }

 private:
  unsigned int pick(unsigned int below) {
    return std::uniform_int_distribution<unsigned int>(0, below - 1)(random_);
  }

  std::string callee(bool calls_all) {
    const unsigned int which = pick(calls_all ? 9 : 5);
    return which == 0 ? "none" : which == 1 ? "" : which < 4 ? "b" : which == 4 ? "c" : "a";
  }

  std::mt19937 random_;
};

}  // namespace kw::trx::testing

#endif  // KW_TRX_TESTS_TOOLS_RANDOM_TABLES_H_
