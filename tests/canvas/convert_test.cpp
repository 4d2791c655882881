#include "canvas/convert.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <random>

namespace tavrel {
namespace {

TEST(Convert, RoundingRules) {
  EXPECT_EQ(Int(2.9), 2);
  EXPECT_EQ(Int(-0.5), -1);
  EXPECT_EQ(CLng(2.5), 2);
  EXPECT_EQ(CLng(3.5), 4);
  EXPECT_EQ(CLng(-0.5), 0);
  EXPECT_EQ(CLng(-1.5), -2);
  EXPECT_EQ(CInt(7.5), 8);
  EXPECT_THROW(CLng(3e9), RuntimeError);
  EXPECT_THROW(CInt(40000), RuntimeError);
  // Line and Point: through a single, then to the nearest pixel, ties to even.
  EXPECT_EQ(pixelOf(2.5), 2);
  EXPECT_EQ(pixelOf(3.5), 4);
  EXPECT_EQ(pixelOf(-0.5), 0);
  EXPECT_EQ(pixelOf(-1.5), -2);
  EXPECT_EQ(pixelOf(3.4999999999), 4);  // a single rounds this to 3.5 first
  EXPECT_EQ(CLng(3.4999999999), 3);
  EXPECT_LT(pixelOf(-1e30), -100000);
  EXPECT_GT(pixelOf(1e30), 100000);
}

TEST(Convert, ValReadsTheLeadingNumber) {
  EXPECT_EQ(Val("12abc"), 12);
  EXPECT_EQ(Val(""), 0);
  EXPECT_EQ(Val("abc"), 0);
  EXPECT_EQ(Val("  -2.5"), -2.5);
  EXPECT_EQ(Val("1 2"), 12);
  EXPECT_EQ(Val(".5"), 0.5);
  EXPECT_EQ(Val("1e3x"), 1000);
  EXPECT_EQ(Val("1e"), 1);
  EXPECT_EQ(Val("-"), 0);
  EXPECT_EQ(Val("2d2"), 200);  // D marks an exponent too
  EXPECT_THROW(Val("1e309"), RuntimeError);
}

TEST(Convert, TextOfNumbers) {
  EXPECT_EQ(Str(5), " 5");
  EXPECT_EQ(Str(-5), "-5");
  EXPECT_EQ(LTrim(Str(100)), "100");
  EXPECT_EQ(CStr(0.1 + 0.2), "0.3");
  EXPECT_EQ(CStr(2.5), "2.5");
  EXPECT_EQ(CStr(-0.0), "0");
  EXPECT_EQ(CStr(1e15), "1E+15");
  EXPECT_EQ(CStr(123456789012345678.0), "1.23456789012346E+17");
  EXPECT_THROW(QBColor(16), RuntimeError);
}

// The fast path must give exactly what a trip through the text gives.
TEST(Convert, RoundTripMatchesTheText) {
  std::mt19937_64 g(11);
  std::uniform_real_distribution<double> coordinate(-20000, 20000);
  auto viaText = [](double x) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.15G", x);
    return std::strtod(buf, nullptr);
  };
  for (int i = 0; i < 200000; ++i) {
    const double x = coordinate(g);
    ASSERT_EQ(roundTrip15(x), viaText(x)) << x;
    const double y = std::ldexp(static_cast<double>(g() >> 11), -static_cast<int>(g() % 90));
    ASSERT_EQ(roundTrip15(y), viaText(y)) << y;
  }
  for (double x : {0.0, 1.0, 0.1, 1e-7, 9.999999999999995e14, 1e15, 1e300, -350.25})
    EXPECT_EQ(roundTrip15(x), viaText(x)) << x;
}

}  // namespace
}  // namespace tavrel
