#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/manager/SQMManager.h"
#include "sqm/testing/FakeHost.h"

#include "tests/support/StoreFiles.h"

/// Session parameters with these values.
inline sqm::SQMSessionParams paramsWith(std::initializer_list<std::pair<std::int64_t, std::string_view>> values) {
  sqm::SQMSessionParams params;
  for (const auto& [key, value] : values) params.setStringValue(value, key);
  return params;
}

/// Session parameters in which every key holds a text of its own: `prefix`, the key and an ampersand.
inline sqm::SQMSessionParams everyParam(std::string_view prefix = "v") {
  sqm::SQMSessionParams params;
  for (std::int64_t key = 1; key <= 90; ++key) {
    params.setStringValue(std::string(prefix) + std::to_string(key) + "&", key);
  }
  return params;
}

using Values = std::map<std::string, std::string, std::less<>>;

inline Values valuesOf(const sqm::ValueDictionary& dictionary) {
  Values values;
  dictionary.forEach([&](std::string_view key, std::string_view value) { values.emplace(key, value); });
  return values;
}

/// A manager on a host in memory.
class ManagerTest : public ::testing::Test {
 protected:
  /// Replaces the manager by a new one on the host as it is now.
  void restart() {
    manager.reset();
    manager = std::make_unique<sqm::SQMManager>(fakes.host);
  }

  /// The manager's records of a type. Saves them.
  std::vector<std::string> stored(sqm::RecordType type) {
    manager->saveToDisk();
    return savedRecords(fakes, type);
  }

  /// The number of all stored records.
  std::size_t storedInAll() {
    std::size_t count = 0;
    for (const sqm::RecordType type : sqm::kRecordTypes) count += stored(type).size();
    return count;
  }

  std::vector<std::string> log() const { return fakes.logs.lines("SQMManager.log"); }

  /// The record's values that the filter was last called with.
  Values queriedValues() const { return valuesOf(fakes.filter.queries.back().values); }

  sqm::testing::FakeHost fakes;
  std::unique_ptr<sqm::SQMManager> manager = std::make_unique<sqm::SQMManager>(fakes.host);
};
