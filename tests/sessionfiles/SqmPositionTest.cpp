#include <fstream>
#include <map>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "sqm/sessionfiles/SQMRecord.h"
#include "sqm/sessionfiles/SqmPosition.h"

#include "tests/support/Paths.h"

namespace {

using NamesByPosition = std::map<std::size_t, std::string>;

/// The first two columns of the table of positions in docs/sqm-files.md.
NamesByPosition documentedNames() {
  NamesByPosition names;
  std::ifstream page(paths::sources() + "/docs/sqm-files.md");
  const std::regex row(R"(\| (\d+) \| (`(\w+)`)? ?\| .*)");
  bool isInTable = false;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("#")) isInTable = line == "## The positions";
    std::smatch match;
    if (isInTable && std::regex_match(line, match, row)) names[std::stoul(match[1])] = match[3];
  }
  return names;
}

TEST(SqmPosition, ThePageListsThePositionsAndNamesOfTheEnumeration) {
  NamesByPosition names;
  for (const auto& [position, name] : sqm::kSqmPositionNames) names[static_cast<std::size_t>(position)] = name;
  EXPECT_EQ(documentedNames(), names);
}

TEST(SqmPosition, AllAreInTheRow) {
  for (const auto& [position, name] : sqm::kSqmPositionNames) {
    EXPECT_LT(static_cast<std::size_t>(position), sqm::SQMRecord::kPositions) << name;
  }
}

}  // namespace
