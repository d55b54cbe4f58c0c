// The conversion test's scanners and what they share: the tallies, the
// source character widths, the Unicode value of a source character, the
// target widths (from the from-Unicode tables or by arithmetic) and the
// invalid-byte rows of single-byte sets.
#pragma once

#include <cstdint>
#include <cstring>

#include "lxk/lxk.h"
#include "lxk/nls.h"

namespace lxk::conv {

constexpr uint32_t kNoValue = 0xFFFD;

// The source's blank, as bytes of the source set.
struct Blank {
  uint8_t bytes[4];
  uint32_t length;  // 0 when trailing blanks are counted like any character
};

// The scanner's running totals.
struct Tally {
  int32_t verdict = 0;  // 0 unchanged, 1 changed, -1 lossy
  uint32_t total = 0;   // converted bytes
  uint32_t chars = 0;
  uint32_t blankRun = 0;   // converted bytes of the trailing blanks
  uint32_t lastWidth = 0;  // converted width of the last character

  void changed() { verdict = verdict == 0 ? 1 : verdict; }
  void lossy() { verdict = -1; }
  void add(uint32_t width, uint32_t count, bool blank) {
    total += width;
    chars += count;
    blankRun = blank ? blankRun + width : 0;
    lastWidth = width;
  }
  // A span of characters counted at once, whose trailing blankCount
  // characters (each blankWidth converted bytes) are blanks.
  void addSpan(uint32_t width, uint32_t count, uint32_t blankCount, uint32_t blankWidth) {
    if (count == 0) return;
    total += width;
    chars += count;
    blankRun = blankCount == count ? blankRun + blankCount * blankWidth : blankCount * blankWidth;
    lastWidth = blankCount != 0 ? blankWidth : 1;
  }
};

// Stores what the scanner walked into the context and gives its result.
inline int32_t finish(const Tally& t, uint32_t walked, NlsContext* ctx) {
  ctx->lastByteCount += walked;
  ctx->convertedChars += t.lastWidth != 0 ? t.chars - t.blankRun / t.lastWidth : t.chars;
  const int32_t length = static_cast<int32_t>(t.total - t.blankRun);
  return t.verdict == 0 ? 0 : t.verdict > 0 ? length : -length;
}

inline bool isBlank(const uint8_t* p, uint32_t width, const Blank& blank) {
  return blank.length != 0 && width == blank.length && std::memcmp(p, blank.bytes, width) == 0;
}

// ---- Codes -------------------------------------------------------------------------

inline bool isPackedPair(uint32_t code) {
  const uint32_t high = code >> 16, low = code & 0xFFFF;
  return (high & 0xFC00) == 0xD800 && (low & 0xFC00) == 0xDC00;
}

inline uint32_t pairScalar(uint32_t code) {
  return 0x10000u + (((code >> 16) - 0xD800u) << 10) + ((code & 0xFFFF) - 0xDC00u);
}

// Bytes of a code written as a number: 1 below 0x100, 2 below 0x10000, 3 up
// to 0xFFFFFF, 4 above.
inline uint32_t codeBytes(uint32_t code) {
  return code < 0x100 ? 1u : code < 0x10000 ? 2u : code <= 0xFFFFFF ? 3u : 4u;
}

// ---- The scanners -----------------------------------------------------------------
// Each walks text (the part the ASCII scan left) and returns 0, the
// converted length, or its negation (see finish).

using Scanner = int32_t (*)(const CharsetDefinition* target, const uint8_t* text,
                            const CharsetDefinition* source, uint32_t length, uint8_t mode,
                            const Blank& blank, NlsContext* ctx);

int32_t scanIntoAl32Utf8(const CharsetDefinition* target, const uint8_t* text,
                         const CharsetDefinition* source, uint32_t length, uint8_t mode,
                         const Blank& blank, NlsContext* ctx);
int32_t scanBetweenUtf8AndUtf16(const CharsetDefinition* target, const uint8_t* text,
                                const CharsetDefinition* source, uint32_t length, uint8_t mode,
                                const Blank& blank, NlsContext* ctx);
int32_t scanGeneral(const CharsetDefinition* target, const uint8_t* text,
                    const CharsetDefinition* source, uint32_t length, uint8_t mode,
                    const Blank& blank, NlsContext* ctx);

}  // namespace lxk::conv
