#include <sys/utsname.h>

#include <gtest/gtest.h>

#include "sqm/platform/system/SystemInformation.h"

#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

TEST(SystemInformation, NameAndVersionComeFromTheReleaseFile) {
  const struct {
    const char* content;
    const char* name;
    const char* version;
  } cases[] = {
      {"NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n", "Debian GNU/Linux", "12"},
      {"# NAME=no\nPRETTY_NAME=no\nNAME=Fedora\nVERSION=no\nVERSION_ID=41", "Fedora", "41"},
      {"NAME='It is $5'\nVERSION_ID='1\\2'\n", "It is $5", "1\\2"},
      {"NAME=\"a \\\"b\\\" \\$c \\\\\"\nVERSION_ID=\"1\" # note\n", R"(a "b" $c \)", "1"},
      {"NAME=first\nVERSION_ID=1\nNAME=last\n", "last", "1"},
      {"NAME=\"open\nVERSION_ID=\"\\", "open", "\\"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.content);
    const TemporaryFolder folder;
    putContent(folder / "os-release", each.content);
    const SystemInformation system(folder / "os-release");
    EXPECT_EQ(system.getOSProductName(), each.name);
    EXPECT_EQ(system.getOSVersion(), each.version);
  }
}

TEST(SystemInformation, TheKernelsValuesReplaceMissingOnes) {
  utsname kernel{};
  ASSERT_EQ(::uname(&kernel), 0);
  const TemporaryFolder folder;
  const SystemInformation none(folder / "os-release");
  EXPECT_EQ(none.getOSProductName(), kernel.sysname);
  EXPECT_EQ(none.getOSVersion(), kernel.release);
  putContent(folder / "os-release", "NAME=Rolling\nVERSION_ID=\n");
  const SystemInformation rolling(folder / "os-release");
  EXPECT_EQ(rolling.getOSProductName(), "Rolling");
  EXPECT_EQ(rolling.getOSVersion(), kernel.release);
}

TEST(SystemInformation, TextIsEscapedForXml) {
  const SystemInformation system("");
  EXPECT_EQ(system.convertToXmlCompatibleString("<a b=\"c\">&'\x01\xFF"),
            "&lt;a b=&quot;c&quot;&gt;&amp;&apos;\uFFFD\uFFFD");
}

}  // namespace
}  // namespace sqm::platform
