#include <gtest/gtest.h>

#include "sqm/manager/UploadSequence.h"

using sqm::nextUploadStep;
using sqm::RecordType;
using sqm::UploadEvent;
using sqm::UploadState;
using sqm::uploadStateOf;
using sqm::UploadStep;

namespace {

constexpr UploadState kEveryState[] = {UploadState::idle,          UploadState::connection, UploadState::client,
                                       UploadState::application,   UploadState::device,     UploadState::userAcceptance,
                                       static_cast<UploadState>(6)};

TEST(UploadSequence, StatesHaveTheirNumbers) {
  for (int number = 0; number < 7; ++number) EXPECT_EQ(static_cast<int>(kEveryState[number]), number);
}

TEST(UploadSequence, StartsWithTheClientWhateverTheState) {
  const UploadStep first = {.postUnlessEmpty = RecordType::client, .postOtherwise = RecordType::connection};
  for (const UploadState state : kEveryState) {
    EXPECT_EQ(nextUploadStep(state, UploadEvent::started), first) << static_cast<int>(state);
  }
}

TEST(UploadSequence, EndsWithAFailureWhateverTheState) {
  for (const UploadState state : kEveryState) {
    EXPECT_EQ(nextUploadStep(state, UploadEvent::failed), UploadStep{}) << static_cast<int>(state);
  }
}

TEST(UploadSequence, SuccessMovesEveryStateOn) {
  using enum RecordType;
  const struct {
    UploadState state = UploadState::idle;
    UploadStep next = {};
  } cases[] = {
      {UploadState::idle, {}},
      {UploadState::client, {.delivered = client, .postOtherwise = connection}},
      {UploadState::connection, {.delivered = connection, .postUnlessEmpty = device, .postOtherwise = application}},
      {UploadState::device, {.delivered = device, .postUnlessEmpty = application, .postOtherwise = userAcceptance}},
      {UploadState::application, {.delivered = application, .postOtherwise = userAcceptance}},
      {UploadState::userAcceptance, {.delivered = userAcceptance}},
      {static_cast<UploadState>(6), {}},
      {static_cast<UploadState>(-1), {}},
  };
  for (const auto& [state, next] : cases) {
    EXPECT_EQ(nextUploadStep(state, UploadEvent::succeeded), next) << static_cast<int>(state);
  }
}

TEST(UploadSequence, EveryTypeHasItsState) {
  EXPECT_EQ(uploadStateOf(RecordType::client), UploadState::client);
  EXPECT_EQ(uploadStateOf(RecordType::connection), UploadState::connection);
  EXPECT_EQ(uploadStateOf(RecordType::device), UploadState::device);
  EXPECT_EQ(uploadStateOf(RecordType::application), UploadState::application);
  EXPECT_EQ(uploadStateOf(RecordType::userAcceptance), UploadState::userAcceptance);
}

}  // namespace
