#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sqm/common/QFSQMFilterManager.h"

namespace sqm::platform {

/// Turns the recording of some records off.
struct DisableRule {
  std::optional<std::string> name{};     ///< of the records; absent: those without a name
  std::optional<std::string> subType{};  ///< of the records, empty for those without one; absent: any
};

/// Values that go out in place of a record's own, by field name.
struct ReplaceRule {
  std::optional<std::string> name{};     ///< as in `DisableRule`
  std::optional<std::string> subType{};  ///< as in `DisableRule`
  std::vector<std::pair<std::string, std::string>> values{};
};

/// A filter that goes by rules. Without rules everything is recorded as it is.
///
/// Threading: one thread, the one that drives the manager. The rules may change at any time between two records.
class RuleFilter : public QFSQMFilterManager {
 public:
  /// In place of all rules so far. A record that a `disable` rule matches is not recorded; the values of all `replace`
  /// rules that match are laid over the record's own, in the order of the rules.
  void setRules(std::vector<DisableRule> disable, std::vector<ReplaceRule> replace);

  bool recordingDisabledForRecordName(std::optional<std::string_view> recordName,
                                      std::optional<std::string_view> subType,
                                      const ValueDictionary& andSQMValues) override;
  std::optional<ValueDictionary> appyFiltersForRecord(std::optional<std::string_view> record,
                                                      std::optional<std::string_view> subType,
                                                      const ValueDictionary& values) override;

 private:
  std::vector<DisableRule> disable_;
  std::vector<ReplaceRule> replace_;
};

}  // namespace sqm::platform
