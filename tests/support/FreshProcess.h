#pragma once

#include <cstdlib>
#include <iostream>

#include <gtest/gtest.h>

namespace sqm::test {

/// Ends the process: with success when no assertion of the test has failed, otherwise with a message for each failure.
[[noreturn]] inline void endWithVerdict() {
  const ::testing::TestResult& result = *::testing::UnitTest::GetInstance()->current_test_info()->result();
  for (int part = 0; part < result.total_part_count(); ++part) {
    const ::testing::TestPartResult& each = result.GetTestPartResult(part);
    if (each.failed()) std::cerr << each.file_name() << ":" << each.line_number() << ": " << each.message() << "\n";
  }
  std::exit(result.Failed() ? 1 : 0);  // NOLINT(concurrency-mt-unsafe): the other threads have been joined
}

/// The program is started anew. Under qemu, which starts no program for another processor, it is forked: that process
/// has no process-wide object as long as each test runs by itself, as CTest runs them.
#ifdef SQM_UNDER_QEMU
inline constexpr const char* kNewProcess = "fast";
#else
inline constexpr const char* kNewProcess = "threadsafe";
#endif

}  // namespace sqm::test

// NOLINTBEGIN(cppcoreguidelines-macro-usage): GoogleTest's tests are macros.

/// Calls `body` in a new process, in which no process-wide object exists yet. Use it once in a test.
#define EXPECT_IN_FRESH_PROCESS(body)                       \
  GTEST_FLAG_SET(death_test_style, sqm::test::kNewProcess); \
  EXPECT_EXIT((body, sqm::test::endWithVerdict()), ::testing::ExitedWithCode(0), "")

/// A test that runs in a new process, in which no process-wide object exists yet.
#define TEST_IN_FRESH_PROCESS(suite, name)                      \
  static void suite##name();                                    \
  TEST(suite, name) { EXPECT_IN_FRESH_PROCESS(suite##name()); } \
  static void suite##name()

// NOLINTEND(cppcoreguidelines-macro-usage)
