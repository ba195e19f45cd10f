// The order of the directory uploader's steps.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/sessionfiles/SQMUploader.h"
#include "sqm/testing/FakeHost.h"
#include "sqm/upload/SQMUploadNotifications.h"

#include "tests/upload/RecordedSteps.h"

using sqm::SQMUploader;
using sqm::testing::FakeHost;

namespace {

using Lines = std::vector<std::string>;

const std::string kFolder = "/sessions";
constexpr std::int16_t kReading = 1;
constexpr std::int16_t kSending = 2;

TEST(SQMUploaderSteps, SetUpTheTransactionThenOpenTheLogAtLevel2) {
  FakeHost fakes;
  RecordedSteps recorded(fakes);
  const auto uploader = SQMUploader::create(fakes.host);
  EXPECT_EQ(recorded.steps, (Lines{"make", "session , SQMHttp.log", "open SQMUploadlog.log 2"}));
}

TEST(SQMUploaderSteps, RegisterAfterTheSessionIsStartedAndBeforeTheLogIsOpened) {
  EXPECT_EQ(stepsWithObservers<SQMUploader>(sqm::TrelkSQMUploadError), "open SQMUploadlog.log 2");
}

TEST(SQMUploaderSteps, LogBeforeTheBodyIsSentAndSetTheStatusAfter) {
  FakeHost fakes;
  RecordedSteps recorded(fakes);
  const auto uploader = SQMUploader::create(fakes.host);
  uploader->setSQMUploadUrl("https://collect.example/sqm");
  uploader->setSQMDirPath(kFolder);
  fakes.files.put(kFolder + "/a.sqm", "a");
  recorded.steps.clear();
  std::vector<std::int16_t> statuses;
  recorded.onStep = [&](std::string_view) { statuses.push_back(uploader->getActivityStatus()); };
  uploader->startSend();
  EXPECT_EQ(recorded.steps, (Lines{"line 2 startSend***started sending data to server:https://collect.example/sqm",
                                   "line 2 startSend*** SQM Data:a", "send a"}));
  EXPECT_EQ(statuses, (std::vector<std::int16_t>{kReading, kReading, kReading}));
  EXPECT_EQ(uploader->getActivityStatus(), kSending);
}

TEST(SQMUploaderSteps, LogBeforeTheNextBodyIsSent) {
  FakeHost fakes;
  RecordedSteps recorded(fakes);
  const auto uploader = SQMUploader::create(fakes.host);
  uploader->setSQMDirPath(kFolder);
  fakes.files.put(kFolder + "/a.sqm", "a");
  fakes.files.refuse(sqm::testing::MemoryFiles::Operation::remove, kFolder + "/a.sqm");
  uploader->startSend();
  recorded.steps.clear();
  fakes.http.complete(200);
  EXPECT_EQ(recorded.steps,
            (Lines{"line 2 httpStatus***notification recieved :TrelkHttpTransactionCompletedNotification",
                   "line 2 httpStatus***posting next record", "send a"}));
}

}  // namespace
