#include "support/assertion.h"

#include <gtest/gtest.h>

#include <csignal>

// The message is that of the C library's assert, with the program's name in front, and the process aborts.
TEST(AssertionDeathTest, MessageGivesExpressionSourceLineAndFunction) {
  EXPECT_EXIT(xrd::fail_assertion("Daten", "pck_format", 123, "new_read_pck"), testing::KilledBySignal(SIGABRT),
              "^internal_tests: pck_format:123: new_read_pck: Assertion `Daten' failed\\.\n$");
}

TEST(AssertionDeathTest, PercentSignsAreText) {
  EXPECT_EXIT(xrd::fail_assertion("%s%n", "gauss", 4294967295U, "%d"), testing::KilledBySignal(SIGABRT),
              "^internal_tests: gauss:4294967295: %d: Assertion `%s%n' failed\\.\n$");
}
