// Counts and consent.

#include <algorithm>
#include <array>
#include <cstdint>
#include <system_error>

#include "sqm/delivery/DeliveryStatistics.h"
#include "sqm/delivery/UserConsent.h"

#include "faces/c/internal/Objects.h"

using namespace sqm::c;  // NOLINT(google-build-using-namespace): the functions are in the global namespace
using sqm::delivery::DeliveryCounts;
using sqm::delivery::DeliveryStatistics;
using sqm::delivery::DropCounts;
using sqm::delivery::kDropReasonNames;
using sqm::delivery::UserConsent;

namespace {

constexpr std::size_t kReasons = kDropReasonNames.size();
static_assert(SQM_COUNT_DROPPED + kReasons == SQM_COUNTS);
static_assert(static_cast<int>(sqm::delivery::DropReason::lost) == SQM_DROP_LOST);

UserConsent& consentOf(const sqm_host* host) {
  UserConsent* consent = on(host).state->host.consent();
  if (consent == nullptr) throw Failure(SQM_UNAVAILABLE, "the host was made without a consent");
  return *consent;
}

using Numbers = std::array<std::uint64_t, SQM_COUNTS>;

Numbers numbersOf(const DropCounts& dropped, const DeliveryCounts& counts = {}) {
  Numbers numbers = {counts.accepted, counts.delivered, counts.refused, counts.waiting};
  std::copy(dropped.begin(), dropped.end(), numbers.begin() + SQM_COUNT_DROPPED);
  return numbers;
}

Numbers numbersOf(const DeliveryStatistics& all, std::int32_t list) {
  if (list == SQM_LIST_REFUSED) return numbersOf(all.refusedBodies);
  const DeliveryCounts& counts = list == SQM_LIST_QUEUE ? all.queue : all.lists[static_cast<std::size_t>(list)];
  return numbersOf(counts.dropped, counts);
}

}  // namespace

sqm_status sqm_host_statistics(const sqm_host* host, int32_t list, uint64_t* counts, size_t count) {
  return attempt([&] {
    const SharedHost& state = on(host, Use::anyThread).state;
    require(list >= 0 && list <= SQM_LIST_REFUSED, "there is no such list");
    require(counts != nullptr, "the counts are NULL");
    require(count <= SQM_COUNTS, "there are not so many counts");
    const Numbers numbers = numbersOf(state->host.statistics(), list);
    std::copy_n(numbers.begin(), count, counts);
  });
}

char* sqm_drop_reason_name(int32_t reason) {
  return textFrom([&] {
    require(reason >= 0 && static_cast<std::size_t>(reason) < kReasons, "there is no such reason");
    return kDropReasonNames[static_cast<std::size_t>(reason)];
  });
}

sqm_status sqm_consent_set(sqm_host* host, int32_t consent) {
  return attempt([&] {
    UserConsent& choice = consentOf(host);
    require(consent >= SQM_CONSENT_GRANTED && consent <= SQM_CONSENT_REVOKED, "there is no such consent");
    const std::error_code error = choice.set(static_cast<sqm::delivery::Consent>(consent));
    if (error) throw Failure(SQM_FAILED, error.message());
  });
}

int32_t sqm_consent_get(const sqm_host* host) {
  return valueOr(std::int32_t{-1}, [&] { return static_cast<std::int32_t>(consentOf(host).value()); });
}

sqm_status sqm_consent_add_session_folder(sqm_host* host, const char* folder) {
  return attempt([&] {
    require(folder != nullptr, "the folder is NULL");
    consentOf(host).addSessionFolder(folder);
  });
}
