#include <chrono>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "sqm/platform/text/internal/ZoneWatch.h"

#include "tests/platform/system/Environment.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

using test::EnvironmentVariable;
using namespace std::chrono_literals;

class ZoneWatchTest : public ::testing::Test {
 protected:
  bool hasChangedAfter(std::chrono::milliseconds pause) { return watch_.hasChanged(now_ += pause); }

  const EnvironmentVariable variable_{"TZ", nullptr};
  const TemporaryFolder folder_;
  const std::string file_ = folder_ / "localtime";
  ZoneWatch watch_{file_};
  ZoneWatch::Time now_;
};

TEST_F(ZoneWatchTest, TheFirstSettingIsAChangeWhateverItIs) {
  EXPECT_TRUE(hasChangedAfter(0s)) << "no variable and no file";
  EXPECT_FALSE(hasChangedAfter(0s));
  EXPECT_FALSE(hasChangedAfter(1h));
}

TEST_F(ZoneWatchTest, AFileThatIsReplacedIsNoticedWithinASecond) {
  putContent(file_, "zone");
  EXPECT_TRUE(hasChangedAfter(0s));
  EXPECT_FALSE(hasChangedAfter(1s));
  putContent(folder_ / "other", "zone");
  std::filesystem::rename(folder_ / "other", file_);
  EXPECT_TRUE(hasChangedAfter(1s));
  EXPECT_FALSE(hasChangedAfter(1s));
  std::filesystem::remove(file_);
  EXPECT_TRUE(hasChangedAfter(1s));
  EXPECT_FALSE(hasChangedAfter(1s));
}

TEST_F(ZoneWatchTest, TheFileIsComparedOnceASecond) {
  putContent(file_, "zone");
  EXPECT_TRUE(hasChangedAfter(0s));
  std::filesystem::remove(file_);
  EXPECT_FALSE(hasChangedAfter(999ms));
  EXPECT_TRUE(hasChangedAfter(1ms));
}

TEST_F(ZoneWatchTest, ALinkThatLeadsElsewhereIsNoticed) {
  putContent(folder_ / "berlin", "zone");
  putContent(folder_ / "kolkata", "zone");
  std::filesystem::create_symlink("berlin", file_);
  EXPECT_TRUE(hasChangedAfter(0s));
  std::filesystem::remove(file_);
  std::filesystem::create_symlink("kolkata", file_);
  EXPECT_TRUE(hasChangedAfter(1s));
}

TEST_F(ZoneWatchTest, AVariableIsNoticedAtOnce) {
  putContent(file_, "zone");
  EXPECT_TRUE(hasChangedAfter(0s));
  {
    const EnvironmentVariable berlin("TZ", "Europe/Berlin");
    EXPECT_TRUE(hasChangedAfter(0s));
    EXPECT_FALSE(hasChangedAfter(0s));
    const EnvironmentVariable empty("TZ", "");
    EXPECT_TRUE(hasChangedAfter(0s));
  }
  EXPECT_TRUE(hasChangedAfter(0s)) << "the file counts again";
}

TEST_F(ZoneWatchTest, TheFileDoesNotCountWhileTheVariableIsSet) {
  putContent(file_, "zone");
  const EnvironmentVariable berlin("TZ", "Europe/Berlin");
  EXPECT_TRUE(hasChangedAfter(0s));
  std::filesystem::remove(file_);
  EXPECT_FALSE(hasChangedAfter(1h));
}

}  // namespace
}  // namespace sqm::platform
