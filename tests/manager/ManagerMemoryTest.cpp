#include <cstddef>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/common/QFSQMFilterManager.h"

#include "tests/support/AllocationProbe.h"
#include "tests/support/ManagerTest.h"
#include "tests/support/ObservedLogs.h"

using sqm::RecordType;

namespace {

/// A manager whose log lines are not kept: they would be copies of the documents.
class ManagerMemory : public ManagerTest {
 protected:
  ManagerMemory() { fakes.host.logFiles = &logs_; }
  void TearDown() override { manager.reset(); }  // before its log's factory

 private:
  ObservedLogs logs_;
};

TEST_F(ManagerMemory, DocumentsAreMovedAllTheWay) {
  const std::string large(1'000'000, 'r');
  manager.reset();
  fakes.propertyLists.put(storeFile(RecordType::client), sqm::TextArray{large});
  restart();
  std::size_t bytes = 0;
  {
    const AllocationProbe probe;
    manager->uploadSQM();
    bytes = probe.bytes();
  }
  EXPECT_LT(bytes, 2 * large.size());
  ASSERT_EQ(fakes.http.requests().size(), 1U);
  EXPECT_EQ(fakes.http.requests()[0].data, listDocument("clientList", large));
}

/// Remembers only whether it was asked, so that it allocates nothing.
class AskedFilter : public sqm::QFSQMFilterManager {
 public:
  bool recordingDisabledForRecordName(std::optional<std::string_view> /*recordName*/,
                                      std::optional<std::string_view> /*subType*/,
                                      const sqm::ValueDictionary& /*andSQMValues*/) override {
    wasAsked = true;
    return false;
  }
  std::optional<sqm::ValueDictionary> appyFiltersForRecord(std::optional<std::string_view> /*record*/,
                                                           std::optional<std::string_view> /*subType*/,
                                                           const sqm::ValueDictionary& /*values*/) override {
    return std::nullopt;
  }

  bool wasAsked = false;
};

TEST_F(ManagerMemory, AStartThatFailsWhileItIsFilledCountsNoRecord) {
  AskedFilter filter;
  fakes.host.filterManager = &filter;
  const sqm::SQMSessionParams params = everyParam(std::string(100, 'v'));
  std::size_t failuresBefore = 0;
  std::size_t failuresAfter = 0;
  for (std::size_t successes = 0;; ++successes) {
    restart();
    manager->setDeviceType(1);
    filter.wasAsked = false;
    bool hasFailed = false;
    {
      AllocationProbe probe;
      probe.failAfter(successes);
      try {
        manager->sqmCreateStartRecord(&params);
      } catch (const std::bad_alloc&) {
        hasFailed = true;
      }
    }
    const bool isFilled = filter.wasAsked;
    (isFilled ? failuresAfter : failuresBefore) += hasFailed ? 1 : 0;
    // An application's start is numbered by the connection's start before it.
    manager->sqmCreateApplicationStartRecord(&params);
    EXPECT_THAT(stored(RecordType::application).back(),
                ::testing::HasSubstr(isFilled ? "<F78>0</F78>" : "<F78>-1</F78>"))
        << successes;
    if (!hasFailed) break;
  }
  EXPECT_GT(failuresBefore, 1U);
  EXPECT_GT(failuresAfter, 0U);
}

}  // namespace
