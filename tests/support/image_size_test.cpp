#include "support/image_size.h"

#include <gtest/gtest.h>

TEST(ImageSize, NegativeSizesAreRefused) {
  EXPECT_FALSE(xrd::allocatable_pixels(-1, 5));
  EXPECT_FALSE(xrd::allocatable_pixels(5, -1));
  EXPECT_FALSE(xrd::allocatable_pixels(-5, -5));
}
