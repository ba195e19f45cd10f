// The operations of the delivery policies.

#include "sqm/delivery/DeliveryStatistics.h"
#include "sqm/delivery/UserConsent.h"
#include "sqm/store/RecordTypes.h"

#include "tools/sqmctl/Output.h"
#include "tools/sqmctl/play/Operation.h"

namespace sqmctl::play {

namespace {

Result consent(Player& player, const Arguments& arguments) {
  player.setConsent(sqm::delivery::consentNamed(arguments.text("value").value()).value());
  return nullptr;
}

Result statistics(Player& player, const Arguments& /*arguments*/) {
  const sqm::delivery::DeliveryStatistics counts = player.statistics();
  Result result = Result::object();
  for (const auto& row : sqm::kRecordTypeTable) result[row.key] = jsonOf(counts.lists[sqm::indexOf(row.type)]);
  return result;
}

constexpr Argument kConsentValue[] = {required("value", kConsent)};
constexpr Argument kSchedule[] = {required("seconds", kSeconds)};

constexpr Operation kOperations[] = {
    {"consent", kConsentValue, consent},
    {"statistics", {}, statistics},
    {"schedule.run", kSchedule,
     [](Player& player, const Arguments& arguments) -> Result {
       return {{"uploads", player.runSchedule(arguments.number("seconds"))}};
     }},
};

}  // namespace

std::span<const Operation> deliveryOperations() { return kOperations; }

}  // namespace sqmctl::play
