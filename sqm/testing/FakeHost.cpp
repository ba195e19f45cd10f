#include "sqm/testing/FakeHost.h"

#include "sqm/common/FieldNameTable.h"

namespace sqm::testing {

FakeHost::FakeHost()
    : host{.httpTransactions = &http,
           .logFiles = &logs,
           .mainBundle = &bundle,
           .mainThread = &mainThread,
           .notificationCenter = &notificationCenter,
           .propertyLists = &propertyLists,
           .locale = &locale,
           .filterManager = &filter,
           .console = &console,
           .configuration = &configuration,
           .userPrefs = &prefs,
           .utilities = &utilities,
           .clock = &clock,
           .dates = &dates,
           .files = &files,
           .serializer = &archives,
           .jsonWriter = &json,
           .compressor = &compressor} {
  bundle.paths["SQMFieldNames.plist"] = kFieldNamesPath;
  setFieldNames(defaultFieldNames());
}

std::vector<std::optional<std::string>> FakeHost::defaultFieldNames() {
  std::vector<std::optional<std::string>> names;
  for (std::size_t field = 0; field < FieldNameTable::kFields; ++field) names.push_back("F" + std::to_string(field));
  return names;
}

}  // namespace sqm::testing
