// The rules of failing: how they are read and written, and which of them a request meets.

#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tools/collector/Faults.h"

namespace {

using namespace collector;

std::vector<FaultRule> rules(const std::vector<std::string>& texts) {
  std::vector<FaultRule> all;
  all.reserve(texts.size());
  for (const std::string& text : texts) all.push_back(parseFaultRule(text));
  return all;
}

struct Written {
  const char* text;
  const char* again;
};

class FaultRuleText : public testing::TestWithParam<Written> {};

TEST_P(FaultRuleText, IsWrittenAsItIsRead) {
  EXPECT_EQ(textOf(parseFaultRule(GetParam().text)), GetParam().again);
  EXPECT_EQ(parseFaultRule(GetParam().again), parseFaultRule(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(
    Rules, FaultRuleText,
    testing::Values(Written{"/sqm:status=500", "/sqm:status=500:always"},
                    Written{"/sqm:status=200:once", "/sqm:status=200:once"},
                    Written{"*:status=599:1", "*:status=599:once"}, Written{"/a/b:delay=1.5:3", "/a/b:delay=1.5:3"},
                    Written{"*:delay=0", "*:delay=0:always"}, Written{"*:delay=3600:once", "*:delay=3600:once"},
                    Written{"/:reset=before:always", "/:reset=before:always"},
                    Written{"/x:reset=inside:2", "/x:reset=inside:2"}, Written{"/x:cut", "/x:cut:always"}));

class BadFaultRule : public testing::TestWithParam<const char*> {};

TEST_P(BadFaultRule, IsRejectedWithTheFormThatWouldBeRight) {
  try {
    parseFaultRule(GetParam());
    FAIL() << "it is taken";
  } catch (const std::invalid_argument& error) {
    const std::string text = error.what();
    EXPECT_NE(text.find("'" + std::string(GetParam()) + "'"), std::string::npos) << text;
    EXPECT_NE(text.find("/sqm:status=500:once"), std::string::npos) << text;
  }
}

INSTANTIATE_TEST_SUITE_P(Rules, BadFaultRule,
                         testing::Values("", ":", "/sqm", "sqm:cut", ":cut", "/sqm:", "/sqm:boom", "/sqm:cut=1",
                                         "/sqm:status", "/sqm:status=", "/sqm:status=199", "/sqm:status=600",
                                         "/sqm:status=5x", "/sqm:delay=-1", "/sqm:delay=3601", "/sqm:delay=nan",
                                         "/sqm:delay=inf", "/sqm:delay=1s", "/sqm:reset", "/sqm:reset=after",
                                         "/sqm:cut:", "/sqm:cut:0", "/sqm:cut:-1", "/sqm:cut:twice",
                                         "/sqm:cut:once:once", "/sqm:cut:99999999999999999999"));

TEST(FaultRules, AreTriedInOrder) {
  auto list = rules({"/a:status=500", "*:cut", "/b:status=501"});
  EXPECT_EQ(answeredText(useRules(list, "/a").fault), "500");
  EXPECT_EQ(answeredText(useRules(list, "/b").fault), "cut");
}

TEST(FaultRules, GoWhenTheyAreUsedUp) {
  auto list = rules({"/a:reset=before:2", "/a:reset=inside:once"});
  EXPECT_EQ(useRules(list, "/a").fault->kind, FaultRule::Kind::resetBefore);
  EXPECT_EQ(textOf(list.front()), "/a:reset=before:once");
  EXPECT_EQ(useRules(list, "/a").fault->kind, FaultRule::Kind::resetBefore);
  EXPECT_EQ(useRules(list, "/a").fault->kind, FaultRule::Kind::resetInside);
  EXPECT_EQ(useRules(list, "/a").fault, std::nullopt);
  EXPECT_TRUE(list.empty());
}

TEST(FaultRules, DelayAndGoOn) {
  auto list = rules({"*:delay=1:once", "/a:delay=0.25", "/a:status=503", "/a:delay=7"});
  const Misfortune misfortune = useRules(list, "/a");
  EXPECT_EQ(misfortune.delay.count(), 1250);
  EXPECT_EQ(answeredText(misfortune.fault), "503");
  EXPECT_EQ(list.size(), 3U);
}

TEST(FaultRules, LeaveOtherPathsAlone) {
  auto list = rules({"/a:status=500:once"});
  for (const char* path : {"/", "/ab", "/A", "/a/", "*", ""})
    EXPECT_EQ(useRules(list, path).fault, std::nullopt) << path;
  EXPECT_EQ(list.size(), 1U);
}

}  // namespace
