#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/records/TableRecord.h"

namespace sqm {

/// The installed client and what it runs on. Its fields are 0 to 7; an absent value removes one, and `clearRecord`
/// keeps them all.
class SQMClientRecord : public TableRecord {
 public:
  explicit SQMClientRecord(Host& host);

  /// Stores a value under a key that is no field name: "locale", "os" or "osVersion". Status 3 when either is absent.
  std::int64_t setValue(std::optional<std::string_view> value, std::optional<std::string_view> forKey) {
    if (!value || !forKey) return kRecordRejected;
    if (ValueDictionary* values = recordValues()) values->set(*forKey, *value);
    return kRecordOk;
  }

  /// The locale and the operating system as elements; empty until field 0, their marker, holds a value.
  std::string constructEnvironmentInformation() const;
};

}  // namespace sqm
