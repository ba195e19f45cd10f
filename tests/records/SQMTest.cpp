#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include <gtest/gtest.h>

#include "sqm/records/SQM.h"

namespace {

/// A record with the required operations alone.
class BareRecord : public sqm::SQM {
 public:
  std::int64_t FormatRecord(std::optional<std::string>&) override { return 0; }
  std::int64_t SetAttribute(std::int64_t, const std::optional<std::string_view>&) override { return 0; }
  std::int64_t SetAttributeAfterXMLCompatibleFormat(std::int64_t, const std::optional<std::string_view>&) override {
    return 0;
  }
  bool clearRecord() override { return true; }
  sqm::ValueDictionary* recordValues() override { return &values_; }

 private:
  sqm::ValueDictionary values_;
};

TEST(RecordProtocol, SomeOperationsAreOptional) {
  BareRecord record;
  record.recordValues()->set("key", "value");
  EXPECT_EQ(record.recordName(), std::nullopt);
  EXPECT_EQ(record.recordSubType(), std::nullopt);
  record.updateRecordValues({});
  EXPECT_EQ(record.recordValues()->find("key"), "value");
}

TEST(RecordProtocol, ExportsThreeIntegersOfFourBytesThatAreZero) {
  static_assert(std::is_same_v<decltype(sqm::NsqmRecType), std::int32_t>);
  static_assert(std::is_same_v<decltype(sqm::NSSQMFields), std::int32_t>);
  static_assert(std::is_same_v<decltype(sqm::NSSqmError), std::int32_t>);
  EXPECT_EQ(sqm::NsqmRecType, 0);
  EXPECT_EQ(sqm::NSSQMFields, 0);
  EXPECT_EQ(sqm::NSSqmError, 0);
}

TEST(RecordProtocol, StatusesHaveTheirNumbers) {
  EXPECT_EQ(sqm::kRecordOk, 0);
  EXPECT_EQ(sqm::kRecordRejected, 3);
  EXPECT_EQ(sqm::kConnectionRequiredFieldMissing, 4);
}

}  // namespace
