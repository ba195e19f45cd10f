// The limits of one client address.

#include <arpa/inet.h>
#include <chrono>
#include <cstring>
#include <netinet/in.h>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "tools/collector/http/AddressLimits.h"

namespace {

using namespace std::chrono_literals;
using collector::Address;
using collector::AddressLimits;
using Time = AddressLimits::Time;

Address address(const std::string& text) {
  sockaddr_storage storage{};
  sockaddr_in6 ipv6{};
  sockaddr_in ipv4{};
  if (inet_pton(AF_INET6, text.c_str(), &ipv6.sin6_addr) == 1) {
    ipv6.sin6_family = AF_INET6;
    std::memcpy(&storage, &ipv6, sizeof ipv6);
  } else {
    EXPECT_EQ(inet_pton(AF_INET, text.c_str(), &ipv4.sin_addr), 1) << text;
    ipv4.sin_family = AF_INET;
    std::memcpy(&storage, &ipv4, sizeof ipv4);
  }
  return Address(storage);
}

const Address kOne = address("192.0.2.1");
const Address kOther = address("192.0.2.2");
const Time kNow = Time(1000s);

TEST(Address, IsWrittenAsUsual) {
  EXPECT_EQ(kOne.text(), "192.0.2.1");
  EXPECT_EQ(address("2001:db8::1").text(), "2001:db8::1");
  EXPECT_EQ(address("::ffff:192.0.2.1"), kOne) << "as a socket for both versions reports it";
}

TEST(Address, OfVersion6IsLimitedWithItsNeighbours) {
  EXPECT_EQ(address("2001:db8::1").network(), address("2001:db8::ffff:1").network());
  EXPECT_NE(address("2001:db8::1").network(), address("2001:db8:0:1::1").network());
  EXPECT_NE(kOne.network(), kOther.network());
}

TEST(AddressLimits, AllowEverythingUnlessTheyAreSet) {
  AddressLimits limits(0, 0);
  for (int i = 0; i < 1000; ++i) {
    EXPECT_TRUE(limits.join(kOne));
    EXPECT_EQ(limits.waitOf(kOne, kNow, 0s), 0s);
  }
}

TEST(AddressLimits, CountTheConnectionsOfEachAddress) {
  AddressLimits limits(2, 0);
  EXPECT_TRUE(limits.join(kOne));
  EXPECT_TRUE(limits.join(kOne));
  EXPECT_FALSE(limits.join(kOne));
  EXPECT_TRUE(limits.join(kOther));
  limits.leave(kOne, kNow);
  EXPECT_TRUE(limits.join(kOne));
  EXPECT_FALSE(limits.join(kOne));
}

TEST(AddressLimits, LetABurstPassAndSpreadTheRestEvenly) {
  AddressLimits limits(0, 4);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(limits.waitOf(kOne, kNow, 1s), 0s) << i;
  EXPECT_EQ(limits.waitOf(kOne, kNow, 1s), 250ms);
  EXPECT_EQ(limits.waitOf(kOne, kNow, 1s), 500ms);
  EXPECT_EQ(limits.waitOf(kOther, kNow, 1s), 0s) << "another address has its own";
  EXPECT_EQ(limits.waitOf(kOne, kNow + 500ms, 1s), 250ms);
  EXPECT_EQ(limits.waitOf(kOne, kNow + 10s, 1s), 0s);
}

TEST(AddressLimits, RejectARequestThatWouldWaitTooLongAndDoNotCountIt) {
  AddressLimits limits(0, 1);
  EXPECT_EQ(limits.waitOf(kOne, kNow, 1s), 0s);
  EXPECT_EQ(limits.waitOf(kOne, kNow, 1s), 1s);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(limits.waitOf(kOne, kNow, 1s), std::nullopt);
  EXPECT_EQ(limits.waitOf(kOne, kNow + 1s, 1s), 1s);
}

TEST(AddressLimits, ForgetAddressesThatHaveLeft) {
  AddressLimits limits(1, 1);
  for (int i = 0; i < 100'000; ++i) {
    const Time now = kNow + i * 1ms;
    const Address client = address("2001:db8:" + std::to_string(i / 10'000) + ":" + std::to_string(i % 10'000) + "::1");
    EXPECT_TRUE(limits.join(client));
    EXPECT_EQ(limits.waitOf(client, now, 0s), 0s);
    limits.leave(client, now);
  }
  EXPECT_LT(limits.size(), 5000U) << "a request counts for a second";
}

}  // namespace
