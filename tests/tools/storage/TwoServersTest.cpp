// Two servers may use one database at once.

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/tools/CollectorClient.h"
#include "tests/tools/storage/Engine.h"

namespace {

class TwoServersTest : public testing::Test {
 protected:
  const std::unique_ptr<Engine> engine = makeEngine();
};

TEST_F(TwoServersTest, StoreOnceWhatBothGet) {
  CollectorClient first({"--database", engine->address()});
  CollectorClient second({"--database", engine->address()});
  EXPECT_EQ(first.post("/connection", kDocument), 200);
  EXPECT_EQ(second.post("/connection", kDocument), 200);
  EXPECT_EQ(first.get("/_requests")[1].at("duplicates"), 2);
  EXPECT_EQ(second.get("/_records").size(), 2U);
  first.collector().kill();
  EXPECT_EQ(second.post("/connection", documentAt(1)), 200);
  EXPECT_EQ(second.get("/_records").size(), 4U);
}

TEST_F(TwoServersTest, MayStartAndStoreAtOnce) {
  constexpr int kDocuments = 50;
  const auto serve = [this](int from) {
    CollectorClient client({"--database", engine->address()});
    for (int i = 0; i < kDocuments; ++i) EXPECT_EQ(client.post("/connection", documentAt(1 + from + i)), 200);
    EXPECT_EQ(client.collector().end(), 0);
  };
  std::thread other(serve, kDocuments / 2);
  serve(0);
  other.join();
  CollectorClient client({"--database", engine->address()});
  EXPECT_EQ(client.get("/_requests").size(), std::size_t{2 * kDocuments});
  EXPECT_EQ(client.get("/_records").size(), std::size_t{3 * kDocuments}) << "half of the documents were sent twice";
}

}  // namespace
