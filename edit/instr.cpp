// INSTR: the position of the n-th occurrence of a search string, searching
// rightward from a position or leftward from one counted from the end, in
// bytes, characters, UCS-2 units, code points or complete characters.
//
// Exact searches whose units the bytes tell are one scan per direction over
// a unit policy: the search kernel finds the next (or previous) place where
// the bytes occur, the policy's walk tells whether a unit starts there, and
// the units passed give the position.  Shift-sensitive sets and complete
// characters go through the core's cursors; linguistic searches through the
// core's matchers (edit/instr_linguistic.cpp).
//
// Malformed input never makes a path read outside the source: walks stop at a
// unit that runs past the end, kernels read only the bytes a match could take.
#include "edit/instr.h"

#include <cstring>

#include "frame/search_kernels.h"

namespace lxk {
namespace instr {
namespace {

// ---- Unit agreement -------------------------------------------------------------
//
// Byte equality is the whole exact test where a unit is a byte, a code unit
// or a character by its lead byte.  Code points also need the search string
// to divide into the same units as the source at the match: a lone half of a
// surrogate pair never matches the pair.

// Width of the search string's unit at q (left bytes to its end), 0 when that
// unit can match nothing: it runs past the end, or it is a UTF-16 high
// surrogate without its pair.
template <typename Unit>
inline uint32_t searchUnitWidth(const CharsetView& v, const uint8_t* q, uint32_t left) {
  const uint32_t w = Unit::width(v, q, left);
  if (w > left) return 0;
  if constexpr (std::is_same_v<Unit, Utf16CodePoint>)
    if (w == 2 && isHighSurrogateByte(q[0])) return 0;
  return w;
}

template <typename Unit>
inline bool unitsAgree(const Search& s, const uint8_t* h) {
  if constexpr (!detail::kWidthNeedsEnd<Unit>) {
    (void)s;
    (void)h;
    return true;
  } else {
    const uint8_t* q = s.P;
    const uint8_t* const patternEnd = s.P + s.PL;
    while (q < patternEnd) {
      const uint32_t w = searchUnitWidth<Unit>(s.v, q, static_cast<uint32_t>(patternEnd - q));
      if (w == 0 || Unit::width(s.v, h, static_cast<uint32_t>(s.E - h)) != w) return false;
      q += w;
      h += w;
    }
    return true;
  }
}

// ---- The two exact scans ----------------------------------------------------------

// Bytes searched before they are counted: within the second-level cache.
constexpr ptrdiff_t kCountWindow = 32768;

// Rightward from the first candidate p, a unit start whose position is
// *counter: the occurrence-th match at a unit start, *counter its position;
// null when there is none.
template <typename Unit>
const uint8_t* scanRight(const Search& s, const uint8_t* p, uint32_t* counter) {
  const SearchKernels& k = searchKernels();
  // UTF-8 whose table steps like the counting kernel: a hit that no byte
  // before it announces is a boundary of every walk, so the characters up
  // to it are a plain count.
  [[maybe_unused]] bool countUtf8 = false;
  if constexpr (std::is_same_v<Unit, Utf8Char>) countUtf8 = utf8TableMatchesKernels(s.v.table, 4);
  uint32_t wanted = s.occurrence;
  const uint8_t* from = p;
  if (countUtf8 && s.PL == 1 && s.P[0] < 0x80) {
    // An ASCII byte in ASCII text: the characters up to a hit are its bytes,
    // so one pass finds and counts.  The first byte of 0x80 or more is a
    // boundary (only ASCII before it), where the general loop takes over.
    for (;;) {
      const uint8_t* h = k.findInAscii(from, s.E, s.P[0]);
      *counter += static_cast<uint32_t>(h - p);
      p = h;
      if (h == s.E) return nullptr;
      if (*h != s.P[0]) break;
      if (--wanted == 0) return h;
      from = h + 1;
    }
    from = p;
  }
  while (from <= s.L) {
    // Counted text is searched a window at a time and counted while the
    // window is still in cache; a one-byte search string is left to memchr
    // over the whole text, which streams faster than windows of it.
    const bool windowed = countUtf8 && s.PL > 1 && s.L - from > kCountWindow;
    const uint8_t* h = k.find(from, windowed ? from + kCountWindow + s.PL - 1 : s.E, s.P, s.PL);
    if (h == nullptr) {
      if (!windowed) return nullptr;
      // Up to a boundary of every walk near the window's end.
      const uint8_t* q = from + kCountWindow;
      while (utf8Announced(p, q)) --q;
      *counter += kernels().utf8Count(p, q, 4);
      p = q;
      from += kCountWindow;
      continue;
    }
    uint32_t passed = 0;
    if (countUtf8 && !utf8Announced(p, h)) {
      passed = kernels().utf8Count(p, h, 4);
      p = h;
    } else {
      p = stepUnitsWithin<Unit>(s.v, p, h, s.E, 0xFFFFFFFFu, &passed);
    }
    *counter += passed;
    if (p == h && unitsAgree<Unit>(s, h) && --wanted == 0) return h;
    from = h + 1;
  }
  return nullptr;
}

// Leftward from top (at most L) down to S: the occurrence-th match at a
// candidate of the path, null when there is none.
template <typename Unit, typename IsCandidate>
const uint8_t* scanLeft(const Search& s, const uint8_t* top, IsCandidate isCandidate) {
  const SearchKernels& k = searchKernels();
  uint32_t wanted = s.occurrence;
  while (true) {
    const uint8_t* h = k.findLast(s.S, top, s.P, s.PL);
    if (h == nullptr) return nullptr;
    if (isCandidate(h) && unitsAgree<Unit>(s, h) && --wanted == 0) return h;
    if (h == s.S) return nullptr;
    top = h - 1;
  }
}

// The 1-based position of the unit of the walk from S that h lies in.
template <typename Unit>
uint32_t positionOf(const Search& s, const uint8_t* h) {
  if constexpr (std::is_same_v<Unit, Utf8Char>)
    if (!utf8Announced(s.S, h) && utf8TableMatchesKernels(s.v.table, 4))
      return kernels().utf8Count(s.S, h, 4) + 1;
  uint32_t whole = 0;
  stepUnitsWithin<Unit>(s.v, s.S, h, s.E, 0xFFFFFFFFu, &whole);
  return whole + 1;
}

inline uint32_t bytePosition(const Search& s, const uint8_t* h) {
  return h != nullptr ? static_cast<uint32_t>(h - s.S) + 1 : 0u;
}

// Rightward in units: skip position - 1 units from S, then scan.
template <typename Unit>
uint32_t unitsRight(const Search& s) {
  const uint32_t skip = static_cast<uint32_t>(s.position - 1);
  uint32_t skipped = 0;
  const uint8_t* p = stepUnitsWithin<Unit>(s.v, s.S, s.E, s.E, skip, &skipped);
  if (skipped < skip || p > s.L) return 0;
  uint32_t counter = static_cast<uint32_t>(s.position);
  return scanRight<Unit>(s, p, &counter) != nullptr ? counter : 0u;
}

// ---- UTF-8 ----------------------------------------------------------------------------

// Leftward UTF-8 candidates: the first, every lead byte below it and S.
struct Utf8Candidates {
  const uint8_t* S;
  const uint8_t* first;
  bool operator()(const uint8_t* h) const { return h == first || h == S || isUtf8Lead(*h); }
};

uint32_t utf8Bytes(const Search& s) {
  if (s.position > 0) {
    const uint8_t* c = s.S + (s.position - 1);
    if (c > s.L) return 0;
    while (c < s.L && !isUtf8Lead(*c)) ++c;
    uint32_t counter = 0;
    return bytePosition(s, scanRight<ByteUnit>(s, c, &counter));
  }
  const uint32_t back = maxU32(s.distance(), s.PL);
  if (back > s.length()) return 0;
  const uint8_t* c = backToUtf8Lead(s.S, s.E - back);
  return bytePosition(s, scanLeft<ByteUnit>(s, c, Utf8Candidates{s.S, c}));
}

// Characters by the lead byte, or code points: |position| steps back from E
// (one byte and back to a lead byte, or a code point), each needing a unit
// before it.
template <typename Unit>
uint32_t utf8Units(const Search& s) {
  if (s.position > 0) return unitsRight<Unit>(s);
  const uint32_t steps = maxU32(s.distance(), unitsStartingIn<Unit>(s.v, s.P, s.P + s.PL));
  const uint8_t* q = s.E;
  for (uint32_t i = 0; i < steps; ++i) {
    if (q == s.S) return 0;
    q = std::is_same_v<Unit, Utf8CodePoint> ? utf8CodePointBack(s.S, q)
                                            : backToUtf8Lead(s.S, q - 1);
  }
  const uint8_t* top = q < s.L ? q : s.L;
  const uint8_t* h = scanLeft<Unit>(s, top, Utf8Candidates{s.S, top});
  return h != nullptr ? positionOf<Unit>(s, h) : 0u;
}

// ---- UTF-16 -------------------------------------------------------------------------

uint32_t utf16Units(const Search& s) {
  const bool inBytes = (s.options & OPT_BYTE_UNITS) != 0;
  const int64_t length = s.length();
  const int64_t last = length - s.PL;
  if (s.position > 0) {
    const int64_t offset = utf16FirstOffset(s, inBytes);
    if (offset > last) return 0;
    uint32_t counter = 0;
    const uint8_t* h = scanRight<Utf16Unit>(s, s.S + offset, &counter);
    if (h == nullptr) return 0;
    return inBytes ? bytePosition(s, h) : static_cast<uint32_t>(h - s.S) / 2 + 1;
  }
  const int64_t offset = utf16FirstOffset(s, inBytes);
  if (offset < 0) return 0;
  const uint8_t* c = s.S + offset;
  const uint8_t* h =
      scanLeft<Utf16Unit>(s, c, [c](const uint8_t* at) { return ((c - at) & 1) == 0; });
  if (h == nullptr) return 0;
  return inBytes ? bytePosition(s, h) : static_cast<uint32_t>(h - s.S) / 2 + 1;
}

uint32_t utf16CodePoints(const Search& s) {
  if (s.position > 0) return unitsRight<Utf16CodePoint>(s);
  const uint32_t steps =
      maxU32(s.distance(), unitsStartingIn<Utf16CodePoint>(s.v, s.P, s.P + s.PL));
  const uint8_t* q = s.E;
  for (uint32_t i = 0; i < steps; ++i) {
    if (q == s.S) return 0;
    q = utf16CodePointBack(s.S, q);
  }
  const uint8_t* c = q;
  const uint8_t* top = c < s.L ? c : s.L;
  // The steps back from c visit every second byte below it, except the low
  // half of a pair, and S.
  const uint8_t* S = s.S;
  const auto isCandidate = [c, S](const uint8_t* h) {
    if (h == c) return true;
    if (((c - h) & 1) != 0) return h == S;
    return !(isLowSurrogateByte(h[0]) && h - S >= 2 && isHighSurrogateByte(h[-2]));
  };
  const uint8_t* h = scanLeft<Utf16CodePoint>(s, top, isCandidate);
  return h != nullptr ? positionOf<Utf16CodePoint>(s, h) : 0u;
}

// ---- Lead-byte tables -----------------------------------------------------------------

// Whether a character of the walk from S starts at h, found from the back.
template <typename Unit>
struct LeadBoundary {
  const CharsetView* v;
  const uint8_t* S;
  bool operator()(const uint8_t* h) const {
    if constexpr (std::is_same_v<Unit, ByteUnit>)
      return true;
    else
      return lastBoundaryBefore<std::is_same_v<Unit, Gb18030Char>>(v->table, S, h) == h;
  }
};

template <typename Unit>
uint32_t leadChars(const Search& s) {
  if (s.position > 0) return unitsRight<Unit>(s);
  const uint32_t searchUnits = unitsStartingIn<Unit>(s.v, s.P, s.P + s.PL);
  const uint8_t* top = s.L;
  if (s.distance() > searchUnits) {
    // Only matches that end within the first m - |position| + n characters.
    const int64_t keep = int64_t{unitsStartingIn<Unit>(s.v, s.S, s.E)} - s.distance() + searchUnits;
    if (keep < 1) return 0;
    uint32_t kept = 0;
    const uint8_t* cut =
        stepUnitsWithin<Unit>(s.v, s.S, s.E, s.E, static_cast<uint32_t>(keep), &kept);
    if (kept < keep) cut = s.E;  // the last character runs past the end
    if (static_cast<uint32_t>(cut - s.S) < s.PL) return 0;
    top = cut - s.PL;
  }
  const uint8_t* h = scanLeft<Unit>(s, top, LeadBoundary<Unit>{&s.v, s.S});
  return h != nullptr ? positionOf<Unit>(s, h) : 0u;
}

template <typename Unit>
uint32_t leadBytes(const Search& s) {
  if (s.position > 0) {
    // The first character start at or after byte position - 1.
    const uint8_t* target = s.S + (s.position - 1);
    const uint8_t* c = target;
    if constexpr (!std::is_same_v<Unit, ByteUnit>) {
      c = lastBoundaryBefore<std::is_same_v<Unit, Gb18030Char>>(s.v.table, s.S, target);
      if (c < target) c += Unit::width(s.v, c, static_cast<uint32_t>(s.E - c));
    }
    if (c > s.L) return 0;
    uint32_t counter = 0;
    return bytePosition(s, scanRight<Unit>(s, c, &counter));
  }
  const uint8_t* top = s.distance() > s.PL ? s.E - s.distance() : s.L;
  return bytePosition(s, scanLeft<Unit>(s, top, LeadBoundary<Unit>{&s.v, s.S}));
}

// UCS-2 units over a set with supplementary characters, rightward: every
// character counts one unit or two, as the core says.
uint32_t leadUcs2Right(const Search& s) {
  const Ucs2Chars chars(s);
  const uint8_t* p = s.S;
  int64_t rest = s.position;
  while (rest > 1) {
    if (p > s.L || chars.cut(p)) return 0;
    const uint32_t w = chars.width(p);
    rest -= chars.units(p, w);
    p += w;
  }
  // A two-unit character across the start position: the next one is one on.
  uint32_t counter = static_cast<uint32_t>(s.position) + (rest == 0 ? 1u : 0u);
  uint32_t wanted = s.occurrence;
  while (p <= s.L) {
    if (*p == s.P[0] && std::memcmp(p, s.P, s.PL) == 0 && --wanted == 0) return counter;
    const uint32_t w = chars.width(p);
    counter += chars.units(p, w);
    p += w;
  }
  return 0;
}

}  // namespace

uint32_t exactSearch(const Search& s) {
  if (s.PL > s.length()) return 0;
  switch (s.path) {
    case Path::Bytes:
      if (s.position > 0) {
        uint32_t counter = 0;
        return bytePosition(s, scanRight<ByteUnit>(s, s.S + (s.position - 1), &counter));
      } else {
        const uint32_t back = maxU32(s.distance(), s.PL);
        return bytePosition(s,
                            scanLeft<ByteUnit>(s, s.E - back, [](const uint8_t*) { return true; }));
      }
    case Path::Utf8Bytes:
      return utf8Bytes(s);
    case Path::Utf8Chars:
      return utf8Units<Utf8Char>(s);
    case Path::Utf8CodePoints:
      return utf8Units<Utf8CodePoint>(s);
    case Path::Utf16Units:
      return utf16Units(s);
    case Path::Utf16CodePoints:
      return utf16CodePoints(s);
    case Path::LeadChars:
      if (countsUcs2Rightward(s)) return leadUcs2Right(s);
      return withCharPolicy(s.v, [&](auto unit) { return leadChars<decltype(unit)>(s); });
    case Path::LeadBytes:
      return withCharPolicy(s.v, [&](auto unit) { return leadBytes<decltype(unit)>(s); });
    default:
      return 0;
  }
}

}  // namespace instr
}  // namespace lxk
