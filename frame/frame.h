// Shared stepping and unit rules of the string functions: the definition
// lookup, the inline cursor operations, the character-code rule, the
// linguistic predicate and the whole-character truncation helpers.  Every
// export uses these instead of writing its own.
#pragma once

#include <cstdint>

#include "frame/unit_rules.h"
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
  const uint32_t w = leadWidth(table, *c.current);
  return (flags & CSH_GB18030) ? gb18030Width(w, c.current, bytesLeft(c)) : w;
}

// One character forward.  At the end the cursor stays at the end, without
// calling the core: loops stop on atEnd, and a pointer beyond the end of
// the buffer is never formed.
inline void advance(CharCursor& c, NlsContext* ctx) {
  if (atEnd(c)) return;
  if (c.handle->flags & CSH_SINGLE_BYTE)
    ++c.current;
  else
    lxmfwdx(&c, ctx);
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
