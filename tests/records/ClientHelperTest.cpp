#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "sqm/records/SQMClientHelper.h"
#include "sqm/testing/FakeHost.h"

using sqm::SQMClientHelper;
using sqm::testing::FakeHost;

namespace {

class ClientHelper : public ::testing::Test {
 protected:
  FakeHost fake;
  SQMClientHelper helper{fake.host};
};

TEST_F(ClientHelper, GetsTheNameOfTheUsersLocaleInBritishEnglish) {
  fake.locale.current = "fr_FR";
  fake.locale.name = "French (France)";
  EXPECT_EQ(helper.getCurrentLocale(), "French (France)");
  EXPECT_EQ(fake.locale.asked, std::pair(std::string("fr_FR"), std::string("en_GB")));
}

TEST_F(ClientHelper, LocaleWithoutANameIsEmpty) {
  fake.locale.name = std::nullopt;
  EXPECT_EQ(helper.getCurrentLocale(), "");
}

TEST_F(ClientHelper, HasTheSystemsNameAfterTheFirstCallForTheVersion) {
  EXPECT_EQ(helper.getOSName(), std::nullopt);
  EXPECT_EQ(helper.getOSVersion(), "10.8.2");
  EXPECT_EQ(helper.getOSName(), "Mac OS X");
}

TEST_F(ClientHelper, RefreshesTheSystemsNameWithEveryVersion) {
  helper.getOSVersion();
  fake.utilities.osName = "Other OS";
  fake.utilities.osVersion = "1.0";
  EXPECT_EQ(helper.getOSName(), "Mac OS X");
  EXPECT_EQ(helper.getOSVersion(), "1.0");
  EXPECT_EQ(helper.getOSName(), "Other OS");
}

TEST_F(ClientHelper, SystemsNameReadDirectlyIsNotKept) {
  EXPECT_EQ(helper.osName(), "Mac OS X");
  EXPECT_EQ(helper.getOSName(), std::nullopt);
}

TEST_F(ClientHelper, EnvironmentIsOneFragment) {
  EXPECT_EQ(helper.getEnvironmentInfoAsXMLString(),
            "<locale>English (United States)</locale><os>Mac OS X</os><osVersion>10.8.2</osVersion>");
  EXPECT_EQ(helper.getOSName(), "Mac OS X");
}

TEST_F(ClientHelper, EnvironmentIsNotEscaped) {
  fake.locale.name = "Bosnia & Herzegovina";
  fake.utilities.osName = "<%@>";
  fake.utilities.osVersion = "\"%d\"";
  EXPECT_EQ(helper.getEnvironmentInfoAsXMLString(),
            "<locale>Bosnia & Herzegovina</locale><os><%@></os><osVersion>\"%d\"</osVersion>");
}

TEST_F(ClientHelper, EnvironmentMayBeEmpty) {
  fake.locale.name = std::nullopt;
  fake.utilities.osName = "";
  fake.utilities.osVersion = "";
  EXPECT_EQ(helper.getEnvironmentInfoAsXMLString(), "<locale></locale><os></os><osVersion></osVersion>");
}

TEST_F(ClientHelper, ProductTextHasItsTwoBlanks) {
  EXPECT_EQ(SQMClientHelper::getProductInfoAsXMLString(),
            "<product><id>Trelk Quenfa for Mac  OS X</id><version>1.0.0.0</version><lastupdate></lastupdate>"
            "<components><component></component></components></product>");
}

}  // namespace
