// TRIM by collation: the core's matcher says whether a trim character
// matches at the start or at the end of what is left, and how many bytes
// the match covers (a case or accent variant, a composed form).  After each
// match the trim set is tried again from its first character.
//
// Shift-sensitive text is walked with cursors, so that the matcher reads
// it in the right shift state, and copied out through a write cursor, which
// opens a run the result starts in and closes the one it ends in inside
// the capacity.  Other sets are walked over plain bytes and cut by their
// class's rule.  No truncation is reported.
#include <algorithm>
#include <cstring>

#include "edit/trim.h"
#include "frame/frame.h"
#include "lxk/lxk.h"

namespace lxk {
namespace {

constexpr uint32_t kAtStart = 0;
constexpr uint32_t kAtEnd = 1;

// Width of the trim character at offset i of the set: every byte is one
// in single-byte sets, UTF-16 by its unit, GB18030 by the core's rule,
// every other set by the definition's own lead-byte table.
uint32_t setCharWidth(const TrimCall& c, uint32_t singleFlag, uint32_t i) {
  const uint32_t flags = c.v.flags;
  if (flags & singleFlag) return 1;
  if (flags & CSH_UTF16) return c.v.handle->maxCharWidth;
  if (c.v.def->charsetId == CSID_GB18030)
    return lxcgbgwt2(c.v.def, c.set + i, c.setLength - i) & 0xFFFFu;
  return leadWidth(baseLeadTable(c.v.def), c.set[i]);
}

// Trims [start, end) of plain bytes.
void trimBytes(const TrimCall& c, uint32_t& start, uint32_t& end) {
  const CharsetHandle* h = c.v.handle;
  uint32_t matchStart = 0, matchLength = 0;
  if (c.leading) {
    for (uint32_t i = 0; i < c.setLength && start < end;) {
      const uint32_t w = setCharWidth(c, CSH_SINGLE_BYTE, i);
      if (w == 0 || w > c.setLength - i) break;
      const uint32_t left = end - start;
      if (lxpLinDirMatch(c.src + start, left, c.set + i, w, &matchStart, &matchLength, kAtStart, h,
                         c.ctx) &&
          matchLength != 0) {
        start += std::min(matchLength, left);
        i = 0;
      } else {
        i += w;
      }
    }
  }
  if (c.trailing) {
    for (uint32_t i = 0; i < c.setLength && start < end;) {
      const uint32_t w = setCharWidth(c, CSH_SIMPLE_CASE, i);
      if (w == 0 || w > c.setLength - i) break;
      const uint32_t left = end - start;
      if (lxpLinDirMatch(c.src + start, left, c.set + i, w, &matchStart, &matchLength, kAtEnd, h,
                         c.ctx) &&
          matchStart < left) {
        end = start + matchStart;
        i = 0;
      } else {
        i += w;
      }
    }
  }
}

// The cut of a result longer than the capacity, by class.
uint32_t cutToCapacity(const TrimCall& c, const uint8_t* p) {
  const uint32_t capacity = c.capacity;
  if (c.v.flags & CSH_SIMPLE_CASE) return capacity;
  if (c.v.flags & CSH_UTF16) {
    uint32_t k = capacity & ~1u;
    // A surrogate pair is not split: the unit after the cut is its low half.
    if (k > 2 && isLowSurrogateByte(p[k]) && isHighSurrogateByte(p[k - 2])) k -= 2;
    return k;
  }
  if (isUtf8(c.v.def)) {
    uint32_t k = capacity;
    while (k > 0 && !isUtf8Lead(p[k])) --k;
    return k;
  }
  std::memcpy(c.dst, p, capacity);
  return static_cast<uint32_t>(lxptmult(c.dst, capacity, c.v.handle, c.ctx) - c.dst);
}

const uint8_t* trimPlain(const TrimCall& c) {
  uint32_t start = 0, end = c.srcLength;
  trimBytes(c, start, end);
  if (start == c.srcLength) return c.dst;  // everything trimmed: *outLength stays 0
  const uint8_t* const p = c.src + start;
  const uint32_t n = end - start;
  if (c.dst == nullptr) {
    *c.outLength = n;
    return p;
  }
  const uint32_t k = n <= c.capacity ? n : cutToCapacity(c, p);
  if (k != 0) std::memmove(c.dst, p, k);
  *c.outLength = k;
  return c.dst;
}

// ---- Shift-sensitive sets: cursors -------------------------------------------------

// Tries the set's characters in turn at the source cursor; true with the
// matcher's out-words on the first match.
bool matchesSomeSetChar(const TrimCall& c, CharCursor& source, uint32_t length, uint32_t flags,
                        uint32_t* matchStart, uint32_t* matchLength) {
  CharCursor set;
  lxmcpen(c.set, c.setLength, &set, c.v.handle, c.ctx);
  while (!atEnd(set)) {
    const uint32_t w = charWidth(set, c.v.table);
    if (w == 0 || w > bytesLeft(set)) return false;
    if (lxpoLinDirMatch(&source, length, &set, w, matchStart, matchLength, flags, c.v.handle,
                        c.ctx))
      return true;
    advance(set, c.ctx);
  }
  return false;
}

const uint8_t* trimShifted(const TrimCall& c) {
  CharCursor source;
  lxmcpen(c.src, c.srcLength, &source, c.v.handle, c.ctx);
  auto offset = [&] { return static_cast<uint32_t>(source.current - source.start); };
  uint32_t matchStart = 0, matchLength = 0;
  if (c.leading) {
    while (!atEnd(source)) {
      const uint32_t left = c.srcLength - offset();
      if (!matchesSomeSetChar(c, source, left, 0, &matchStart, &matchLength) || matchLength == 0)
        break;
      // Past the matched bytes, at least one character.
      const uint32_t target = offset() + std::min(matchLength, left);
      do {
        if (lxmfwdx(&source, c.ctx) == 0) break;
      } while (offset() < target && !atEnd(source));
    }
  }
  const uint32_t start = offset();
  uint32_t end = c.srcLength;
  if (c.trailing)
    while (end > start &&
           matchesSomeSetChar(c, source, end - start, LING_AT_END, &matchStart, &matchLength) &&
           matchStart < end - start)
      end = start + matchStart;
  if (start == c.srcLength) return c.dst;
  // A shift-out byte that no character follows is not part of the result.
  while (end > start && c.src[end - 1] == c.v.handle->shiftOutByte) --end;
  if (c.dst == nullptr) {
    *c.outLength = end - start;
    return c.src + start;
  }
  CharCursor writer;
  uint32_t used = lxmopen(c.dst, c.capacity, &writer, c.v.handle, c.ctx, 1);
  if (end > start) used += lxoCpStr(&writer, c.capacity, &source, end - start, OPT_STANDARD, c.ctx);
  if (used < c.capacity) used += closeShiftedRun(writer);
  *c.outLength = used;
  return c.dst;
}

}  // namespace

const uint8_t* linguisticTrim(const TrimCall& c) {
  if (c.v.flags & CSH_SHIFT_SENSITIVE) return trimShifted(c);
  return trimPlain(c);
}

}  // namespace lxk
