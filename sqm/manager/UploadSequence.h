#pragma once

#include <cstdint>
#include <optional>

#include "sqm/store/SQMRecordStore.h"

namespace sqm {

/// Which document is in flight, or was last.
enum class UploadState : std::int32_t {
  idle = 0,  ///< before the first upload
  connection = 1,
  client = 2,
  application = 3,
  device = 4,
  userAcceptance = 5
};

enum class UploadEvent : std::uint8_t { started, succeeded, failed };

/// What the manager does next, in this order.
struct UploadStep {
  /// The records of this type have arrived and go.
  std::optional<RecordType> delivered = {};
  /// The document of this type is posted, unless it is absent or empty: then the type's records go, and the step goes
  /// on.
  std::optional<RecordType> postUnlessEmpty = {};
  /// The state becomes this type's, and its document is posted as it is. An absent one ends the sequence here.
  std::optional<RecordType> postOtherwise = {};

  friend bool operator==(const UploadStep&, const UploadStep&) = default;
};

/// The order of an upload: client, connection, device, application, user acceptance. It takes note that the connection
/// document is posted even without records, and that without device and application records the user acceptances wait
/// for the next upload.
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
constexpr UploadState uploadStateOf(RecordType type) {
  switch (type) {
    case RecordType::client:
      return UploadState::client;
    case RecordType::connection:
      return UploadState::connection;
    case RecordType::device:
      return UploadState::device;
    case RecordType::application:
      return UploadState::application;
    case RecordType::userAcceptance:
      return UploadState::userAcceptance;
  }
  return UploadState::idle;
}

}  // namespace sqm
