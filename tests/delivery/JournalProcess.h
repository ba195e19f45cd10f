#pragma once

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sqm/delivery/Journal.h"
#include "sqm/platform/files/PropertyListFiles.h"
#include "sqm/platform/files/SystemAppendFile.h"
#include "sqm/store/SQMRecordStore.h"
#include "sqm/testing/FakeHost.h"

namespace sqm::delivery::test {

/// The records of each list, one after another.
using Contents = std::array<std::string, kRecordTypes.size()>;

/// A process whose store and journal work on a disk.
class Process {
 public:
  Process(platform::FileOperations& disk, bool synced, const std::string& folder = "")
      : lists_(platform::FileProblemObserver(),
               {.saves =
                    synced ? platform::PropertyListFiles::Saves::atomic : platform::PropertyListFiles::Saves::renamed},
               disk),
        journal_(std::make_unique<platform::SystemAppendFile>(folder.empty() ? "journal" : folder + "/journal",
                                                              platform::SystemAppendFile::Options{}, disk),
                 fakes_.clock, {.synced = synced}) {
    if (!folder.empty()) fakes_.configuration.home = folder;
    fakes_.host.propertyLists = &lists_;
    fakes_.host.recordJournal = &journal_;
    store_.emplace(fakes_.host);
  }

  SQMRecordStore& store() { return *store_; }
  const TrelkConfiguration& configuration() const { return fakes_.configuration; }

  /// Makes the change, and lets time pass, so that a journal that could not be written tries again.
  void make(const std::function<void(SQMRecordStore&)>& change) {
    change(*store_);
    fakes_.clock.advance(std::chrono::seconds(2));
  }

  Contents contents() const {
    Contents contents;
    for (const RecordType type : kRecordTypes) {
      contents[static_cast<std::size_t>(type)] = store_->hasRecords(type) ? *store_->document(type) : "";
    }
    return contents;
  }

 private:
  testing::FakeHost fakes_;
  platform::PropertyListFiles lists_;
  Journal journal_;
  std::optional<SQMRecordStore> store_;
};

using Step = std::function<void(SQMRecordStore&)>;

inline Step adding(RecordType type, const std::string& name) {
  return [=](SQMRecordStore& store) {
    // Some texts take more than a sector.
    store.saveSQMRecordType(static_cast<std::int64_t>(type),
                            "<" + name + ">" + std::string(name.size() * 300, 'x') + "</" + name + ">");
  };
}

inline Step delivering(RecordType type) {
  return [=](SQMRecordStore& store) {
    store.document(type);
    store.deleteRecords(type);
  };
}

inline void save(SQMRecordStore& store) { store.SaveSQMStoreToDisk(); }

/// Records of two types with saves and deliveries between them.
inline const std::vector<Step>& steps() {
  using enum RecordType;
  static const std::vector<Step> all = {
      adding(connection, "a"),
      adding(client, "kk"),
      adding(connection, "b"),
      save,
      adding(connection, "cc"),
      delivering(client),
      adding(client, "l"),
      delivering(connection),
      save,
      adding(connection, "d"),
      adding(client, "mmm"),
      save,
      save,
      delivering(connection),
      adding(connection, "e"),
      save,
      adding(connection, "ff"),
      adding(connection, "g"),
      delivering(client),
  };
  return all;
}

/// The contents before the first step and after each.
inline const std::vector<Contents>& expected() {
  static const std::vector<Contents> all = [] {
    testing::FakeHost fakes;
    SQMRecordStore store(fakes.host);
    std::vector<Contents> contents(1);
    for (const Step& step : steps()) {
      step(store);
      Contents& after = contents.emplace_back();
      for (const RecordType type : kRecordTypes) {
        after[static_cast<std::size_t>(type)] = store.hasRecords(type) ? *store.document(type) : "";
      }
    }
    return contents;
  }();
  return all;
}

}  // namespace sqm::delivery::test
