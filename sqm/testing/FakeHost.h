#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sqm/common/Host.h"
#include "sqm/common/NotificationCenter.h"
#include "sqm/testing/FakeServices.h"
#include "sqm/testing/MemoryArchives.h"
#include "sqm/testing/MemoryFiles.h"
#include "sqm/testing/MemoryLog.h"
#include "sqm/testing/MemoryPropertyLists.h"
#include "sqm/testing/ScriptedHttp.h"

namespace sqm::testing {

/// A host whose services are all fakes, which a test sets up and inspects. Its field names are "F0" to "F90".
///
/// Ownership: must outlive the objects that use its `host`.
class FakeHost {
 public:
  static constexpr const char* kFieldNamesPath = "/bundle/SQMFieldNames.plist";

  FakeHost();
  FakeHost(const FakeHost&) = delete;
  FakeHost& operator=(const FakeHost&) = delete;

  /// Replaces the field-name table of the bundle.
  void setFieldNames(std::optional<TextArray> names) { propertyLists.put(kFieldNamesPath, std::move(names)); }

  /// Removes the field-name table from the bundle.
  void removeFieldNames() { bundle.paths.clear(); }

  static std::vector<std::optional<std::string>> defaultFieldNames();

  NotificationCenter notificationCenter;
  ScriptedHttp http{notificationCenter};
  ManualMainThread mainThread;
  MemoryLogs logs;
  MemoryPropertyLists propertyLists;
  MemoryBundle bundle;
  FixedPrefs prefs;
  FixedConfiguration configuration;
  FixedUtilities utilities;
  FixedLocale locale;
  ScriptedFilter filter;
  MemoryConsole console;
  ManualClock clock;
  FixedDates dates;
  MemoryFiles files;
  MemoryArchives archives{files};
  RecordingJson json;
  ScriptedCompressor compressor;

  Host host;
};

}  // namespace sqm::testing
