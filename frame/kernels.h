// Counting kernels for UTF-8, UTF-16 and double-byte text, with one version
// per instruction-set level (scalar, SSE2, AVX2, AVX-512BW) and the best one
// the processor supports chosen once at first use.  Each kernel is exact for
// any bytes: blocks whose bytes agree with the fast reading are counted 64 at
// a time, everything else is walked by the lead-byte rule.
//
// The UTF-8 walk: width of the character at q by its lead byte: 0xC2..0xDF
// two bytes, 0xE0..0xEF three, 0xF0..0xF4 four when maxWidth is 4 (one when
// it is 3, the form that writes supplementary characters as two three-byte
// surrogates), every other byte one.  A character wider than what is left
// before the limit is not stepped over.
#pragma once

#include <cstdint>

namespace lxk {

enum class KernelLevel { Scalar, Sse2, Avx2, Avx512 };

// The two-byte lead bytes of a set whose lead-byte table gives every byte one
// or two bytes, as at most four ranges.
struct DoubleByteLeads {
  uint8_t first[4];
  uint8_t last[4];
  uint32_t ranges;
};

// Fills leads from the table; false when a byte leads three or four bytes or
// the two-byte leads need more than four ranges.
inline bool doubleByteLeadsOf(const uint16_t* table, DoubleByteLeads* leads) {
  leads->ranges = 0;
  bool inRange = false;
  for (uint32_t b = 0; b < 256; ++b) {
    const uint32_t trailing = table[b] & 3u;
    if (trailing > 1) return false;
    if (trailing == 1 && !inRange) {
      if (leads->ranges == 4) return false;
      leads->first[leads->ranges++] = static_cast<uint8_t>(b);
    }
    if (trailing == 1) leads->last[leads->ranges - 1] = static_cast<uint8_t>(b);
    inRange = trailing == 1;
  }
  return leads->ranges != 0;
}

// maxWidth is 4 for the form with four-byte characters, 3 for the form
// without (any value below 4 reads as 3).
struct Kernels {
  KernelLevel level;

  // Steps from the boundary p over at most maxChars characters, never past
  // limit; *chars = characters stepped.  Returns the position reached.
  const uint8_t* (*utf8Forward)(const uint8_t* p, const uint8_t* limit, uint32_t maxChars,
                                uint32_t maxWidth, uint32_t* chars);

  // With e where the forward walk from p over [p, end) stops: the boundary b
  // from which the walk passes min(n, all) characters to reach e; *chars =
  // that number.
  const uint8_t* (*utf8Backward)(const uint8_t* p, const uint8_t* end, uint32_t n,
                                 uint32_t maxWidth, uint32_t* chars);

  // Characters of the forward walk over [p, end).
  uint32_t (*utf8Count)(const uint8_t* p, const uint8_t* end, uint32_t maxWidth);

  // As utf8Count, but with maxWidth 3 a character ED A0..AF xx directly
  // followed by a character ED B0..BF xx (a surrogate pair) counts as one.
  uint32_t (*utf8CountCodePoints)(const uint8_t* p, const uint8_t* end, uint32_t maxWidth);

  // Code points of byteLength / 2 big-endian 16-bit units: a high surrogate
  // followed by a low one is one, every other unit one.
  uint32_t (*utf16CountCodePoints)(const uint8_t* p, uint32_t byteLength);

  // Steps from the boundary p over at most maxChars characters of
  // double-byte text (a byte in one of the lead ranges starts a two-byte
  // character, any other byte is one), never past limit; *chars =
  // characters stepped.  Returns the position reached.
  const uint8_t* (*doubleByteForward)(const uint8_t* p, const uint8_t* limit, uint32_t maxChars,
                                      const DoubleByteLeads& leads, uint32_t* chars);
};

bool kernelLevelSupported(KernelLevel level);

// The kernels of a level; an unsupported level gives the best supported one
// below it.
const Kernels& kernelsFor(KernelLevel level);

// The kernels of the best supported level, chosen once.
const Kernels& kernels();

// ---- Scanning kernels of the conversion test and the escape functions ----
//
// Each returns how far the text reads as the kernel's kind of character
// (always a character boundary) and adds what it counted to a tally; the
// caller walks the character it stopped at on its own.

struct Utf8Tally {
  uint32_t chars = 0;
  uint32_t fourByte = 0;  // characters of four bytes (beyond U+FFFF)
};

struct Utf16Tally {
  uint32_t units = 0;    // 16-bit units, both halves of a pair included
  uint32_t pairs = 0;    // surrogate pairs
  uint32_t ascii = 0;    // units below 0x80
  uint32_t twoByte = 0;  // units from 0x80 to 0x7FF
};

struct ScanKernels {
  KernelLevel level;

  // Offset of the first byte of value 0x80 or more in [p, p + n); n when none.
  uint32_t (*firstNonAscii)(const uint8_t* p, uint32_t n);

  // Offset of the first byte in [p, p + n) that is 0x80 or more or equals
  // stop; n when none.
  uint32_t (*asciiRunUntil)(const uint8_t* p, uint32_t n, uint8_t stop);

  // Offset of the first byte in [p, p + n) outside [low, high]; n when none.
  uint32_t (*firstOutsideRange)(const uint8_t* p, uint32_t n, uint8_t low, uint8_t high);

  // Length of the longest prefix of [p, p + n) made of well-formed
  // characters of the UTF-8 form without surrogates (shortest forms, at most
  // U+10FFFF), none of them U+FFFD (EF BF BD).
  uint32_t (*utf8ValidPrefix)(const uint8_t* p, uint32_t n, Utf8Tally* tally);

  // Length of the longest prefix of [p, p + n) made of big-endian UTF-16
  // characters: units that are no surrogate and not U+FFFD, and high
  // surrogates followed by low ones.  Always even.
  uint32_t (*utf16ValidPrefix)(const uint8_t* p, uint32_t n, Utf16Tally* tally);
};

const ScanKernels& scanKernelsFor(KernelLevel level);

// The scanning kernels of the best supported level, chosen once.
const ScanKernels& scanKernels();

}  // namespace lxk
