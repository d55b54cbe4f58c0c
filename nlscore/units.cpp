// The per-unit stepping rules shared by the cursor and buffer operations.
#include "nlscore/units.h"

#include <unicode/uchar.h>

#include <algorithm>

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
      const uint32_t w = lxk::leadWidth(table, *p);
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
  // The stop of the walk by table widths from p: the last boundary before end.
  if (set.gb18030 && !set.leadByteWidth) return lxk::lastBoundaryBefore<true>(set.table, p, end);
  return lxk::lastBoundaryBefore<false>(set.table, p, end);
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
