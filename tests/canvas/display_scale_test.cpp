#include "canvas/display_scale.h"

#include <gtest/gtest.h>

namespace tavrel {
namespace {

// Near the design size one device pixel a pixel; above it the client area
// stays near 1000 pixels wide and never below 500 tall. An override from 0.5
// to 8 wins; any other text, a number too large for a double included, is
// passed over.
TEST(DisplayScale, TheSmallerRatioAboveTheDesignSizeAndOverridesInRange) {
  EXPECT_EQ(chooseDisplayScale(1024, 718), 1);
  EXPECT_EQ(chooseDisplayScale(1249, 1000), 1);
  EXPECT_EQ(chooseDisplayScale(1250, 1000), 1.25);
  EXPECT_EQ(chooseDisplayScale(2400, 1050), 2.1);  // a wide, low screen: height wins
  for (const char* taken : {"0.5", "2", "8"})
    EXPECT_EQ(chooseDisplayScale(1920, 1000, taken), std::stod(taken)) << taken;
  for (const char* passed : {"0.49", "8.01", "abc", "1e309", "-2"})
    EXPECT_EQ(chooseDisplayScale(1920, 1000, passed), 1.92) << passed;
}

}  // namespace
}  // namespace tavrel
