// Work that two processors share.
#include "support/two_threads.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <limits>
#include <thread>

namespace {

struct Call {
  std::thread::id thread;
  bool interrupts_blocked = false;
};

bool interrupts_are_blocked() {
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  return sigismember(&mask, SIGINT) == 1;
}

std::array<Call, 2> calls_of_both_parts() {
  std::array<Call, 2> calls;
  xrd::in_two_threads([&](std::size_t part) {
    calls.at(part) = {std::this_thread::get_id(), interrupts_are_blocked()};
  });
  return calls;
}

// From now on there is no memory for the stack of a new thread.
void ask_for_impossible_stacks() {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, std::numeric_limits<std::size_t>::max() & ~std::size_t{0xFFFF});
  pthread_setattr_default_np(&attributes);
}

}  // namespace

TEST(TwoThreads, EachTakesOnePart) {
  const auto calls = calls_of_both_parts();
  EXPECT_EQ(calls[0].thread, std::this_thread::get_id());
  EXPECT_NE(calls[1].thread, std::thread::id());
  EXPECT_NE(calls[1].thread, calls[0].thread);
}

TEST(TwoThreads, SignalsStayWithTheThreadsOfTheCaller) {
  const auto calls = calls_of_both_parts();
  EXPECT_FALSE(calls[0].interrupts_blocked);
  EXPECT_TRUE(calls[1].interrupts_blocked);
  EXPECT_FALSE(interrupts_are_blocked());
}

TEST(TwoThreadsDeathTest, WithoutASecondThreadTheFirstTakesBothParts) {
  EXPECT_EXIT(
      {
        ask_for_impossible_stacks();
        const auto calls = calls_of_both_parts();
        const auto self = std::this_thread::get_id();
        _exit(calls[0].thread == self && calls[1].thread == self && !calls[1].interrupts_blocked ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}
