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

TEST(UploadSequence, SuccessWithoutADocumentInFlightDoesNothing) {
  for (const UploadState state : {UploadState::idle, static_cast<UploadState>(6), static_cast<UploadState>(-1)}) {
    EXPECT_EQ(nextUploadStep(state, UploadEvent::succeeded), UploadStep{}) << static_cast<int>(state);
  }
}

TEST(UploadSequence, SuccessDeletesTheTypeThatWasInFlightAndNoOther) {
  for (const RecordType type : sqm::kRecordTypes) {
    EXPECT_EQ(nextUploadStep(uploadStateOf(type), UploadEvent::succeeded).delivered, type);
  }
}

TEST(UploadSequence, StateNamesTheTypeInFlight) {
  for (const RecordType type : sqm::kRecordTypes) EXPECT_EQ(sqm::typeInFlight(uploadStateOf(type)), type);
  EXPECT_EQ(sqm::typeInFlight(UploadState::idle), std::nullopt);
}

}  // namespace
