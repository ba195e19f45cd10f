#pragma once

#include <concepts>
#include <cstdint>
#include <iterator>
#include <optional>
#include <vector>

#include "sqm/store/RecordTypes.h"

namespace sqm {

/// Which document is in flight, or was last. The numbers appear in the log: not to change.
enum class UploadState : std::int32_t {
  idle = 0,  ///< before the first upload
  connection = 1,
  client = 2,
  application = 3,
  device = 4,
  userAcceptance = 5
};

enum class UploadEvent : std::uint8_t { started, succeeded, failed };

/// The manager's next actions, in this order.
struct UploadStep {
  /// The records of this type have arrived and are deleted.
  std::optional<RecordType> delivered = {};
  /// The document of this type is posted. When there is none, the type's records are deleted and the next member
  /// applies.
  std::optional<RecordType> postUnlessEmpty = {};
  /// The state becomes this type's, and its document is posted. When there is none, the upload ends.
  std::optional<RecordType> postOtherwise = {};

  friend bool operator==(const UploadStep&, const UploadStep&) = default;
};

/// The order of an upload: client, connection, device, application, user acceptance. The connection document is posted
/// even when there are no connection records. Without device and application records the user acceptances are not
/// posted: they wait for the next upload.
constexpr UploadStep nextUploadStep(UploadState state, UploadEvent event) {
  using enum RecordType;
  if (event == UploadEvent::failed) return {};
  if (event == UploadEvent::started) return {.postUnlessEmpty = client, .postOtherwise = connection};
  switch (state) {
    case UploadState::idle:
      return {};
    case UploadState::client:
      return {.delivered = client, .postOtherwise = connection};
    case UploadState::connection:
      return {.delivered = connection, .postUnlessEmpty = device, .postOtherwise = application};
    case UploadState::device:
      return {.delivered = device, .postUnlessEmpty = application, .postOtherwise = userAcceptance};
    case UploadState::application:
      return {.delivered = application, .postOtherwise = userAcceptance};
    case UploadState::userAcceptance:
      return {.delivered = userAcceptance};
  }
  return {};
}

/// The state while a type's document is in flight.
struct InFlight {
  RecordType type;
  UploadState state;
};
inline constexpr InFlight kInFlight[] = {{RecordType::client, UploadState::client},
                                         {RecordType::connection, UploadState::connection},
                                         {RecordType::device, UploadState::device},
                                         {RecordType::application, UploadState::application},
                                         {RecordType::userAcceptance, UploadState::userAcceptance}};
static_assert(isPermutationOfTypes(kInFlight, &InFlight::type));

constexpr UploadState uploadStateOf(RecordType type) { return findRow(kInFlight, &InFlight::type, type)->state; }

/// The type whose document is in flight, or was last. Nothing before the first upload.
constexpr std::optional<RecordType> typeInFlight(UploadState state) {
  const auto* found = findRow(kInFlight, &InFlight::state, state);
  return found == std::end(kInFlight) ? std::nullopt : std::optional(found->type);
}

/// The type that a step moves on to, where `hasRecords` says which lists have records. Nothing when the step ends the
/// upload.
template <std::predicate<RecordType> HasRecords>
constexpr std::optional<RecordType> nextTypeOf(const UploadStep& step, HasRecords hasRecords) {
  const auto first = step.postUnlessEmpty;
  return first && hasDocument(*first, hasRecords(*first)) ? first : step.postOtherwise;
}

/// Writes the types whose documents an upload posts to `out`, in their order, provided that each post succeeds.
template <std::predicate<RecordType> HasRecords, std::output_iterator<RecordType> Out>
constexpr Out writeUploadPlan(HasRecords hasRecords, Out out) {
  auto next = nextTypeOf(nextUploadStep(UploadState::idle, UploadEvent::started), hasRecords);
  while (next && hasDocument(*next, hasRecords(*next))) {
    *out++ = *next;
    next = nextTypeOf(nextUploadStep(uploadStateOf(*next), UploadEvent::succeeded), hasRecords);
  }
  return out;
}
static_assert(
    [] {
      ByType<RecordType> plan{};
      const auto* const end = writeUploadPlan([](RecordType /*type*/) { return true; }, plan.begin());
      return end == plan.end() && isPermutationOfTypes(plan);
    }(),
    "every type is posted once");

/// The same, as a list.
template <std::predicate<RecordType> HasRecords>
std::vector<RecordType> uploadPlan(HasRecords hasRecords) {
  std::vector<RecordType> plan;
  writeUploadPlan(hasRecords, std::back_inserter(plan));
  return plan;
}

}  // namespace sqm
