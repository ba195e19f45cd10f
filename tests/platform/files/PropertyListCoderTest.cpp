#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/common/KeyedCoder.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/files/PropertyListCoder.h"
#include "sqm/queue/QFRecordUploader.h"
#include "sqm/testing/MemoryLog.h"

#include "tests/platform/files/FaultyFileOperations.h"
#include "tests/platform/files/ShellCommand.h"
#include "tests/support/FreshProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

using test::Fault;
using test::FaultyFileOperations;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PropertyListCoderTest : public ::testing::Test {
 protected:
  std::vector<std::string> problems() const { return logs_.lines("SQMFiles.log"); }

  const UploadRequests requests_ = {{"https://a.example/", "gr\u00FCn"}, {std::nullopt, std::string("\0\xFF", 2)}};
  TemporaryFolder folder_;
  const std::string path_ = folder_ / "session.plist";
  testing::MemoryLogs logs_;
  PropertyListCoders coders_{logs_};
};

TEST_F(PropertyListCoderTest, ObjectsComeBackFromBytesAndFromAFile) {
  const auto archive = coders_.makeArchive();
  archive->encodeObject(requests_, "queue");
  archive->encodeObject(UploadRequests{}, "empty");
  ASSERT_TRUE(archive->writeToFile(path_));
  for (const auto& read : {coders_.archiveWithBytes(archive->bytes()), coders_.archiveWithContentsOfFile(path_)}) {
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->decodeObjectForKey("queue"), requests_);
    EXPECT_EQ(read->decodeObjectForKey("queue"), requests_) << "a second time";
    EXPECT_EQ(read->decodeObjectForKey("empty"), UploadRequests{});
    EXPECT_EQ(read->decodeObjectForKey("other"), std::nullopt);
  }
  EXPECT_EQ(permissionsOf(path_), static_cast<std::filesystem::perms>(0600));
  EXPECT_THAT(folder_.names(), ElementsAre("session.plist"));
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(PropertyListCoderTest, WhatWasEncodedLastIsThere) {
  const auto archive = coders_.makeArchive();
  archive->encodeObject(requests_, "queue");
  EXPECT_EQ(archive->decodeObjectForKey("queue"), requests_);
  archive->encodeObject(UploadRequests{{"u", "d"}}, "queue");
  EXPECT_EQ(archive->decodeObjectForKey("queue"), (UploadRequests{{"u", "d"}}));
  archive->encodeObject(std::nullopt, "queue");
  EXPECT_EQ(archive->decodeObjectForKey("queue"), std::nullopt);
}

TEST_F(PropertyListCoderTest, EntriesThatAreNoObjectsOfTheLibraryAreKept) {
  test::printedBy(
      R"(python3 -c 'import plistlib, sys; plistlib.dump({"window": {"width": 640, "shown": True}, )"
      R"("queue": [{"uploadURL": "u", "uploadData": "d", "more": 1.5}]}, open(sys.argv[1], "wb"), sort_keys=False)' ')" +
      path_ + "'");
  const auto archive = coders_.archiveWithContentsOfFile(path_);
  ASSERT_NE(archive, nullptr);
  EXPECT_EQ(archive->decodeObjectForKey("queue"), (UploadRequests{{"u", "d"}}));
  EXPECT_EQ(archive->decodeObjectForKey("window"), std::nullopt);
  archive->encodeObject(requests_, "another");
  ASSERT_TRUE(archive->writeToFile(path_));
  EXPECT_EQ(
      test::printedBy(R"(python3 -c 'import plistlib, sys; print(ascii(plistlib.load(open(sys.argv[1], "rb"))))' ')" +
                      path_ + "'"),
      "{'another': [{'uploadURL': 'https://a.example/', 'uploadData': 'gr\\xfcn'}, {'uploadData': b'\\x00\\xff'}], "
      "'queue': [{'uploadURL': 'u', 'uploadData': 'd', 'more': 1.5}], "
      "'window': {'width': 640, 'shown': True}}\n");
}

TEST_F(PropertyListCoderTest, WhatIsNoArchiveIsNull) {
  EXPECT_EQ(coders_.archiveWithContentsOfFile(path_), nullptr);
  EXPECT_THAT(problems(), IsEmpty()) << "a missing file is no problem";
  EXPECT_EQ(coders_.archiveWithBytes("garbage"), nullptr);
  EXPECT_EQ(coders_.archiveWithBytes("<plist><array/></plist>"), nullptr);
  putContent(path_, "<plist><array/></plist>");
  EXPECT_EQ(coders_.archiveWithContentsOfFile(path_), nullptr);
  EXPECT_EQ(coders_.archiveWithContentsOfFile(folder_.path()), nullptr);
  EXPECT_THAT(problems(),
              ElementsAre("USER 2 cannot read " + path_ + ": the root of the property list is no dictionary",
                          "USER 2 cannot read " + folder_.path() + ": Is a directory"));
}

TEST_F(PropertyListCoderTest, AFailedWritingIsReportedAndTheOldFileStays) {
  putContent(path_, "old");
  FaultyFileOperations files({Fault::Kind::fails, 6, ENOSPC});
  PropertyListCoders coders(logs_, files);
  EXPECT_FALSE(coders.makeArchive()->writeToFile(path_));
  EXPECT_EQ(contentOf(path_), "old");
  EXPECT_THAT(problems(), ElementsAre("USER 2 cannot write " + path_ + ": No space left on device"));
}

// The example of docs/upload-queue.md.
TEST_IN_FRESH_PROCESS(UploaderEncoding, IsReadByANewProcess) {
  const TemporaryFolder home;
  StandardHost::Options options;
  options.homeDirectory = home.path();
  StandardHost host(options);
  EXPECT_TRUE(host.makeFolders());
  Host::install(host);
  const std::string path = home / "session.plist";
  const pid_t child = ::fork();
  if (child == 0) {
    auto& uploader = *QFRecordUploader::sharedQFRecordUploader();
    uploader.quequeRecord("<body/>", "https://collect.example/");

    auto archive = host.keyedCoders->makeArchive();
    uploader.encodeWithCoder(*archive);
    archive->writeToFile(path);
    ::_exit(0);
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);

  auto archive = host.keyedCoders->archiveWithContentsOfFile(path);
  QFRecordUploader* uploader = archive ? QFRecordUploader::initWithCoder(*archive) : nullptr;

  ASSERT_NE(uploader, nullptr);
  EXPECT_EQ(uploader->recordQueue(), (UploadRequests{{"https://collect.example/", "<body/>"}}));
}

}  // namespace
}  // namespace sqm::platform
