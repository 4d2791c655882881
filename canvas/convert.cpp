#include "canvas/convert.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace tavrel {

Colour QBColor(int n) {
  static constexpr std::array<Colour, 16> kPalette = {
      0x000000, 0x800000, 0x008000, 0x808000, 0x000080, 0x800080, 0x008080, 0xC0C0C0,
      0x808080, 0xFF0000, 0x00FF00, 0xFFFF00, 0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF};
  if (n < 0 || n > 15) throw RuntimeError("QBColor: colour number out of range");
  return kPalette[static_cast<std::size_t>(n)];
}

Long CLng(double x) {
  const double r = std::nearbyint(x);  // the default rounding mode: ties to even
  if (!(r >= -2147483648.0 && r <= 2147483647.0)) throw RuntimeError("Overflow");
  return static_cast<Long>(r);
}

Integer CInt(double x) {
  const double r = std::nearbyint(x);
  if (!(r >= -32768.0 && r <= 32767.0)) throw RuntimeError("Overflow");
  return static_cast<Integer>(r);
}

namespace {

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

double Val(std::string_view s) {
  // Collect the usable prefix into a clean buffer; blanks are skipped wherever
  // they stand, as the runtime's Val does.
  std::string clean;
  std::size_t i = 0;
  auto skipBlanks = [&] {
    while (i < s.size() && isBlank(s[i])) ++i;
  };
  skipBlanks();
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) clean += s[i++];
  bool anyDigit = false;
  for (skipBlanks(); i < s.size() && isDigit(s[i]); skipBlanks()) {
    clean += s[i++];
    anyDigit = true;
  }
  if (i < s.size() && s[i] == '.') {
    if (!anyDigit) clean += '0';  // from_chars wants a digit before the point
    clean += s[i++];
    for (skipBlanks(); i < s.size() && isDigit(s[i]); skipBlanks()) {
      clean += s[i++];
      anyDigit = true;
    }
  }
  if (!anyDigit) return 0.0;
  if (i < s.size() && (s[i] == 'e' || s[i] == 'E' || s[i] == 'd' || s[i] == 'D')) {
    std::size_t j = i + 1;
    std::string exponent = "e";
    while (j < s.size() && isBlank(s[j])) ++j;
    if (j < s.size() && (s[j] == '+' || s[j] == '-')) exponent += s[j++];
    bool expDigit = false;
    while (j < s.size() && (isDigit(s[j]) || isBlank(s[j]))) {
      if (isDigit(s[j])) {
        exponent += s[j];
        expDigit = true;
      }
      ++j;
    }
    if (expDigit) clean += exponent;
  }
  const char* first = clean.data();
  if (*first == '+') ++first;
  double v = 0;
  auto res = std::from_chars(first, clean.data() + clean.size(), v);
  if (res.ec == std::errc::result_out_of_range) {
    // Too large or too small for a double: the sign of the text decides.
    const bool negative = clean[0] == '-';
    const bool tiny = clean.find("e-") != std::string::npos;
    if (tiny) return negative ? -0.0 : 0.0;
    throw RuntimeError("Overflow");
  }
  return v;
}

std::string CStr(double x) {
  if (x == 0) return "0";
  char buf[64];
  auto res = std::to_chars(buf, buf + sizeof buf, x, std::chars_format::general, 15);
  std::string s(buf, res.ptr);
  // The runtime writes the exponent with a capital E.
  if (auto e = s.find('e'); e != std::string::npos) s[e] = 'E';
  return s;
}

std::string Str(double x) {
  std::string s = CStr(x);
  return x < 0 ? s : " " + s;
}

std::string LTrim(std::string_view s) {
  std::size_t i = 0;
  while (i < s.size() && s[i] == ' ') ++i;
  return std::string(s.substr(i));
}

namespace {

constexpr std::array<double, 23> kPow10 = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                           1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                           1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

constexpr std::array<std::uint64_t, 23> kPow5 = [] {
  std::array<std::uint64_t, 23> p{};
  p[0] = 1;
  for (std::size_t i = 1; i < p.size(); ++i) p[i] = p[i - 1] * 5;
  return p;
}();

}  // namespace

double roundTrip15(double x) {
  const double ax = std::fabs(x);
  if (!(ax >= 1e-7 && ax < 1e15)) {
    if (x == 0 || !std::isfinite(x)) return x == 0 ? 0.0 : x;
    double v = 0;
    const std::string s = CStr(x);
    std::from_chars(s.data(), s.data() + s.size(), v);
    return v;
  }
  // Decimal exponent e with 10^e <= ax < 10^(e+1).
  int e = 0;
  if (ax >= 1) {
    while (e < 14 && ax >= kPow10[e + 1]) ++e;
  } else {
    // Comparing with the nearest doubles of 10^-i picks the digit position
    // exactly, but at those doubles themselves, where either choice rounds alike.
    static constexpr std::array<double, 8> kNeg = {1e0, 1e-1, 1e-2, 1e-3, 1e-4, 1e-5, 1e-6, 1e-7};
    e = -1;
    while (e > -7 && ax < kNeg[static_cast<std::size_t>(-e)]) --e;
  }
  const int k = 14 - e;  // scale that leaves 15 digits before the point
  // ax * 10^k exactly, as mantissa * 5^k * 2^(exp + k), rounded half to even.
  std::uint64_t bits;
  std::memcpy(&bits, &ax, sizeof bits);
  const int biased = static_cast<int>(bits >> 52);  // ax is normal in this range
  const std::uint64_t mant = (bits & ((std::uint64_t{1} << 52) - 1)) | (std::uint64_t{1} << 52);
  const int exp2 = biased - 1075;  // ax = mant * 2^exp2
  const unsigned __int128 m =
      static_cast<unsigned __int128>(mant) * kPow5[static_cast<std::size_t>(k)];
  const int shift = exp2 + k;
  unsigned __int128 n;
  if (shift >= 0) {
    n = m << shift;
  } else if (-shift >= 127) {
    n = 0;
  } else {
    const int s = -shift;
    const unsigned __int128 one = 1;
    const unsigned __int128 rem = m & ((one << s) - 1);
    const unsigned __int128 half = one << (s - 1);
    n = m >> s;
    if (rem > half || (rem == half && (n & 1))) ++n;
  }
  const double r = static_cast<double>(n) / kPow10[static_cast<std::size_t>(k)];
  return x < 0 ? -r : r;
}

}  // namespace tavrel
