// What the service page's address asks for.

#include <chrono>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "tools/collector/service/ServiceQuery.h"

namespace {

using namespace collector;
using namespace std::chrono_literals;
using Medium = ConnectionFact::Medium;

constexpr ConnectionFact::Time kNoon = std::chrono::sys_days(std::chrono::year(2026) / 11 / 21) + 12h;

ServiceQuery queryOf(const QueryParameters& parameters) { return serviceQueryOf(parameters, kNoon); }

std::string problemOf(const QueryParameters& parameters) {
  try {
    queryOf(parameters);
    return "none";
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
}

TEST(ServiceQuery, IsAboutTheLastDayUnlessItSaysMore) {
  const ServiceQuery query = queryOf({{"medium", ""}, {"network", ""}});
  EXPECT_EQ(query.from, kNoon - 24h);
  EXPECT_EQ(query.to, kNoon);
  EXPECT_FALSE(query.medium || query.network || query.version);
  EXPECT_EQ(query.target, 4s);
}

TEST(ServiceQuery, HasAWindowByItsLengthOrByItsEnds) {
  EXPECT_EQ(queryOf({{"seconds", "3600"}}).from, kNoon - 1h);
  const ServiceQuery query = queryOf({{"from", "2026-11-20T00:00:00Z"}, {"to", "2026-11-20T09:00:00+01:00"}});
  EXPECT_EQ(query.from, kNoon - 36h);
  EXPECT_EQ(query.to, kNoon - 28h);
  EXPECT_EQ(queryOf({{"to", "2026-11-20T00:00:00Z"}}).from, kNoon - 60h);
  EXPECT_EQ(queryOf({{"from", "2026-11-20T00:00:00Z"}}).to, kNoon);
}

TEST(ServiceQuery, HasAFilterAndATarget) {
  const ServiceQuery query =
      queryOf({{"medium", "mobile"}, {"network", "Café <Bar>"}, {"version", "4.70"}, {"target", "0.5"}});
  EXPECT_EQ(query.medium, Medium::mobile);
  EXPECT_EQ(query.network, "Café <Bar>");
  EXPECT_EQ(query.version, "4.70");
  EXPECT_EQ(query.target, 500ms);
}

TEST(ServiceQuery, IsRejectedWithWhatWouldBeRight) {
  EXPECT_EQ(problemOf({{"seconds", "0"}}), "seconds is to be a whole number from 1 to 3162240000");
  EXPECT_EQ(problemOf({{"seconds", "3162240001"}}), "seconds is to be a whole number from 1 to 3162240000");
  EXPECT_EQ(problemOf({{"seconds", "a day"}}), "seconds is to be a whole number from 1 to 3162240000");
  EXPECT_EQ(problemOf({{"from", "yesterday"}}), "from is to be a time since 2000, such as 2026-11-21T08:00:00Z");
  EXPECT_EQ(problemOf({{"to", "1999-12-31T00:00:00Z"}}), "to is to be a time since 2000, such as 2026-11-21T08:00:00Z");
  EXPECT_EQ(problemOf({{"from", "2026-11-21T12:00:00Z"}}), "from is to be before to");
  EXPECT_EQ(problemOf({{"medium", "pigeon"}}), "medium is to be wifi, mobile or ethernet");
  EXPECT_EQ(problemOf({{"medium", "vpn"}}), "medium is to be wifi, mobile or ethernet");
  for (const char* target : {"0", "-1", "nan", "inf", "3601", "soon"}) {
    EXPECT_EQ(problemOf({{"target", target}}), "target is to be a number of seconds from 0.001 to 3600") << target;
  }
}

}  // namespace
