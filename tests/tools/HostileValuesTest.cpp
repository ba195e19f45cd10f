// Values that a stranger chose, such as the name of a network: from the event to the collection server.

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"

#include "tests/support/Paths.h"
#include "tests/tools/CollectorClient.h"

namespace {

using sqm::platform::StandardHost;

/// A name of a network, and the value that arrives.
const std::vector<std::pair<std::string, std::string>> kNames = {
    {"ordinary", ""},
    {"</ssid></wifi></connectionRecord></connectionList><clientList>", ""},
    {"<event>stop</event><!--", ""},
    {"<![CDATA[ ]]> --> ?>", ""},
    {"\"'&amp;&#0;&bogus;", ""},
    {"<!DOCTYPE a [<!ENTITY b SYSTEM \"file:///etc/hostname\">]>&b;", ""},
    {"%@ %s %n {} $(reboot)`reboot`", ""},
    {"two\nlines", ""},
    {"\u202Eevil\u2066", ""},  // NOLINT(misc-misleading-bidirectional)
    {"\x1B]0;title\x07", "\uFFFD]0;title\uFFFD"},
    {std::string("nu\0l", 4), "nu\uFFFDl"},
    {"\xFF\xC0\xAF caf\xC3", "\uFFFD\uFFFD\uFFFD caf\uFFFD"},
};

TEST(HostileValues, StayOneValueFromTheEventOverTheDiskToTheServer) {
  CollectorClient client;
  const TemporaryFolder home;
  StandardHost::Options options;
  options.homeDirectory = home.path();
  options.resourceDirectory = paths::sources() + "/examples";
  StandardHost host(options);
  ASSERT_TRUE(host.makeFolders());
  {
    sqm::SQMManager manager(host);
    manager.setDeviceType(1);
    for (const auto& [name, value] : kNames) {
      sqm::SQMSessionParams attempt;
      attempt.setStringValue("2026-11-21T09:30:00Z", 6);
      attempt.setStringValue(name, 26);
      manager.sqmCreateStartRecord(&attempt);
    }
  }
  sqm::SQMManager manager(host);  // reads what the other saved
  manager.SetSQMConnectionURL(client.collector().address() + "/connection");
  manager.uploadSQM();
  ASSERT_TRUE(host.runUntilIdle(kPatience));

  const auto records = client.get("/_records");
  ASSERT_EQ(records.size(), kNames.size());
  for (std::size_t at = 0; at < kNames.size(); ++at) {
    const auto& [name, value] = kNames[at];
    nlohmann::json expected = records[0].at("values");
    for (auto& field : expected) {
      if (field.at(0) == "ssid") field.at(1) = value.empty() ? name : value;
    }
    EXPECT_EQ(records[at].at("values"), expected) << name;
    EXPECT_EQ(records[at].at("problem"), nullptr) << name;
  }
}

}  // namespace
