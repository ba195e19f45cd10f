#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "faces/c/internal/Options.h"
#include "tests/faces/c/Face.h"

namespace face {
namespace {

using testing::ElementsAre;

TEST(COptions, NumbersBecomeTheOptionsOfTheStandardHost) {
  const Options options(sqm_options_create());
  const auto set = [&](int option, std::int64_t value) {
    EXPECT_EQ(sqm_options_set_number(options.get(), option, value), SQM_OK) << option << " " << sqm_last_error();
  };
  for (int option = SQM_OPTION_ATOMIC_SAVES; option <= SQM_OPTION_HTTP_GZIP_FROM_BYTES; ++option) set(option, 1);
  set(SQM_OPTION_SYNC_WITHIN_MS, 250);
  set(SQM_OPTION_LOG_TEXT_BYTES, 0);
  set(SQM_OPTION_HTTP_CONNECT_LIMIT_MS, 1500);
  set(SQM_OPTION_HTTP_STALL_LIMIT_S, 7);
  set(SQM_OPTION_HTTP_IDLE_LIMIT_S, 8);
  set(SQM_OPTION_HTTP_TOTAL_LIMIT_MS, 9);
  set(SQM_OPTION_HTTP_BODY_BYTES, 10);
  set(SQM_OPTION_HTTP_CONNECTIONS, 11);
  set(SQM_OPTION_REFUSED_FILES, 12);
  set(SQM_OPTION_REFUSED_BYTES, 13);
  set(SQM_OPTION_REFUSED_AGE_S, 14);
  set(SQM_OPTION_SCHEDULE_FIRST_UPLOAD_S, 15);
  set(SQM_OPTION_SCHEDULE_PERIOD_S, 16);
  set(SQM_OPTION_SCHEDULE_SMALLEST_PAUSE_S, 17);
  set(SQM_OPTION_SCHEDULE_FIRST_BACK_OFF_S, 18);
  set(SQM_OPTION_SCHEDULE_LONGEST_BACK_OFF_S, 19);
  set(SQM_OPTION_SCHEDULE_LONGEST_RETRY_AFTER_S, 20);
  set(SQM_OPTION_LOCK_WITHIN_MS, 21);
  set(SQM_OPTION_HTTP_GZIP_FROM_BYTES, 22);

  using std::chrono::milliseconds;
  using std::chrono::seconds;
  const auto& standard = options->standard;
  EXPECT_TRUE(standard.atomicSaves);
  EXPECT_EQ(standard.recording, sqm::delivery::Recording::survivesCrash);
  EXPECT_EQ(standard.syncWithin, milliseconds(250));
  EXPECT_EQ(standard.logTextLimit, 0U);
  EXPECT_EQ(standard.http.connectLimit, milliseconds(1500));
  EXPECT_EQ(standard.http.stallLimit, seconds(7));
  EXPECT_EQ(standard.http.idleLimit, seconds(8));
  EXPECT_EQ(standard.http.totalLimit, milliseconds(9));
  EXPECT_EQ(standard.http.bodyLimit, 10U);
  EXPECT_EQ(standard.http.connectionBound, 11U);
  EXPECT_EQ(standard.accept, sqm::delivery::Accept::only2xx);
  EXPECT_EQ(standard.refusedLimits.files, 12U);
  EXPECT_EQ(standard.refusedLimits.bytes, 13U);
  EXPECT_EQ(standard.refusedLimits.age, seconds(14));
  ASSERT_TRUE(standard.schedule);
  EXPECT_EQ(standard.schedule->firstUpload, seconds(15));
  EXPECT_EQ(standard.schedule->period, seconds(16));
  EXPECT_EQ(standard.schedule->smallestPause, seconds(17));
  EXPECT_EQ(standard.schedule->firstBackOff, seconds(18));
  EXPECT_EQ(standard.schedule->longestBackOff, seconds(19));
  EXPECT_EQ(standard.schedule->longestRetryAfter, seconds(20));
  EXPECT_EQ(standard.counting, sqm::platform::StandardHost::Counting::inMemory);
  EXPECT_EQ(standard.consent, sqm::delivery::Consent::withheld);
  EXPECT_EQ(standard.lockWithin, milliseconds(21));
  EXPECT_EQ(standard.http.gzipFrom, 22U);

  set(SQM_OPTION_SCHEDULE, 0);
  EXPECT_FALSE(options->standard.schedule);
}

TEST(COptions, TextsBecomeTheOptionsOfTheStandardHost) {
  const Options options(sqm_options_create());
  for (int option = SQM_TEXT_HOME_DIRECTORY; option <= SQM_TEXT_HTTP_USER_AGENT; ++option) {
    EXPECT_EQ(sqm_options_set_text(options.get(), option, std::to_string(option).c_str()), SQM_OK);
  }
  sqm_options_set_text(options.get(), SQM_TEXT_HTTP_KEPT_HEADER, "X-Second");
  const auto& standard = options->standard;
  EXPECT_EQ(standard.homeDirectory, "0");
  EXPECT_EQ(standard.resourceDirectory, "1");
  EXPECT_EQ(standard.proof.header, "2");
  EXPECT_EQ(standard.proof.value, "3");
  EXPECT_EQ(standard.proof.text, "4");
  EXPECT_THAT(standard.http.keptHeaders, ElementsAre("5", "X-Second"));
  EXPECT_THAT(standard.sessionFolders, ElementsAre("6"));
  const auto& tls = standard.http.tls;
  EXPECT_THAT(
      (std::vector{tls.caFile, tls.caFolder, tls.pinnedKeys, tls.certificateFile, tls.keyFile, tls.keyPassword}),
      ElementsAre("7", "8", "9", "10", "11", "12"));
  const auto& proxy = standard.http.proxy;
  EXPECT_THAT((std::vector{proxy.address, proxy.user, proxy.password, standard.http.userAgent}),
              ElementsAre("13", "14", "15", "16"));
}

TEST(COptions, RejectsWhatAnOptionCannotHave) {
  const Options options(sqm_options_create());
  const auto rejects = [&](int option, std::int64_t value) {
    return sqm_options_set_number(options.get(), option, value) == SQM_INVALID_ARGUMENT;
  };
  EXPECT_TRUE(rejects(SQM_OPTION_ATOMIC_SAVES, 2));
  EXPECT_TRUE(rejects(SQM_OPTION_ATOMIC_SAVES, -1));
  EXPECT_TRUE(rejects(SQM_OPTION_RECORDING, 3));
  EXPECT_TRUE(rejects(SQM_OPTION_CONSENT, 3));
  EXPECT_TRUE(rejects(SQM_OPTION_HTTP_STALL_LIMIT_S, std::numeric_limits<std::int64_t>::max()));
  EXPECT_STREQ(sqm_last_error(), "the option cannot have this value");
  EXPECT_TRUE(rejects(-1, 0));
  EXPECT_TRUE(rejects(SQM_OPTION_CONSENT + 1000, 0));
  EXPECT_STREQ(sqm_last_error(), "there is no such option");
  EXPECT_EQ(sqm_options_set_text(options.get(), SQM_TEXT_PROOF_TEXT, nullptr), SQM_INVALID_ARGUMENT);
  EXPECT_EQ(sqm_options_set_text(options.get(), 1000, "x"), SQM_INVALID_ARGUMENT);
  EXPECT_FALSE(options->standard.atomicSaves) << "nothing was changed";
}

TEST(COptions, LimitsBoundOneListOrEach) {
  const Options options(sqm_options_create());
  auto& limits = options->standard.limits;
  EXPECT_EQ(sqm_options_set_limit(options.get(), SQM_LIST_QUEUE, 5, -1, -1), SQM_OK);
  ASSERT_TRUE(limits);
  EXPECT_EQ(limits->queue.records, 5U);
  EXPECT_FALSE(limits->queue.bytes || limits->queue.age || limits->lists[0].records);
  EXPECT_EQ(sqm_options_set_limit(options.get(), SQM_RECORD_DEVICE, -1, 6, 7), SQM_OK);
  EXPECT_EQ(limits->lists[SQM_RECORD_DEVICE].bytes, 6U);
  EXPECT_EQ(limits->lists[SQM_RECORD_DEVICE].age, std::chrono::seconds(7));
  EXPECT_EQ(sqm_options_set_limit(options.get(), SQM_LIST_EACH, 0, -1, -1), SQM_OK);
  EXPECT_EQ(limits->queue.records, 0U);
  EXPECT_EQ(limits->lists[SQM_RECORD_CLIENT].records, 0U);
  for (const int list : {-2, 6}) {
    EXPECT_EQ(sqm_options_set_limit(options.get(), list, 1, 1, 1), SQM_INVALID_ARGUMENT);
  }
  EXPECT_EQ(sqm_options_set_limit(options.get(), 0, 1, 1, std::numeric_limits<std::int64_t>::max()),
            SQM_INVALID_ARGUMENT);
}

TEST(COptions, RecommendedAreThoseOfTheStandardHost) {
  const Options options(sqm_options_create_recommended());
  EXPECT_TRUE(options->standard.atomicSaves);
  EXPECT_EQ(options->standard.accept, sqm::delivery::Accept::only2xx);
  EXPECT_TRUE(options->standard.schedule && options->standard.limits);
}

TEST(COptions, CallbacksGetTheValuesOfTheObservers) {
  const Options options(sqm_options_create());
  std::string said;
  sqm_options_on_file_problem(
      options.get(),
      [](void* context, const sqm_file_problem* problem) {
        *static_cast<std::string*>(context) +=
            (problem->is_write ? "write " : "read ") + std::string(problem->path) + " " + problem->reason + "\n";
      },
      &said);
  sqm_options_on_http_exchange(
      options.get(),
      [](void* context, const sqm_http_exchange* exchange) {
        *static_cast<std::string*>(context) +=
            std::to_string(exchange->outcome) + " " + std::to_string(exchange->status) + " " + exchange->address + " " +
            exchange->reason + std::to_string(exchange->elapsed_ms) + " " + std::to_string(exchange->bytes_sent) + " " +
            std::to_string(exchange->bytes_received) + " " + exchange->content_type + " " +
            std::to_string(exchange->retry_after_seconds) + " " + exchange->headers[exchange->header_count - 1].name +
            "=" + exchange->headers[0].value + "\n";
      },
      &said);
  sqm_options_on_delivery(
      options.get(),
      [](void* context, const sqm_delivery* delivery) {
        *static_cast<std::string*>(context) +=
            std::to_string(delivery->outcome) + " " + std::to_string(delivery->status) + " " +
            std::to_string(delivery->shown_status) + " " + std::to_string(delivery->retry_after_seconds) + " " +
            delivery->address + " " + std::to_string(delivery->bytes) + " " + delivery->reason + "\n";
      },
      &said);
  sqm_options_on_drop(
      options.get(),
      [](void* context, const sqm_drop* drop) {
        *static_cast<std::string*>(context) +=
            std::to_string(drop->list) + " " + std::to_string(drop->count) + " " + std::to_string(drop->reason) + "\n";
      },
      &said);
  sqm_options_on_refused_drop(
      options.get(),
      [](void* context, const sqm_refused_drop* drop) {
        *static_cast<std::string*>(context) += std::string(drop->path) + " " + std::to_string(drop->bytes) + " " +
                                               std::to_string(drop->reason) + " " + std::to_string(drop->count) + "\n";
      },
      &said);

  const auto& standard = options->standard;
  standard.onFileProblem({sqm::platform::FileProblem::Operation::write, "/list", "full"});
  standard.onHttpExchange({.outcome = sqm::platform::HttpOutcome::completed,
                           .address = "http://a",
                           .reason = "",
                           .elapsed = std::chrono::milliseconds(5),
                           .bytesSent = 6,
                           .status = 200,
                           .contentType = "text/plain",
                           .retryAfter = std::chrono::seconds(7),
                           .headers = {{"X-A", "b"}},
                           .bytesReceived = 8});
  standard.onDelivery(
      {sqm::delivery::Outcome::refused, 404, 200, std::chrono::seconds(9), "http://b", 10, "status 404"});
  standard.onDrop({std::nullopt, 2, sqm::delivery::DropReason::age});
  standard.onDrop({sqm::RecordType::device, 3, sqm::delivery::DropReason::lost});
  standard.onRefusedDrop({1, "/refused/1", 11}, sqm::delivery::DropReason::bytes, 12);
  EXPECT_EQ(said,
            "write /list full\n0 200 http://a 5 6 8 text/plain 7 X-A=b\n2 404 200 9 http://b 10 status 404\n"
            "5 2 2\n2 3 6\n/refused/1 11 1 12\n");

  sqm_options_on_drop(options.get(), nullptr, nullptr);
  EXPECT_FALSE(options->standard.onDrop);
}

TEST(COptions, HeadersComeFromACallback) {
  const Options options(sqm_options_create());
  int calls = 0;
  EXPECT_EQ(sqm_options_on_http_headers(
                options.get(),
                [](void* context, const char* address, sqm_http_headers* headers) {
                  ++*static_cast<int*>(context);
                  EXPECT_STREQ(address, "http://server/");
                  EXPECT_EQ(sqm_http_headers_add(headers, "Authorization", "Bearer 1"), SQM_OK);
                  EXPECT_EQ(sqm_http_headers_add(headers, "X-A", nullptr), SQM_INVALID_ARGUMENT);
                },
                &calls),
            SQM_OK);
  const auto headers = options->standard.http.headers("http://server/");
  ASSERT_EQ(headers.size(), 1U);
  EXPECT_EQ(headers[0].name + ": " + headers[0].value, "Authorization: Bearer 1");
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(sqm_http_headers_add(nullptr, "X-A", "b"), SQM_INVALID_ARGUMENT);
  sqm_options_on_http_headers(options.get(), nullptr, nullptr);
  EXPECT_FALSE(options->standard.http.headers);
}

}  // namespace
}  // namespace face
