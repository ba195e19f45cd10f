#include <array>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "tests/faces/c/Face.h"
#include "tests/support/Patience.h"

namespace face {
namespace {

std::array<std::uint64_t, SQM_COUNTS> countsOf(const sqm_host* host, int list) {
  std::array<std::uint64_t, SQM_COUNTS> counts{};
  EXPECT_EQ(sqm_host_statistics(host, list, counts.data(), counts.size()), SQM_OK) << sqm_last_error();
  return counts;
}

/// A target of the test.
struct Counted {
  static void start(void* context) { ++static_cast<Counted*>(context)->starts; }
  static bool isIdle(void*) { return true; }
  static void save(void* context) { ++static_cast<Counted*>(context)->saves; }
  static size_t waiting(void*) { return 3; }

  sqm_target_table table() { return {sizeof(sqm_target_table), this, start, isIdle, save, waiting}; }

  int starts = 0;
  int saves = 0;
};

TEST_F(CFace, AScheduleUploadsItsTargets) {
  sqm_options_set_number(options.get(), SQM_OPTION_SCHEDULE_FIRST_UPLOAD_S, 0);
  makeHost();
  Manager manager = makeManager();
  recordConnection(manager.get(), "Net");
  Counted counted;
  const sqm_target_table table = counted.table();
  for (sqm_target* made : {sqm_target_of_manager(manager.get()), sqm_target_create(&table)}) {
    const Target target(made);
    EXPECT_EQ(sqm_schedule_add_target(host.get(), target.get()), SQM_OK) << sqm_last_error();
  }
  EXPECT_FALSE(sqm_schedule_is_uploading(host.get()));
  EXPECT_EQ(sqm_schedule_start(host.get()), SQM_OK);
  runPending();
  ASSERT_EQ(http.posts.size(), 1U);
  EXPECT_TRUE(sqm_schedule_is_uploading(host.get()));
  http.complete(200);
  const auto isOver = [](void* of) { return !sqm_schedule_is_uploading(static_cast<sqm_host*>(of)); };
  bool isDone = false;
  sqm_host_run_until(host.get(), isOver, host.get(), 250'000, &isDone);
  EXPECT_TRUE(isDone);
  EXPECT_EQ(counted.starts, 1);
  EXPECT_EQ(sqm_schedule_uploads(host.get()), 1U);
  EXPECT_EQ(sqm_schedule_network_changed(host.get()), SQM_OK);
  EXPECT_EQ(sqm_schedule_upload_now(host.get()), SQM_OK);

  manager.reset();  // its target is left out from now on
  EXPECT_EQ(sqm_schedule_upload_last(host.get()), SQM_OK);
  sqm_host_run_until(host.get(), isOver, host.get(), 250'000, nullptr);
  EXPECT_EQ(counted.starts, 2);
  EXPECT_EQ(http.posts.size(), 1U);
  EXPECT_EQ(sqm_schedule_stop(host.get()), SQM_OK);
}

TEST_F(CFace, TheEndSendsAndSavesWhatWaits) {
  makeHost();
  const Manager manager = makeManager();
  recordConnection(manager.get(), "Net");
  Counted counted;
  const sqm_target_table table = counted.table();
  const Target records(sqm_target_of_manager(manager.get()));
  const Target other(sqm_target_create(&table));
  sqm_target* const targets[] = {records.get(), other.get()};
  bool isCutOff = false;
  std::size_t waiting[3] = {7, 7, 7};
  EXPECT_EQ(sqm_host_shut_down(host.get(), 250, targets, 2, &isCutOff, waiting, 3), SQM_OK);
  EXPECT_TRUE(isCutOff) << "nobody ends the request";
  EXPECT_EQ(waiting[0], 1U);
  EXPECT_EQ(waiting[1], 3U);
  EXPECT_EQ(waiting[2], 0U);
  EXPECT_EQ(counted.saves, 1);
  EXPECT_NE(contentOf(folder() + "/SQMConnection.plist").find("Net"), std::string::npos);
  EXPECT_EQ(sqm_host_shut_down(host.get(), 0, nullptr, 1, nullptr, nullptr, 0), SQM_INVALID_ARGUMENT);
  ASSERT_EQ(http.posts.size(), 1U);
  http.complete(200);
}

TEST_F(CFace, TargetsWithoutTheirPartsAreInvalid) {
  sqm_target_table table{};
  EXPECT_EQ(sqm_target_create(&table), nullptr);
  table.size = sizeof table;
  EXPECT_EQ(sqm_target_create(&table), nullptr);
  EXPECT_STREQ(sqm_last_error(), "the target has no `start`");
  EXPECT_EQ(sqm_target_of_manager(nullptr), nullptr);
  table.start = [](void*) {};
  EXPECT_NE(Target(sqm_target_create(&table)), nullptr) << "the other callbacks may be NULL";
}

TEST_F(CFace, OneHostAtATimeHasTheLock) {
  sqm_options_set_number(options.get(), SQM_OPTION_LOCK_WITHIN_MS, 0);
  EXPECT_EQ(sqm_host_folder_lock(makeHost()), SQM_LOCK_OWNED);
  const Host second(sqm_host_create(options.get()));
  EXPECT_EQ(sqm_host_folder_lock(second.get()), SQM_LOCK_ELSEWHERE);
  EXPECT_EQ(sqm_host_folder_lock(nullptr), -1);
}

TEST_F(CFace, WithoutAScheduleOrAConsentTheirCallsAreUnavailable) {
  makeHost();
  const Manager manager = makeManager();
  const Target target(sqm_target_of_manager(manager.get()));
  EXPECT_EQ(sqm_schedule_add_target(host.get(), target.get()), SQM_UNAVAILABLE);
  EXPECT_EQ(sqm_host_folder_lock(host.get()), -1);
  EXPECT_EQ(sqm_schedule_start(host.get()), SQM_UNAVAILABLE);
  EXPECT_STREQ(sqm_last_error(), "the host was made without a schedule");
  EXPECT_FALSE(sqm_schedule_is_uploading(host.get()));
  EXPECT_EQ(sqm_schedule_uploads(host.get()), 0U);
  EXPECT_EQ(sqm_consent_set(host.get(), SQM_CONSENT_GRANTED), SQM_UNAVAILABLE);
  EXPECT_EQ(sqm_consent_get(host.get()), -1);
  EXPECT_STREQ(sqm_last_error(), "the host was made without a consent");
  EXPECT_EQ(countsOf(host.get(), SQM_RECORD_CONNECTION)[SQM_COUNT_ACCEPTED], 0U);
}

TEST_F(CFace, CountsSayWhatBecameOfTheRecords) {
  sqm_options_set_limit(options.get(), SQM_LIST_EACH, 2, -1, -1);
  makeHost();
  const Manager manager = makeManager();
  for (const char* network : {"1", "2", "3"}) recordConnection(manager.get(), network);
  auto counts = countsOf(host.get(), SQM_RECORD_CONNECTION);
  EXPECT_EQ(counts[SQM_COUNT_ACCEPTED], 3U);
  EXPECT_EQ(counts[SQM_COUNT_WAITING], 2U);
  EXPECT_EQ(counts[SQM_COUNT_DROPPED + SQM_DROP_RECORDS], 1U);
  sqm_manager_upload(manager.get());
  http.complete(200);
  runPending();
  counts = countsOf(host.get(), SQM_RECORD_CONNECTION);
  EXPECT_EQ(counts[SQM_COUNT_DELIVERED], 2U);
  EXPECT_EQ(counts[SQM_COUNT_WAITING], 0U);
  EXPECT_EQ(countsOf(host.get(), SQM_LIST_QUEUE)[SQM_COUNT_ACCEPTED], 0U);

  std::uint64_t one = 0;
  EXPECT_EQ(sqm_host_statistics(host.get(), SQM_RECORD_CONNECTION, &one, 1), SQM_OK);
  EXPECT_EQ(one, 3U);
  EXPECT_EQ(sqm_host_statistics(host.get(), SQM_LIST_EACH, &one, 1), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_host_statistics(host.get(), 0, &one, SQM_COUNTS + 1), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_host_statistics(host.get(), 0, nullptr, 1), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(take(sqm_drop_reason_name(SQM_DROP_LOST)), "lost");
  EXPECT_EQ(sqm_drop_reason_name(SQM_DROP_LOST + 1), nullptr);
}

TEST_F(CFace, ARevokedConsentRemovesWhatIsStored) {
  sqm_options_set_number(options.get(), SQM_OPTION_CONSENT, SQM_CONSENT_GRANTED);
  makeHost();
  const std::string sessions = home / "sessions";
  std::filesystem::create_directories(sessions);
  putContent(sessions + "/0Q20261121100007.sqm", "\"a\"");
  EXPECT_EQ(sqm_consent_add_session_folder(host.get(), sessions.c_str()), SQM_OK);
  EXPECT_EQ(sqm_consent_add_session_folder(host.get(), nullptr), SQM_INVALID_ARGUMENT);
  const Manager manager = makeManager();
  recordConnection(manager.get(), "Net");
  sqm_manager_save(manager.get());
  EXPECT_EQ(sqm_consent_set(host.get(), 3), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_consent_set(host.get(), SQM_CONSENT_REVOKED), SQM_OK) << sqm_last_error();
  EXPECT_EQ(sqm_consent_get(host.get()), SQM_CONSENT_REVOKED);
  EXPECT_TRUE(std::filesystem::is_empty(sessions));
  EXPECT_EQ(contentOf(folder() + "/SQMConnection.plist").find("Net"), std::string::npos);
}

}  // namespace
}  // namespace face
