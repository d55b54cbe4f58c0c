// The unit rules of every character-set class, written once: lead-byte
// widths, the GB18030 four-byte rule, UTF-8 lead and continuation bytes,
// code-point widths and steps back (six-byte surrogate pairs included),
// UTF-16 surrogates, the byte size of a character code, and the last
// character boundary before a point.  Header-only and free of calls, so that
// both the string functions and the NLS core step text by the same rules.
#pragma once

#include <cstdint>

namespace lxk {

// ---- Lead-byte tables -----------------------------------------------------------

// Trailing bytes announced by a lead byte: bits 0-1 of its table entry.
inline uint32_t trailingBytes(const uint16_t* table, uint8_t lead) { return table[lead] & 3u; }

// Width of a character from its lead byte alone: 1 to 4.
inline uint32_t leadWidth(const uint16_t* table, uint8_t lead) {
  return trailingBytes(table, lead) + 1u;
}

// GB18030: a digit after a multibyte lead makes the character four bytes.
// Only the byte after the lead is looked at, never the third and fourth.
inline bool isGb18030FourByteSecond(uint8_t b) { return static_cast<uint8_t>(b - 0x30u) <= 9u; }

// Width of a character whose lead-byte width is w at p, left bytes before the
// end of its text, under the four-byte rule.
inline uint32_t gb18030Width(uint32_t w, const uint8_t* p, uint32_t left) {
  return (w > 1 && left > 1 && isGb18030FourByteSecond(p[1])) ? 4u : w;
}

// Width of the character at p by the lead-byte table, left bytes before the
// end of its text; with kFourByteRule the GB18030 rule applies.  May exceed
// left: a character cut by the end.
template <bool kFourByteRule>
inline uint32_t tableWidth(const uint16_t* table, const uint8_t* p, uint32_t left) {
  const uint32_t w = leadWidth(table, *p);
  if constexpr (kFourByteRule) return gb18030Width(w, p, left);
  return w;
}

// ---- UTF-8 ------------------------------------------------------------------------

// A byte that starts a character: 0xxxxxxx, 110xxxxx, 1110xxxx or 11110xxx.
// Continuation bytes and 0xF8..0xFF are non-lead bytes.
inline bool isUtf8Lead(uint8_t b) {
  return (b & 0x80u) == 0 || (b & 0xE0u) == 0xC0u || (b & 0xF0u) == 0xE0u || (b & 0xF8u) == 0xF0u;
}

inline bool isUtf8Continuation(uint8_t b) { return (b & 0xC0u) == 0x80u; }

// Width that the bits of a lead byte announce (1 for a non-lead byte).
inline uint32_t utf8BitWidth(uint8_t b) {
  if (b < 0xC0u) return 1;
  if (b < 0xE0u) return 2;
  if (b < 0xF0u) return 3;
  if (b < 0xF8u) return 4;
  return 1;
}

// Moves left from q to a lead byte, one byte at a time, never before start.
inline const uint8_t* backToUtf8Lead(const uint8_t* start, const uint8_t* q) {
  while (q > start && !isUtf8Lead(*q)) --q;
  return q;
}

// A four-byte sequence for U+10000..U+10FFFF: its first two bytes read
// big-endian lie in 0xF090..0xF48F.
inline bool isUtf8Supplementary(const uint8_t* p) {
  const uint32_t pair = (static_cast<uint32_t>(p[0]) << 8) | p[1];
  return pair >= 0xF090u && pair <= 0xF48Fu;
}

// Three-byte encodings of surrogates: ED A0..AF xx (high), ED B0..BF xx (low).
inline bool isUtf8HighSurrogate(const uint8_t* p) {
  return p[0] == 0xEDu && (p[1] & 0xF0u) == 0xA0u;
}
inline bool isUtf8LowSurrogate(const uint8_t* p) {
  return p[0] == 0xEDu && (p[1] & 0xF0u) == 0xB0u;
}

// A surrogate pair written as two three-byte sequences (ED Ax xx ED Bx xx).
inline bool isUtf8SurrogatePair(const uint8_t* p) {
  return isUtf8HighSurrogate(p) && isUtf8LowSurrogate(p + 3);
}

// Code-point width at p with left bytes before the end of its string: 4 for a
// supplementary four-byte sequence, 6 for a surrogate pair of two three-byte
// sequences, else the lead-byte width from the table.
inline uint32_t utf8CodePointWidth(const uint8_t* p, uint32_t left, const uint16_t* table) {
  if (left >= 4 && isUtf8Supplementary(p)) return 4;
  if (left >= 6 && isUtf8SurrogatePair(p)) return 6;
  return leadWidth(table, p[0]);
}

// One code point back from q, never before start.
inline const uint8_t* utf8CodePointBack(const uint8_t* start, const uint8_t* q) {
  const uint32_t before = static_cast<uint32_t>(q - start);
  if (before >= 6 && isUtf8SurrogatePair(q - 6)) return q - 6;
  if (before >= 4 && isUtf8Supplementary(q - 4)) return q - 4;
  if (before == 0) return q;
  return backToUtf8Lead(start, q - 1);
}

// End of the whole characters of [start, end) by the UTF-8 bits: only the
// last character can be cut, and its lead byte is the last byte among the
// final four that is not a continuation byte; a byte that cannot lead
// (0xF8..0xFF) counts as complete.
inline const uint8_t* utf8WholeCharEnd(const uint8_t* start, const uint8_t* end) {
  const uint8_t* const floor = end - start > 4 ? end - 4 : start;
  for (const uint8_t* lead = end; lead > floor;) {
    const uint8_t b = *--lead;
    if (isUtf8Continuation(b)) continue;
    return utf8BitWidth(b) > static_cast<uint32_t>(end - lead) ? lead : end;
  }
  return end;
}

// Whether one of the three bytes before q (from floor on) leads a UTF-8
// character, by the widths the counting kernels step, that reaches q.  When
// none does, q is a character boundary of every walk from floor.
inline bool utf8Announced(const uint8_t* floor, const uint8_t* q) {
  const auto reaches = [&](uint32_t back) {
    if (q - floor < static_cast<decltype(q - floor)>(back)) return false;
    const uint8_t b = *(q - back);
    return utf8BitWidth(b) > back && b >= 0xC2 && b <= 0xF4;
  };
  return reaches(1) || reaches(2) || reaches(3);
}

// ---- UTF-16 (big-endian units, high byte first) ---------------------------------

inline bool isHighSurrogateByte(uint8_t b) { return (b & 0xFCu) == 0xD8u; }
inline bool isLowSurrogateByte(uint8_t b) { return (b & 0xFCu) == 0xDCu; }

// Code-point width at p: 4 for a high surrogate with 4 bytes left, else 2.
inline uint32_t utf16CodePointWidth(const uint8_t* p, uint32_t left) {
  return (left >= 4 && isHighSurrogateByte(p[0])) ? 4u : 2u;
}

// One code point back from q, never before start.
inline const uint8_t* utf16CodePointBack(const uint8_t* start, const uint8_t* q) {
  const uint32_t before = static_cast<uint32_t>(q - start);
  if (before >= 4 && isLowSurrogateByte(q[-2]) && isHighSurrogateByte(q[-4])) return q - 4;
  return before >= 2 ? q - 2 : start;
}

// ---- Character codes ----------------------------------------------------------------

// Bytes that a character code occupies: the big-endian value of the
// character's bytes, or, where codes are UTF-16 values, 2 below 0x10000
// and 4 above.
inline uint32_t codeSize(uint32_t code, bool utf16Codes) {
  if (utf16Codes) return code <= 0xFFFFu ? 2u : 4u;
  if (code <= 0xFFu) return 1;
  if (code <= 0xFFFFu) return 2;
  if (code <= 0xFFFFFFu) return 3;
  return 4;
}

// ---- The last boundary before a point ----------------------------------------------

// Whether a walk by table widths from any boundary at or before floor ends a
// character right after the byte at p: the byte is a one-byte character or
// the last byte of one, because no character that starts in the three bytes
// before it can reach past it.
template <bool kFourByteRule>
inline bool surelyEndsCharacter(const uint16_t* table, const uint8_t* floor, const uint8_t* p) {
  if (trailingBytes(table, *p) != 0) return false;
  if (p - floor >= 1 && tableWidth<kFourByteRule>(table, p - 1, 2) > 2) return false;
  if (p - floor >= 2 && tableWidth<kFourByteRule>(table, p - 2, 3) > 3) return false;
  return true;
}

// A character boundary at or before q, found by looking back from q: the
// nearest one that surelyEndsCharacter proves, else floor, itself a
// boundary.  A forward walk from it meets the same boundaries as one from
// floor, so text need not be walked from its start.
template <bool kFourByteRule>
inline const uint8_t* resyncPoint(const uint16_t* table, const uint8_t* floor, const uint8_t* q) {
  for (const uint8_t* p = q; p > floor;) {
    --p;
    if (surelyEndsCharacter<kFourByteRule>(table, floor, p)) return p + 1;
  }
  return floor;
}

// The last character boundary at or before q that a walk by table widths
// from the boundary floor meets; a character that runs past q is not
// stepped over.  The walk starts at the resync point near q, so its cost
// is the distance back to a byte that proves a boundary.
template <bool kFourByteRule>
inline const uint8_t* lastBoundaryBefore(const uint16_t* table, const uint8_t* floor,
                                         const uint8_t* q) {
  const uint8_t* p = resyncPoint<kFourByteRule>(table, floor, q);
  while (p < q) {
    const uint32_t left = static_cast<uint32_t>(q - p);
    const uint32_t w = tableWidth<kFourByteRule>(table, p, left);
    if (w > left) break;
    p += w;
  }
  return p;
}

}  // namespace lxk
