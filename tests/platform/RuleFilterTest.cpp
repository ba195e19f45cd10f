#include <gtest/gtest.h>

#include "sqm/platform/RuleFilter.h"

namespace sqm::platform {
namespace {

ValueDictionary values(const std::vector<std::pair<std::string, std::string>>& pairs) {
  ValueDictionary dictionary;
  for (const auto& [key, value] : pairs) dictionary.set(key, value);
  return dictionary;
}

TEST(RuleFilter, WithoutRulesEverythingIsRecordedUnchanged) {
  RuleFilter filter;
  EXPECT_FALSE(filter.recordingDisabledForRecordName("connection", "", {}));
  EXPECT_FALSE(filter.recordingDisabledForRecordName(std::nullopt, std::nullopt, {}));
  EXPECT_EQ(filter.appyFiltersForRecord("connection", "", values({{"a", "1"}})), std::nullopt);
}

TEST(RuleFilter, ARuleMatchesByNameAndSubType) {
  using Text = std::optional<std::string_view>;
  const struct {
    DisableRule rule;
    Text name;
    Text subType;
    bool matches = false;
  } cases[] = {
      {{.name = "connection"}, "connection", "wifi", true},
      {{.name = "connection"}, "connection", std::nullopt, true},
      {{.name = "connection"}, "client", "wifi", false},
      {{.name = "connection"}, "Connection", "wifi", false},
      {{.name = "connection"}, std::nullopt, std::nullopt, false},
      {{}, std::nullopt, std::nullopt, true},
      {{}, std::nullopt, "wifi", true},
      {{}, "connection", std::nullopt, false},
      {{}, "", std::nullopt, false},
      {{.name = ""}, "", "", true},
      {{.name = ""}, std::nullopt, "", false},
      {{.name = "connection", .subType = "wifi"}, "connection", "wifi", true},
      {{.name = "connection", .subType = "wifi"}, "connection", "mobiledata", false},
      {{.name = "connection", .subType = "wifi"}, "connection", std::nullopt, false},
      {{.name = "client", .subType = ""}, "client", std::nullopt, true},
      {{.name = "client", .subType = ""}, "client", "", true},
      {{.name = "client", .subType = ""}, "client", "x", false},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.rule.name.value_or("(absent)") + " against " + std::string(each.name.value_or("(absent)")));
    RuleFilter filter;
    filter.setRules({each.rule}, {});
    EXPECT_EQ(filter.recordingDisabledForRecordName(each.name, each.subType, {}), each.matches);
    filter.setRules({}, {{.name = each.rule.name, .subType = each.rule.subType, .values = {{"a", "2"}}}});
    EXPECT_FALSE(filter.recordingDisabledForRecordName(each.name, each.subType, {}));
    EXPECT_EQ(filter.appyFiltersForRecord(each.name, each.subType, {}).has_value(), each.matches);
  }
}

TEST(RuleFilter, OneMatchingDisableRuleIsEnough) {
  RuleFilter filter;
  filter.setRules({{.name = "client"}, {.name = "device"}}, {});
  EXPECT_TRUE(filter.recordingDisabledForRecordName("device", "", {}));
}

TEST(RuleFilter, ValuesAreReplacedInACopyInTheOrderOfTheRules) {
  RuleFilter filter;
  filter.setRules({}, {{.name = "client", .values = {{"a", "first"}, {"b", "first"}}},
                       {.name = "device", .values = {{"a", "never"}}},
                       {.name = "client", .values = {{"b", "second"}, {"c", ""}}}});
  const ValueDictionary own = values({{"a", "own"}, {"d", "own"}});
  EXPECT_EQ(filter.appyFiltersForRecord("client", std::nullopt, own),
            values({{"a", "first"}, {"b", "second"}, {"c", ""}, {"d", "own"}}));
  EXPECT_EQ(own, values({{"a", "own"}, {"d", "own"}}));
}

TEST(RuleFilter, AMatchingRuleWithoutValuesGivesTheRecordsOwn) {
  RuleFilter filter;
  filter.setRules({}, {{.name = "client"}});
  EXPECT_EQ(filter.appyFiltersForRecord("client", std::nullopt, values({{"a", "own"}})), values({{"a", "own"}}));
}

TEST(RuleFilter, NewRulesReplaceAllEarlierOnes) {
  RuleFilter filter;
  filter.setRules({{.name = "client"}}, {{.name = "client", .values = {{"a", "1"}}}});
  filter.setRules({{.name = "device"}}, {});
  EXPECT_FALSE(filter.recordingDisabledForRecordName("client", "", {}));
  EXPECT_TRUE(filter.recordingDisabledForRecordName("device", "", {}));
  EXPECT_EQ(filter.appyFiltersForRecord("client", "", {}), std::nullopt);
}

}  // namespace
}  // namespace sqm::platform
