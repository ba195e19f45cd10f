#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/platform/files/PropertyListFiles.h"
#include "sqm/store/SQMRecordStore.h"
#include "sqm/testing/FakeHost.h"

#include "tests/platform/files/FaultyFileOperations.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

namespace fs = std::filesystem;
using test::Fault;
using test::FaultyFileOperations;

/// A store whose lists are saved atomically, and whose calls to the system are counted.
class UnchangedLists : public ::testing::Test {
 protected:
  UnchangedLists() {
    fakes_.configuration.home = home_.path();
    fakes_.host.propertyLists = &lists_;
    fs::create_directories(sqmFolderPath(fakes_.configuration));
  }

  struct Cost {
    std::ptrdiff_t syncs;
    std::ptrdiff_t renames;
    friend bool operator==(const Cost&, const Cost&) = default;
  };
  Cost costOfSaving() {
    const auto before = static_cast<std::ptrdiff_t>(files_.calls().size());
    EXPECT_TRUE(store_->SaveSQMStoreToDisk());
    const auto count = [&](const char* name) {
      return std::count(files_.calls().begin() + before, files_.calls().end(), name);
    };
    return {count("fsync"), count("rename")};
  }
  std::string pathOf(RecordType type) const { return listFilePath(fakes_.configuration, type); }

  static constexpr Cost kNothing = {0, 0};
  static constexpr Cost kOneList = {2, 1};
  static constexpr Cost kAllLists = {10, 5};

  TemporaryFolder home_;
  sqm::testing::FakeHost fakes_;
  FaultyFileOperations files_;
  PropertyListFiles lists_{fakes_.logs, {.saves = PropertyListFiles::Saves::atomic}, files_};
  std::optional<SQMRecordStore> store_;
};

TEST_F(UnchangedLists, AreNotWrittenAgain) {
  store_.emplace(fakes_.host);
  EXPECT_EQ(costOfSaving(), kAllLists);
  EXPECT_EQ(costOfSaving(), kNothing);
  store_->saveSQMConnRecordToStore("<r/>");
  EXPECT_EQ(costOfSaving(), kOneList) << "one saved event costs one list";
  EXPECT_EQ(costOfSaving(), kNothing);
  store_->deleteRecords(RecordType::connection);
  EXPECT_EQ(costOfSaving(), kOneList);
  EXPECT_EQ(costOfSaving(), kNothing);
  store_->deleteRecords(RecordType::connection);
  EXPECT_EQ(costOfSaving(), kNothing) << "it was empty";
  EXPECT_EQ(*lists_.arrayWithContentsOfFile(pathOf(RecordType::connection)), TextArray{});
}

TEST_F(UnchangedLists, AListThatGetsTheSameRecordsAgainIsWritten) {
  store_.emplace(fakes_.host);
  store_->saveSQMClientRecordToStore("<r/>");
  costOfSaving();
  store_->deleteRecords(RecordType::client);
  store_->saveSQMClientRecordToStore("<s/>");
  EXPECT_EQ(costOfSaving(), kOneList);
  EXPECT_EQ(*lists_.arrayWithContentsOfFile(pathOf(RecordType::client)), TextArray{"<s/>"});
}

TEST_F(UnchangedLists, AFileThatAnotherProgramChangedIsWritten) {
  store_.emplace(fakes_.host);
  store_->saveSQMClientRecordToStore("<r/>");
  const std::string path = pathOf(RecordType::client);
  const auto change = [&](const char* what, const auto& program) {
    costOfSaving();
    const std::string content = contentOf(path);
    program();
    EXPECT_EQ(costOfSaving(), kOneList) << what;
    EXPECT_EQ(contentOf(path), content) << what;
  };
  change("removed", [&] { fs::remove(path); });
  change("longer", [&] { std::ofstream(path, std::ios::app) << "x"; });
  change("replaced", [&] {
    fs::copy_file(path, path + ".copy");
    fs::rename(path + ".copy", path);
  });
  // At once, within the same tick of the system's clock, and of the same size.
  for (int round = 0; round < 20; ++round) {
    change("overwritten", [&] { std::fstream(path).seekp(100) << "x"; });
  }
}

TEST_F(UnchangedLists, ThatWereSavedUnsyncedAreWrittenAgainWhenTheyAreToBeSynced) {
  PropertyListFiles lists(fakes_.logs, {.saves = PropertyListFiles::Saves::renamed}, files_);
  const TextArray list = {"<r/>"};
  const std::string path = home_ / "list";
  const auto syncs = [&] { return std::count(files_.calls().begin(), files_.calls().end(), "fsync"); };
  EXPECT_TRUE(lists.writeToFile(list, path, /*atomically=*/false));
  EXPECT_EQ(syncs(), 0);
  EXPECT_TRUE(lists.writeToFile(list, path, /*atomically=*/true));
  EXPECT_EQ(syncs(), 2);
  EXPECT_TRUE(lists.writeToFile(list, path, /*atomically=*/false));
  EXPECT_EQ(std::count(files_.calls().begin(), files_.calls().end(), "rename"), 2);
}

TEST_F(UnchangedLists, AFailedSaveIsRepeated) {
  const TextArray list = {"<r/>"};
  const std::string path = home_ / "list.plist";
  FaultyFileOperations dryRun;
  ASSERT_TRUE(PropertyListFiles(fakes_.logs, {.saves = PropertyListFiles::Saves::atomic}, dryRun)
                  .writeToFile(list, path, false));
  for (std::size_t call = 1; call <= dryRun.calls().size(); ++call) {
    SCOPED_TRACE(dryRun.calls()[call - 1]);
    FaultyFileOperations files({Fault::Kind::fails, call, EIO});
    PropertyListFiles lists(fakes_.logs, {.saves = PropertyListFiles::Saves::atomic}, files);
    const bool isWritten = lists.writeToFile(list, path, false);
    const auto before = files.calls().size();
    EXPECT_TRUE(lists.writeToFile(list, path, false));
    const auto again = static_cast<std::ptrdiff_t>(files.calls().size() - before);
    const std::string& name = dryRun.calls()[call - 1];
    const bool isStateUnknown = name == "futimens" || name == "stat";
    EXPECT_TRUE(isWritten || !isStateUnknown);
    EXPECT_EQ(again > 1, !isWritten || isStateUnknown) << "it is skipped only after a success";
  }
}

TEST_F(UnchangedLists, InPlaceEveryListIsWritten) {
  PropertyListFiles lists(fakes_.logs, {}, files_);
  const TextArray list = {"<r/>"};
  for (int save = 1; save <= 3; ++save) {
    EXPECT_TRUE(lists.writeToFile(list, home_ / "list.plist", false));
    EXPECT_EQ(std::ranges::count(files_.calls(), "write"), save);
  }
}

}  // namespace
}  // namespace sqm::platform
