#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/store/SQMRecordStore.h"
#include "sqm/testing/FakeHost.h"

#include "tests/support/CaseName.h"
#include "tests/support/StoreFiles.h"

using sqm::RecordType;
using sqm::SQMRecordStore;
using sqm::TextArray;
using sqm::testing::FakeHost;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

/// The operations of one record type, its file and its element.
struct TypeCase {
  const char* name;
  RecordType type;
  bool (SQMRecordStore::*save)(std::optional<std::string_view>);
  bool (SQMRecordStore::*deleteAll)();
  std::optional<std::string> (SQMRecordStore::*document)() const;
  const char* file;
  const char* element;
};

constexpr TypeCase kClient = {"Client",
                              RecordType::client,
                              &SQMRecordStore::saveSQMClientRecordToStore,
                              &SQMRecordStore::deleteSQMClientRecordFromStore,
                              &SQMRecordStore::getClientRecordXMLAsString,
                              "SQMClient.plist",
                              "clientList"};
constexpr TypeCase kConnection = {"Connection",
                                  RecordType::connection,
                                  &SQMRecordStore::saveSQMConnRecordToStore,
                                  &SQMRecordStore::deleteSQMConnectionRecordsFromStore,
                                  &SQMRecordStore::getConnectionRecordXMLAsString,
                                  "SQMConnection.plist",
                                  "connectionList"};
constexpr TypeCase kDevice = {"Device",
                              RecordType::device,
                              &SQMRecordStore::saveSQMDeviceRecordToStore,
                              &SQMRecordStore::deleteSQMDeviceRecordFromStore,
                              &SQMRecordStore::getDeviceRecordXMLAsString,
                              "SQMDevice.plist",
                              "deviceList"};
constexpr TypeCase kApplication = {"Application",
                                   RecordType::application,
                                   &SQMRecordStore::saveSQMApplicationRecordToStore,
                                   &SQMRecordStore::deleteSQMApplicationRecordFromStore,
                                   &SQMRecordStore::getApplicationRecordXMLAsString,
                                   "SQMApplication.plist",
                                   "sqmList"};
constexpr TypeCase kUserAcceptance = {"UserAcceptance",
                                      RecordType::userAcceptance,
                                      &SQMRecordStore::saveSQMUserAcceptanceRecordToStore,
                                      &SQMRecordStore::deleteSQMUserAcceptanceRecordFromStore,
                                      &SQMRecordStore::getUserAcceptanceRecordXMLAsString,
                                      "SQMUserAcceptance.plist",
                                      "userAcceptanceList"};

constexpr TypeCase kTypeCases[] = {kClient, kConnection, kDevice, kApplication, kUserAcceptance};
static_assert(sqm::isPermutationOfTypes(kTypeCases, &TypeCase::type));

/// The document of an empty list of the type.
std::optional<std::string> emptyDocumentOf(const TypeCase& type) {
  return type.type == RecordType::connection ? std::optional(listDocument("connectionList", "")) : std::nullopt;
}

std::vector<std::string> pathsOf(const std::vector<sqm::testing::MemoryPropertyLists::Write>& writes) {
  std::vector<std::string> paths;
  paths.reserve(writes.size());
  for (const auto& write : writes) paths.push_back(write.path);
  return paths;
}

class RecordStoreOfType : public ::testing::TestWithParam<TypeCase> {
 protected:
  std::int64_t number() const { return static_cast<std::int64_t>(GetParam().type); }
  std::string path() const { return std::string(kSQMFolder) + "/" + GetParam().file; }
  std::optional<std::string> document(const SQMRecordStore& store) const { return (store.*GetParam().document)(); }
  std::string documentOf(std::string_view records) const { return listDocument(GetParam().element, records); }

  FakeHost fakes;
};

INSTANTIATE_TEST_SUITE_P(Types, RecordStoreOfType, ::testing::ValuesIn(kTypeCases), CaseName());

TEST_P(RecordStoreOfType, FreshStoreHoldsNothing) {
  const SQMRecordStore store(fakes.host);
  EXPECT_EQ(document(store), emptyDocumentOf(GetParam()));
}

TEST_P(RecordStoreOfType, SavingByTypeStoresAndReturnsFalse) {
  SQMRecordStore store(fakes.host);
  EXPECT_FALSE(store.saveSQMRecordType(number(), "<r/>"));
  EXPECT_EQ(document(store), documentOf("<r/>"));
  for (const TypeCase& other : kTypeCases) {
    if (other.type == GetParam().type) continue;
    EXPECT_EQ((store.*other.document)(), emptyDocumentOf(other)) << other.name;
  }
}

TEST_P(RecordStoreOfType, SavingByNameStoresAndReturnsFalse) {
  SQMRecordStore store(fakes.host);
  EXPECT_FALSE((store.*GetParam().save)("<r/>"));
  EXPECT_EQ(document(store), documentOf("<r/>"));
}

TEST_P(RecordStoreOfType, AbsentTextIsIgnoredAndReturnsFalse) {
  SQMRecordStore store(fakes.host);
  EXPECT_FALSE((store.*GetParam().save)(std::nullopt));
  EXPECT_FALSE(store.saveSQMRecordType(number(), std::nullopt));
  EXPECT_EQ(document(store), emptyDocumentOf(GetParam()));
}

TEST_P(RecordStoreOfType, EmptyTextIsARecord) {
  SQMRecordStore store(fakes.host);
  (store.*GetParam().save)("");
  EXPECT_EQ(document(store), documentOf(""));
  store.SaveSQMStoreToDisk();
  EXPECT_THAT(savedRecords(fakes, GetParam().type), ElementsAre(""));
}

TEST_P(RecordStoreOfType, DocumentJoinsTheRecordsInTheirOrderWithNothingBetween) {
  SQMRecordStore store(fakes.host);
  (store.*GetParam().save)("<b/>");
  (store.*GetParam().save)("<a/>");
  (store.*GetParam().save)("<b/>");
  EXPECT_EQ(document(store), documentOf("<b/><a/><b/>"));
}

TEST_P(RecordStoreOfType, TextsAreDataAndNeitherFormatsNorEscaped) {
  SQMRecordStore store(fakes.host);
  (store.*GetParam().save)("100 % of %@ and %s & \"quoted\" <unclosed>\n");
  (store.*GetParam().save)("../../%@.plist");
  EXPECT_EQ(document(store), documentOf("100 % of %@ and %s & \"quoted\" <unclosed>\n../../%@.plist"));
}

TEST_P(RecordStoreOfType, DocumentsMayBeFetchedAgain) {
  SQMRecordStore store(fakes.host);
  (store.*GetParam().save)("<r/>");
  EXPECT_EQ(document(store), document(store));
  EXPECT_EQ(store.document(GetParam().type), document(store));
}

TEST_P(RecordStoreOfType, DeletingEmptiesTheListAndReturnsTrue) {
  SQMRecordStore store(fakes.host);
  for (const TypeCase& type : kTypeCases) (store.*type.save)("<r/>");
  EXPECT_TRUE((store.*GetParam().deleteAll)());
  EXPECT_EQ(document(store), emptyDocumentOf(GetParam()));
  EXPECT_TRUE((store.*GetParam().deleteAll)()) << "also when the list is empty";
  for (const TypeCase& other : kTypeCases) {
    if (other.type == GetParam().type) continue;
    EXPECT_TRUE((store.*other.document)().has_value()) << other.name;
  }
}

TEST_P(RecordStoreOfType, DeletingLeavesTheFileUntilTheNextSave) {
  SQMRecordStore store(fakes.host);
  (store.*GetParam().save)("<r/>");
  store.SaveSQMStoreToDisk();
  (store.*GetParam().deleteAll)();
  EXPECT_THAT(savedRecords(fakes, GetParam().type), ElementsAre("<r/>"));
  store.SaveSQMStoreToDisk();
  ASSERT_TRUE(fakes.propertyLists.file(path()).has_value());
  EXPECT_THAT(*fakes.propertyLists.file(path()), IsEmpty());
}

TEST_P(RecordStoreOfType, SavingWritesTheFileOfTheType) {
  SQMRecordStore store(fakes.host);
  (store.*GetParam().save)("<one/>");
  (store.*GetParam().save)("<two/>");
  store.SaveSQMStoreToDisk();
  EXPECT_THAT(*fakes.propertyLists.file(path()), ElementsAre("<one/>", "<two/>"));
}

TEST_P(RecordStoreOfType, NewStoreHoldsWhatAnEarlierOneSaved) {
  SQMRecordStore first(fakes.host);
  (first.*GetParam().save)("<one/>");
  (first.*GetParam().save)("<two/>");
  first.SaveSQMStoreToDisk();
  (first.*GetParam().save)("<unsaved/>");
  const SQMRecordStore second(fakes.host);
  EXPECT_EQ(document(second), documentOf("<one/><two/>"));
}

TEST_P(RecordStoreOfType, LoadingAgainAppendsTheFileOnceMore) {
  fakes.propertyLists.put(path(), TextArray{"<one/>", "<two/>"});
  SQMRecordStore store(fakes.host);
  (store.*GetParam().save)("<new/>");
  store.LoadFromDisk();
  EXPECT_EQ(document(store), documentOf("<one/><two/><new/><one/><two/>"));
}

TEST_P(RecordStoreOfType, ElementsThatAreNoStringsAreSkippedAndTheOthersStay) {
  fakes.propertyLists.put(path(), TextArray{std::nullopt, "<one/>", std::nullopt, "", "<two/>"});
  const SQMRecordStore store(fakes.host);
  EXPECT_EQ(document(store), documentOf("<one/><two/>"));
}

TEST_P(RecordStoreOfType, FileThatIsNoArrayIsIgnored) {
  for (const TypeCase& type : kTypeCases) {
    fakes.propertyLists.put(storeFile(type.type), TextArray{"<kept/>"});
  }
  fakes.propertyLists.put(path(), std::nullopt);
  const SQMRecordStore store(fakes.host);
  EXPECT_EQ(document(store), emptyDocumentOf(GetParam()));
  for (const TypeCase& other : kTypeCases) {
    if (other.type == GetParam().type) continue;
    EXPECT_EQ((store.*other.document)(), listDocument(other.element, "<kept/>")) << other.name;
  }
}

TEST_P(RecordStoreOfType, FileThatCannotBeReadAgainLeavesTheListAsItIs) {
  SQMRecordStore store(fakes.host);
  (store.*GetParam().save)("<r/>");
  store.LoadFromDisk();
  EXPECT_EQ(document(store), documentOf("<r/>"));
}

TEST_P(RecordStoreOfType, DestructionSaves) {
  {
    SQMRecordStore store(fakes.host);
    (store.*GetParam().save)("<r/>");
  }
  EXPECT_THAT(savedRecords(fakes, GetParam().type), ElementsAre("<r/>"));
}

TEST_P(RecordStoreOfType, FailedWriteKeepsTheRecordsInMemory) {
  fakes.propertyLists.refuseWriting(path());
  SQMRecordStore store(fakes.host);
  (store.*GetParam().save)("<r/>");
  store.SaveSQMStoreToDisk();
  EXPECT_EQ(document(store), documentOf("<r/>"));
}

TEST(RecordStore, ExactDocuments) {
  FakeHost fakes;
  SQMRecordStore store(fakes.host);
  for (const TypeCase& type : kTypeCases) (store.*type.save)("<r/>");
  EXPECT_EQ(store.getClientRecordXMLAsString(),
            "<?xml version=\"1.0\" encoding=\"utf-8\"?><clientList><r/></clientList>");
  EXPECT_EQ(store.getConnectionRecordXMLAsString(),
            "<?xml version=\"1.0\" encoding=\"utf-8\"?><connectionList><r/></connectionList>");
  EXPECT_EQ(store.getDeviceRecordXMLAsString(),
            "<?xml version=\"1.0\" encoding=\"utf-8\"?><deviceList><r/></deviceList>");
  EXPECT_EQ(store.getApplicationRecordXMLAsString(),
            "<?xml version=\"1.0\" encoding=\"utf-8\"?><sqmList><r/></sqmList>");
  EXPECT_EQ(store.getUserAcceptanceRecordXMLAsString(),
            "<?xml version=\"1.0\" encoding=\"utf-8\"?><userAcceptanceList><r/></userAcceptanceList>");
}

TEST(RecordStore, OtherTypesStoreNothingAndReturnFalse) {
  FakeHost fakes;
  SQMRecordStore store(fakes.host);
  for (const std::int64_t type : {std::int64_t{-1}, std::int64_t{5}, std::int64_t{1} << 32,
                                  std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
    EXPECT_FALSE(store.saveSQMRecordType(type, "<r/>")) << type;
  }
  for (const TypeCase& type : kTypeCases) EXPECT_EQ((store.*type.document)(), emptyDocumentOf(type)) << type.name;
}

TEST(RecordStore, OnlyTheUserAcceptanceDocumentIsAlsoWrittenToTheConsole) {
  FakeHost fakes;
  SQMRecordStore store(fakes.host);
  for (const TypeCase& type : kTypeCases) (store.*type.save)("<r>100 %@</r>");
  for (const TypeCase& type : kTypeCases) (store.*type.document)();
  EXPECT_THAT(fakes.console.lines,
              ElementsAre("User appectance string:" + listDocument("userAcceptanceList", "<r>100 %@</r>")));
}

TEST(RecordStore, NoUserAcceptanceDocumentNoConsoleLine) {
  FakeHost fakes;
  const SQMRecordStore store(fakes.host);
  store.getUserAcceptanceRecordXMLAsString();
  EXPECT_THAT(fakes.console.lines, IsEmpty());
}

TEST(RecordStore, FilesAreReadAndWrittenInTheirOrder) {
  const auto inOrder =
      ElementsAre(storeFile(RecordType::connection), storeFile(RecordType::client), storeFile(RecordType::device),
                  storeFile(RecordType::application), storeFile(RecordType::userAcceptance));
  FakeHost fakes;
  SQMRecordStore store(fakes.host);
  EXPECT_THAT(fakes.propertyLists.reads(), inOrder);
  EXPECT_THAT(fakes.propertyLists.writes(), IsEmpty());
  store.SaveSQMStoreToDisk();
  EXPECT_THAT(pathsOf(fakes.propertyLists.writes()), inOrder);
}

TEST(RecordStore, FilesAreOverwrittenInPlace) {
  FakeHost fakes;
  SQMRecordStore store(fakes.host);
  store.SaveSQMStoreToDisk();
  ASSERT_EQ(fakes.propertyLists.writes().size(), 5U);
  for (const auto& write : fakes.propertyLists.writes()) EXPECT_FALSE(write.atomically) << write.path;
}

TEST(RecordStore, EmptyListsAreWrittenAsEmptyArrays) {
  FakeHost fakes;
  SQMRecordStore store(fakes.host);
  EXPECT_TRUE(store.SaveSQMStoreToDisk());
  for (const TypeCase& type : kTypeCases) {
    ASSERT_TRUE(fakes.propertyLists.file(storeFile(type.type)).has_value()) << type.name;
    EXPECT_THAT(*fakes.propertyLists.file(storeFile(type.type)), IsEmpty()) << type.name;
  }
}

TEST(RecordStore, SavingReturnsTheResultOfTheLastWriteAlone) {
  for (const TypeCase& refused : kTypeCases) {
    FakeHost fakes;
    fakes.propertyLists.refuseWriting(storeFile(refused.type));
    SQMRecordStore store(fakes.host);
    EXPECT_EQ(store.SaveSQMStoreToDisk(), refused.type != RecordType::userAcceptance) << refused.name;
    EXPECT_EQ(fakes.propertyLists.writes().size(), 5U) << "every write is attempted";
  }
}

TEST(RecordStore, WithoutTheFolderSavingFailsAndCreatesNothing) {
  FakeHost fakes;
  for (const TypeCase& type : kTypeCases) fakes.propertyLists.refuseWriting(storeFile(type.type));
  SQMRecordStore store(fakes.host);
  for (const TypeCase& type : kTypeCases) (store.*type.save)("<r/>");
  EXPECT_FALSE(store.SaveSQMStoreToDisk());
  for (const TypeCase& type : kTypeCases) {
    EXPECT_FALSE(fakes.propertyLists.file(storeFile(type.type)).has_value()) << type.name;
    EXPECT_EQ((store.*type.document)(), listDocument(type.element, "<r/>")) << type.name;
  }
}

TEST(RecordStore, FolderFollowsTheHomeDirectory) {
  FakeHost fakes;
  SQMRecordStore store(fakes.host);
  EXPECT_EQ(store.getSQMDirectoryPath(), "/home/tester/Library/Application Support/Trelk/Trelk Quenfa/SQM");
  fakes.configuration.home = "/Users/100 %@";
  EXPECT_EQ(store.getSQMDirectoryPath(), "/Users/100 %@/Library/Application Support/Trelk/Trelk Quenfa/SQM");
  store.saveSQMClientRecordToStore("<r/>");
  store.SaveSQMStoreToDisk();
  EXPECT_TRUE(fakes.propertyLists.file(store.getSQMDirectoryPath() + "/SQMClient.plist").has_value());
}

}  // namespace
