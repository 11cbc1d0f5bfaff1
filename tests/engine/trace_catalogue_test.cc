// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include "support/trace.h"

namespace kw::trx::trx {
namespace {

struct Row {
  const char* class_name;
  const char* operation;
  unsigned long id;
  std::string values;
  std::string sentence;
};

const Row kRows[] = {
#define ZQM_TRACE_POINT(class_name, operation, constant, id, level, kind, values, sentence) \
  {#class_name, #operation, id, values, sentence},
#include "zqm_trx/trace_catalogue.def"
};

const std::map<std::string, unsigned long>& classNumbers() {
#define ZQM_CLASS_NUMBER(name, number) {#name, number},
  static const std::map<std::string, unsigned long> numbers = {
      ZQM_TRACE_CLASS_NUMBERS(ZQM_CLASS_NUMBER)};
#undef ZQM_CLASS_NUMBER
  return numbers;
}

TEST(TraceCatalogueTest, EachIdIsUniqueAndMadeOfItsClassAndOperation) {
  std::set<unsigned long> ids;
  std::map<std::pair<unsigned long, unsigned long>, std::string> operations;
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.id);
    EXPECT_TRUE(ids.insert(row.id).second);
    EXPECT_EQ(row.id >> 24, classNumbers().at(row.class_name));
    const auto number = std::make_pair(row.id >> 24, row.id >> 12 & 0xfff);
    EXPECT_EQ(operations.emplace(number, row.operation).first->second, row.operation);
  }
}

TEST(TraceCatalogueTest, SentencesShowOnlyValuesOfTheirRecord) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.id);
    std::set<std::string> names;
    std::istringstream values(row.values);
    for (std::string value; values >> value;) {
      const std::size_t colon = value.find(':');
      ASSERT_NE(colon, std::string::npos);
      EXPECT_NE(std::string("xuds").find(value.substr(colon + 1)), std::string::npos);
      names.insert(value.substr(0, colon));
    }
    for (std::size_t open = row.sentence.find('{'); open != std::string::npos;
         open = row.sentence.find('{', open + 1)) {
      const std::size_t close = row.sentence.find('}', open);
      EXPECT_EQ(names.count(row.sentence.substr(open + 1, close - open - 1)), 1U);
    }
  }
}

}  // namespace
}  // namespace kw::trx::trx
