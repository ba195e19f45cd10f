#pragma once

#include <string>
#include <vector>

#include "sqm/common/Host.h"
#include "sqm/common/NotificationCenter.h"
#include "sqm/testing/FakeServices.h"
#include "sqm/testing/MemoryArchives.h"
#include "sqm/testing/MemoryCoder.h"
#include "sqm/testing/MemoryLog.h"
#include "sqm/testing/MemoryPropertyLists.h"
#include "sqm/testing/ScriptedHttp.h"

namespace sqm::testing {

/// A host in memory: every service is a fake that the test sets up and looks into. Its field names are "F0" to "F90".
///
/// Ownership: outlives the objects that were given its `host`.
class FakeHost {
 public:
  static constexpr const char* kFieldNamesPath = "/bundle/SQMFieldNames.plist";

  FakeHost();
  FakeHost(const FakeHost&) = delete;
  FakeHost& operator=(const FakeHost&) = delete;

  /// Puts another field-name table in the bundle.
  void setFieldNames(std::optional<PropertyList::Array> names) { propertyLists.put(kFieldNamesPath, std::move(names)); }

  /// Takes the field-name table out of the bundle.
  void removeFieldNames() { bundle.paths.clear(); }

  static PropertyList::Array defaultFieldNames();

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
  MemoryArchives archives;
  MemoryCoders coders;
  PlainJson json;
  ScriptedCompressor compressor;

  Host host;
};

}  // namespace sqm::testing
