#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/records/RecordsUnderTest.h"
#include "tests/support/Bytes.h"

using sqm::SQM;

namespace {

using Setter = std::int64_t (SQM::*)(std::int64_t, const std::optional<std::string_view>&);

/// Tests of both setters of every kind.
class RecordSetters : public EveryKind {
 protected:
  static constexpr Setter kSetters[] = {&SQM::SetAttribute, &SQM::SetAttributeAfterXMLCompatibleFormat};
};
INSTANTIATE_TEST_SUITE_P(, RecordSetters, ::testing::ValuesIn(recordKinds()), idOf);

TEST_P(RecordSetters, StoreEveryFieldOfTheKindUnderItsName) {
  for (const Setter set : kSetters) {
    const auto record = made();
    for (std::int64_t field = 0; field <= kind().highestField; ++field) {
      const std::string number = std::to_string(field);
      EXPECT_EQ(((*record).*set)(field, "value " + number), 0);
      EXPECT_EQ(record->recordValues()->find("F" + number), "value " + number);
    }
    EXPECT_EQ(record->recordValues()->size(), static_cast<std::size_t>(kind().highestField + 1));
  }
}

TEST_P(RecordSetters, StoreNothingAboveTheHighestField) {
  for (const Setter set : kSetters) {
    const auto record = made();
    for (const std::int64_t field : {kind().highestField + 1, std::int64_t{91}, std::int64_t{1000},
                                     std::int64_t{1} << 32, std::numeric_limits<std::int64_t>::max()}) {
      EXPECT_EQ(((*record).*set)(field, "value"), kind().fieldRejected) << field;
      EXPECT_EQ(((*record).*set)(field, std::nullopt), kind().fieldRejected) << field;
    }
    EXPECT_TRUE(record->recordValues()->empty());
  }
}

TEST_P(RecordSetters, NegativeFieldIsRejectedByTheClientRecordAndAnErrorElsewhere) {
  const auto record = made();
  for (const Setter set : kSetters) {
    for (const std::int64_t field :
         {std::int64_t{-1}, -(std::int64_t{1} << 32) + 6, std::numeric_limits<std::int64_t>::min()}) {
      if (kind().fieldRejected == 3) {
        EXPECT_EQ(((*record).*set)(field, "value"), 3) << field;
      } else {
        EXPECT_THROW(((*record).*set)(field, "value"), std::out_of_range) << field;
      }
    }
  }
  EXPECT_TRUE(record->recordValues()->empty());
}

TEST_P(RecordSetters, KeepTheLaterOfTwoValues) {
  const auto record = made();
  for (const Setter set : kSetters) {
    ((*record).*set)(6, "the first value");
    ((*record).*set)(6, "second");
    EXPECT_EQ(record->recordValues()->find("F6"), "second");
    EXPECT_EQ(record->recordValues()->size(), 1U);
  }
}

TEST_P(RecordSetters, AbsentValueRemovesInTheClientRecordAndIsAnErrorElsewhere) {
  const auto record = made();
  for (const Setter set : kSetters) {
    record->SetAttribute(6, "six");
    record->SetAttribute(7, "seven");
    if (kind().absentValueRemoves) {
      EXPECT_EQ(((*record).*set)(6, std::nullopt), 0);
      EXPECT_FALSE(record->recordValues()->contains("F6"));
      EXPECT_EQ(((*record).*set)(6, std::nullopt), 0);
    } else {
      EXPECT_THROW(((*record).*set)(6, std::nullopt), std::invalid_argument);
      EXPECT_EQ(record->recordValues()->find("F6"), "six");
    }
    EXPECT_EQ(record->recordValues()->find("F7"), "seven");
  }
}

TEST_P(RecordSetters, PlainSetterStoresAnyTextAsItStands) {
  const auto record = made();
  for (const std::string& text : kAwkwardTexts) {
    EXPECT_EQ(record->SetAttribute(6, text), 0);
    EXPECT_EQ(record->recordValues()->find("F6"), text);
  }
  EXPECT_EQ(fake.utilities.escapings, 0);
}

TEST_P(RecordSetters, XmlCompatibleSetterStoresTheEscapedText) {
  const auto record = made();
  for (const std::string& text : kAwkwardTexts) {
    EXPECT_EQ(record->SetAttributeAfterXMLCompatibleFormat(6, text), 0);
    EXPECT_EQ(record->recordValues()->find("F6"), fake.utilities.convertToXmlCompatibleString(text));
  }
  record->SetAttributeAfterXMLCompatibleFormat(6, "<a & 'b'>");
  EXPECT_EQ(record->recordValues()->find("F6"), "&lt;a &amp; &apos;b&apos;&gt;");
}

TEST_P(RecordSetters, XmlCompatibleSetterDoesNotEscapeTheEmptyText) {
  const auto record = made();
  EXPECT_EQ(record->SetAttributeAfterXMLCompatibleFormat(6, ""), 0);
  EXPECT_EQ(record->recordValues()->find("F6"), "");
  EXPECT_EQ(fake.utilities.escapings, 0);
}

TEST_P(RecordSetters, ValueMayBeAViewOfAnotherValueOfTheRecord) {
  const auto record = made();
  record->SetAttribute(1, repeated("<long>", 5'000));
  record->SetAttribute(2, *record->recordValues()->find("F1"));
  record->SetAttributeAfterXMLCompatibleFormat(3, *record->recordValues()->find("F1"));
  record->SetAttributeAfterXMLCompatibleFormat(1, record->recordValues()->find("F1")->substr(0, 1));
  EXPECT_EQ(record->recordValues()->find("F1"), "&lt;");
  EXPECT_EQ(record->recordValues()->find("F2"), repeated("<long>", 5'000));
  EXPECT_EQ(record->recordValues()->find("F3"), repeated("&lt;long&gt;", 5'000));
}

}  // namespace
