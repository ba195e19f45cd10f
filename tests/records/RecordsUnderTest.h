#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/records/SQM.h"
#include "sqm/testing/FakeHost.h"

/// The text and the status of a formatted record.
struct Formatted {
  std::int64_t status;
  std::optional<std::string> text;

  bool operator==(const Formatted&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Formatted& formatted);

/// Formats the record into a slot that holds `slot`.
Formatted formatted(sqm::SQM& record, std::optional<std::string> slot = "");

/// Stores "V0" to "V90" in the fields, and texts under all keys that are not field names.
void fillEverything(sqm::SQM& record);

/// One kind of record, and how it differs from the others. Texts are those with the field names "F0" to "F90".
struct KindCase {
  std::string id;          ///< in the names of tests
  std::string goldenFile;  ///< the text of a record that holds a value in every field
  std::function<std::unique_ptr<sqm::SQM>(sqm::Host&)> make = {};
  std::function<std::int64_t(const sqm::SQM&)> validate = {};
  std::string recordName;
  std::optional<std::string> subType = {};
  std::string requiredKey = "F6";
  std::int64_t requiredMissing = 3;     ///< the status without the required key
  std::string minimal = {};             ///< the text of a record that holds "V6" in field 6 and the required key
  Formatted withoutResource = {3, ""};  ///< the result without a field-name table
  std::int64_t highestField = 90;
  std::int64_t fieldRejected = 0;  ///< the setters' status above `highestField`, and without a dictionary
  std::int64_t plainSetterNameMissing = 0;
  bool absentValueRemoves = false;
  bool clearKeepsValues = false;
};

std::ostream& operator<<(std::ostream& out, const KindCase& kind);

/// The kinds that format something: all but the base of the connection records.
const std::vector<KindCase>& recordKinds();

/// Tests of every kind.
class EveryKind : public ::testing::TestWithParam<KindCase> {
 protected:
  const KindCase& kind() const { return GetParam(); }

  /// A new record.
  std::unique_ptr<sqm::SQM> made() { return kind().make(fake.host); }

  /// A new record that holds "V6" in field 6, and validates.
  std::unique_ptr<sqm::SQM> valid();

  sqm::testing::FakeHost fake;
};

std::string idOf(const ::testing::TestParamInfo<KindCase>& tested);
