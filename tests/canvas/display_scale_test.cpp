#include "canvas/display_scale.h"

#include <gtest/gtest.h>

namespace tavrel {
namespace {

// Near the design size one device pixel a pixel; above it the client area
// stays near 1000 pixels wide and never below 500 tall. An override from 0.5
// to 8 wins; any other text, a number too large for a double included, is
// passed over.
TEST(DisplayScale, TheSmallerRatioAboveTheDesignSizeSharedWithTheToolkit) {
  EXPECT_EQ(chooseDisplayScale(1024, 718), 1);
  EXPECT_EQ(chooseDisplayScale(1249, 1000), 1);
  EXPECT_EQ(chooseDisplayScale(1250, 1000), 1.25);
  EXPECT_EQ(chooseDisplayScale(2400, 1050), 2.1);  // a wide, low screen: height wins
  for (const char* taken : {"0.5", "2", "8"})
    EXPECT_EQ(chooseDisplayScale(1920, 1000, taken), std::stod(taken)) << taken;
  for (const char* passed : {"0.49", "8.01", "abc", "1e309", "-2"})
    EXPECT_EQ(chooseDisplayScale(1920, 1000, passed), 1.92) << passed;
  // The toolkit takes the whole part where the desktop gave it nothing, and
  // nothing where it did; the program keeps the rest, so the product is the
  // total.
  const std::tuple<double, int, int, double> rows[] = {
      {1, 1, 1, 1},       {1.92, 1, 1, 1.92}, {2, 1, 2, 1},
      {2.56, 1, 2, 1.28}, {3.84, 1, 3, 1.28}, {2.9999999999999996, 1, 3, 1},
      {0.5, 1, 1, 0.5},   {8, 1, 8, 1},       {3.84, 2, 1, 1.92},
      {1.92, 2, 1, 0.96}, {7.68, 2, 1, 3.84}, {3, 3, 1, 1},
      {2, 0, 2, 1},  // no desktop factor known
  };
  for (const auto& [total, desktop, toolkit, program] : rows) {
    const ScaleShare s = shareDisplayScale(total, desktop);
    EXPECT_EQ(s.toolkit, toolkit) << total << " on " << desktop;
    EXPECT_DOUBLE_EQ(s.program, program) << total << " on " << desktop;
  }
}

}  // namespace
}  // namespace tavrel
