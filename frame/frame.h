// Shared stepping and unit rules of the string functions: the definition
// lookup, the inline cursor operations, the character-code rule, the
// linguistic predicate and the whole-character truncation helpers.  Every
// export uses these instead of writing its own.
#pragma once

#include <cstdint>

#include "lxk/lxk.h"
#include "lxk/nls.h"

namespace lxk {

// ---- Definitions and tables --------------------------------------------------

inline const CharsetDefinition* definitionOf(const CharsetHandle* handle, const NlsContext* ctx) {
  return ctx->definitions->definitions[handle->definitionIndex];
}

// The lead-byte table in force for the handle (at its tableOffset).
inline const uint16_t* leadTableInForce(const CharsetHandle* handle, const CharsetDefinition* def) {
  return reinterpret_cast<const uint16_t*>(reinterpret_cast<const uint8_t*>(def) +
                                           handle->tableOffset);
}

inline const uint16_t* baseLeadTable(const CharsetDefinition* def) {
  return def->baseLeadByteTable;
}

// Width of a character from its lead byte: 1 to 4.
inline uint32_t leadWidth(const uint16_t* table, uint8_t lead) { return (table[lead] & 3u) + 1u; }

// UTF-8 in the strict sense: CSD_UTF8, or AL32UTF8 whatever its flags say.
inline bool isUtf8(const CharsetDefinition* def) {
  return (def->definitionFlags & CSD_UTF8) != 0 || def->charsetId == CSID_AL32UTF8;
}

// Any UTF-8 form: either UTF-8 bit, AL32UTF8 or UTFE.
inline bool isAnyUtf8(const CharsetDefinition* def) {
  return (def->definitionFlags & CSD_ANY_UTF8) != 0 || def->charsetId == CSID_AL32UTF8 ||
         def->charsetId == CSID_UTFE;
}

inline bool linguisticInForce(const CharsetHandle* handle) {
  return (handle->collationId != 0 || (handle->collationFlags & COLL_LEVEL_MASK) != 0) &&
         (handle->collationFlags & COLL_LINGUISTIC) != 0;
}

// The blank of byte-oriented fills: 0x40 in EBCDIC-based sets, else 0x20.
inline uint8_t singleByteBlank(const CharsetHandle* handle, NlsContext* ctx) {
  return lxhebc(handle, ctx) ? 0x40 : 0x20;
}

// ---- Character boundaries by the lead-byte table -------------------------------

// Width of the character at p by the lead-byte table, left bytes before the
// end of its text; in GB18030 a digit after a multibyte lead makes it four.
template <bool kGb18030>
inline uint32_t tableWidth(const uint16_t* table, const uint8_t* p, uint32_t left) {
  uint32_t w = leadWidth(table, *p);
  if constexpr (kGb18030) {
    if (w > 1 && left > 1 && p[1] >= 0x30 && p[1] <= 0x39) w = 4;
  }
  return w;
}

// Whether a walk by table widths from any boundary at or before floor ends a
// character right after the byte at p: the byte is a one-byte character or
// the last byte of one, because no character that starts in the three bytes
// before it can reach past it.
template <bool kGb18030>
inline bool surelyEndsCharacter(const uint16_t* table, const uint8_t* floor, const uint8_t* p) {
  if ((table[*p] & 3u) != 0) return false;
  if (p - floor >= 1 && tableWidth<kGb18030>(table, p - 1, 2) > 2) return false;
  if (p - floor >= 2 && tableWidth<kGb18030>(table, p - 2, 3) > 3) return false;
  return true;
}

// A character boundary at or before q, found by looking back from q: the
// nearest one that surelyEndsCharacter proves, else floor, itself a
// boundary.  A forward walk from it meets the same boundaries as one from
// floor, so double-byte text need not be walked from its start.
template <bool kGb18030>
inline const uint8_t* resyncPoint(const uint16_t* table, const uint8_t* floor, const uint8_t* q) {
  for (const uint8_t* p = q; p > floor;) {
    --p;
    if (surelyEndsCharacter<kGb18030>(table, floor, p)) return p + 1;
  }
  return floor;
}

// The last character boundary at or before q that a walk by table widths
// from the boundary floor meets; a character that runs past q is not
// stepped over.  The walk starts at the resync point near q.
template <bool kGb18030>
inline const uint8_t* lastBoundaryBefore(const uint16_t* table, const uint8_t* floor,
                                         const uint8_t* q) {
  const uint8_t* p = resyncPoint<kGb18030>(table, floor, q);
  while (p < q) {
    const uint32_t left = static_cast<uint32_t>(q - p);
    const uint32_t w = tableWidth<kGb18030>(table, p, left);
    if (w > left) break;
    p += w;
  }
  return p;
}

// ---- Inline cursor operations -------------------------------------------------

inline uint32_t bytesLeft(const CharCursor& c) {
  return static_cast<uint32_t>(c.start + c.length - c.current);
}

inline bool atEnd(const CharCursor& c) {
  return static_cast<uint32_t>(c.current - c.start) >= c.length;
}

// Width of the current character.  May exceed bytesLeft() for a truncated
// last character; callers decide what that means.
inline uint32_t charWidth(const CharCursor& c, const uint16_t* table) {
  if (c.singleByte) return 1;
  const uint32_t flags = c.handle->flags;
  if (flags & CSH_LEAD_BYTE_WIDTH) return leadWidth(table, *c.current);
  if (c.shiftSensitive) return c.shiftState ? c.handle->maxCharWidth : 1u;
  uint32_t w = leadWidth(table, *c.current);
  if ((flags & CSH_GB18030) && w > 1 && bytesLeft(c) > 1 && c.current[1] >= 0x30 &&
      c.current[1] <= 0x39)
    return 4;
  return w;
}

// One character forward; at the end it moves one byte past the end, which
// loops use as their stop mark, without calling the core.
inline void advance(CharCursor& c, NlsContext* ctx) {
  if (!atEnd(c) && !(c.handle->flags & CSH_SINGLE_BYTE))
    lxmfwdx(&c, ctx);
  else
    ++c.current;
}

// Forward step for counted loops: inline for lead-byte widths, the core for
// shift states and the four-byte rule.  A truncated last character is stepped
// over one byte at a time.
inline void fastAdvance(CharCursor& c, const uint16_t* table) {
  const uint32_t flags = c.handle->flags;
  if ((flags & CSH_LEAD_BYTE_WIDTH) || (!c.shiftSensitive && !(flags & CSH_GB18030))) {
    uint32_t w = leadWidth(table, *c.current);
    c.current += (w <= bytesLeft(c)) ? w : 1u;
  } else {
    lxmfwtx(&c, table);
  }
}

inline bool isSingleByteChar(const CharCursor& c, const uint16_t* table) {
  if (c.shiftSensitive) return c.shiftState == 0;
  return (table[*c.current] & 3u) == 0;
}

// Writers: closes an open shifted run at the cursor.  Returns the bytes added
// (0 or 1); the caller must have room for it.
inline uint32_t closeShiftedRun(CharCursor& c) {
  if (c.shiftSensitive && c.shiftState) {
    *c.current++ = c.handle->shiftInByte;
    c.shiftState = 0;
    return 1;
  }
  return 0;
}

// Code of the current character: the byte itself where it is a one-byte
// character of a set without UTF-16 codes, otherwise the core's code.
inline uint32_t charCode(const CharCursor& c, const uint16_t* table, NlsContext* ctx) {
  if (c.singleByte) return *c.current;
  if (!(c.handle->flags & CSH_UTF16_CODES) && isSingleByteChar(c, table)) return *c.current;
  return lxmc2wx(&c, ctx);
}

// ---- Truncation to whole characters ----------------------------------------

// End of the whole characters of [start, end) by the UTF-8 bits: only the
// last character can be cut, and its lead byte is the last byte among the
// final four that is not a continuation byte (10xxxxxx); a byte that cannot
// lead (0xF8..0xFF) counts as complete.  The inline form of the core's
// lxptmutf8.
inline const uint8_t* utf8WholeCharEnd(const uint8_t* start, const uint8_t* end) {
  const uint8_t* const floor = end - start > 4 ? end - 4 : start;
  for (const uint8_t* lead = end; lead > floor;) {
    const uint8_t b = *--lead;
    if ((b & 0xC0u) == 0x80u) continue;
    const uint32_t width = b < 0xC0u ? 1u : b < 0xE0u ? 2u : b < 0xF0u ? 3u : b < 0xF8u ? 4u : 1u;
    return width > static_cast<uint32_t>(end - lead) ? lead : end;
  }
  return end;
}

// The longest prefix of [s, s+length) that ends on a whole character, for a
// set that is not shift-sensitive: UTF-8 sets by their bits, UTF-16 sets
// to an even count, single-byte sets as they are, other sets through lxptmult.
inline uint32_t wholeCharPrefix(const uint8_t* s, uint32_t length, const CharsetHandle* handle,
                                const CharsetDefinition* def, NlsContext* ctx) {
  if (length == 0) return 0;
  const uint32_t flags = handle->flags;
  if (flags & CSH_SINGLE_BYTE) return length;
  if (flags & CSH_UTF16) return length & ~1u;
  if (isUtf8(def)) return static_cast<uint32_t>(utf8WholeCharEnd(s, s + length) - s);
  return static_cast<uint32_t>(lxptmult(s, length, handle, ctx) - s);
}

}  // namespace lxk
