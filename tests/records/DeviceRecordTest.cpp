#include <optional>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "sqm/records/SQMDeviceRecord.h"
#include "sqm/testing/FakeHost.h"

#include "tests/records/RecordsUnderTest.h"

using sqm::SQMDeviceRecord;
using sqm::testing::FakeHost;

namespace {

class DeviceRecord : public ::testing::Test {
 protected:
  FakeHost fake;
  SQMDeviceRecord record{fake.host};
};

TEST_F(DeviceRecord, ItsFieldsComeInOneOrderHoweverTheyWereSet) {
  for (const int field : {72, 71, 70, 69, 68, 67, 66, 65, 64, 54, 43, 6}) {
    record.SetAttribute(field, "V" + std::to_string(field));
  }
  EXPECT_EQ(record.FormatMobileDeviceFields(),
            "<F6 timestamp=\"0000000000\">V6</F6><F43>V43</F43><F64>V64</F64><F54>V54</F54><F66>V66</F66>"
            "<F67>V67</F67><F68>V68</F68><F69>V69</F69><F70>V70</F70><F71>V71</F71><F72>V72</F72>");
}

TEST_F(DeviceRecord, Field54FollowsField43WhenField64IsAbsent) {
  record.SetAttribute(6, "V6");
  record.SetAttribute(54, "V54");
  EXPECT_EQ(formatted(record),
            (Formatted{0, "<F63><F6 timestamp=\"0000000000\">V6</F6><F43></F43><F54>V54</F54></F63>"}));
}

TEST_F(DeviceRecord, EmptyValueOfTheXmlCompatibleSetterIsWritten) {
  record.SetAttribute(6, "V6");
  record.SetAttributeAfterXMLCompatibleFormat(66, "");
  EXPECT_EQ(formatted(record), (Formatted{0, "<F63><F6 timestamp=\"0000000000\">V6</F6><F43></F43><F66></F66></F63>"}));
}

TEST_F(DeviceRecord, FieldsAloneAreFormattedWithoutValidation) {
  EXPECT_EQ(record.FormatMobileDeviceFields(), "<F6 timestamp=\"0000000000\"></F6><F43></F43>");
}

TEST_F(DeviceRecord, SubTypeAndOuterElementFollowTheFieldNames) {
  auto names = FakeHost::defaultFieldNames();
  names[63] = "phone";
  fake.setFieldNames(names);
  SQMDeviceRecord phone(fake.host);
  phone.SetAttribute(6, "V6");
  EXPECT_EQ(phone.recordSubType(), "phone");
  EXPECT_EQ(formatted(phone), (Formatted{0, "<phone><F6 timestamp=\"0000000000\">V6</F6><F43></F43></phone>"}));
}

TEST_F(DeviceRecord, SubTypeMayBeMissing) {
  fake.removeFieldNames();
  EXPECT_EQ(SQMDeviceRecord(fake.host).recordSubType(), std::nullopt);
}

TEST_F(DeviceRecord, SubTypeBeyondAShortTableIsAnError) {
  auto names = FakeHost::defaultFieldNames();
  names.resize(63);
  fake.setFieldNames(names);
  const SQMDeviceRecord shortTable(fake.host);
  EXPECT_THROW(static_cast<void>(shortTable.recordSubType()), std::out_of_range);
}

}  // namespace
