// What bulk stepping over long text needs to know of a lead-byte table:
// whether the UTF-8 kernels step like it, and runs of one-byte characters
// for the sets the kernels do not serve.  The per-character rules they
// agree with are those of frame/unit_rules.h.
#pragma once

#include <cstdint>

#include "frame/frame.h"

namespace lxk {

// Whether a lead-byte table gives every byte the width the UTF-8 kernels
// step by (frame/kernels.h): 0xC2..0xDF two bytes, 0xE0..0xEF three,
// 0xF0..0xF4 four in the form with four-byte characters (maxWidth 4) and one
// in the form without (maxWidth 3), every other byte one.  Only then does a
// kernel step exactly like the table.
namespace detail {
// The trailing-byte counts the kernels step by, four table entries a word.
constexpr uint32_t utf8KernelTrailing(uint32_t b, uint32_t maxWidth) {
  if (b >= 0xC2 && b <= 0xDF) return 1;
  if (b >= 0xE0 && b <= 0xEF) return 2;
  if (b >= 0xF0 && b <= 0xF4 && maxWidth == 4) return 3;
  return 0;
}
struct Utf8KernelWords {
  uint64_t words[64];
  constexpr explicit Utf8KernelWords(uint32_t maxWidth) : words{} {
    for (uint32_t b = 0; b < 256; ++b)
      words[b / 4] |= static_cast<uint64_t>(utf8KernelTrailing(b, maxWidth)) << (16 * (b % 4));
  }
};
inline constexpr Utf8KernelWords kUtf8KernelWords3{3}, kUtf8KernelWords4{4};
}  // namespace detail

inline bool utf8TableMatchesKernels(const uint16_t* table, uint32_t maxWidth) {
  // Eight entries a step in two words and no branches: a few vector
  // operations per call.
  const uint64_t* expected =
      maxWidth == 4 ? detail::kUtf8KernelWords4.words : detail::kUtf8KernelWords3.words;
  constexpr uint64_t kMask = 0x0003000300030003ull;
  uint64_t m0 = 0, m1 = 0;
  for (uint32_t i = 0; i < 64; i += 2) {
    uint64_t w0, w1;
    __builtin_memcpy(&w0, table + 4 * i, 8);
    __builtin_memcpy(&w1, table + 4 * i + 4, 8);
    m0 |= (w0 & kMask) ^ expected[i];
    m1 |= (w1 & kMask) ^ expected[i + 1];
  }
  return (m0 | m1) == 0;
}

// ---- Runs of one-byte characters -----------------------------------------------

// Whether every byte below 0x80 is a one-byte character in the table.
inline bool asciiBytesAreSingle(const uint16_t* table) {
  uint32_t trailing = 0;
  for (uint32_t b = 0; b < 0x80; ++b) trailing |= table[b] & 3u;
  return trailing == 0;
}

// Bytes below 0x80 at p, counted eight at a time, at most max, never past
// limit.  In a set where asciiBytesAreSingle holds, each is a character.
inline uint32_t asciiRunLength(const uint8_t* p, const uint8_t* limit, uint32_t max) {
  uint32_t run = 0;
  while (max - run >= 8 && limit - (p + run) >= 8) {
    uint64_t word;
    __builtin_memcpy(&word, p + run, 8);
    if (word & 0x8080808080808080ull) break;
    run += 8;
  }
  return run;
}

}  // namespace lxk
