// INSTR under a linguistic collation: the core's matchers decide what
// matches, INSTR decides where a match may start and how its position is
// counted.
//
// Rightward, one unanchored search from a candidate finds the next
// occurrence; it counts, and the next search starts one unit after it.
// Leftward, each candidate is asked whether an occurrence starts exactly
// there (the anchored match), from the first candidate down to the start;
// a candidate without one moves the scan one unit left, so an occurrence
// further left is still found.  Each test costs the pattern's length, not
// the rest of the text.
#include "edit/instr.h"

namespace lxk {
namespace instr {
namespace {

constexpr uint32_t kCompleteChars = OPT_STANDARD | OPT_COMPLETE_CHARS;
constexpr uint32_t kChars = OPT_STANDARD | OPT_UCS2_UNITS;

// The offset from c of the first occurrence in [c, E), or -1.
int64_t findFrom(const Search& s, const uint8_t* c, uint32_t flags = LING_MATCH) {
  uint32_t offset = 0, spare = 0;
  if (lxpLinMatch(c, static_cast<uint32_t>(s.E - c), s.P, s.PL, &offset, &spare, flags, s.v.handle,
                  s.ctx) != 1)
    return -1;
  return offset;
}

// Whether an occurrence in [c, end) starts at c.
bool startsAt(const Search& s, const uint8_t* c, const uint8_t* end) {
  uint32_t start = 0, length = 0;
  return lxpLinDirMatch(c, static_cast<uint32_t>(end - c), s.P, s.PL, &start, &length, 0,
                        s.v.handle, s.ctx) == 1;
}

// ---- Rightward stepping ---------------------------------------------------------------

struct Found {
  const uint8_t* unit;  // the unit of the walk that holds the occurrence's start
  const uint8_t* at;    // the occurrence's start
  uint32_t counter;     // the unit's position
};

// From the candidate c (a unit start of position counter) while candidates
// lie at or below bound: the occurrence-th occurrence, found one search at a
// time, each next search one unit after the last occurrence.
template <typename Unit>
bool stepRight(const Search& s, const uint8_t* c, const uint8_t* bound, uint32_t counter,
               Found* found) {
  uint32_t wanted = s.occurrence;
  while (c <= bound && c < s.E) {
    const int64_t offset = findFrom(s, c);
    if (offset < 0) return false;
    const uint8_t* at = c + offset;
    uint32_t passed = 0;
    const uint8_t* unit = stepUnitsWithin<Unit>(s.v, c, at, s.E, 0xFFFFFFFFu, &passed);
    counter += passed;
    if (--wanted == 0) {
      *found = Found{unit, at, counter};
      return true;
    }
    const uint32_t w = Unit::width(s.v, unit, static_cast<uint32_t>(s.E - unit));
    if (w >= static_cast<uint32_t>(s.E - unit)) return false;
    c = unit + w;
    ++counter;
  }
  return false;
}

// The first unit start from the boundary p at or after q, walking by Unit.
template <typename Unit>
const uint8_t* unitAtOrAfter(const Search& s, const uint8_t* p, const uint8_t* q) {
  uint32_t passed = 0;
  p = stepUnitsWithin<Unit>(s.v, p, q, s.E, 0xFFFFFFFFu, &passed);
  if (p < q) p += Unit::width(s.v, p, static_cast<uint32_t>(s.E - p));
  return p;
}

// ---- Leftward scan ----------------------------------------------------------------------

// From the candidate c down to S, stepping with back: the occurrence-th
// candidate at which an occurrence in [c, end) starts.
template <typename Back>
const uint8_t* scanLeft(const Search& s, const uint8_t* c, const uint8_t* end, Back back) {
  uint32_t wanted = s.occurrence;
  while (true) {
    if (c < end && startsAt(s, c, end) && --wanted == 0) return c;
    if (c <= s.S) return nullptr;
    c = back(c);
  }
}

inline uint32_t offsetPosition(const Search& s, const uint8_t* at) {
  return at != nullptr ? static_cast<uint32_t>(at - s.S) + 1 : 0u;
}

template <typename Unit>
uint32_t unitPosition(const Search& s, const uint8_t* at) {
  if (at == nullptr) return 0;
  uint32_t whole = 0;
  stepUnitsWithin<Unit>(s.v, s.S, at, s.E, 0xFFFFFFFFu, &whole);
  return whole + 1;
}

const auto kBackToUtf8Lead = [](const Search& s) {
  return [&s](const uint8_t* c) { return backToUtf8Lead(s.S, c - 1); };
};

// |position| steps back from E with back; null when S comes first.
template <typename Back>
const uint8_t* stepsBackFromEnd(const Search& s, uint32_t steps, Back back) {
  const uint8_t* q = s.E;
  for (uint32_t i = 0; i < steps; ++i) {
    if (q == s.S) return nullptr;
    q = back(q);
  }
  return q;
}

// The bound of rightward stepping: L, or S when the source is shorter.
inline const uint8_t* rightBound(const Search& s) { return s.PL <= s.length() ? s.L : s.S; }

// ---- Byte paths -------------------------------------------------------------------------

uint32_t plainBytes(const Search& s) {
  if (s.position > 0) {
    Found f;
    return stepRight<ByteUnit>(s, s.S + (s.position - 1), s.E - 1, 0, &f) ? offsetPosition(s, f.at)
                                                                          : 0u;
  }
  const uint32_t back = maxU32(s.distance(), s.PL);
  if (back > s.length()) return 0;
  return offsetPosition(s, scanLeft(s, s.E - back, s.E, [](const uint8_t* c) { return c - 1; }));
}

uint32_t utf8Bytes(const Search& s) {
  if (s.position > 0) {
    const uint8_t* c = s.S + (s.position - 1);
    while (c < s.L && !isUtf8Lead(*c)) ++c;
    uint32_t wanted = s.occurrence;
    while (c < s.E) {
      const int64_t offset = findFrom(s, c);
      if (offset < 0) return 0;
      const uint8_t* at = c + offset;
      if (--wanted == 0) return offsetPosition(s, at);
      c = at + 1;
      while (c < s.E && isUtf8Continuation(*c)) ++c;
    }
    return 0;
  }
  const uint32_t back = maxU32(s.distance(), s.PL);
  if (back > s.length()) return 0;
  return offsetPosition(s, scanLeft(s, backToUtf8Lead(s.S, s.E - back), s.E, kBackToUtf8Lead(s)));
}

// ---- UTF-8 characters and code points ---------------------------------------------------

// Whether the search string divides into whole UTF-8 code points; when not,
// the search reports invalid data.
bool wholeCodePoints(const Search& s) {
  uint32_t units = 0;
  const uint8_t* end = s.P + s.PL;
  if (stepUnitsWithin<Utf8CodePoint>(s.v, s.P, end, end, 0xFFFFFFFFu, &units) == end) return true;
  s.ctx->status = NLS_STATUS_INVALID_CHAR;
  return false;
}

// Rightward from the position's unit (characters by W, or code points);
// occurrences are counted in code points either way.
template <typename Skip>
uint32_t utf8Right(const Search& s) {
  const uint32_t skip = static_cast<uint32_t>(s.position - 1);
  uint32_t skipped = 0;
  const uint8_t* c = stepUnitsWithin<Skip>(s.v, s.S, s.E, s.E, skip, &skipped);
  if (skipped < skip || c >= s.E || !isUtf8Lead(*c)) return 0;
  Found f;
  return stepRight<Utf8CodePoint>(s, c, rightBound(s), static_cast<uint32_t>(s.position), &f)
             ? f.counter
             : 0u;
}

uint32_t utf8Chars(const Search& s) {
  if (s.position > 0) return utf8Right<Utf8Char>(s);
  const uint32_t steps = maxU32(s.distance(), unitsStartingIn<Utf8Char>(s.v, s.P, s.P + s.PL));
  const uint8_t* q = stepsBackFromEnd(s, steps, kBackToUtf8Lead(s));
  if (q == nullptr) return 0;
  const uint8_t* c = s.PL <= s.length() && s.L < q ? s.L : q;
  return unitPosition<Utf8CodePoint>(s, scanLeft(s, c, s.E, kBackToUtf8Lead(s)));
}

uint32_t utf8CodePoints(const Search& s) {
  if (!wholeCodePoints(s)) return 0;
  if (s.position > 0) return utf8Right<Utf8CodePoint>(s);
  const uint32_t steps = maxU32(s.distance(), unitsStartingIn<Utf8CodePoint>(s.v, s.P, s.P + s.PL));
  const uint8_t* c =
      stepsBackFromEnd(s, steps, [&s](const uint8_t* q) { return utf8CodePointBack(s.S, q); });
  if (c == nullptr) return 0;
  return unitPosition<Utf8CodePoint>(s, scanLeft(s, c, s.E, kBackToUtf8Lead(s)));
}

// ---- UTF-16 ----------------------------------------------------------------------------

uint32_t utf16Units(const Search& s) {
  const bool inBytes = (s.options & OPT_BYTE_UNITS) != 0;
  const int64_t length = s.length();
  const int64_t last = length - s.PL;
  const auto result = [&](const uint8_t* at) -> uint32_t {
    if (at == nullptr) return 0;
    return inBytes ? offsetPosition(s, at) : static_cast<uint32_t>(at - s.S) / 2 + 1;
  };
  if (s.position > 0) {
    const int64_t offset = utf16FirstOffset(s, inBytes);
    if (offset >= length) return 0;
    uint32_t wanted = s.occurrence;
    for (int64_t k = offset; k <= last;) {
      const int64_t found = findFrom(s, s.S + k);
      if (found < 0) return 0;
      if (--wanted == 0) return result(s.S + k + found);
      k += found + 2;
    }
    return 0;
  }
  const int64_t offset = utf16FirstOffset(s, inBytes);
  if (offset < 0) return 0;
  const uint8_t* S = s.S;
  return result(
      scanLeft(s, s.S + offset, s.E, [S](const uint8_t* c) { return c - S >= 2 ? c - 2 : S; }));
}

const auto kUtf16Back = [](const Search& s) {
  return [&s](const uint8_t* q) { return utf16CodePointBack(s.S, q); };
};

uint32_t utf16CodePoints(const Search& s) {
  if (s.position > 0) {
    const uint32_t skip = static_cast<uint32_t>(s.position - 1);
    uint32_t skipped = 0;
    const uint8_t* c = stepUnitsWithin<Utf16CodePoint>(s.v, s.S, s.E, s.E, skip, &skipped);
    if (skipped < skip) return 0;
    Found f;
    return stepRight<Utf16CodePoint>(s, c, rightBound(s), static_cast<uint32_t>(s.position), &f)
               ? f.counter
               : 0u;
  }
  const uint32_t steps =
      maxU32(s.distance(), unitsStartingIn<Utf16CodePoint>(s.v, s.P, s.P + s.PL));
  const uint8_t* c = stepsBackFromEnd(s, steps, kUtf16Back(s));
  if (c == nullptr) return 0;
  return unitPosition<Utf16CodePoint>(s, scanLeft(s, c, s.E, kUtf16Back(s)));
}

// ---- Complete characters ---------------------------------------------------------------

// Complete characters skipped from a cursor, and where the last one starts.
struct CompleteWalk {
  uint32_t count = 0;
  const uint8_t* lastStart = nullptr;
};

CompleteWalk walkComplete(const Search& s, const uint8_t* p, uint32_t length) {
  CharCursor c;
  lxmopen(p, length, &c, s.v.handle, s.ctx, 0);
  CompleteWalk walk;
  for (const uint8_t* at = c.current; lxoSkip(&c, 1, kCompleteChars, s.ctx) != 0; at = c.current) {
    walk.lastStart = at;
    ++walk.count;
  }
  return walk;
}

// Complete characters, rightward: skip them, then step by code points (of
// UTF-8 or UTF-16).
template <typename CodePoint>
uint32_t completeRight(const Search& s, const CompleteWalk& source) {
  const bool utf8 = std::is_same_v<CodePoint, Utf8CodePoint>;
  const uint32_t skip = static_cast<uint32_t>(s.position - 1);
  if (source.count == 0 || (utf8 && skip >= source.count)) return 0;
  CharCursor c;
  lxmopen(s.S, s.length(), &c, s.v.handle, s.ctx, 0);
  if (skip > 0) lxoSkip(&c, skip < source.count ? skip : source.count, kCompleteChars, s.ctx);
  const uint8_t* bound = s.PL <= s.length() ? source.lastStart : s.S;
  Found f;
  return stepRight<CodePoint>(s, c.current, bound, static_cast<uint32_t>(s.position), &f)
             ? f.counter
             : 0u;
}

// Leftward: |position| code-point steps back from E (from S when they reach
// it), then candidates one step back at a time (to a UTF-8 lead byte, or a
// UTF-16 code point).
template <typename CodePoint, typename CodePointBack, typename Back>
uint32_t complete(const Search& s, CodePointBack codePointBack, Back back) {
  if (std::is_same_v<CodePoint, Utf8CodePoint> && !wholeCodePoints(s)) return 0;
  StatusKeeper keep(s.ctx);
  const CompleteWalk source = walkComplete(s, s.S, s.length());
  if (s.position > 0) return completeRight<CodePoint>(s, source);
  const uint32_t patternChars = walkComplete(s, s.P, s.PL).count;
  const uint32_t distance = maxU32(s.distance(), patternChars);
  if (int64_t{source.count} - distance + 1 <= 0) return 0;
  const uint8_t* c = stepsBackFromEnd(s, distance, codePointBack);
  if (c == nullptr) c = s.S;
  return unitPosition<CodePoint>(s, scanLeft(s, c, s.E, back));
}

// ---- Lead-byte tables ------------------------------------------------------------------

template <typename Unit>
const uint8_t* previousBoundary(const Search& s, const uint8_t* c) {
  if constexpr (std::is_same_v<Unit, ByteUnit>)
    return c - 1;
  else
    return lastBoundaryBefore<std::is_same_v<Unit, Gb18030Char>>(s.v.table, s.S, c - 1);
}

template <typename Unit>
uint32_t leadChars(const Search& s) {
  if (s.position > 0) {
    const uint32_t skip = static_cast<uint32_t>(s.position - 1);
    uint32_t skipped = 0;
    const uint8_t* c = stepUnitsWithin<Unit>(s.v, s.S, s.E, s.E, skip, &skipped);
    if (skipped < skip) return 0;
    Found f;
    return stepRight<Unit>(s, c, rightBound(s), static_cast<uint32_t>(s.position), &f) ? f.counter
                                                                                       : 0u;
  }
  const uint32_t searchChars = unitsStartingIn<Unit>(s.v, s.P, s.P + s.PL);
  const uint32_t sourceChars = unitsStartingIn<Unit>(s.v, s.S, s.E);
  const int64_t kept = s.distance() > searchChars && s.position != -1
                           ? int64_t{sourceChars} - s.distance() + searchChars
                           : int64_t{sourceChars};
  if (kept < 1) return 0;
  uint32_t passed = 0;
  const uint8_t* cut =
      stepUnitsWithin<Unit>(s.v, s.S, s.E, s.E, static_cast<uint32_t>(kept), &passed);
  if (passed < kept) cut = s.E;
  // From the last character (position -1) or the one n characters before
  // the cut's end.
  const int64_t first = s.position == -1 ? int64_t{sourceChars} - 1 : kept - searchChars;
  if (first < 0) return 0;
  const uint8_t* c =
      stepUnitsWithin<Unit>(s.v, s.S, s.E, s.E, static_cast<uint32_t>(first), &passed);
  return unitPosition<Unit>(
      s, scanLeft(s, c, cut, [&s](const uint8_t* q) { return previousBoundary<Unit>(s, q); }));
}

template <typename Unit>
uint32_t leadBytes(const Search& s) {
  if (s.position > 0) {
    const uint8_t* c = unitAtOrAfter<Unit>(s, s.S, s.S + (s.position - 1));
    uint32_t wanted = s.occurrence;
    while (c <= rightBound(s) && c < s.E) {
      const int64_t offset = findFrom(s, c);
      if (offset < 0) return 0;
      // The walk passes the occurrence when it starts inside a character.
      const uint8_t* at = unitAtOrAfter<Unit>(s, c, c + offset);
      if (--wanted == 0) return offsetPosition(s, at);
      if (at >= s.E) return 0;
      c = at + Unit::width(s.v, at, static_cast<uint32_t>(s.E - at));
    }
    return 0;
  }
  const int64_t kept =
      s.distance() > s.PL ? int64_t{s.length()} - s.distance() + s.PL : int64_t{s.length()};
  if (kept <= 0) return 0;
  const uint8_t* cut = s.S + kept;
  const uint8_t* c = previousBoundary<Unit>(s, cut);
  return offsetPosition(
      s, scanLeft(s, c, cut, [&s](const uint8_t* q) { return previousBoundary<Unit>(s, q); }));
}

// UCS-2 units over a set with supplementary characters, rightward.
uint32_t leadUcs2Right(const Search& s) {
  const Ucs2Chars chars(s);
  const uint8_t* c = s.S;
  int64_t rest = s.position;
  while (rest > 1 && c < s.E) {
    const uint32_t w = chars.width(c);
    rest -= chars.units(c, w);
    c += w;
  }
  if (rest > 1) return 0;
  uint32_t counter = static_cast<uint32_t>(s.position) + (rest == 0 ? 1u : 0u);
  uint32_t wanted = s.occurrence;
  while (c <= rightBound(s) && c < s.E) {
    const int64_t offset = findFrom(s, c, 0);
    if (offset < 0) return 0;
    counter += chars.units(c, static_cast<uint32_t>(offset));
    const uint8_t* at = c + offset;
    if (--wanted == 0) return counter;
    if (at >= s.E) return 0;
    const uint32_t w = chars.width(at);
    counter += chars.units(at, w);
    c = at + w;
  }
  return 0;
}

// ---- Shift-sensitive sets ---------------------------------------------------------------

uint32_t shiftSensitive(const Search& s) {
  StatusKeeper keep(s.ctx);
  const bool inBytes = s.path == Path::ShiftBytes;
  CharCursor pattern;
  const uint32_t patternOpened = lxmopen(s.P, s.PL, &pattern, s.v.handle, s.ctx, 0);
  const uint32_t patternLength = s.PL > patternOpened ? s.PL - patternOpened : 0u;
  CharCursor source;
  lxmopen(s.S, s.length(), &source, s.v.handle, s.ctx, 0);
  uint32_t first = 0, spare = 0;
  const auto matchesAt = [&](CharCursor& c) {
    return c.shiftState == pattern.shiftState &&
           lxpoLinDirMatch(&c, bytesLeft(c), &pattern, patternLength, &first, &spare, LING_MATCH,
                           s.v.handle, s.ctx) == 1;
  };

  if (s.position > 0) {
    const uint32_t skip = static_cast<uint32_t>(s.position - 1);
    uint32_t counter = static_cast<uint32_t>(s.position);
    if (inBytes) {
      while (!atEnd(source) && static_cast<uint32_t>(source.current - s.S) < skip)
        advance(source, s.ctx);
    } else if (skip > 0 && lxoSkip(&source, skip, kChars, s.ctx) == 0) {
      return 0;
    }
    uint32_t wanted = s.occurrence;
    while (!atEnd(source)) {
      if (matchesAt(source) && --wanted == 0)
        return inBytes ? offsetPosition(s, source.current) : counter;
      advance(source, s.ctx);
      ++counter;
    }
    return 0;
  }

  // Leftward: matches that end with the n-th character, n falling; the
  // match's start is the occurrence.
  const uint32_t sourceChars = lxoCntChar(&source, bytesLeft(source), kChars, s.ctx);
  const uint32_t searchChars = lxsCntChar(s.P, s.PL, kChars, s.v.handle, s.ctx);
  uint32_t chars = sourceChars;
  const uint8_t* limit = s.E;
  if (inBytes) {
    limit = s.E - s.distance();
  } else if (s.distance() > searchChars && s.position != -1) {
    const int64_t kept = int64_t{sourceChars} - s.distance() + searchChars;
    if (kept < 1) return 0;
    chars = static_cast<uint32_t>(kept);
  }
  uint32_t wanted = s.occurrence;
  for (uint32_t n = chars; n >= 1; --n) {
    const uint32_t bytes = lxoCntByte(&source, bytesLeft(source), n, OPT_STANDARD, s.ctx);
    if (lxpoLinDirMatch(&source, bytes, &pattern, patternLength, &first, &spare,
                        LING_MATCH | LING_AT_END, s.v.handle, s.ctx) != 1)
      continue;
    const uint8_t* at = source.current + first;
    if (at > limit || --wanted != 0) continue;
    if (inBytes) return offsetPosition(s, at);
    // 1 + the characters from the start to the match.
    CharCursor c = source;
    uint32_t position = 1;
    while (!atEnd(c) && c.current < at) {
      advance(c, s.ctx);
      if (c.current <= at) ++position;
    }
    return position;
  }
  return 0;
}

}  // namespace

uint32_t linguisticSearch(const Search& s) {
  switch (s.path) {
    case Path::Bytes:
      return plainBytes(s);
    case Path::Utf8Bytes:
      return utf8Bytes(s);
    case Path::Utf8Chars:
      return utf8Chars(s);
    case Path::Utf8CodePoints:
      return utf8CodePoints(s);
    case Path::Utf8Complete:
      return complete<Utf8CodePoint>(
          s, [&s](const uint8_t* q) { return utf8CodePointBack(s.S, q); }, kBackToUtf8Lead(s));
    case Path::Utf16Units:
      return utf16Units(s);
    case Path::Utf16CodePoints:
      return utf16CodePoints(s);
    case Path::Utf16Complete:
      return complete<Utf16CodePoint>(s, kUtf16Back(s), kUtf16Back(s));
    case Path::ShiftChars:
    case Path::ShiftBytes:
      return shiftSensitive(s);
    case Path::LeadChars:
      if (countsUcs2Rightward(s)) return leadUcs2Right(s);
      return withCharPolicy(s.v, [&](auto unit) { return leadChars<decltype(unit)>(s); });
    case Path::LeadBytes:
      return withCharPolicy(s.v, [&](auto unit) { return leadBytes<decltype(unit)>(s); });
  }
  return 0;
}

}  // namespace instr
}  // namespace lxk
