#include "program/progress.h"

#include <gtest/gtest.h>

namespace {

using program::duration_text;
using program::progress_line;

TEST(Progress, TheBarTellsTheShareTheRateAndTheRest) {
  EXPECT_EQ(progress_line(5, 20, 2.0, 80), "[##########------------------------------] 5/20  2.5 frames/s  6 s left");
  EXPECT_EQ(progress_line(20, 20, 2.0, 80),
            "[########################################] 20/20  10.0 frames/s  0 s left");
}

TEST(Progress, NothingIsToldOfTheRateBeforeTheFirstFrame) {
  EXPECT_EQ(progress_line(0, 3, 1.0, 20), "[--------------] 0/3");
}

TEST(Progress, FitsNarrowTerminals) {
  EXPECT_EQ(progress_line(5, 20, 2.0, 40), "[##-------] 5/20  2.5 frames/s  6 s left");
  EXPECT_EQ(progress_line(5, 20, 2.0, 30), "5/20  2.5 frames/s  6 s left");
  EXPECT_EQ(progress_line(5, 20, 2.0, 4), "5/20");
}

TEST(Progress, DurationsArePutInTwoUnits) {
  EXPECT_EQ(duration_text(0.4), "0 s");
  EXPECT_EQ(duration_text(59.4), "59 s");
  EXPECT_EQ(duration_text(200), "3 min 20 s");
  EXPECT_EQ(duration_text(7500), "2 h 5 min");
}

}  // namespace
