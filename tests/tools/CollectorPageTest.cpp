// The collector's page of the manual, which is made from the table in docs/collector.md.

#include <string>

#include <gtest/gtest.h>

#include "tests/support/Programs.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/tools/HelpPage.h"

namespace {

TEST(CollectorPage, KnowsEveryOption) {
  const std::string page = contentOf(paths::build() + "/sqm-collector.1");
  const auto options = optionsOf(runProgram({kPrograms + "/sqm-collector", "--help"}).out);
  EXPECT_GT(options.size(), 10U);
  for (const std::string& option : options) {
    const std::string name = asInManual(option);
    EXPECT_TRUE(page.find(name + " ") != std::string::npos || page.find(name + "\n") != std::string::npos)
        << option << " is not in the table of docs/collector.md";
  }
}

TEST(CollectorPage, HasNoMarksOfTheTable) {
  const std::string page = contentOf(paths::build() + "/sqm-collector.1");
  for (const char* mark : {"`", " | ", "](", "@"}) EXPECT_EQ(page.find(mark), std::string::npos) << mark;
}

}  // namespace
