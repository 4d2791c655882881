#include "canvas/convert.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <random>

namespace tavrel {
namespace {

// Int rounds down; CLng and the pixel of Line and Point round to the
// nearest, ties to even, the pixel after a trip through a single.
TEST(Convert, RoundingRulesValAndTextOfNumbers) {
  const std::tuple<double, double, Long, int> rows[] = {
      {2.9, 2, 3, 3},     {-0.5, -1, 0, 0}, {2.5, 2, 2, 2},         {3.5, 3, 4, 4},
      {-1.5, -2, -2, -2}, {6.5, 6, 6, 6},   {3.4999999999, 3, 3, 4}};
  for (const auto& [x, down, nearest, pixel] : rows) {
    EXPECT_EQ(Int(x), down) << x;
    EXPECT_EQ(pixelOf(x), pixel) << x;
    EXPECT_EQ(CLng(x), nearest) << x;
  }
  EXPECT_LT(pixelOf(-1e30), -100000);  // far off every surface, without overflow
  EXPECT_GT(pixelOf(1e30), 100000);
  EXPECT_EQ(CInt(7.5), 8);
  EXPECT_THROW(CLng(3e9), RuntimeError);
  EXPECT_THROW(CLng(-2147483649.0), RuntimeError);
  EXPECT_EQ(CLng(-2147483648.0), -2147483647 - 1);
  EXPECT_THROW(CInt(32767.5), RuntimeError);
  EXPECT_THROW(QBColor(16), RuntimeError);
  EXPECT_THROW(QBColor(-1), RuntimeError);

  const std::pair<const char*, double> vals[] = {
      {"12abc", 12}, {"", 0},           {"abc", 0},    {"  -2.5", -2.5}, {"1 2", 12},
      {".5", 0.5},   {"1e3x", 1000},    {"1e", 1},     {"-", 0},         {"2d2", 200},
      {"+7", 7},     {"1E-2", 0.01},    {"1e-400", 0}, {"\t3\r\n", 3},   {"4.", 4},
      {"5e 1", 50},  {"-.25e+1", -2.5}, {"1.5.5", 1.5}};
  for (const auto& [text, value] : vals) EXPECT_EQ(Val(text), value) << text;
  EXPECT_THROW(Val("1e309"), RuntimeError);
  const std::pair<std::string, const char*> texts[] = {
      {Str(5), " 5"},           {Str(-5), "-5"},
      {LTrim(Str(100)), "100"}, {CStr(0.1 + 0.2), "0.3"},
      {CStr(2.5), "2.5"},       {CStr(-0.0), "0"},
      {CStr(1e15), "1E+15"},    {CStr(123456789012345678.0), "1.23456789012346E+17"}};
  for (const auto& [got, text] : texts) EXPECT_EQ(got, text);
}

// The fast path must give exactly what a trip through the text gives.
TEST(Convert, RoundTripMatchesTheText) {
  std::mt19937_64 g(11);
  std::uniform_real_distribution<double> coordinate(-20000, 20000);
  char buf[64];
  const auto viaText = [&](double x) {
    return std::snprintf(buf, sizeof buf, "%.15G", x), std::strtod(buf, nullptr);
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
