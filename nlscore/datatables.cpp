// Constant data of the core: the hexadecimal-digit tables, the bit-count
// tables of the sparse from-Unicode pages, and the object that stands for no
// character set.  The digit tables are computed at compile time from the
// digit positions of each family of sets.
#include <cstdint>

#include "lxk/nls.h"

namespace {

struct DigitPositions {
  uint8_t zero;    // '0'; the ten digits follow one another
  uint8_t upperA;  // 'A'..'F'
  uint8_t lowerA;  // 'a'..'f'
};

constexpr DigitPositions kAsciiDigits{0x30, 0x41, 0x61};
constexpr DigitPositions kEbcdicDigits{0xF0, 0xC1, 0x81};
// The katakana EBCDIC set (id 835) has katakana at 0x81..0x86 and its small
// Latin letters at 0x62..0x67.
constexpr DigitPositions kEbcdicSpecialDigits{0xF0, 0xC1, 0x62};

constexpr uint8_t digitValue(const DigitPositions& d, uint32_t b) {
  if (b >= d.zero && b < d.zero + 10u) return static_cast<uint8_t>(b - d.zero);
  if (b >= d.upperA && b < d.upperA + 6u) return static_cast<uint8_t>(10 + b - d.upperA);
  if (b >= d.lowerA && b < d.lowerA + 6u) return static_cast<uint8_t>(10 + b - d.lowerA);
  return 0xFF;
}

// One table entry per byte value, listed out so that the tables stay plain
// C arrays with external names.
#define LXK_DIGIT_ROW(d, r)                                                                       \
  digitValue(d, r + 0x0), digitValue(d, r + 0x1), digitValue(d, r + 0x2), digitValue(d, r + 0x3), \
      digitValue(d, r + 0x4), digitValue(d, r + 0x5), digitValue(d, r + 0x6),                     \
      digitValue(d, r + 0x7), digitValue(d, r + 0x8), digitValue(d, r + 0x9),                     \
      digitValue(d, r + 0xA), digitValue(d, r + 0xB), digitValue(d, r + 0xC),                     \
      digitValue(d, r + 0xD), digitValue(d, r + 0xE), digitValue(d, r + 0xF)
#define LXK_DIGIT_TABLE(d)                                                      \
  {                                                                             \
    LXK_DIGIT_ROW(d, 0x00), LXK_DIGIT_ROW(d, 0x10), LXK_DIGIT_ROW(d, 0x20),     \
        LXK_DIGIT_ROW(d, 0x30), LXK_DIGIT_ROW(d, 0x40), LXK_DIGIT_ROW(d, 0x50), \
        LXK_DIGIT_ROW(d, 0x60), LXK_DIGIT_ROW(d, 0x70), LXK_DIGIT_ROW(d, 0x80), \
        LXK_DIGIT_ROW(d, 0x90), LXK_DIGIT_ROW(d, 0xA0), LXK_DIGIT_ROW(d, 0xB0), \
        LXK_DIGIT_ROW(d, 0xC0), LXK_DIGIT_ROW(d, 0xD0), LXK_DIGIT_ROW(d, 0xE0), \
        LXK_DIGIT_ROW(d, 0xF0)                                                  \
  }

}  // namespace

extern "C" {

constexpr uint8_t lxppCodeHexToIntASCIITbl[256] = LXK_DIGIT_TABLE(kAsciiDigits);
constexpr uint8_t lxppCodeHexToIntEBCDICTbl[256] = LXK_DIGIT_TABLE(kEbcdicDigits);
constexpr uint8_t lxppCodeHexToIntEBCDICTblSpec[256] = LXK_DIGIT_TABLE(kEbcdicSpecialDigits);

// Set bits of each nibble value, and the masks of the bits below bit i: the
// rank of a bit in a sparse page's bitmap is counted with these.
constexpr uint8_t lxcsbm[16] = {0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4};
constexpr uint8_t lxcsbmr[8] = {0x00, 0x01, 0x03, 0x07, 0x0F, 0x1F, 0x3F, 0x7F};

// Stands for no character set; only its address means anything.
constexpr uint8_t lxdlwkb[4] = {0, 0, 0, 0};

}  // extern "C"

namespace {

constexpr bool bitCountsHold() {
  for (uint32_t v = 0; v < 16; ++v) {
    uint32_t bits = 0;
    for (uint32_t i = 0; i < 4; ++i) bits += (v >> i) & 1u;
    if (lxcsbm[v] != bits) return false;
  }
  for (uint32_t i = 0; i < 8; ++i)
    if (lxcsbmr[i] != (1u << i) - 1u) return false;
  return true;
}

static_assert(bitCountsHold(), "bit-count tables");

}  // namespace
