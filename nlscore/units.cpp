// The per-unit stepping rules shared by the cursor and buffer operations.
#include "nlscore/units.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <cstddef>

#include "nlscore/codec.h"

namespace nls {

SetInfo setInfo(const CharsetHandle* handle, const CharsetDefinition* def) {
  SetInfo set;
  set.def = def;
  set.table = reinterpret_cast<const uint16_t*>(reinterpret_cast<const uint8_t*>(def) +
                                                handle->tableOffset);
  set.flags = handle->flags;
  set.runWidth = handle->maxCharWidth != 0 ? handle->maxCharWidth : 2;
  set.shiftIn = handle->shiftInByte;
  set.shiftOut = handle->shiftOutByte;
  set.singleByte = (set.flags & CSH_SINGLE_BYTE) != 0;
  set.shiftSensitive = (set.flags & CSH_SHIFT_SENSITIVE) != 0;
  set.gb18030 = (set.flags & CSH_GB18030) != 0;
  set.leadByteWidth = (set.flags & CSH_LEAD_BYTE_WIDTH) != 0;
  switch (encodingOf(def)) {
    case Encoding::Gb18030:
    case Encoding::Utf8:
    case Encoding::Cesu8:
    case Encoding::UtfEbcdic:
    case Encoding::Utf16Be:
    case Encoding::Utf16Le:
      set.supplementary = true;
      break;
    default:
      set.supplementary = (def->definitionFlags & CSD_SUPPLEMENTARY_MAP) != 0;
      break;
  }
  return set;
}

namespace {

inline bool isCombiningMark(uint32_t codePoint) {
  return (U_GET_GC_MASK(static_cast<UChar32>(codePoint)) & U_GC_M_MASK) != 0;
}

// Plain characters: lead-byte widths, inline.
Walk walkChars(const SetInfo& set, Scan& s, uint32_t unitLimit) {
  Walk walk{0, 0, false, false};
  const uint8_t* const from = s.p;
  if (set.singleByte) {
    const uint32_t n = std::min(unitLimit, s.left());
    s.p += n;
    walk.units = n;
  } else if (set.leadByteWidth || (!set.shiftSensitive && !set.gb18030)) {
    const uint16_t* table = set.table;
    const uint8_t* p = s.p;
    const uint8_t* const end = s.end;
    uint32_t units = 0;
    while (units < unitLimit && p < end) {
      const uint32_t w = (table[*p] & 3u) + 1u;
      if (w > static_cast<uint32_t>(end - p)) {
        walk.incomplete = true;
        break;
      }
      p += w;
      ++units;
    }
    s.p = p;
    walk.units = units;
  } else {
    // Shifted runs and the four-byte rule.
    uint32_t units = 0;
    while (units < unitLimit && !s.atEnd()) {
      const uint32_t w = widthAt(set, s);
      if (w > s.left()) {
        walk.incomplete = true;
        break;
      }
      s.p += w;
      ++units;
      settle(set, s);
    }
    walk.units = units;
  }
  walk.bytes = static_cast<uint32_t>(s.p - from);
  return walk;
}

// One decoded character at s (at rest, not at the end).  False when it runs
// past the end.
inline bool decodeAt(const SetInfo& set, const Scan& s, Decoded& out) {
  // A character cut off by the end is incomplete whatever the codec makes of
  // its bytes.
  if (widthAt(set, s) > s.left()) {
    out = Decoded{widthAt(set, s), kNoCodePoint};
    return false;
  }
  out = decodeChar(set.def, s.p, s.left(), s.shifted);
  if (out.width == 0) out.width = 1;
  return out.width <= s.left();
}

}  // namespace

Walk walkUnits(const SetInfo& set, Scan& s, uint32_t unitLimit, UnitKind kind) {
  if (kind == UnitKind::Chars) return walkChars(set, s, unitLimit);

  Walk walk{0, 0, false, false};
  const uint8_t* const from = s.p;
  while (walk.units < unitLimit && !s.atEnd()) {
    Decoded d;
    if (!decodeAt(set, s, d)) {
      walk.incomplete = true;
      break;
    }
    const bool valid = d.codePoint != kNoCodePoint;
    const uint32_t units = (kind == UnitKind::Ucs2 && valid && d.codePoint > 0xFFFFu) ? 2u : 1u;
    if (walk.units + units > unitLimit) break;  // never half a character
    if (!valid) walk.invalid = true;
    s.p += d.width;
    settle(set, s);
    walk.units += units;
    if (kind == UnitKind::Complete && valid) {
      // The marks that follow belong to this character.
      while (!s.atEnd()) {
        Decoded mark;
        if (!decodeAt(set, s, mark) || mark.codePoint == kNoCodePoint ||
            !isCombiningMark(mark.codePoint))
          break;
        s.p += mark.width;
        settle(set, s);
      }
    }
  }
  walk.bytes = static_cast<uint32_t>(s.p - from);
  return walk;
}

namespace {

// Width the forward walk gives the character at q (before end): the lead-byte
// table, and under the four-byte rule four bytes for a two-byte lead that a
// digit follows.
template <bool kFourByteRule>
inline uint32_t walkWidth(const uint16_t* table, const uint8_t* q, const uint8_t* end) {
  const uint32_t w = (table[*q] & 3u) + 1u;
  if (kFourByteRule && w > 1 && end - q > 1 && q[1] >= 0x30 && q[1] <= 0x39) return 4;
  return w;
}

// A byte that starts a two-byte character wherever a character starts on it,
// and is never a digit that could turn the lead before it into four bytes.
template <bool kFourByteRule>
inline bool isPairLead(const uint16_t* table, uint8_t b) {
  return (table[b] & 3u) == 1u && (!kFourByteRule || static_cast<uint32_t>(b - 0x30u) > 9u);
}

// Where the walk from the start of [text, end) stops: before the first
// character that runs past the end.
template <bool kFourByteRule>
const uint8_t* forwardStop(const uint16_t* table, const uint8_t* p, const uint8_t* end) {
  while (p < end) {
    const uint32_t w = walkWidth<kFourByteRule>(table, p, end);
    if (w > static_cast<uint32_t>(end - p)) break;
    p += w;
  }
  return p;
}

// Steps taken one byte at a time before the search from the end gives up and
// walks from the start: enough for any text with a boundary in sight, and a
// bound on the extra cost where there is none (a long chain of four-byte
// characters).
constexpr uint32_t kBackwardByteSteps = 64;

// The forward walk's stop, found from the end.  No character is longer than
// four bytes, so k is a boundary of the walk from the start whenever every
// character that could start in the four bytes before k ends by k: width 1
// at k-1, at most 2 at k-2, at most 3 at k-3 (bytes before the start do not
// count).  The character over k-1 then ends at k and all before it are
// complete, so the answer is where a walk started at k stops.
//
// Those stops are carried back from the end, stop[j & 3] for j from `at` to
// at+3, until `at` is such a boundary or the start.  A run of pair leads is
// crossed in one go: from inside it the walk pairs up its bytes and meets the
// run's last byte or the byte after it, by the parity of the distance.  In
// sets of one- and two-byte characters the byte before a run has width 1, so
// only the last run of the text is read.
template <bool kFourByteRule>
const uint8_t* wholeCharEndFromBack(const uint16_t* table, const uint8_t* text,
                                    const uint8_t* end) {
  const ptrdiff_t n = end - text;
  const auto width = [=](ptrdiff_t i) -> uint32_t {
    return i < 0 ? 0u : walkWidth<kFourByteRule>(table, text + i, end);
  };
  ptrdiff_t stop[4] = {n, n, n, n};
  // The stop of a walk started at i, from the stops after it.
  const auto stopFrom = [&](ptrdiff_t i) {
    const uint32_t w = width(i);
    return static_cast<ptrdiff_t>(w) > n - i ? i : stop[(i + w) & 3];
  };
  ptrdiff_t at = n;
  for (uint32_t byteSteps = 0;; ++byteSteps) {
    ptrdiff_t run = at;
    while (run > 0 && isPairLead<kFourByteRule>(table, text[run - 1])) --run;
    if (run < at) {
      const ptrdiff_t last = at - 1;
      const ptrdiff_t afterRun = stop[at & 3];
      const ptrdiff_t fromLast = stopFrom(last);
      stop[last & 3] = fromLast;
      for (ptrdiff_t j = run; j < last && j < run + 4; ++j)
        stop[j & 3] = ((last - j) & 1) != 0 ? afterRun : fromLast;
      at = run;
    }
    if (at == 0 || (width(at - 1) == 1 && width(at - 2) <= 2 && width(at - 3) <= 3))
      return text + stop[at & 3];
    if (byteSteps == kBackwardByteSteps) return forwardStop<kFourByteRule>(table, text, end);
    --at;
    stop[at & 3] = stopFrom(at);
  }
}

}  // namespace

const uint8_t* wholeCharEnd(const SetInfo& set, const uint8_t* p, const uint8_t* end) {
  if (set.singleByte || p >= end) return end;
  if (set.shiftSensitive) {
    const uint8_t* complete = p;
    bool shifted = false;
    while (p < end) {
      const uint8_t b = *p;
      if (b == set.shiftOut) {
        shifted = true;
        ++p;  // complete only once a character follows
        continue;
      }
      if (b == set.shiftIn) {
        shifted = false;
        complete = ++p;
        continue;
      }
      const uint32_t w = shifted ? set.runWidth : 1u;
      if (w > static_cast<uint32_t>(end - p)) break;
      p += w;
      complete = p;
    }
    return complete;
  }
  // UTF-16: two-byte units, no one-byte width to find a boundary by.
  if (set.flags & CSH_UTF16) return forwardStop<false>(set.table, p, end);
  if (set.gb18030 && !set.leadByteWidth) return wholeCharEndFromBack<true>(set.table, p, end);
  return wholeCharEndFromBack<false>(set.table, p, end);
}

uint32_t charUnitCount(const SetInfo& set, const uint8_t* p, const uint8_t* end) {
  Scan s{p, end, false};
  settle(set, s);
  if (s.atEnd()) return 0;
  if (!set.supplementary) return 1;
  Decoded d;
  decodeAt(set, s, d);
  return (d.codePoint != kNoCodePoint && d.codePoint > 0xFFFFu) ? 2u : 1u;
}

}  // namespace nls
