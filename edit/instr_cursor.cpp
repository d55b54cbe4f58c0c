// INSTR through the core's cursors: complete characters of UTF-8 and UTF-16
// (the core skips them; two are equal by their bytes or their composed
// forms) and shift-sensitive sets (the core finds the pattern at character
// starts).  Leftward exact searches count the matches in the part of the
// source a match may lie in, then find the wanted one again from the left:
// two counters, no list of matches.
#include <cstring>

#include "edit/instr.h"

namespace lxk {
namespace instr {
namespace {

constexpr uint32_t kCompleteChars = OPT_STANDARD | OPT_COMPLETE_CHARS;
constexpr uint32_t kChars = OPT_STANDARD | OPT_UCS2_UNITS;

CharCursor openReader(const Search& s, const uint8_t* p, uint32_t length, uint32_t* usable) {
  CharCursor c;
  const uint32_t consumed = lxmopen(p, length, &c, s.v.handle, s.ctx, 0);
  *usable = consumed < length ? length - consumed : 0u;
  return c;
}

// ---- Complete characters ------------------------------------------------------------

// Equal complete characters: the same bytes, or the same composed form.
// The core composes into 32 bytes, or as many as its input when that is
// more: a longer character is equal only to its own bytes.
constexpr uint32_t kComposedRoom = 32;

bool sameComplete(const Search& s, const uint8_t* a, uint32_t la, const uint8_t* b, uint32_t lb) {
  if (la == lb && std::memcmp(a, b, la) == 0) return true;
  if (la > kComposedRoom || lb > kComposedRoom) return false;
  uint8_t composedA[kComposedRoom], composedB[kComposedRoom];
  const uint32_t ca = lxcsCompose(s.v.def, composedA, a, la, s.ctx) & 0xFFFFu;
  const uint32_t cb = lxcsCompose(s.v.def, composedB, b, lb, s.ctx) & 0xFFFFu;
  return ca == cb && ca <= kComposedRoom && std::memcmp(composedA, composedB, ca) == 0;
}

// Whether the complete characters of the search string follow at the source
// cursor, one pair at a time; a skip of 0 on either side is a mismatch.
bool completeMatchAt(const Search& s, CharCursor source, const CharCursor& patternStart,
                     uint32_t patternChars) {
  CharCursor pattern = patternStart;
  for (uint32_t i = 0; i < patternChars; ++i) {
    const uint8_t* a = source.current;
    const uint8_t* b = pattern.current;
    const uint32_t la = lxoSkip(&source, 1, kCompleteChars, s.ctx);
    const uint32_t lb = lxoSkip(&pattern, 1, kCompleteChars, s.ctx);
    if (la == 0 || lb == 0 || !sameComplete(s, a, la, b, lb)) return false;
  }
  return true;
}

// Complete characters a cursor can skip one by one from where it stands.
uint32_t completeCharsAt(const Search& s, CharCursor c) {
  uint32_t n = 0;
  while (lxoSkip(&c, 1, kCompleteChars, s.ctx) != 0) ++n;
  return n;
}

uint32_t completeSearch(const Search& s) {
  StatusKeeper keep(s.ctx);
  uint32_t usable;
  const CharCursor pattern = openReader(s, s.P, s.PL, &usable);
  const uint32_t patternChars = completeCharsAt(s, pattern);
  if (patternChars == 0) return 0;
  CharCursor source = openReader(s, s.S, s.length(), &usable);
  const uint32_t sourceChars = completeCharsAt(s, source);

  if (s.position > 0) {
    const uint32_t skip = static_cast<uint32_t>(s.position - 1);
    if (skip >= sourceChars) return 0;
    if (skip > 0 && lxoSkip(&source, skip, kCompleteChars, s.ctx) == 0) return 0;
    uint32_t wanted = s.occurrence;
    for (uint32_t index = skip; index + patternChars <= sourceChars; ++index) {
      if (completeMatchAt(s, source, pattern, patternChars) && --wanted == 0) return index + 1;
      if (lxoSkip(&source, 1, kCompleteChars, s.ctx) == 0) return 0;
    }
    return 0;
  }
  // Candidates are the first N complete characters; the wanted match is
  // the occurrence-th from the right among them.
  const int64_t distance = s.distance() > patternChars ? s.distance() : patternChars;
  const int64_t candidates = int64_t{sourceChars} - distance + 1;
  if (candidates <= 0) return 0;
  const auto scan = [&](uint32_t stopAt) -> uint32_t {
    CharCursor c = source;
    uint32_t found = 0;
    for (uint32_t index = 0; index < candidates; ++index) {
      if (completeMatchAt(s, c, pattern, patternChars) && ++found == stopAt) return index + 1;
      if (lxoSkip(&c, 1, kCompleteChars, s.ctx) == 0) break;
    }
    return stopAt == 0 ? found : 0u;
  };
  const uint32_t matches = scan(0);
  if (matches < s.occurrence) return 0;
  return scan(matches - s.occurrence + 1);
}

// ---- Shift-sensitive sets -----------------------------------------------------------

// Repeated pattern searches from the source cursor, each hit passed by one
// character; stops at the stopAt-th hit (its cursor left there) or at the
// first hit that starts beyond limit.  Returns the hits counted.
uint32_t countHits(const Search& s, CharCursor& source, uint32_t length, CharCursor& pattern,
                   uint32_t patternLength, const uint8_t* limit, uint32_t stopAt) {
  const uint8_t* const end = source.current + length;
  uint32_t found = 0;
  while (source.current < end) {
    const int32_t d = lxoSchPat(&source, static_cast<uint32_t>(end - source.current), &pattern,
                                patternLength, OPT_STANDARD, s.ctx);
    if (d < 0 || source.current > limit) break;
    if (++found == stopAt) return found;
    advance(source, s.ctx);
  }
  return found;
}

uint32_t shiftSearch(const Search& s) {
  StatusKeeper keep(s.ctx);
  uint32_t patternLength = s.PL;
  // A closing or opening shift byte at the end of the search string matches
  // nothing of its own.
  const uint8_t lastByte = s.P[patternLength - 1];
  if (lastByte == s.v.handle->shiftInByte || lastByte == s.v.handle->shiftOutByte) --patternLength;
  if (patternLength == 0) return 0;
  uint32_t usable;
  CharCursor pattern = openReader(s, s.P, patternLength, &usable);
  const uint32_t patternUsable = usable;
  CharCursor source = openReader(s, s.S, s.length(), &usable);
  const uint32_t sourceUsable = usable;
  const bool inBytes = s.path == Path::ShiftBytes;
  // Characters up to and including the one at the hit.
  const auto positionOfHit = [&](CharCursor hit) -> uint32_t {
    if (inBytes) return static_cast<uint32_t>(hit.current - s.S) + 1;
    advance(hit, s.ctx);
    return lxsCntChar(s.S, static_cast<uint32_t>(hit.current - s.S), kChars, s.v.handle, s.ctx);
  };

  if (s.position > 0) {
    const uint32_t skip = static_cast<uint32_t>(s.position - 1);
    if (inBytes) {
      while (!atEnd(source) && static_cast<uint32_t>(source.current - s.S) < skip)
        advance(source, s.ctx);
    } else if (skip > 0 && lxoSkip(&source, skip, kChars, s.ctx) == 0) {
      return 0;
    }
    const uint32_t left = bytesLeft(source) < sourceUsable ? bytesLeft(source) : sourceUsable;
    CharCursor hit = source;
    if (countHits(s, hit, left, pattern, patternUsable, s.E, s.occurrence) < s.occurrence) return 0;
    return positionOfHit(hit);
  }

  // Leftward: count the hits a match may be, then find the wanted one again.
  uint32_t length = sourceUsable;
  const uint8_t* limit = s.E;
  if (inBytes) {
    limit = s.E - s.distance();
  } else {
    const uint32_t patternChars = lxsCntChar(s.P, patternLength, kChars, s.v.handle, s.ctx);
    if (s.distance() > patternChars) {
      const int64_t keep = int64_t{lxsCntChar(s.S, s.length(), kChars, s.v.handle, s.ctx)} -
                           s.distance() + patternChars;
      if (keep < 1) return 0;
      const uint32_t cut =
          lxsCntByte(s.S, s.length(), static_cast<uint32_t>(keep), OPT_STANDARD, s.v.handle, s.ctx);
      const uint32_t before = static_cast<uint32_t>(source.current - s.S);
      length = cut > before ? cut - before : 0u;
    }
  }
  CharCursor counting = source;
  const uint32_t matches = countHits(s, counting, length, pattern, patternUsable, limit, 0);
  if (matches < s.occurrence) return 0;
  CharCursor hit = source;
  countHits(s, hit, length, pattern, patternUsable, limit, matches - s.occurrence + 1);
  return positionOfHit(hit);
}

}  // namespace

uint32_t cursorSearch(const Search& s) {
  if (s.path == Path::ShiftChars || s.path == Path::ShiftBytes) return shiftSearch(s);
  return completeSearch(s);
}

}  // namespace instr
}  // namespace lxk
