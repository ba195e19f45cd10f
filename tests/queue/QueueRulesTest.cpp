// The upload queue with rules of the host. Each test runs in a process of its own.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/common/RecordJournal.h"
#include "sqm/common/UploadQueueRules.h"
#include "sqm/queue/QFRecordUploader.h"
#include "sqm/testing/FakeHost.h"
#include "sqm/testing/MemoryCoder.h"

#include "tests/queue/Requests.h"
#include "tests/support/FreshProcess.h"

namespace {

using sqm::QFRecordUploader;
using sqm::UploadRequests;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Records how it is called, keeps at most two requests, and allows queueing until the test forbids it.
class TwoRequests : public sqm::UploadQueueRules {
 public:
  bool mayQueue() const override { return mayQueue_; }
  void queueLoaded(UploadRequests& queue) override {
    calls.push_back("loaded " + std::to_string(queue.size()));
    bound(queue);
  }
  void requestQueued(UploadRequests& queue, bool isSending) override {
    calls.push_back("queued " + std::to_string(queue.size()) + (isSending ? " while sending" : ""));
    bound(queue);
  }
  void requestPosted(const UploadRequests& queue) override {
    calls.push_back("posted, left " + std::to_string(queue.size()));
  }
  void rulesChanged(UploadRequests& queue) override {
    calls.push_back("changed " + std::to_string(queue.size()));
    queue.clear();
  }

  std::vector<std::string> calls;
  bool mayQueue_ = true;

 private:
  static void bound(UploadRequests& queue) {
    while (queue.size() > 2) queue.erase(queue.begin());
  }
};

struct RuledHost : sqm::testing::FakeHost {
  RuledHost() {
    host.queueRules = &rules;
    sqm::Host::install(host);
  }
  TwoRequests rules;
};

TEST_IN_FRESH_PROCESS(QueueRules, BoundWhatIsLoadedAndWhatIsQueued) {
  RuledHost host;
  host.archives.put(kArchive, UploadRequests{requestOf("1"), requestOf("2"), requestOf("3")});
  QFRecordUploader& uploader = *QFRecordUploader::sharedQFRecordUploader();
  EXPECT_EQ(uploader.recordQueue(), (UploadRequests{requestOf("2"), requestOf("3")}));
  EXPECT_TRUE(uploader.quequeRecord("4", kUrl));
  EXPECT_EQ(host.archives.file(kArchive), (UploadRequests{requestOf("3"), requestOf("4")}));
  EXPECT_THAT(host.rules.calls, ElementsAre("loaded 3", "queued 3"));
}

TEST_IN_FRESH_PROCESS(QueueRules, KnowWhatIsBeingSentAndWhatHasBeenPosted) {
  RuledHost host;
  QFRecordUploader& uploader = *QFRecordUploader::sharedQFRecordUploader();
  uploader.quequeRecord("1", kUrl);
  uploader.uploadRecord();
  uploader.quequeRecord("2", kUrl);
  host.http.complete(200);
  host.mainThread.runAll();
  host.http.complete(500);
  uploader.quequeRecord("3", kUrl);
  EXPECT_THAT(host.rules.calls,
              ElementsAre("loaded 0", "queued 1", "queued 2 while sending", "posted, left 1", "queued 2"));
}

TEST_IN_FRESH_PROCESS(QueueRules, ForbidQueueing) {
  RuledHost host;
  QFRecordUploader& uploader = *QFRecordUploader::sharedQFRecordUploader();
  host.rules.mayQueue_ = false;
  EXPECT_FALSE(uploader.quequeRecord("1", kUrl));
  EXPECT_EQ(uploader.recordQueue(), UploadRequests{});
  EXPECT_THAT(host.archives.writes(), IsEmpty());
}

TEST_IN_FRESH_PROCESS(QueueRules, AreAppliedAnewWhenTheyChange) {
  RuledHost host;
  QFRecordUploader& uploader = *QFRecordUploader::sharedQFRecordUploader();
  uploader.quequeRecord("1", kUrl);
  uploader.uploadRecord();
  host.notificationCenter.postNotificationName(sqm::kKeptRecordsChangedNotification, nullptr);
  EXPECT_EQ(uploader.recordQueue(), UploadRequests{});
  EXPECT_FALSE(uploader.currentURLRequest());
  EXPECT_EQ(host.archives.file(kArchive), UploadRequests{});
}

TEST_IN_FRESH_PROCESS(QueueRules, HoldForADecodedQueue) {
  RuledHost host;
  sqm::testing::MemoryCoder coder;
  coder.encodeObject(UploadRequests{requestOf("1"), requestOf("2"), requestOf("3")}, sqm::kQFRecordData);
  QFRecordUploader& uploader = *QFRecordUploader::initWithCoder(coder);
  EXPECT_EQ(uploader.recordQueue(), (UploadRequests{requestOf("2"), requestOf("3")}));
}

}  // namespace
