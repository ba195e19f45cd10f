#include <atomic>
#include <poll.h>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/faces/c/Face.h"
#include "tests/support/Patience.h"

namespace face {
namespace {

constexpr int kPatienceMs = 250'000;

bool isReadable(int descriptor, int timeout = 0) {
  pollfd wait = {descriptor, POLLIN, 0};
  return poll(&wait, 1, timeout) == 1;
}

void count(void* context) { ++*static_cast<std::atomic<int>*>(context); }

TEST_F(CFace, WakeDescriptorIsReadableWhileATaskWaits) {
  const int descriptor = sqm_host_wake_fd(makeHost());
  ASSERT_GE(descriptor, 0) << sqm_last_error();
  EXPECT_EQ(sqm_host_wake_fd(host.get()), descriptor);
  EXPECT_FALSE(isReadable(descriptor));

  std::atomic<int> ran = 0;
  EXPECT_EQ(sqm_host_post(host.get(), count, &ran), SQM_OK);
  EXPECT_TRUE(isReadable(descriptor));
  EXPECT_EQ(ran, 0) << "a task runs only in a call that runs tasks";
  std::size_t number = 0;
  EXPECT_EQ(sqm_host_run_pending(host.get(), &number), SQM_OK);
  EXPECT_EQ(number, 1U);
  EXPECT_EQ(ran, 1);
  EXPECT_FALSE(isReadable(descriptor));
}

TEST_F(CFace, WakeDescriptorWaitsForTimersAndOtherThreads) {
  const int descriptor = sqm_host_wake_fd(makeHost());
  std::atomic<int> ran = 0;
  EXPECT_EQ(sqm_host_post_after(host.get(), 3'600'000, count, &ran), SQM_OK);
  EXPECT_FALSE(isReadable(descriptor));
  EXPECT_EQ(sqm_host_post_after(host.get(), 1, count, &ran), SQM_OK);
  ASSERT_TRUE(isReadable(descriptor, kPatienceMs));
  runPending();
  EXPECT_EQ(ran, 1);
  EXPECT_FALSE(isReadable(descriptor));

  std::thread other([&] { EXPECT_EQ(sqm_host_post(host.get(), count, &ran), SQM_OK); });
  ASSERT_TRUE(isReadable(descriptor, kPatienceMs));
  other.join();
  runPending();
  EXPECT_EQ(ran, 2);
}

TEST_F(CFace, RunEndsWhenAnotherThreadStopsIt) {
  makeHost();
  std::thread other([&] { EXPECT_EQ(sqm_host_stop(host.get()), SQM_OK); });
  EXPECT_EQ(sqm_host_run(host.get()), SQM_OK);
  other.join();
}

TEST_F(CFace, RunUntilCallsItsConditionUntilItHolds) {
  makeHost();
  std::atomic<int> ran = 0;
  sqm_host_post(host.get(), count, &ran);
  sqm_host_post(host.get(), count, &ran);
  bool isDone = false;
  const auto ranOnce = [](void* context) { return *static_cast<std::atomic<int>*>(context) == 1; };
  EXPECT_EQ(sqm_host_run_until(host.get(), ranOnce, &ran, kPatienceMs, &isDone), SQM_OK);
  EXPECT_TRUE(isDone);
  EXPECT_EQ(ran, 1);
  EXPECT_EQ(sqm_host_run_until(
                host.get(), [](void*) { return false; }, nullptr, -1, &isDone),
            SQM_OK);
  EXPECT_FALSE(isDone);
  EXPECT_EQ(sqm_host_run_until_idle(host.get(), kPatienceMs, &isDone), SQM_OK);
  EXPECT_TRUE(isDone);
}

TEST_F(CFace, ACallbackMayDestroyTheHostWhoseLoopCallsIt) {
  makeHost();
  sqm_host* const handle = host.release();
  sqm_host_post(
      handle, [](void* context) { sqm_host_destroy(static_cast<sqm_host*>(context)); }, handle);
  EXPECT_EQ(sqm_host_run_until_idle(handle, kPatienceMs, nullptr), SQM_OK);
}

TEST_F(CFace, ObjectsMayBeDestroyedInAnyOrder) {
  makeHost();
  Manager manager = makeManager();
  recordConnection(manager.get(), "Net");
  Observer observer(sqm_host_observe(
      host.get(), SQM_UPLOAD_SUCCESS, [](void*, const char*) {}, nullptr));
  const Collector collector(sqm_collector_create(host.get()));
  const Uploader uploader(sqm_uploader_create(host.get()));
  const Record record(sqm_record_create(host.get(), SQM_KIND_CLIENT));
  const Diagnostics diagnostics(sqm_diagnostics_create(host.get()));
  host.reset();
  EXPECT_EQ(sqm_manager_save(manager.get()), SQM_OK);
  EXPECT_NE(contentOf(folder() + "/SQMConnection.plist").find("Net"), std::string::npos);
  manager.reset();
  observer.reset();
}

TEST_F(CFace, ObserverIsCalledUntilItIsDestroyedAlsoByItself) {
  makeHost();
  struct Seen {
    std::vector<std::string> names;
    Observer own;
  } seen;
  const Observer each(sqm_host_observe(
      host.get(), SQM_UPLOAD_SUCCESS,
      [](void* context, const char* name) { static_cast<Seen*>(context)->names.emplace_back(name); }, &seen));
  seen.own.reset(sqm_host_observe(
      host.get(), SQM_UPLOAD_SUCCESS,
      [](void* context, const char* name) {
        auto& all = *static_cast<Seen*>(context);
        all.own.reset();
        all.names.push_back(std::string("once ") + name);
      },
      &seen));
  const Manager manager = makeManager();
  recordConnection(manager.get(), "Net");
  for (int upload = 0; upload < 2; ++upload) {
    EXPECT_EQ(sqm_manager_upload(manager.get()), SQM_OK);
    http.complete(200);
    runPending();
  }
  EXPECT_EQ(seen.names,
            (std::vector<std::string>{SQM_UPLOAD_SUCCESS, "once TrelkSQMUploadSuccess", SQM_UPLOAD_SUCCESS}));
}

TEST_F(CFace, LoopCallsWithoutACallbackAreInvalid) {
  makeHost();
  EXPECT_EQ(sqm_host_post(host.get(), nullptr, nullptr), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_host_post_after(host.get(), 1, nullptr, nullptr), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_host_run_until(host.get(), nullptr, nullptr, 0, nullptr), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_host_observe(host.get(), SQM_UPLOAD_SUCCESS, nullptr, nullptr), nullptr);
  EXPECT_STREQ(sqm_last_error(), "the callback is NULL");
  EXPECT_EQ(sqm_host_observe(
                host.get(), nullptr, [](void*, const char*) {}, nullptr),
            nullptr);
  EXPECT_STREQ(sqm_last_error(), "the name is NULL");
}

}  // namespace
}  // namespace face
