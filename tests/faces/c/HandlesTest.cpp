#include <array>
#include <cstdint>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "tests/faces/c/Face.h"

namespace face {
namespace {

TEST(CErrors, StatusesHaveNames) {
  EXPECT_STREQ(sqm_status_name(SQM_OK), "ok");
  EXPECT_STREQ(sqm_status_name(SQM_UNAVAILABLE), "unavailable");
  EXPECT_STREQ(sqm_status_name(-1), "failed");
  EXPECT_STREQ(sqm_status_name(99), "failed");
  EXPECT_NE(std::string(sqm_version()), "");
  sqm_string_free(nullptr);
}

TEST(CErrors, TheLastErrorIsThatOfTheThread) {
  EXPECT_EQ(sqm_params_clear(nullptr), SQM_INVALID_ARGUMENT);
  EXPECT_STREQ(sqm_last_error(), "the params is NULL");
  std::thread other([] { EXPECT_STREQ(sqm_last_error(), ""); });
  other.join();
  EXPECT_STREQ(sqm_last_error(), "the params is NULL");
  const Params params(sqm_params_create());
  EXPECT_STREQ(sqm_last_error(), "");
}

TEST(CHandles, DestroyingNullDoesNothing) {
  sqm_options_destroy(nullptr);
  sqm_host_destroy(nullptr);
  sqm_observer_destroy(nullptr);
  sqm_params_destroy(nullptr);
  sqm_manager_destroy(nullptr);
  sqm_target_destroy(nullptr);
  sqm_record_destroy(nullptr);
  sqm_collector_destroy(nullptr);
  sqm_uploader_destroy(nullptr);
  sqm_diagnostics_destroy(nullptr);
}

TEST(CHandles, NullIsAnInvalidArgument) {
  EXPECT_EQ(sqm_manager_create(nullptr), nullptr);
  EXPECT_STREQ(sqm_last_error(), "the host is NULL");
  EXPECT_EQ(sqm_manager_save(nullptr), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_manager_device_type(nullptr), 0);
  EXPECT_EQ(sqm_host_wake_fd(nullptr), -1);
  EXPECT_EQ(sqm_host_requests_under_way(nullptr), 0U);
  EXPECT_EQ(sqm_collector_record_type(nullptr), 0U);
  EXPECT_EQ(sqm_params_value(nullptr, 6), nullptr);
  EXPECT_EQ(sqm_record_validate(nullptr), SQM_FORMAT_REJECTED);
}

TEST(CHandlesDeathTest, AHandleAfterItsEndIsFound) {
  sqm_params* const params = sqm_params_create();
  sqm_params_destroy(params);
  EXPECT_DEATH(sqm_params_clear(params), "sqm: params: the handle was destroyed, or is none");
  EXPECT_DEATH(sqm_params_destroy(params), "sqm: params: the handle was destroyed, or is none");
}

TEST(CHandlesDeathTest, AHandleOfAnotherKindIsFound) {
  const Params params(sqm_params_create());
  auto* const wrong = reinterpret_cast<sqm_options*>(params.get());
  EXPECT_DEATH(sqm_options_set_number(wrong, SQM_OPTION_CONSENT, 0), "sqm: options: the handle is of another kind");
}

TEST(CHandlesDeathTest, AHandleThatIsNoneIsNotRead) {
  std::array<std::uintptr_t, 64> none{};
  none.fill(~std::uintptr_t{0});
  auto* const wrong = reinterpret_cast<sqm_diagnostics*>(none.data());
  EXPECT_DEATH(sqm_diagnostics_destroy(wrong), "sqm: diagnostics: the handle was destroyed, or is none");
}

TEST_F(CFace, AHandleOnAnotherThreadIsFound) {
  makeHost();
  const Manager manager = makeManager();
  EXPECT_DEATH(std::thread([&] { sqm_manager_save(manager.get()); }).join(), "sqm: manager: used on the wrong thread");
  const Params params(sqm_params_create());
  std::thread([&] { EXPECT_EQ(sqm_params_clear(params.get()), SQM_OK); }).join();
}

}  // namespace
}  // namespace face
