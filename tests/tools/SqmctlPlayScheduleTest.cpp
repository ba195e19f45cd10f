// sqmctl play: the upload schedule, and which status counts as delivered.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/tools/Play.h"

namespace {

const std::vector<std::string> kStanding = {"--time", "2026-11-21T10:00:00Z"};

TEST(SqmctlPlaySchedule, UploadsInThePeriodOfTheStandingClock) {
  const Collector collector;
  Played played(with(collector.address(), R"({"do":"setURLs","client":"$/client","connection":"$/connection"}
{"do":"client","params":{"6":"a"}}
{"do":"queue.add","data":"queued","url":"$/queue"}
{"do":"schedule.run","seconds":3600}
{"do":"client","params":{"6":"b"}}
{"do":"schedule.run","seconds":1799.5}
{"do":"schedule.run","seconds":0.5}
{"do":"queue.upload"}
)"),
                kStanding);
  EXPECT_EQ(played.status(), 0) << played.err();
  EXPECT_EQ(played.result(4), R"({"uploads":3})") << "at its beginning, after half an hour and at its end";
  EXPECT_EQ(played.result(6), R"({"uploads":0})");
  EXPECT_EQ(played.result(7), R"({"uploads":1})");
  EXPECT_EQ(played.result(8), R"({"remaining":0})");
  const auto posts = postsTo(collector);
  ASSERT_EQ(posts.size(), 7U);
  EXPECT_EQ(posts[0].first, "/client");
  EXPECT_EQ(posts[2].first, "/queue");
  EXPECT_EQ(posts[5].first, "/client");

  played.play("{\"do\":\"schedule.run\",\"seconds\":40}\n", {"--time", "2026-11-21T11:59:30Z"});
  EXPECT_EQ(played.result(1), R"({"uploads":1})") << "the next time is kept: noon";
}

TEST(SqmctlPlaySchedule, BacksOffWhileTheServerDoesNotAnswer) {
  const Played played(R"({"do":"setURLs","connection":")" + deadAddress() + R"("}
{"do":"schedule.run","seconds":60}
{"do":"schedule.run","seconds":86400}
)",
                      kStanding);
  EXPECT_EQ(played.result(2), R"({"uploads":3})") << "after 0, 15 and 45 seconds";
  // Half of each window: after 105, 225, 465, 945, 1905, 3825, 7665 and 15345 seconds, and then every 10800.
  EXPECT_EQ(played.result(3), R"({"uploads":14})");
}

TEST(SqmctlPlaySchedule, RunsOnTheMachinesClockWithoutAStandingOne) {
  const Collector collector;
  const Played played(with(collector.address(), R"({"do":"setURLs","connection":"$/connection"}
{"do":"schedule.run","seconds":0.3}
{"do":"upload"}
)"));
  EXPECT_EQ(played.result(2), R"({"uploads":1})");
  EXPECT_EQ(played.result(3), R"({"notifications":["TrelkSQMUploadSuccess"]})");
}

TEST(SqmctlPlaySchedule, ASilentServerEndsTheRunAllTheSame) {
  const SilentServer server;
  const Played played(with(server.address(), R"({"do":"setURLs","connection":"$/connection"}
{"do":"schedule.run","seconds":0.2}
{"do":"save"}
)"));
  EXPECT_EQ(played.result(2), R"({"uploads":1})");
  EXPECT_EQ(played.result(3), "null");
}

TEST(SqmctlPlayAccept, KeepsWhatIsToBeSentAgain) {
  const Collector collector({"--fail", "*:status=503"});
  const std::string scenario =
      with(collector.address(), R"({"do":"setURLs","client":"$/client","connection":"$/connection"}
{"do":"client","params":{"6":"a"}}
{"do":"upload"}
{"do":"save"}
)");
  const Played strict(scenario, {"--accept", "2xx"});
  EXPECT_EQ(strict.result(3), R"({"notifications":["TrelkSQMUploadFailure"]})");
  EXPECT_NE(strict.inApplication("SQM/SQMClient.plist").find("<string>"), std::string::npos);
  const Played any(scenario);
  EXPECT_EQ(any.result(3), R"({"notifications":["TrelkSQMUploadSuccess","TrelkSQMUploadSuccess"]})");
  EXPECT_EQ(any.inApplication("SQM/SQMClient.plist").find("<string>"), std::string::npos);
}

}  // namespace
