// One character at a time between a set's bytes and Unicode scalar values.
// Every converter, the case mapping and the unit counting of the core go
// through these two functions, so each encoding is written once.
#pragma once

#include <cstdint>

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

// The UTF-8 bit pattern of any value below 0x110000, surrogates included
// (three bytes each, as UTF8 writes them).  out needs room for 4 bytes.
uint32_t encodeUtf8Value(uint32_t value, uint8_t* out);

}  // namespace nls
