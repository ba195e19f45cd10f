#include <cstdint>
#include <limits>
#include <string_view>
#include <type_traits>

#include <gtest/gtest.h>

#include "sqm/records/SQMApplicationRecHelper.h"
#include "sqm/records/SQMUserAcceptRecHelper.h"

using sqm::SQMApplicationRecHelper;
using sqm::SQMUserAcceptRecHelper;

namespace {

static_assert(!std::is_destructible_v<SQMApplicationRecHelper> && !std::is_destructible_v<SQMUserAcceptRecHelper>,
              "the process's code tables are never destroyed");

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();

struct Case {
  std::int32_t code;
  std::string_view text;
};

class ApplicationCodes : public ::testing::Test {
 protected:
  const SQMApplicationRecHelper& helper = *SQMApplicationRecHelper::sharedSQMApplicationRecHelper();
};

TEST_F(ApplicationCodes, LaunchTypes) {
  const Case cases[] = {{1, "connectondemand"}, {2, "autoreconnect"},    {0, "autolaunch"},       {3, "autolaunch"},
                        {-1, "autolaunch"},     {kLowest, "autolaunch"}, {kHighest, "autolaunch"}};
  for (const auto& [code, text] : cases) EXPECT_EQ(helper.launchType(code), text) << code;
}

TEST_F(ApplicationCodes, ConnectionStatuses) {
  const Case cases[] = {{1, "Connection Success"},
                        {2, "Cancelled By User"},
                        {3, "Dropped By Policy"},
                        {4, "Authentication Failure"},
                        {5, "Invalid Configuration"},
                        {6, "Connection Timeout"},
                        {7, "Internal VPN Error"},
                        {0, "Unknown"},
                        {8, "Unknown"},
                        {-1, "Unknown"},
                        {kLowest, "Unknown"},
                        {kHighest, "Unknown"}};
  for (const auto& [code, text] : cases) EXPECT_EQ(helper.connectionStatusCode(code), text) << code;
}

TEST_F(ApplicationCodes, ConnectionResultsAreUnknownInLowerCase) {
  const Case cases[] = {{1, "success"},  {2, "fail"},          {0, "unknown"},       {3, "unknown"},
                        {-1, "unknown"}, {kLowest, "unknown"}, {kHighest, "unknown"}};
  for (const auto& [code, text] : cases) EXPECT_EQ(helper.connectionResult(code), text) << code;
}

TEST_F(ApplicationCodes, DisconnectReasons) {
  const Case cases[] = {
      {1, "Disconnected By User"}, {2, "Disconnected By Policy"}, {0, "Unknown"}, {3, "Unknown"}, {-1, "Unknown"},
      {kLowest, "Unknown"},        {kHighest, "Unknown"}};
  for (const auto& [code, text] : cases) EXPECT_EQ(helper.vpnDisconnectReasonCode(code), text) << code;
}

TEST(UserAcceptanceCodes, AlertMessageTypesBeginAtZero) {
  const Case cases[] = {{0, "roaming"},  {1, "softwareupdate"}, {2, "Unknown"},
                        {-1, "Unknown"}, {kLowest, "Unknown"},  {kHighest, "Unknown"}};
  for (const auto& [code, text] : cases) {
    EXPECT_EQ(SQMUserAcceptRecHelper::sharedSQMUserAcceptRecHelper()->alertMessageType(code), text) << code;
  }
}

/// Tests of both classes of code tables.
template <typename Helper>
class CodeTableObject : public ::testing::Test {
 protected:
  static Helper* shared() {
    if constexpr (std::is_same_v<Helper, SQMApplicationRecHelper>) {
      return Helper::sharedSQMApplicationRecHelper();
    } else {
      return Helper::sharedSQMUserAcceptRecHelper();
    }
  }
};
using CodeTableClasses = ::testing::Types<SQMApplicationRecHelper, SQMUserAcceptRecHelper>;
TYPED_TEST_SUITE(CodeTableObject, CodeTableClasses);

TYPED_TEST(CodeTableObject, ThereIsOne) {
  TypeParam* const object = this->shared();
  ASSERT_NE(object, nullptr);
  EXPECT_EQ(this->shared(), object);
  EXPECT_EQ(TypeParam::alloc(), nullptr);
  EXPECT_EQ(object->copy(), object);
  EXPECT_EQ(object->retain(), object);
  EXPECT_EQ(object->autorelease(), object);
  object->release();
  EXPECT_EQ(this->shared(), object);
  EXPECT_EQ(object->retainCount(), std::numeric_limits<std::uint64_t>::max());
}

}  // namespace
