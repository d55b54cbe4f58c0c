// The byte filter in front of linguistic search in UTF-8 text: the offsets
// at which a match could start, found sixteen bytes at a time.
//
// A filter holds up to four anchors (the first byte of a character's UTF-8
// form, with its last byte at a fixed distance) and may also pass every lead
// byte from a floor up: 0xC0 when the characters that can start a match are
// too many to name, 0xF0 for supplementary characters, which the tables do
// not index.  Whatever passes is only a candidate; the caller decides.
#pragma once

#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace nls::ling {

struct ByteAnchor {
  uint8_t first;
  uint8_t last;
  uint8_t lastOffset;  // 0 for a one-byte character
};

// One-byte anchors may ask for a byte after them: one of up to four ASCII
// bytes, or any byte that is no ASCII character with weight (controls and
// every byte from 0x80 up).
struct FollowSet {
  uint8_t bytes[4];
  uint32_t count = 0;
  bool any = true;

  bool passes(uint8_t b) const {
    if (any || b < 0x20 || b >= 0x7F) return true;
    for (uint32_t k = 0; k < count; ++k)
      if (b == bytes[k]) return true;
    return false;
  }
};

struct StartFilter {
  ByteAnchor anchors[4];
  uint32_t anchorCount = 0;
  FollowSet follow;          // after the one-byte anchors
  uint8_t leadFloor = 0xF0;  // lead bytes from here up pass
  uint32_t reach = 1;        // bytes read past a candidate: the largest lastOffset, at least 1

  bool passes(const uint8_t* t, uint32_t i, uint32_t n) const {
    const uint8_t b = t[i];
    if (b >= leadFloor) return true;
    for (uint32_t a = 0; a < anchorCount; ++a) {
      const ByteAnchor& x = anchors[a];
      if (b != x.first) continue;
      if (x.lastOffset == 0 ? (i + 1 == n || follow.passes(t[i + 1]))
                            : (i + x.lastOffset < n && t[i + x.lastOffset] == x.last))
        return true;
    }
    return false;
  }
};

// Calls visit(i) for each i in [from, n) that passes the filter, in order,
// until visit returns true; returns whether it did.
template <class Visit>
bool scanStarts(const uint8_t* t, uint32_t from, uint32_t n, const StartFilter& f, Visit visit) {
  uint32_t i = from;
#if defined(__SSE2__)
  __m128i first[4], last[4];
  for (uint32_t a = 0; a < f.anchorCount; ++a) {
    first[a] = _mm_set1_epi8(static_cast<char>(f.anchors[a].first));
    last[a] = _mm_set1_epi8(static_cast<char>(f.anchors[a].last));
  }
  const __m128i floor = _mm_set1_epi8(static_cast<char>(f.leadFloor));
  __m128i follow[4];
  for (uint32_t k = 0; k < f.follow.count; ++k)
    follow[k] = _mm_set1_epi8(static_cast<char>(f.follow.bytes[k]));
  const __m128i space = _mm_set1_epi8(0x20), del = _mm_set1_epi8(0x7F);
  while (n - i >= 16 + f.reach && i < n) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(t + i));
    __m128i next = _mm_set1_epi8(-1);
    if (!f.follow.any) {
      // Signed: controls and bytes from 0x80 up are below the space.
      const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(t + i + 1));
      next = _mm_or_si128(_mm_cmplt_epi8(w, space), _mm_cmpeq_epi8(w, del));
      for (uint32_t k = 0; k < f.follow.count; ++k)
        next = _mm_or_si128(next, _mm_cmpeq_epi8(w, follow[k]));
    }
    __m128i hit = _mm_cmpeq_epi8(_mm_max_epu8(v, floor), v);
    for (uint32_t a = 0; a < f.anchorCount; ++a) {
      __m128i h = _mm_cmpeq_epi8(v, first[a]);
      if (f.anchors[a].lastOffset != 0) {
        const __m128i w =
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(t + i + f.anchors[a].lastOffset));
        h = _mm_and_si128(h, _mm_cmpeq_epi8(w, last[a]));
      } else {
        h = _mm_and_si128(h, next);
      }
      hit = _mm_or_si128(hit, h);
    }
    for (auto mask = static_cast<uint32_t>(_mm_movemask_epi8(hit)); mask != 0; mask &= mask - 1)
      if (visit(i + static_cast<uint32_t>(__builtin_ctz(mask)))) return true;
    i += 16;
  }
#endif
  for (; i < n; ++i)
    if (f.passes(t, i, n) && visit(i)) return true;
  return false;
}

// UTF-16 text (big-endian units from the text's start): the units that can
// start a match are up to four named units, every high surrogate
// (supplementary characters are not indexed) and, with fromAscii, every unit
// from 0x80 up.
struct Utf16StartFilter {
  uint16_t units[4];
  uint32_t count = 0;
  bool fromAscii = false;

  bool passes(const uint8_t* t, uint32_t i) const {
    const uint32_t u = static_cast<uint32_t>(t[i]) << 8 | t[i + 1];
    if ((t[i] & 0xFCu) == 0xD8u || (fromAscii && u >= 0x80)) return true;
    for (uint32_t k = 0; k < count; ++k)
      if (u == units[k]) return true;
    return false;
  }
};

// Calls visit(i) for each even i with a whole unit in [0, n) that passes the
// filter, in order, until visit returns true; returns whether it did.
template <class Visit>
bool scanUtf16Starts(const uint8_t* t, uint32_t n, const Utf16StartFilter& f, Visit visit) {
  uint32_t i = 0;
  const uint32_t whole = n & ~1u;
#if defined(__SSE2__)
  // Loaded as little-endian 16-bit lanes, a unit's first byte is the low byte.
  __m128i named[4];
  for (uint32_t k = 0; k < f.count; ++k) {
    const uint32_t u = f.units[k];
    named[k] = _mm_set1_epi16(static_cast<int16_t>(static_cast<uint16_t>((u >> 8) | (u << 8))));
  }
  const __m128i firstBits = _mm_set1_epi16(0x00FC), highSurrogate = _mm_set1_epi16(0x00D8);
  const __m128i zero = _mm_setzero_si128();
  while (whole - i >= 16) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(t + i));
    __m128i hit = _mm_cmpeq_epi16(_mm_and_si128(v, firstBits), highSurrogate);
    for (uint32_t k = 0; k < f.count; ++k) hit = _mm_or_si128(hit, _mm_cmpeq_epi16(v, named[k]));
    auto mask = static_cast<uint32_t>(_mm_movemask_epi8(hit)) & 0x5555u;
    if (f.fromAscii) {
      // From 0x80 up: a first byte that is not zero, or a second byte >= 0x80.
      const auto bytes = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, zero)));
      mask |= (~bytes & 0x5555u) | ((static_cast<uint32_t>(_mm_movemask_epi8(v)) & 0xAAAAu) >> 1);
    }
    for (; mask != 0; mask &= mask - 1)
      if (visit(i + static_cast<uint32_t>(__builtin_ctz(mask)))) return true;
    i += 16;
  }
#endif
  for (; i < whole; i += 2)
    if (f.passes(t, i) && visit(i)) return true;
  return false;
}

}  // namespace nls::ling
