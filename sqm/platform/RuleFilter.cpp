#include "sqm/platform/RuleFilter.h"

#include <algorithm>

namespace sqm::platform {

namespace {

template <typename Rule>
bool matches(const Rule& rule, std::optional<std::string_view> name, std::optional<std::string_view> subType) {
  return rule.name == name && (!rule.subType || *rule.subType == subType.value_or(""));
}

}  // namespace

void RuleFilter::setRules(std::vector<DisableRule> disable, std::vector<ReplaceRule> replace) {
  disable_ = std::move(disable);
  replace_ = std::move(replace);
}

bool RuleFilter::recordingDisabledForRecordName(std::optional<std::string_view> recordName,
                                                std::optional<std::string_view> subType,
                                                const ValueDictionary& /*andSQMValues*/) {
  return std::any_of(disable_.begin(), disable_.end(),
                     [&](const DisableRule& rule) { return matches(rule, recordName, subType); });
}

std::optional<ValueDictionary> RuleFilter::appyFiltersForRecord(std::optional<std::string_view> record,
                                                                std::optional<std::string_view> subType,
                                                                const ValueDictionary& values) {
  std::optional<ValueDictionary> replaced;
  for (const ReplaceRule& rule : replace_) {
    if (!matches(rule, record, subType)) continue;
    if (!replaced) replaced = values;
    for (const auto& [name, value] : rule.values) replaced->set(name, value);
  }
  return replaced;
}

}  // namespace sqm::platform
