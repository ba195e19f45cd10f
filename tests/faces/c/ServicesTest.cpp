#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "faces/c/internal/Growing.h"
#include "tests/faces/c/Face.h"

namespace face {
namespace {

/// A filter that leaves out device records and changes connections.
struct Filter {
  static bool isDisabled(void* context, const char* name, const char*, const sqm_values* values) {
    auto& filter = *static_cast<Filter*>(context);
    filter.asked.emplace_back(name == nullptr ? "(absent)" : name);
    EXPECT_EQ(sqm_values_get(values, nullptr), nullptr);
    sqm_values* const writable = const_cast<sqm_values*>(values);  // as a careless program might
    EXPECT_EQ(sqm_values_set(writable, "ssid", "x"), SQM_INVALID_ARGUMENT);
    EXPECT_STREQ(sqm_last_error(), "these values can only be read");
    return filter.asked.back() == "mobiledevice" || filter.asked.back() == "device";
  }

  static void apply(void* context, const char*, const char*, sqm_values* values) {
    auto& filter = *static_cast<Filter*>(context);
    if (take(sqm_values_get(values, "ssid")) == "(absent)") return;
    filter.values.clear();
    EXPECT_EQ(sqm_values_for_each(
                  values,
                  [](void* all, const char* key, const char* value) {
                    static_cast<std::map<std::string, std::string>*>(all)->emplace(key, value);
                  },
                  &filter.values),
              SQM_OK);
    EXPECT_EQ(sqm_values_set(values, "ssid", "hidden"), SQM_OK);
    EXPECT_EQ(sqm_values_set(values, "bssid", nullptr), SQM_OK);
    EXPECT_EQ(sqm_values_set(values, nullptr, "x"), SQM_INVALID_ARGUMENT);
    EXPECT_EQ(sqm_values_for_each(values, nullptr, nullptr), SQM_INVALID_ARGUMENT);
  }

  std::vector<std::string> asked;
  std::map<std::string, std::string> values;
};

TEST_F(CFace, AFilterOfCallbacksDecidesAndReplaces) {
  Filter filter;
  const sqm_filter_service service = {sizeof service, &filter, Filter::isDisabled, Filter::apply};
  EXPECT_EQ(sqm_options_set_filter(options.get(), &service), SQM_OK);
  makeHost();
  const Manager manager = makeManager();
  recordConnection(manager.get(), "Private");
  sqm_manager_create_device_record(manager.get(), event("Net").get(), nullptr);
  sqm_manager_save(manager.get());
  const std::string connections = contentOf(folder() + "/SQMConnection.plist");
  EXPECT_NE(connections.find("hidden"), std::string::npos);
  EXPECT_EQ(connections.find("Private"), std::string::npos);
  EXPECT_EQ(contentOf(folder() + "/SQMDevice.plist").find("<string>"), std::string::npos);
  EXPECT_EQ(filter.asked.size(), 2U);
  EXPECT_EQ(filter.values["ssid"], "Private");
}

TEST_F(CFace, AFilterWithoutCallbacksRecordsEverythingUnchanged) {
  const sqm_filter_service service = {sizeof service, nullptr, nullptr, nullptr};
  EXPECT_EQ(sqm_options_set_filter(options.get(), &service), SQM_OK);
  makeHost();
  const Manager manager = makeManager();
  recordConnection(manager.get(), "Private");
  sqm_manager_save(manager.get());
  EXPECT_NE(contentOf(folder() + "/SQMConnection.plist").find("Private"), std::string::npos);
}

TEST_F(CFace, ALogOfCallbacksGetsEachLine) {
  std::vector<std::string> lines;
  const sqm_log_service service = {
      sizeof service, &lines,
      [](void* context, const char* file, const char* category, int32_t level, const char* text) {
        static_cast<std::vector<std::string>*>(context)->push_back(std::string(file) + " " + category + " " +
                                                                   std::to_string(level) + " " + text);
      }};
  EXPECT_EQ(sqm_options_set_log(options.get(), &service), SQM_OK);
  makeHost();
  const Manager manager = makeManager();
  recordConnection(manager.get(), "Logged");
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back().rfind("SQMManager.log ", 0), 0U) << lines.back();
  EXPECT_NE(lines.back().find("Logged"), std::string::npos) << lines.back();
}

TEST_F(CFace, AClockOfCallbacksIsTheTimeOfTheRecords) {
  std::int64_t now = 1'795'255'207'999'999;  // 2026-11-21 10:00:07.999999 GMT
  const sqm_clock_service service = {sizeof service, &now,
                                     [](void* context) { return *static_cast<std::int64_t*>(context); }};
  EXPECT_EQ(sqm_options_set_clock(options.get(), &service), SQM_OK);
  makeHost();
  const Collector collector(sqm_collector_create(host.get()));
  sqm_collector_set_connect_start_time(collector.get());
  sqm_collector_set_login_start_time(collector.get());
  now += 2'000'001;
  sqm_collector_set_login_end_time(collector.get());
  EXPECT_NE(take(sqm_collector_value(collector.get(), 12)).find("2026-11-21"), std::string::npos);
  EXPECT_EQ(take(sqm_collector_value(collector.get(), 32)), "2");
}

TEST(CServices, TablesWithoutTheirCallbacksAreInvalid) {
  const Options options(sqm_options_create());
  const sqm_log_service log = {sizeof log, nullptr, nullptr};
  const sqm_clock_service clock = {sizeof clock, nullptr, nullptr};
  EXPECT_EQ(sqm_options_set_log(options.get(), &log), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_options_set_clock(options.get(), &clock), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_options_set_filter(options.get(), nullptr), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_values_get(nullptr, "x"), nullptr);
  EXPECT_STREQ(sqm_last_error(), "the values are NULL");
}

/// A table that a later version has made larger, and the same as programs know it that were compiled before.
struct LaterTable {
  std::size_t size;
  void* first;
  void* further;
};
struct FirstTable {
  std::size_t size;
  void* first;
};

}  // namespace
}  // namespace face

template <>
inline constexpr std::size_t sqm::c::kFirstSize<face::LaterTable> = sizeof(face::FirstTable);

namespace face {
namespace {

TEST(CServices, TablesOfEarlierProgramsAreKnown) {
  int value = 0;
  const FirstTable first[] = {{sizeof(FirstTable), &value}, {1, &value}};  // what follows is not read
  const auto table = sqm::c::known(reinterpret_cast<const LaterTable*>(first));
  EXPECT_EQ(table.first, &value);
  EXPECT_EQ(table.further, nullptr);
  EXPECT_THROW(sqm::c::known(reinterpret_cast<const LaterTable*>(first + 1)), sqm::c::Failure) << "it is too small";

  const LaterTable later[] = {{sizeof(LaterTable) + 8, &value, &value}, {}};
  EXPECT_EQ(sqm::c::known(later).further, &value) << "a program of a version later still";
}

/// A service that destroys a manager, once there is one.
template <typename... Arguments>
void destroyManager(void* context, Arguments... /*arguments*/) {
  sqm_manager_destroy(*static_cast<sqm_manager**>(context));
}

TEST_F(CFace, AHandleThatIsDestroyedInsideAServiceIsFound) {
  sqm_manager* inUse = nullptr;
  const sqm_http_service sending = {sizeof sending, &inUse, destroyManager, nullptr};
  const sqm_filter_service filter = {sizeof filter, &inUse, nullptr, destroyManager};
  const sqm_log_service log = {sizeof log, &inUse, destroyManager};
  sqm_options_set_http(options.get(), &sending);
  sqm_options_set_log(options.get(), &log);
  host.reset(sqm_host_create(options.get()));
  const Manager manager = makeManager();
  inUse = manager.get();
  EXPECT_DEATH(recordConnection(inUse, "Net"), "sqm: manager: destroyed inside a callback of a service");
  EXPECT_DEATH(sqm_manager_upload(inUse), "sqm: manager: destroyed inside a callback of a service");
  inUse = nullptr;

  sqm_options_set_filter(options.get(), &filter);
  host.reset(sqm_host_create(options.get()));
  const Manager filtered = makeManager();
  inUse = filtered.get();
  EXPECT_DEATH(recordConnection(inUse, "Net"), "sqm: manager: destroyed inside a callback of a service");
  inUse = nullptr;
}

TEST_F(CFace, AnObserverMayBeDestroyedInsideAService) {
  sqm_observer* observer = nullptr;
  const sqm_log_service log = {sizeof log, &observer,
                               [](void* context, const char*, const char*, int32_t, const char*) {
                                 sqm_observer_destroy(std::exchange(*static_cast<sqm_observer**>(context), nullptr));
                               }};
  sqm_options_set_log(options.get(), &log);
  makeHost();
  const Manager manager = makeManager();
  observer = sqm_host_observe(
      host.get(), SQM_UPLOAD_SUCCESS, [](void*, const char*) { FAIL(); }, nullptr);
  sqm_manager_upload(manager.get());
  EXPECT_EQ(observer, nullptr);
  http.complete(200);
  runPending();
}

}  // namespace
}  // namespace face
