#include <string>

#include <gtest/gtest.h>

#include "sqm/records/SQMApplicationRecord.h"
#include "sqm/testing/FakeHost.h"

#include "tests/records/RecordsUnderTest.h"

using sqm::SQMApplicationRecord;
using sqm::testing::FakeHost;

namespace {

class ApplicationRecord : public ::testing::Test {
 protected:
  FakeHost fake;
  SQMApplicationRecord record{fake.host};
};

TEST_F(ApplicationRecord, CommonFieldsAreAlwaysWritten) {
  EXPECT_EQ(record.FormatCommonApplicationFields(), "<F6 timestamp=\"0000000000\"></F6><F75></F75><F76></F76>");
  for (const int field : {76, 75, 6}) record.SetAttribute(field, "V" + std::to_string(field));
  EXPECT_EQ(record.FormatCommonApplicationFields(), "<F6 timestamp=\"0000000000\">V6</F6><F75>V75</F75><F76>V76</F76>");
}

TEST_F(ApplicationRecord, TwoSessionFieldsAreAlwaysWritten) {
  EXPECT_EQ(record.FormatCommonSessionFields(), "<F13></F13><F86></F86>");
}

TEST_F(ApplicationRecord, Fields13And86AreWrittenBeforeField81) {
  for (const int field : {84, 83, 82, 81, 80, 79, 78, 77, 86, 13}) {
    record.SetAttribute(field, "V" + std::to_string(field));
  }
  EXPECT_EQ(record.FormatCommonSessionFields(),
            "<F77>V77</F77><F78>V78</F78><F79>V79</F79><F80>V80</F80><F13>V13</F13><F86>V86</F86><F81>V81</F81>"
            "<F82>V82</F82><F83>V83</F83><F84>V84</F84>");
}

TEST_F(ApplicationRecord, EmptySessionFieldIsWritten) {
  record.SetAttribute(84, "");
  EXPECT_EQ(record.FormatCommonSessionFields(), "<F13></F13><F86></F86><F84></F84>");
}

TEST_F(ApplicationRecord, GatewayHasItsOwnNameWhateverTheFieldNames) {
  auto names = FakeHost::defaultFieldNames();
  names[85] = "another name";
  fake.setFieldNames(names);
  SQMApplicationRecord renamed(fake.host);
  renamed.SetAttribute(85, "vpn.example");
  EXPECT_EQ(renamed.FormatVPNApplicationTypeData(),
            "<vpn><F6 timestamp=\"0000000000\"></F6><F75></F75><F76></F76><F13></F13><F86></F86>"
            "<gateway>vpn.example</gateway></vpn>");
}

TEST_F(ApplicationRecord, EmptyFirstFieldValidates) {
  record.SetAttribute(6, "");
  EXPECT_EQ(record.ValidateRecordData(), 0);
  EXPECT_EQ(formatted(record),
            (Formatted{0,
                       "<vpn><F6 timestamp=\"0000000000\"></F6><F75></F75><F76></F76><F13></F13><F86></F86>"
                       "<gateway></gateway></vpn>"}));
}

TEST_F(ApplicationRecord, MissingFirstFieldGivesTheCodeOfTheConnectionRecords) {
  record.SetAttribute(75, "V75");
  EXPECT_EQ(record.ValidateRecordData(), 4);
  EXPECT_EQ(formatted(record), (Formatted{4, ""}));
}

}  // namespace
