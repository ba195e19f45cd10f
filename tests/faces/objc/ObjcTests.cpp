#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/AllocationProbe.h"
#include "tests/support/Paths.h"
#include "tests/support/TemporaryFolder.h"

// The interface of ObjcTests.h, of which C++ includes nothing.
using Body = void (*)();
extern "C" {
void objc_test_register(const char* suite, const char* name, const char* file, int line, Body body);
void objc_test_fail(const char* file, int line, const char* what);
const char* objc_test_home();
const char* objc_test_resources();
void objc_test_exhaust_memory();
void objc_test_restore_memory();
void objc_test_run(Body body);
}

namespace {

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): of the test that runs
std::unique_ptr<const TemporaryFolder> home;
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): while no memory can be allocated
std::optional<AllocationProbe> exhausted;

class ObjcTest : public testing::Test {
 public:
  explicit ObjcTest(Body body) : body_(body) {}

 private:
  void SetUp() override { home = std::make_unique<TemporaryFolder>(); }
  void TestBody() override { objc_test_run(body_); }
  void TearDown() override { home.reset(); }

  const Body body_;
};

}  // namespace

void objc_test_register(const char* suite, const char* name, const char* file, int line, Body body) {
  // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): GoogleTest owns the factory
  testing::RegisterTest(suite, name, nullptr, nullptr, file, line,
                        [body]() -> testing::Test* { return new ObjcTest(body); });
}

void objc_test_fail(const char* file, int line, const char* what) { ADD_FAILURE_AT(file, line) << what; }

const char* objc_test_home() { return home->path().c_str(); }

void objc_test_exhaust_memory() { exhausted.emplace().failAfter(0); }

void objc_test_restore_memory() { exhausted.reset(); }

const char* objc_test_resources() {
  static const std::string folder = paths::sources() + "/examples";
  return folder.c_str();
}
