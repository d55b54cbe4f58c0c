// One character at a time between a set's bytes and Unicode scalar values.
// Every converter, the case mapping and the unit counting of the core go
// through these two functions, so each encoding is written once.
#pragma once

#include <cstdint>

#include "frame/unit_rules.h"
#include "lxk/nls.h"

namespace nls {

constexpr uint32_t kNoCodePoint = 0xFFFFFFFFu;

struct Decoded {
  uint32_t width;      // bytes the character takes (>= 1); may exceed the bytes
                       // available for a truncated character
  uint32_t codePoint;  // scalar value, or kNoCodePoint: malformed, truncated or unmapped
};

// Decodes the character at p, with available > 0 bytes readable.  Shift bytes
// are not characters: for shift-sensitive sets the caller consumes them and
// passes the mode (shifted: inside a double-byte run).  A valid surrogate pair
// (UTF-16, or two three-byte sequences in UTF8) decodes as one scalar value
// whose width covers both halves; a lone surrogate is malformed.
Decoded decodeChar(const CharsetDefinition* def, const uint8_t* p, uint32_t available,
                   bool shifted);

// Encodes a scalar value into out (room for 8 bytes) without shift bytes.
// Returns the bytes written, 0 when the set has no form for it.  For
// shift-sensitive sets *doubleByte tells whether the bytes belong inside a
// shifted run (may be null for other sets).
uint32_t encodeChar(const CharsetDefinition* def, uint32_t codePoint, uint8_t* out,
                    bool* doubleByte);

// ---- UTF-8, inline: the case mapping decodes and encodes with these in its
// hot loop, the codec and the converters everywhere else.

inline bool isSurrogateValue(uint32_t c) { return c - 0xD800u <= 0xDFFFu - 0xD800u; }

// The value of the UTF-8 sequence of exactly width bytes at p when it is well
// formed: lead bits announcing width, continuation bytes after it, shortest
// form, at most U+10FFFF.  Surrogates are let through (a pair of them is the
// supplementary form of UTF8); kNoCodePoint for anything else.
inline uint32_t utf8SequenceValue(const uint8_t* p, uint32_t width) {
  if (width - 1u > 3u) return kNoCodePoint;
  const uint32_t lead = p[0];
  if (width == 1) return lead < 0x80 ? lead : kNoCodePoint;
  if (lxk::utf8BitWidth(p[0]) != width) return kNoCodePoint;
  uint32_t c = lead & (0x7Fu >> width);
  for (uint32_t i = 1; i < width; ++i) {
    if (!lxk::isUtf8Continuation(p[i])) return kNoCodePoint;
    c = c << 6 | (p[i] & 0x3Fu);
  }
  static constexpr uint32_t kShortest[5] = {0, 0, 0x80, 0x800, 0x10000};
  return (c < kShortest[width] || c > 0x10FFFFu) ? kNoCodePoint : c;
}

// The character at p (available > 0 bytes) of a UTF-8 set without
// surrogates, its width from the set's lead-byte table: a surrogate, a
// malformed sequence or one cut by the end has no code point.
inline Decoded decodeUtf8(const uint16_t* leadTable, const uint8_t* p, uint32_t available) {
  if (p[0] < 0x80) return {1, p[0]};
  const uint32_t width = lxk::leadWidth(leadTable, p[0]);
  if (width > available) return {width, kNoCodePoint};
  const uint32_t c = utf8SequenceValue(p, width);
  return {width, isSurrogateValue(c) ? kNoCodePoint : c};
}

// The UTF-8 bit pattern of any value below 0x110000, surrogates included
// (three bytes each, as UTF8 writes them).  out needs room for 4 bytes.
inline uint32_t encodeUtf8Value(uint32_t c, uint8_t* out) {
  if (c < 0x80) {
    out[0] = static_cast<uint8_t>(c);
    return 1;
  }
  if (c < 0x800) {
    out[0] = static_cast<uint8_t>(0xC0 | c >> 6);
    out[1] = static_cast<uint8_t>(0x80 | (c & 0x3F));
    return 2;
  }
  if (c < 0x10000) {
    out[0] = static_cast<uint8_t>(0xE0 | c >> 12);
    out[1] = static_cast<uint8_t>(0x80 | ((c >> 6) & 0x3F));
    out[2] = static_cast<uint8_t>(0x80 | (c & 0x3F));
    return 3;
  }
  out[0] = static_cast<uint8_t>(0xF0 | c >> 18);
  out[1] = static_cast<uint8_t>(0x80 | ((c >> 12) & 0x3F));
  out[2] = static_cast<uint8_t>(0x80 | ((c >> 6) & 0x3F));
  out[3] = static_cast<uint8_t>(0x80 | (c & 0x3F));
  return 4;
}

}  // namespace nls
