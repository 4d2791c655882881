// Number conversions and colours shared by every drawing path.
//
// All generator arithmetic is done on doubles; these functions are the only
// places where a number is narrowed, and their rounding shows in the pictures.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tavrel {

using Long = std::int32_t;
using Integer = std::int16_t;

// A colour is a Long of the form 0x00BBGGRR.
using Colour = Long;

// Outlines and the surroundings of a shape. Looks black, but is not 0.
inline constexpr Colour OutlineColor = 1;
inline constexpr Colour kBlack = 0;
inline constexpr Colour kWhite = 0xFFFFFF;

// Raised where the runtime would stop with an error (a value out of range).
class RuntimeError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The 16-colour palette; n outside 0..15 raises RuntimeError.
Colour QBColor(int n);

// Rounds down, towards minus infinity.
inline double Int(double x);
// Nearest, ties to even; outside the 32-bit (16-bit) range raises RuntimeError.
Long CLng(double x);
Integer CInt(double x);
// Nearest single.
inline float CSng(double x) {
  return static_cast<float>(x);
}

// The number at the start of a text: blanks skipped, sign, digits, point,
// fraction, exponent; stops at the first character it can't use; 0 if none.
double Val(std::string_view s);
// Up to 15 significant digits, a leading blank unless negative.
std::string Str(double x);
// Drops leading blanks.
std::string LTrim(std::string_view s);
// Up to 15 significant digits, no leading blank, no trailing zeros.
std::string CStr(double x);
// The value a number has after a trip through its text: Val(CStr(x)).
// Exact, and without formatting in the common range, so it can sit in loops.
double roundTrip15(double x);

// The pixel that a coordinate lands on for Line and Point: CSng, then the
// nearest whole number, ties to even. Values far off any surface are clamped
// to a number that is off every surface.
int pixelOf(double x);

inline double Int(double x) {
  // floor, written out so that it stays inline without -fno-math-errno.
  const double t = static_cast<double>(static_cast<long long>(x));
  if (x >= -9.0e18 && x <= 9.0e18) return (t > x) ? t - 1.0 : t;
  return x;
}

inline int pixelOf(double x) {
  float f = static_cast<float>(x);
  constexpr float kLimit = 4194304.0f;  // 2^22: beyond it the magic below stops rounding
  if (!(f > -kLimit && f < kLimit)) return f > 0 ? (1 << 24) : -(1 << 24);
  // Adding and removing 1.5 * 2^23 rounds a float to the nearest whole
  // number, ties to even, in the default rounding mode (never built with
  // -ffast-math, which would fold the pair away).
  constexpr float kMagic = 12582912.0f;
  float r = (f + kMagic) - kMagic;
  return static_cast<int>(r);
}

}  // namespace tavrel
