#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/common/LogFile.h"

namespace {

struct WrittenLine {
  std::string info;
  int userLevel;
  std::string format;
  std::vector<std::string> arguments;
};

class KeepingLogFile : public sqm::LogFile {
 public:
  void write(const sqm::LogLine& line) override {
    lines.push_back({std::string(line.info),
                     line.userLevel,
                     std::string(line.format),
                     {line.arguments.begin(), line.arguments.end()}});
  }

  std::vector<WrittenLine> lines;
};

TEST(LogFile, PassesTheLineUnchanged) {
  KeepingLogFile log;
  log.writeLogToFileWithInfo("USER", 2, "%@ and %d", {"first", "2"});
  ASSERT_EQ(log.lines.size(), 1U);
  EXPECT_EQ(log.lines[0].info, "USER");
  EXPECT_EQ(log.lines[0].userLevel, 2);
  EXPECT_EQ(log.lines[0].format, "%@ and %d");
  EXPECT_EQ(log.lines[0].arguments, (std::vector<std::string>{"first", "2"}));
}

TEST(LogFile, TakesALineWithoutArguments) {
  KeepingLogFile log;
  log.writeLogToFileWithInfo("DEBUG", 1, "httpStatus***upload error");
  ASSERT_EQ(log.lines.size(), 1U);
  EXPECT_EQ(log.lines[0].format, "httpStatus***upload error");
  EXPECT_TRUE(log.lines[0].arguments.empty());
}

}  // namespace
