#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "sqm/common/FieldNameTable.h"
#include "sqm/common/LogFile.h"
#include "sqm/common/MainBundle.h"
#include "sqm/common/PropertyList.h"
#include "sqm/common/QFLocale.h"
#include "sqm/common/SystemConsole.h"
#include "sqm/common/UserPrefs.h"
#include "sqm/common/UtilityFunctions.h"

// The services of a simulated client that differ from the standard ones: nothing is read from the machine, so that
// records are the same everywhere, and nothing is written to it.

namespace fleet {

class NoLogs : public sqm::LogFileFactory {
 public:
  std::unique_ptr<sqm::LogFile> initWithFile(std::string_view /*file*/, int /*logLevel*/) override {
    return std::make_unique<NoLog>();
  }

 private:
  class NoLog : public sqm::LogFile {
    void write(const sqm::LogLine& /*line*/) override {}
  };
};

class NoConsole : public sqm::SystemConsole {
 public:
  void writeLine(std::string_view /*text*/) override {}
};

class OneLocale : public sqm::QFLocale {
 public:
  std::string currentLocale() const override { return "en_GB"; }
  std::optional<std::string> displayName(std::string_view /*identifier*/,
                                         std::string_view /*inLocale*/) const override {
    return "English (United Kingdom)";
  }
};

class OneSystem : public sqm::UtilityFunctions {
 public:
  std::string getOSVersion() const override { return "12"; }
  std::string getOSProductName() const override { return "Debian GNU/Linux"; }
};

class NoPreferences : public sqm::UserPrefs {
 public:
  std::string_view clientTimeStamp() const override { return {}; }
};

/// Every resource is there; `ClientFiles` has the one that is read.
class OneBundle : public sqm::MainBundle {
 public:
  std::optional<std::string> pathForResource(std::string_view /*name*/, std::string_view /*ofType*/) override {
    return "SQMFieldNames.plist";
  }
};

/// The lists of one client, in memory, and the table of field names that all clients share.
class ClientFiles : public sqm::PropertyList {
 public:
  explicit ClientFiles(std::shared_ptr<const sqm::FieldNameTable> names) : names_(std::move(names)) {}

  std::optional<sqm::TextArray> arrayWithContentsOfFile(const std::string& path) override {
    const auto list = lists_.find(path);
    return list == lists_.end() ? std::nullopt : std::optional(list->second);
  }
  std::shared_ptr<const sqm::FieldNameTable> fieldNamesOfFile(const std::string& /*path*/) override { return names_; }
  bool writeToFile(const sqm::TextArray& array, const std::string& path, bool /*atomically*/) override {
    if (array.empty()) {
      lists_.erase(path);
    } else {
      lists_[path] = array;
    }
    return true;
  }

  /// The records of all lists.
  std::size_t records() const {
    std::size_t count = 0;
    for (const auto& [path, list] : lists_) count += list.size();
    return count;
  }

 private:
  std::shared_ptr<const sqm::FieldNameTable> names_;
  std::map<std::string, sqm::TextArray> lists_;  // those that are not empty, by path
};

}  // namespace fleet
