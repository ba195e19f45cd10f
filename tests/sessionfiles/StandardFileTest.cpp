#include <cstdio>
#include <fcntl.h>
#include <string>

#include <gtest/gtest.h>

#include "sqm/sessionfiles/internal/StandardFile.h"

#include "tests/support/TemporaryFolder.h"

namespace {

TEST(StandardFile, ProgramsThatAreStartedDoNotInheritIt) {
  const TemporaryFolder folder;
  for (const char* mode : {"w", "rb"}) {
    const sqm::StandardFile file = sqm::openFile(folder / "file", mode);
    ASSERT_TRUE(file);
    EXPECT_NE(::fcntl(::fileno(file.get()), F_GETFD) & FD_CLOEXEC, 0) << mode;
  }
}

TEST(StandardFile, IsNullWhenItCannotBeOpened) {
  const TemporaryFolder folder;
  EXPECT_FALSE(sqm::openFile(folder / "missing", "rb"));
  EXPECT_FALSE(sqm::openFile(folder / "missing/file", "w"));
}

TEST(StandardFile, APathWithANulIsNotTheOneBeforeIt) {
  const TemporaryFolder folder;
  putContent(folder / "file", "content");
  EXPECT_FALSE(sqm::openFile(folder / std::string_view("file\0more", 9), "rb"));
  EXPECT_FALSE(sqm::openFile(folder / std::string_view("file\0more", 9), "w"));
  EXPECT_EQ(contentOf(folder / "file"), "content");
}

}  // namespace
