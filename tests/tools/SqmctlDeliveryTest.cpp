// sqmctl: limits, statistics and the user's consent.

#include <filesystem>
#include <string>

#include <nlohmann/json.hpp>

#include "tests/tools/Play.h"

namespace {

const std::vector<std::string> kStanding = {"--time", "2026-11-21T10:00:00Z"};

std::vector<std::string> standing(std::vector<std::string> options) {
  options.insert(options.end(), kStanding.begin(), kStanding.end());
  return options;
}

/// The counts of a type in the result of an operation `statistics`.
Json countsOf(const Played& played, std::size_t line, const std::string& type) {
  return Json::parse(played.result(line))[type];
}

TEST(SqmctlDelivery, TheOldestRecordsBeyondTheirLimitsAreDroppedAndCounted) {
  const Played played(R"({"do":"client","params":{"6":"1"}}
{"do":"client","params":{"6":"2"}}
{"do":"client","params":{"6":"3"}}
{"do":"device","params":{"6":"4"}}
{"do":"advance","seconds":61}
{"do":"save"}
{"do":"statistics"}
)",
                      standing({"--limit", "client:records=2", "--limit", "device:age=60"}));
  EXPECT_EQ(played.status(), 0) << played.err();
  EXPECT_EQ(countsOf(played, 7, "client"),
            Json::parse(R"({"accepted":3,"delivered":0,"refused":0,"dropped":{"records":1},"waiting":2})"));
  EXPECT_EQ(countsOf(played, 7, "device"),
            Json::parse(R"({"accepted":1,"delivered":0,"refused":0,"dropped":{"age":1},"waiting":0})"));
}

TEST(SqmctlDelivery, ALimitOfAllHoldsForEachType) {
  const Played played(R"({"do":"client","params":{"6":"1"}}
{"do":"device","params":{"6":"2"}}
{"do":"statistics"}
)",
                      {"--limit", "all:bytes=5"});
  for (const char* type : {"client", "device"}) {
    EXPECT_EQ(countsOf(played, 3, type)["dropped"], Json::parse(R"({"bytes":1})")) << type;
  }
}

TEST(SqmctlDelivery, TheCountsAreKeptOverTheProcessesOfAFolder) {
  const Collector collector;
  Played played(with(collector.address(), R"({"do":"setURLs","client":"$/client","connection":"$/connection"}
{"do":"client","params":{"6":"1"}}
{"do":"upload"}
{"do":"client","params":{"6":"2"}}
)"),
                {"--accept", "2xx"});
  played.play("{\"do\":\"statistics\"}\n", {"--accept", "2xx"});
  EXPECT_EQ(countsOf(played, 1, "client"),
            Json::parse(R"({"accepted":2,"delivered":1,"refused":0,"dropped":{},"waiting":1})"));
  const Outcome status = runProgram({kSqmctl, "--home", played.home(), "status"});
  EXPECT_NE(status.out.find("accepted 2, delivered 1, refused 0, dropped 0, waiting 1"), std::string::npos)
      << status.out;
  const Json json = Json::parse(runProgram({kSqmctl, "--home", played.home(), "status", "--json"}).out);
  EXPECT_EQ(json["statistics"]["client"]["delivered"], 1);
}

TEST(SqmctlDelivery, WithoutAnOptionNoFileOfCountsIsWritten) {
  const Played played("{\"do\":\"client\",\"params\":{\"6\":\"1\"}}\n{\"do\":\"statistics\"}\n");
  EXPECT_EQ(countsOf(played, 2, "client")["accepted"], 1);
  EXPECT_EQ(played.inApplication("SQM/SQMStatistics"), "");
  EXPECT_EQ(runProgram({kSqmctl, "--home", played.home(), "status", "--json"}).out.find("statistics"),
            std::string::npos);
}

TEST(SqmctlDelivery, AMalformedLimitIsReportedWithWhatIsExpected) {
  for (const char* limit : {"client", "client:records", "client:records=", "client:records=x", "client:records=-1",
                            "client:weight=1", "clients:records=1", "=1:records", ":records=1"}) {
    const Outcome outcome = runProgram({kSqmctl, "--limit", limit, "status"});
    EXPECT_EQ(outcome.status, 2) << limit;
    EXPECT_NE(outcome.err.find("'" + std::string(limit) + "' is not TYPE:records=N"), std::string::npos) << outcome.err;
  }
}

TEST(SqmctlDelivery, WhatIsWithheldIsKeptAndNotSent) {
  const Collector collector;
  Played played(with(collector.address(), R"({"do":"setURLs","client":"$/client","connection":"$/connection"}
{"do":"consent","value":"withheld"}
{"do":"client","params":{"6":"1"}}
{"do":"queue.add","data":"q","url":"$/queue"}
{"do":"upload"}
{"do":"queue.upload"}
{"do":"statistics"}
)"));
  EXPECT_EQ(played.result(5), R"({"notifications":["TrelkSQMUploadFailure"]})");
  EXPECT_EQ(played.result(6), R"({"remaining":1})");
  EXPECT_EQ(countsOf(played, 7, "client")["waiting"], 1);
  EXPECT_TRUE(postsTo(collector).empty());
  EXPECT_NE(runProgram({kSqmctl, "--home", played.home(), "status"}).out.find("The user's consent is withheld"),
            std::string::npos);

  const std::string send = with(collector.address(), R"({"do":"setURLs","client":"$/client","connection":"$/connection"}
{"do":"upload"}
{"do":"consent","value":"granted"}
{"do":"upload"}
)");
  played.play(send);
  EXPECT_EQ(played.result(2), R"({"notifications":["TrelkSQMUploadFailure"]})") << "the choice is kept";
  EXPECT_EQ(played.result(4), R"({"notifications":["TrelkSQMUploadSuccess","TrelkSQMUploadSuccess"]})");
}

TEST(SqmctlDelivery, RevokingLeavesNoTextBelowTheHomeDirectory) {
  const SilentServer server;
  for (const std::vector<std::string>& options :
       {std::vector<std::string>{}, {"--recording", "crash", "--accept", "2xx", "--limit", "all:records=9"}}) {
    const Played played(with(server.address(), R"({"do":"setDeviceType","value":1}
{"do":"setURLs","client":"$/client"}
{"do":"client","params":{"6":"MARKER"}}
{"do":"connectionStart","params":{"6":"MARKER"}}
{"do":"save"}
{"do":"device","params":{"6":"MARKER"}}
{"do":"queue.add","data":"MARKER","url":"$/MARKER"}
{"do":"queue.upload","timeoutSeconds":0.1}
{"do":"collector.directory","path":"sessions"}
{"do":"collector.creation","first":"MARKER","lang":"en","username":"MARKER","fullUserName":"MARKER","profileID":"MARKER","installId":"MARKER","sqmCounter":"1"}
{"do":"collector.save"}
{"do":"upload","timeoutSeconds":0.1}
{"do":"consent","value":"revoked"}
{"do":"client","params":{"6":"MARKER"}}
{"do":"queue.add","data":"MARKER","url":"$/MARKER"}
{"do":"collector.save"}
{"do":"save"}
{"do":"upload"}
{"do":"statistics"}
)"),
                        options);
    EXPECT_EQ(played.status(), 0) << played.err();
    EXPECT_EQ(played.result(15), "false") << "nothing is queued";
    EXPECT_EQ(countsOf(played, 19, "client"),
              Json::parse(R"({"accepted":1,"delivered":0,"refused":0,"dropped":{"consent":1},"waiting":0})"));
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(played.home())) {
      if (!entry.is_regular_file()) continue;
      ++files;
      EXPECT_EQ(contentOf(entry.path()).find("MARKER"), std::string::npos) << entry.path();
    }
    EXPECT_GE(files, 6U) << "the choice, and the lists without records";
  }
}

TEST(SqmctlDelivery, AConsentIsOneOfThree) {
  const Played played("{\"do\":\"consent\",\"value\":\"maybe\"}\n");
  EXPECT_EQ(played.status(), 2);
  EXPECT_NE(played.err().find(R"(consent: "value" must be "granted", "withheld" or "revoked", not "maybe")"),
            std::string::npos)
      << played.err();
}

}  // namespace
