#include <chrono>

#include <gtest/gtest.h>

#include "sqm/common/internal/TimeStamp.h"

namespace sqm {
namespace {

using namespace std::chrono;
using namespace std::chrono_literals;

constexpr sys_seconds at(year_month_day day, seconds time) { return sys_days(day) + time; }

TEST(TimeStamp, WritesAMomentInThreeForms) {
  const sys_seconds moment = at(2026y / 11 / 21, 10h + 20min + 30s);
  EXPECT_EQ(isoTimeStamp(moment), "2026-11-21T10:20:30Z");
  EXPECT_EQ(isoTimeStamp(moment + 45ms), "2026-11-21T10:20:30.045Z");
  EXPECT_EQ(compactTimeStamp(moment), "20261121102030");
}

TEST(TimeStamp, PadsEveryPartWithZeros) {
  const sys_seconds moment = at(1y / 2 / 3, 4h + 5min + 6s);
  EXPECT_EQ(isoTimeStamp(moment), "0001-02-03T04:05:06Z");
  EXPECT_EQ(isoTimeStamp(moment + 7ms), "0001-02-03T04:05:06.007Z");
  EXPECT_EQ(compactTimeStamp(moment), "00010203040506");
}

TEST(TimeStamp, RoundsDownBefore1970) {
  EXPECT_EQ(isoTimeStamp(sys_seconds(-1s)), "1969-12-31T23:59:59Z");
  EXPECT_EQ(isoTimeStamp(sys_time<milliseconds>(-1ms)), "1969-12-31T23:59:59.999Z");
  EXPECT_EQ(compactTimeStamp(at(2024y / 2 / 29, 23h + 59min + 59s)), "20240229235959");
}

}  // namespace
}  // namespace sqm
