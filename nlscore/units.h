// Stepping through a set's text one character, or one unit of a length
// semantics, at a time.  The cursor operations and the buffer operations of
// the core both walk text through these rules, so each rule is written once.
//
// Units, chosen by option bits:
//   characters (no bit)   characters of the set by their structural width
//                         (lead-byte table, four-byte rule, shifted runs);
//   OPT_UCS2_UNITS        UTF-16 code units: a supplementary character is 2;
//   OPT_UCS4_UNITS        code points: a supplementary character is 1, also
//                         when written as a surrogate pair;
//   OPT_COMPLETE_CHARS    a character followed by the combining marks after
//                         it (general category Mn, Mc or Me), as one unit.
// Code points come from the codec.  A character that does not decode counts
// as one unit of the width the codec reports and is flagged invalid; one that
// runs past the end of the text is incomplete and ends every walk.
#pragma once

#include <cstdint>

#include "frame/unit_rules.h"
#include "lxk/lxk.h"
#include "lxk/nls.h"
#include "nlscore/definition_private.h"

namespace nls {

// What stepping needs to know about a set, gathered once per call.
struct SetInfo {
  const CharsetDefinition* def;
  const uint16_t* table;  // lead-byte table in force
  uint32_t flags;         // CSH_*
  uint8_t runWidth;       // width of a character inside a shifted run
  uint8_t shiftIn;
  uint8_t shiftOut;
  bool singleByte;
  bool shiftSensitive;
  bool gb18030;
  bool leadByteWidth;  // CSH_LEAD_BYTE_WIDTH: width from the lead byte alone
  bool supplementary;  // the set can hold characters beyond U+FFFF
};

inline const CharsetDefinition* definitionFor(const CharsetHandle* handle, const NlsContext* ctx) {
  return ctx->definitions->definitions[handle->definitionIndex];
}

SetInfo setInfo(const CharsetHandle* handle, const CharsetDefinition* def);

enum class UnitKind : uint8_t { Chars, Ucs2, Ucs4, Complete };

// The unit an option word selects; Ucs2 and Ucs4 fall back to characters in
// sets without supplementary characters, where they are the same thing.
inline UnitKind unitKind(uint32_t options, const SetInfo& set) {
  if (options & OPT_COMPLETE_CHARS) return UnitKind::Complete;
  if (!set.supplementary) return UnitKind::Chars;
  if (options & OPT_UCS4_UNITS) return UnitKind::Ucs4;
  if (options & OPT_UCS2_UNITS) return UnitKind::Ucs2;
  return UnitKind::Chars;
}

// A read position with its shift state.
struct Scan {
  const uint8_t* p;
  const uint8_t* end;
  bool shifted;

  uint32_t left() const { return static_cast<uint32_t>(end - p); }
  bool atEnd() const { return p >= end; }
};

// Consumes the shift bytes at the position, so that it rests on a
// character's first byte or at the end.  Returns the bytes consumed.
inline uint32_t settle(const SetInfo& set, Scan& s) {
  if (!set.shiftSensitive) return 0;
  const uint8_t* from = s.p;
  while (s.p < s.end) {
    if (*s.p == set.shiftOut)
      s.shifted = true;
    else if (*s.p == set.shiftIn)
      s.shifted = false;
    else
      break;
    ++s.p;
  }
  return static_cast<uint32_t>(s.p - from);
}

// Structural width of the character at s.p (not at the end), with the given
// lead-byte table.  May exceed the bytes left: a truncated character.
inline uint32_t widthAt(const SetInfo& set, const uint16_t* table, const Scan& s) {
  if (set.singleByte) return 1;
  if (set.leadByteWidth) return lxk::leadWidth(table, *s.p);
  if (set.shiftSensitive) return s.shifted ? set.runWidth : 1u;
  if (set.gb18030) return lxk::tableWidth<true>(table, s.p, s.left());
  return lxk::leadWidth(table, *s.p);
}

inline uint32_t widthAt(const SetInfo& set, const Scan& s) { return widthAt(set, set.table, s); }

// Result of a walk over units.
struct Walk {
  uint32_t units;   // units passed
  uint32_t bytes;   // bytes passed, shift bytes included
  bool incomplete;  // stopped at a character that runs past the end
  bool invalid;     // passed or stopped at a character that does not decode
};

// Walks from s (at rest) over at most unitLimit units, never splitting a
// character whose units would exceed the limit, and stops at the end or at an
// incomplete character.  s ends at rest after the last unit passed.
Walk walkUnits(const SetInfo& set, Scan& s, uint32_t unitLimit, UnitKind kind);

// Pointer just past the last complete character of [p, end): whole
// characters by structural width; shift bytes count as complete, except a
// shift-out byte that no complete character follows.  Sets without shift
// states resynchronise near the end (lxk::lastBoundaryBefore), so the cost
// does not grow with the text before the last boundary its bytes prove.
const uint8_t* wholeCharEnd(const SetInfo& set, const uint8_t* p, const uint8_t* end);

// UTF-16 units of the first character of [p, end): 1 or 2 (0 when empty).
uint32_t charUnitCount(const SetInfo& set, const uint8_t* p, const uint8_t* end);

// ---- Cursors -------------------------------------------------------------
// A cursor keeps its definition in coreReserved.pointer and its mode in
// coreReserved.words[2] (kCursorWrite for write cursors).
constexpr uint32_t kCursorWrite = 1;

inline const CharsetDefinition* cursorDefinition(const CharCursor* c) {
  return static_cast<const CharsetDefinition*>(c->coreReserved.pointer);
}

inline SetInfo cursorSet(const CharCursor* c) { return setInfo(c->handle, cursorDefinition(c)); }

inline const uint8_t* cursorEnd(const CharCursor* c) { return c->start + c->length; }

inline Scan cursorScan(const CharCursor* c) {
  return Scan{c->current, cursorEnd(c), c->shiftState != 0};
}

inline void storeScan(CharCursor* c, const Scan& s) {
  c->current = const_cast<uint8_t*>(s.p);
  c->shiftState = s.shifted ? 1 : 0;
}

// Bytes a write cursor may still take.
inline uint32_t writeRoom(const CharCursor* c) {
  return c->current >= cursorEnd(c) ? 0u : static_cast<uint32_t>(cursorEnd(c) - c->current);
}

// The big-endian value of up to four bytes.
inline uint32_t bigEndianValue(const uint8_t* p, uint32_t n) {
  uint32_t v = 0;
  for (uint32_t i = 0; i < n; ++i) v = (v << 8) | p[i];
  return v;
}

}  // namespace nls
