// Searches along one row of pixels, four or eight at a time where the
// machine allows: the inner loops of the flood fill.
#pragma once

#include "canvas/convert.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tavrel::scan {

// First i in [from, to) where (p[i] == v) == wantEqual, else `to`.
template <bool wantEqual>
inline int findFirst(const Colour* p, int from, int to, Colour v) {
  int i = from;
#if defined(__SSE2__)
  const __m128i needle = _mm_set1_epi32(v);
  for (; i + 8 <= to; i += 8) {
    const __m128i a =
        _mm_cmpeq_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i)), needle);
    const __m128i b =
        _mm_cmpeq_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i + 4)), needle);
    int mask = _mm_movemask_ps(_mm_castsi128_ps(a)) | (_mm_movemask_ps(_mm_castsi128_ps(b)) << 4);
    if (!wantEqual) mask = ~mask & 0xFF;
    if (mask) return i + __builtin_ctz(static_cast<unsigned>(mask));
  }
#endif
  for (; i < to; ++i)
    if ((p[i] == v) == wantEqual) return i;
  return to;
}

inline int findEqual(const Colour* p, int from, int to, Colour v) {
  return findFirst<true>(p, from, to, v);
}
inline int findNotEqual(const Colour* p, int from, int to, Colour v) {
  return findFirst<false>(p, from, to, v);
}

// Last i in [0, from] with p[i] == v, else -1.
inline int findEqualBackward(const Colour* p, int from, Colour v) {
  int i = from;
#if defined(__SSE2__)
  const __m128i needle = _mm_set1_epi32(v);
  for (; i - 7 >= 0; i -= 8) {
    const __m128i a =
        _mm_cmpeq_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i - 7)), needle);
    const __m128i b =
        _mm_cmpeq_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i - 3)), needle);
    const int mask =
        _mm_movemask_ps(_mm_castsi128_ps(a)) | (_mm_movemask_ps(_mm_castsi128_ps(b)) << 4);
    if (mask) return i - 7 + 31 - __builtin_clz(static_cast<unsigned>(mask));
  }
#endif
  for (; i >= 0; --i)
    if (p[i] == v) return i;
  return -1;
}

// p[0..n) = v.
inline void fill(Colour* p, int n, Colour v) {
  int i = 0;
#if defined(__SSE2__)
  const __m128i value = _mm_set1_epi32(v);
  for (; i + 8 <= n; i += 8) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p + i), value);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p + i + 4), value);
  }
#endif
  for (; i < n; ++i) p[i] = v;
}

}  // namespace tavrel::scan
