#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sqm/common/QFSQMFilterManager.h"

namespace sqm::platform {

/// Disables the recording of the records that match.
struct DisableRule {
  std::optional<std::string> name{};     ///< absent: matches records without a name
  std::optional<std::string> subType{};  ///< empty: matches records without a sub-type; absent: matches any
};

/// Replaces values of the records that match, by field name.
struct ReplaceRule {
  std::optional<std::string> name{};     ///< as in `DisableRule`
  std::optional<std::string> subType{};  ///< as in `DisableRule`
  std::vector<std::pair<std::string, std::string>> values{};
};

/// A record filter with a list of rules. Without rules every record is recorded unchanged.
///
/// Threading: one thread, the one that calls the manager. The rules may be changed between any two records.
class RuleFilter : public QFSQMFilterManager {
 public:
  /// Replaces all rules. A record that matches a `disable` rule is not recorded. The values of all matching `replace`
  /// rules replace the record's own, in the order of the rules.
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
