// Bulk stepping over long text: well-formed UTF-8 sixteen bytes at a time,
// double-byte text 64 bytes at a time, runs of one-byte characters.  The
// per-character rules they agree with are those of frame/unit_rules.h.
#pragma once

#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "frame/frame.h"

namespace lxk {

// ---- Bulk stepping over well-formed UTF-8 ----------------------------------------

namespace detail {
typedef uint8_t Utf8Block __attribute__((vector_size(16)));

inline Utf8Block loadBlock(const uint8_t* p) {
  Utf8Block v;
  __builtin_memcpy(&v, p, sizeof v);
  return v;
}

inline bool anyLaneSet(Utf8Block v) {
  uint64_t halves[2];
  __builtin_memcpy(halves, &v, sizeof halves);
  return (halves[0] | halves[1]) != 0;
}

// Sum of the sixteen byte lanes.
inline uint32_t laneSum(Utf8Block v) {
  uint64_t halves[2];
  __builtin_memcpy(halves, &v, sizeof halves);
  uint32_t total = 0;
  for (uint64_t h : halves) {
    h = (h & 0x00FF00FF00FF00FFull) + ((h >> 8) & 0x00FF00FF00FF00FFull);
    h = (h & 0x0000FFFF0000FFFFull) + ((h >> 16) & 0x0000FFFF0000FFFFull);
    total += static_cast<uint32_t>((h & 0xFFFFFFFFull) + (h >> 32));
  }
  return total;
}
}  // namespace detail

// Whether a lead-byte table gives every byte that bulk stepping treats as a
// lead byte the width its UTF-8 bits announce (0x00..0x7F one byte,
// 0xC2..0xDF two, 0xE0..0xEF three, 0xF0..0xF4 four).  Only then does counting
// lead bytes step exactly like the table.
inline bool utf8TableMatchesBits(const uint16_t* table) {
  uint32_t mismatches = 0;
  for (uint32_t b = 0x00; b < 0x80; ++b) mismatches |= table[b] & 3u;
  for (uint32_t b = 0xC2; b < 0xE0; ++b) mismatches |= (table[b] & 3u) ^ 1u;
  for (uint32_t b = 0xE0; b < 0xF0; ++b) mismatches |= (table[b] & 3u) ^ 2u;
  for (uint32_t b = 0xF0; b < 0xF5; ++b) mismatches |= (table[b] & 3u) ^ 3u;
  return mismatches == 0;
}

// Whether bulk stepping may start at the character boundary p: its three
// preceding bytes exist (p - start >= 3) and none of them announces
// continuation bytes at or after p.
inline bool utf8BulkCanStart(const uint8_t* start, const uint8_t* p) {
  return p - start >= 3 && p[-1] < 0xC0u && p[-2] < 0xE0u && p[-3] < 0xF0u;
}

// Steps over at most maxChars characters of well-formed UTF-8 from the
// boundary p (utf8BulkCanStart), sixteen bytes at a time, never past limit.
// A block in which a continuation byte is missing or stray, or which holds a
// byte that is never a lead of a valid character (0xC0, 0xC1, 0xF5..0xFF),
// stops the step before it; a character cut by the last block's end is left
// for the caller.  Returns the boundary reached and adds the characters
// passed to *chars.  Within well-formed text this is exactly the lead-byte
// walk of a table that utf8TableMatchesBits accepts.
inline const uint8_t* stepWellFormedUtf8(const uint8_t* p, const uint8_t* limit, uint32_t maxChars,
                                         uint32_t* chars) {
  using detail::Utf8Block;
  const uint8_t* q = p;
  uint32_t counted = 0;
  for (;;) {
    uint32_t blocks = (maxChars - counted) / 16u;
    const uint32_t available = static_cast<uint32_t>((limit - q) / 16);
    if (blocks > available) blocks = available;
    if (blocks > 255u) blocks = 255u;  // byte lanes of the counter
    if (blocks == 0) break;
    Utf8Block leads = {};
    uint32_t done = 0;
    for (; done < blocks; ++done) {
      const Utf8Block v0 = detail::loadBlock(q);
      const Utf8Block v1 = detail::loadBlock(q - 1);
      const Utf8Block v2 = detail::loadBlock(q - 2);
      const Utf8Block v3 = detail::loadBlock(q - 3);
      const auto continuation = (v0 & 0xC0u) == 0x80u;
      const auto announced = (v1 >= 0xC0u) | (v2 >= 0xE0u) | (v3 >= 0xF0u);
      const auto neverLead = (v0 >= 0xF5u) | ((v0 & 0xFEu) == 0xC0u);
      if (detail::anyLaneSet(reinterpret_cast<Utf8Block>((continuation ^ announced) | neverLead)))
        break;
      leads += reinterpret_cast<Utf8Block>(~continuation) & 1u;
      q += 16;
    }
    counted += detail::laneSum(leads);
    if (done < blocks) break;
  }
  if (q != p) {
    // The last character counted may run past q: step back to its lead.
    for (uint32_t k = 1; k <= 3; ++k) {
      const uint8_t b = q[-static_cast<int32_t>(k)];
      if (isUtf8Continuation(b)) continue;
      if (utf8BitWidth(b) > k) {
        q -= k;
        --counted;
      }
      break;
    }
  }
  *chars += counted;
  return q;
}

// ---- Bulk stepping over double-byte text -----------------------------------------

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

// Bit i set when p[i] is a two-byte lead, for the 64 bytes at p.
inline uint64_t leadByteMask(const uint8_t* p, const DoubleByteLeads& leads) {
  uint64_t mask = 0;
#if defined(__SSE2__)
  for (uint32_t block = 0; block < 4; ++block) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * block));
    __m128i in = _mm_setzero_si128();
    for (uint32_t r = 0; r < leads.ranges; ++r) {
      // v - first <= last - first, unsigned: inside the range.
      const __m128i offset = _mm_sub_epi8(v, _mm_set1_epi8(static_cast<char>(leads.first[r])));
      const __m128i span = _mm_set1_epi8(static_cast<char>(leads.last[r] - leads.first[r]));
      in = _mm_or_si128(in, _mm_cmpeq_epi8(_mm_min_epu8(offset, span), offset));
    }
    mask |= static_cast<uint64_t>(static_cast<uint16_t>(_mm_movemask_epi8(in))) << (16 * block);
  }
#else
  for (uint32_t i = 0; i < 64; ++i)
    for (uint32_t r = 0; r < leads.ranges; ++r)
      if (static_cast<uint8_t>(p[i] - leads.first[r]) <= leads.last[r] - leads.first[r])
        mask |= uint64_t{1} << i;
#endif
  return mask;
}

// The second bytes of two-byte characters among 64 bytes: the bytes that
// follow an odd run of lead bytes, where a lead byte that is itself a second
// byte starts no character.  carry says whether the first byte is a second
// byte, and on return whether the next block's first byte is one.  Runs
// that start on odd bit positions are flipped to even ones by an addition,
// so that every other bit of a run marks its second bytes.
inline uint64_t secondBytes(uint64_t leads, uint64_t& carry) {
  constexpr uint64_t kEvenBits = 0x5555555555555555ull;
  leads &= ~carry;
  const uint64_t followsLead = (leads << 1) | carry;
  const uint64_t oddRunStarts = leads & ~kEvenBits & ~followsLead;
  uint64_t evenRuns;
  carry = __builtin_add_overflow(oddRunStarts, leads, &evenRuns) ? 1u : 0u;
  return (kEvenBits ^ (evenRuns << 1)) & followsLead;
}

// Steps over at most maxChars characters of double-byte text from the
// boundary p, 64 bytes at a time, never past limit: a character is a byte
// that is not a second byte.  A character cut by the last block's end is
// left for the caller.  Returns the boundary reached and adds the characters
// passed to *chars; exactly the walk by table widths for such a set.
inline const uint8_t* stepDoubleByte(const uint8_t* p, const uint8_t* limit, uint32_t maxChars,
                                     const DoubleByteLeads& leads, uint32_t* chars) {
  uint64_t carry = 0;
  uint32_t counted = 0;
  while (limit - p >= 64 && maxChars - counted >= 64) {
    const uint64_t seconds = secondBytes(leadByteMask(p, leads), carry);
    counted += static_cast<uint32_t>(__builtin_popcountll(~seconds));
    p += 64;
  }
  if (carry) {
    // The last character counted runs past p: step back to its lead.
    --p;
    --counted;
  }
  *chars += counted;
  return p;
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
