// The command line of sqmctl itself; each subcommand has a file of its own.

#include <string>

#include <gtest/gtest.h>

#include "tests/support/Programs.h"

namespace {

const std::string kSqmctl = kPrograms + "/sqmctl";

TEST(Sqmctl, ListsItsSubcommands) {
  const Outcome outcome = runProgram({kSqmctl, "--help"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_NE(outcome.out.find("\n  play "), std::string::npos) << outcome.out;
  EXPECT_EQ(outcome.err, "");
}

TEST(Sqmctl, WithoutASubcommandIsBadInput) {
  const Outcome outcome = runProgram({kSqmctl});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.out, "");
  EXPECT_NE(outcome.err.find("subcommand"), std::string::npos) << outcome.err;
}

}  // namespace
