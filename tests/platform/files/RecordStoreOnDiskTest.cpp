// The record store on the standard host, with real files.

#include <filesystem>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "sqm/platform/StandardHost.h"
#include "sqm/platform/system/HomeFolders.h"
#include "sqm/store/SQMRecordStore.h"

#include "tests/support/TemporaryFolder.h"

namespace fs = std::filesystem;
using sqm::RecordType;
using sqm::SQMRecordStore;
using sqm::platform::StandardHost;

namespace {

class RecordStoreOnDisk : public ::testing::Test {
 protected:
  StandardHost::Options options() const {
    StandardHost::Options options;
    options.homeDirectory = home_.path();
    options.resourceDirectory = home_.path();
    return options;
  }

  std::string pathOf(RecordType type) { return sqm::listFilePath(*host_.configuration, type); }

  /// The files of the SQM folder, with their content.
  std::map<std::string, std::string> files() {
    std::map<std::string, std::string> all;
    for (const auto& entry : fs::directory_iterator(sqm::sqmFolderPath(*host_.configuration))) {
      all[entry.path().filename()] = entry.is_regular_file() ? contentOf(entry.path()) : "not a file";
    }
    return all;
  }

  TemporaryFolder home_;
  StandardHost host_{options()};
};

TEST_F(RecordStoreOnDisk, WithoutTheFolderSavingFailsAndCreatesNothing) {
  SQMRecordStore store(host_);
  store.saveSQMConnRecordToStore("<r/>");
  EXPECT_FALSE(store.SaveSQMStoreToDisk());
  EXPECT_FALSE(fs::exists(home_ / "Library/Application Support"));
  EXPECT_EQ(store.document(RecordType::connection),
            R"(<?xml version="1.0" encoding="utf-8"?><connectionList><r/></connectionList>)");
  ASSERT_TRUE(host_.makeFolders());
  EXPECT_TRUE(store.SaveSQMStoreToDisk()) << "the records are still in memory";
  EXPECT_NE(contentOf(pathOf(RecordType::connection)).find("<string>&lt;r/&gt;</string>"), std::string::npos);
}

TEST_F(RecordStoreOnDisk, LoadingNeitherTruncatesNorDeletes) {
  ASSERT_TRUE(host_.makeFolders());
  {
    SQMRecordStore store(host_);
    store.saveSQMConnRecordToStore("<r/>");
  }
  putContent(pathOf(RecordType::client), "no property list");
  putContent(pathOf(RecordType::device), "<plist><dict/></plist>");
  putContent(pathOf(RecordType::application), "");
  fs::remove(pathOf(RecordType::userAcceptance));
  fs::create_directory(pathOf(RecordType::userAcceptance));
  const auto before = files();
  ASSERT_EQ(before.size(), 5U);

  SQMRecordStore store(host_);
  store.LoadFromDisk();
  EXPECT_EQ(files(), before);
  EXPECT_EQ(store.document(RecordType::connection),
            R"(<?xml version="1.0" encoding="utf-8"?><connectionList><r/><r/></connectionList>)");
}

TEST_F(RecordStoreOnDisk, FoldersAreMadeWhereTheStoreOfAReplacedConfigurationSaves) {
  const TemporaryFolder other;
  sqm::platform::HomeFolders configuration(other.path());
  host_.configuration = &configuration;
  ASSERT_TRUE(host_.makeFolders());
  EXPECT_FALSE(fs::exists(home_ / "Library/Application Support"));
  EXPECT_TRUE(fs::is_directory(configuration.applicationQuenfaFolderPath()));
  SQMRecordStore store(host_);
  EXPECT_TRUE(store.getSQMDirectoryPath().starts_with(other.path()));
  EXPECT_TRUE(store.SaveSQMStoreToDisk());
  for (const RecordType type : sqm::kRecordTypes) EXPECT_TRUE(fs::is_regular_file(pathOf(type)));
}

/// An application with another folder for its own data. The SQM folder is unchanged.
class OwnApplicationFolder : public sqm::platform::HomeFolders {
 public:
  using HomeFolders::HomeFolders;
  std::string applicationQuenfaFolderPath() const override { return homeDirectory() + "/own/data"; }
};

TEST_F(RecordStoreOnDisk, FoldersAreMadeForAnApplicationThatKeepsItsDataElsewhere) {
  OwnApplicationFolder configuration(home_.path());
  host_.configuration = &configuration;
  ASSERT_TRUE(host_.makeFolders());
  EXPECT_TRUE(fs::is_directory(home_ / "own/data"));
  SQMRecordStore store(host_);
  EXPECT_TRUE(store.SaveSQMStoreToDisk());
}

}  // namespace
