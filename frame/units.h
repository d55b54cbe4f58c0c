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
inline bool utf8TableMatchesKernels(const uint16_t* table, uint32_t maxWidth) {
  uint32_t mismatches = 0;
  for (uint32_t b = 0; b < 256; ++b) {
    uint32_t trailing = 0;
    if (b >= 0xC2 && b <= 0xDF) trailing = 1;
    if (b >= 0xE0 && b <= 0xEF) trailing = 2;
    if (b >= 0xF0 && b <= 0xF4 && maxWidth == 4) trailing = 3;
    mismatches |= (table[b] & 3u) ^ trailing;
  }
  return mismatches == 0;
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
