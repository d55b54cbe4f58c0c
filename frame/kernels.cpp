// The counting kernels of frame/kernels.h: the scalar walks, the block
// drivers shared by the vector levels, one block reader per level, and the
// choice of level.
//
// UTF-8 blocks: call a byte a continuation if it is 0x80..0xBF and announced
// if one of the three bytes before it (from the walk's start on) leads a
// character that reaches it.  From a boundary, the walk visits exactly the
// bytes that are not continuations of a stretch in which every byte is a
// continuation exactly when it is announced, so such a block counts by a
// popcount.  A byte that is not announced is a boundary of every walk from an
// earlier boundary, since no character is wider than four bytes: the
// backward kernel resumes there.
#include "frame/kernels.h"

#include <array>
#include <cstddef>

#if defined(__x86_64__) || defined(__i386__)
#define LXK_KERNELS_X86 1
#include <immintrin.h>
#endif

namespace lxk {
namespace {

#define LXK_ALWAYS_INLINE inline __attribute__((always_inline))

// ---- Scalar rules --------------------------------------------------------------

using WidthTable = std::array<uint8_t, 256>;

constexpr WidthTable makeUtf8Widths(uint32_t maxWidth) {
  WidthTable widths{};
  for (uint32_t b = 0; b < 256; ++b) {
    uint32_t w = 1;
    if (b >= 0xC2 && b <= 0xDF) w = 2;
    if (b >= 0xE0 && b <= 0xEF) w = 3;
    if (b >= 0xF0 && b <= 0xF4 && maxWidth == 4) w = 4;
    widths[b] = static_cast<uint8_t>(w);
  }
  return widths;
}

template <uint32_t kMaxWidth>
constexpr WidthTable kUtf8Widths = makeUtf8Widths(kMaxWidth);

template <uint32_t kMaxWidth>
LXK_ALWAYS_INLINE const uint8_t* utf8Walk(const uint8_t* q, const uint8_t* limit, uint32_t maxChars,
                                          uint32_t* chars) {
  uint32_t n = 0;
  while (n < maxChars && q < limit) {
    const uint32_t w = kUtf8Widths<kMaxWidth>[*q];
    if (w > static_cast<uint64_t>(limit - q)) break;
    q += w;
    ++n;
  }
  *chars = n;
  return q;
}

// Whether a byte in [floor, q) leads a character that reaches q.
template <uint32_t kMaxWidth>
LXK_ALWAYS_INLINE bool utf8Announced(const uint8_t* floor, const uint8_t* q) {
  const auto& widths = kUtf8Widths<kMaxWidth>;
  const ptrdiff_t before = q - floor;
  return (before >= 1 && widths[q[-1]] >= 2) || (before >= 2 && widths[q[-2]] >= 3) ||
         (before >= 3 && widths[q[-3]] >= 4);
}

// Bits 0..2: whether the bytes q, q+1, q+2 are announced by bytes in [floor, q).
template <uint32_t kMaxWidth>
LXK_ALWAYS_INLINE uint64_t utf8CarryInto(const uint8_t* floor, const uint8_t* q) {
  const auto& widths = kUtf8Widths<kMaxWidth>;
  const ptrdiff_t before = q - floor;
  const uint32_t w1 = before >= 1 ? widths[q[-1]] : 0u;
  const uint32_t w2 = before >= 2 ? widths[q[-2]] : 0u;
  const uint32_t w3 = before >= 3 ? widths[q[-3]] : 0u;
  return uint64_t{w1 >= 2 || w2 >= 3 || w3 >= 4} | uint64_t{w1 >= 3 || w2 >= 4} << 1 |
         uint64_t{w1 >= 4} << 2;
}

// The latest position at or below q and at or above floor that no byte in
// [floor, it) announces: a boundary of the walk from floor.
template <uint32_t kMaxWidth>
LXK_ALWAYS_INLINE const uint8_t* utf8SureBoundary(const uint8_t* floor, const uint8_t* q) {
  while (q > floor && utf8Announced<kMaxWidth>(floor, q)) --q;
  return q;
}

// Whether one of the three bytes before q is neither a continuation nor a
// lead but reads as one by its top bits (0xC0, 0xC1, 0xF5..0xFF, and
// 0xF0..0xF4 in the three-byte form).
template <uint32_t kMaxWidth>
LXK_ALWAYS_INLINE bool utf8NeverLeadBefore(const uint8_t* q) {
  const auto neverLead = [](uint8_t b) {
    return (b & 0xFE) == 0xC0 || b >= (kMaxWidth == 4 ? 0xF5 : 0xF0);
  };
  return neverLead(q[-1]) || neverLead(q[-2]) || neverLead(q[-3]);
}

// A surrogate pair written as two three-byte characters, at a boundary with
// six bytes left.
LXK_ALWAYS_INLINE bool utf8PairAt(const uint8_t* q) {
  return q[0] == 0xED && (q[1] & 0xF0) == 0xA0 && q[3] == 0xED && (q[4] & 0xF0) == 0xB0;
}

LXK_ALWAYS_INLINE bool isLeadOf(uint8_t b, const DoubleByteLeads& leads) {
  bool lead = false;
  for (uint32_t r = 0; r < leads.ranges; ++r)
    lead |= static_cast<uint8_t>(b - leads.first[r]) <= leads.last[r] - leads.first[r];
  return lead;
}

LXK_ALWAYS_INLINE const uint8_t* doubleByteWalk(const uint8_t* q, const uint8_t* limit,
                                                uint32_t maxChars, const DoubleByteLeads& leads,
                                                uint32_t* chars) {
  uint32_t n = 0;
  while (n < maxChars && q < limit) {
    const uint32_t w = isLeadOf(*q, leads) ? 2u : 1u;
    if (w > static_cast<uint64_t>(limit - q)) break;
    q += w;
    ++n;
  }
  *chars = n;
  return q;
}

// ---- Scalar level ----------------------------------------------------------------

namespace scalar {

template <uint32_t kMaxWidth>
const uint8_t* utf8BackwardWidth(const uint8_t* p, const uint8_t* end, uint32_t n,
                                 uint32_t* chars) {
  uint32_t total;
  utf8Walk<kMaxWidth>(p, end, ~0u, &total);
  const uint32_t passed = n < total ? n : total;
  uint32_t skipped;
  *chars = passed;
  return utf8Walk<kMaxWidth>(p, end, total - passed, &skipped);
}

const uint8_t* utf8Forward(const uint8_t* p, const uint8_t* limit, uint32_t maxChars,
                           uint32_t maxWidth, uint32_t* chars) {
  return maxWidth >= 4 ? utf8Walk<4>(p, limit, maxChars, chars)
                       : utf8Walk<3>(p, limit, maxChars, chars);
}

const uint8_t* utf8Backward(const uint8_t* p, const uint8_t* end, uint32_t n, uint32_t maxWidth,
                            uint32_t* chars) {
  return maxWidth >= 4 ? utf8BackwardWidth<4>(p, end, n, chars)
                       : utf8BackwardWidth<3>(p, end, n, chars);
}

uint32_t utf8Count(const uint8_t* p, const uint8_t* end, uint32_t maxWidth) {
  uint32_t n;
  utf8Forward(p, end, ~0u, maxWidth, &n);
  return n;
}

uint32_t utf8CountCodePoints(const uint8_t* p, const uint8_t* end, uint32_t maxWidth) {
  if (maxWidth >= 4) return utf8Count(p, end, 4);
  uint32_t n = 0;
  for (;;) {
    if (end - p >= 6 && utf8PairAt(p)) {
      p += 6;
    } else {
      if (p >= end || kUtf8Widths<3>[*p] > static_cast<uint64_t>(end - p)) break;
      p += kUtf8Widths<3>[*p];
    }
    ++n;
  }
  return n;
}

uint32_t utf16CountCodePoints(const uint8_t* p, uint32_t byteLength) {
  const uint32_t units = byteLength / 2;
  uint32_t pairs = 0;
  for (uint32_t i = 0; i + 1 < units; ++i)
    pairs += (p[2 * i] & 0xFC) == 0xD8 && (p[2 * i + 2] & 0xFC) == 0xDC;
  return units - pairs;
}

const uint8_t* doubleByteForward(const uint8_t* p, const uint8_t* limit, uint32_t maxChars,
                                 const DoubleByteLeads& leads, uint32_t* chars) {
  return doubleByteWalk(p, limit, maxChars, leads, chars);
}

constexpr Kernels kKernels = {KernelLevel::Scalar, utf8Forward,         utf8Backward,
                              utf8Count,           utf8CountCodePoints, utf16CountCodePoints,
                              doubleByteForward};

}  // namespace scalar

// ---- Scanning kernels: scalar steps ------------------------------------------------

namespace scan {

// Width of the well-formed UTF-8 character (no surrogate, not U+FFFD) at
// p with n bytes left; 0 when there is none there.
LXK_ALWAYS_INLINE uint32_t utf8CharAt(const uint8_t* p, uint32_t n) {
  const uint32_t b = p[0];
  if (b < 0x80) return 1;
  if (b < 0xC2) return 0;
  if (b < 0xE0) return n >= 2 && (p[1] & 0xC0) == 0x80 ? 2 : 0;
  if (b < 0xF0) {
    if (n < 3 || (p[1] & 0xC0) != 0x80 || (p[2] & 0xC0) != 0x80) return 0;
    if (b == 0xE0 && p[1] < 0xA0) return 0;
    if (b == 0xED && p[1] >= 0xA0) return 0;
    if (b == 0xEF && p[1] == 0xBF && p[2] == 0xBD) return 0;
    return 3;
  }
  if (b > 0xF4 || n < 4 || (p[1] & 0xC0) != 0x80 || (p[2] & 0xC0) != 0x80 || (p[3] & 0xC0) != 0x80)
    return 0;
  if ((b == 0xF0 && p[1] < 0x90) || (b == 0xF4 && p[1] >= 0x90)) return 0;
  return 4;
}

// Walks characters from q while they are well formed and q < until; returns
// where it stopped.
LXK_ALWAYS_INLINE uint32_t utf8Walk(const uint8_t* p, uint32_t q, uint32_t until, uint32_t n,
                                    Utf8Tally* t) {
  while (q < until) {
    const uint32_t w = utf8CharAt(p + q, n - q);
    if (w == 0) break;
    q += w;
    ++t->chars;
    t->fourByte += w == 4;
  }
  return q;
}

// The same for big-endian UTF-16; 0 for a lone surrogate, U+FFFD or a cut
// unit.
LXK_ALWAYS_INLINE uint32_t utf16CharAt(const uint8_t* p, uint32_t n, Utf16Tally* t) {
  if (n < 2) return 0;
  const uint32_t high = p[0];
  if ((high & 0xF8) == 0xD8) {
    if ((high & 0xFC) != 0xD8 || n < 4 || (p[2] & 0xFC) != 0xDC) return 0;
    t->units += 2;
    ++t->pairs;
    return 4;
  }
  if (high == 0xFF && p[1] == 0xFD) return 0;
  ++t->units;
  t->ascii += high == 0 && p[1] < 0x80;
  t->twoByte += high < 0x08 && !(high == 0 && p[1] < 0x80);
  return 2;
}

LXK_ALWAYS_INLINE uint32_t utf16Walk(const uint8_t* p, uint32_t q, uint32_t until, uint32_t n,
                                     Utf16Tally* t) {
  while (q < until) {
    const uint32_t w = utf16CharAt(p + q, n - q, t);
    if (w == 0) break;
    q += w;
  }
  return q;
}

uint32_t firstNonAscii(const uint8_t* p, uint32_t n) {
  uint32_t i = 0;
  for (; i < n; ++i)
    if (p[i] >= 0x80) break;
  return i;
}

uint32_t asciiRunUntil(const uint8_t* p, uint32_t n, uint8_t stop) {
  uint32_t i = 0;
  for (; i < n; ++i)
    if (p[i] >= 0x80 || p[i] == stop) break;
  return i;
}

uint32_t firstOutsideRange(const uint8_t* p, uint32_t n, uint8_t low, uint8_t high) {
  uint32_t i = 0;
  for (; i < n; ++i)
    if (static_cast<uint8_t>(p[i] - low) > high - low) break;
  return i;
}

uint32_t utf8ValidPrefix(const uint8_t* p, uint32_t n, Utf8Tally* t) {
  return utf8Walk(p, 0, n, n, t);
}

uint32_t utf16ValidPrefix(const uint8_t* p, uint32_t n, Utf16Tally* t) {
  return utf16Walk(p, 0, n, n, t);
}

constexpr ScanKernels kScanKernels = {KernelLevel::Scalar, firstNonAscii,   asciiRunUntil,
                                      firstOutsideRange,   utf8ValidPrefix, utf16ValidPrefix};

}  // namespace scan

#if defined(LXK_KERNELS_X86)

// ---- Block drivers -----------------------------------------------------------------
//
// A block reader T gives, for the 64 bytes at p, masks with bit i for byte
// p[i]; T::popcount and T::select (position of the k-th set bit, from 0).
// The drivers are inlined into each level's entry points, which carry that
// level's target, so the readers inline into call-free loops.

struct Utf8Masks {
  uint64_t continuation;  // 0x80..0xBF
  uint64_t lead2;         // leads of two or more bytes
  uint64_t lead3;         // leads of three or more bytes
  uint64_t lead4;         // leads of four bytes
};

LXK_ALWAYS_INLINE uint64_t announcedIn(const Utf8Masks& m, uint64_t carry) {
  return (m.lead2 << 1) | (m.lead3 << 2) | (m.lead4 << 3) | carry;
}

LXK_ALWAYS_INLINE uint64_t carryOut(const Utf8Masks& m) {
  return (m.lead2 >> 63) | (m.lead3 >> 62) | (m.lead4 >> 61);
}

template <class T, uint32_t kMaxWidth>
LXK_ALWAYS_INLINE const uint8_t* utf8ForwardBlocks(const uint8_t* p, const uint8_t* limit,
                                                   uint32_t maxChars, uint32_t* chars) {
  const uint8_t* q = p;
  uint32_t n = 0;
  uint64_t carry = 0;           // bytes of the next block announced by the last three counted
  const uint8_t* runStart = p;  // where the current run of consistent blocks starts
  for (;;) {
    // Whether the bulk loop may take over once the three bytes before q are
    // counted text; cleared when it refused, so the masks go on instead.
    [[maybe_unused]] bool bulkMayResume = true;
    if constexpr (T::kHasBulk) {
      // Inside a run the bytes before q are counted text: the reader may
      // load them instead of carrying masks (it reads the 65 before q).
      if (q - runStart > 64 && !utf8NeverLeadBefore<kMaxWidth>(q)) {
        const uint8_t* before = q;
        n += T::template utf8Bulk<kMaxWidth>(q, limit, maxChars - n);
        carry = utf8CarryInto<kMaxWidth>(runStart, q);
        bulkMayResume = q != before;
      }
    }
    // Two blocks a round while neither can hold the last character asked
    // for; after the first round of a run the bulk loop takes over.
    bool resumeBulk = false;
    while (limit - q >= 128 && maxChars - n > 128) {
      const Utf8Masks a = T::template utf8Masks<kMaxWidth>(q);
      const Utf8Masks b = T::template utf8Masks<kMaxWidth>(q + 64);
      const uint64_t mismatch =
          (a.continuation ^ announcedIn(a, carry)) | (b.continuation ^ announcedIn(b, carryOut(a)));
      if (mismatch != 0) break;
      n += T::popcount(~a.continuation) + T::popcount(~b.continuation);
      carry = carryOut(b);
      q += 128;
      if constexpr (T::kHasBulk) {
        if (bulkMayResume && !utf8NeverLeadBefore<kMaxWidth>(q)) {
          resumeBulk = true;
          break;
        }
      }
    }
    if (resumeBulk) continue;
    const uint8_t* walkUntil = limit;
    if (limit - q >= 64 && n < maxChars) {
      const Utf8Masks a = T::template utf8Masks<kMaxWidth>(q);
      if ((a.continuation ^ announcedIn(a, carry)) == 0) {
        const uint64_t leads = ~a.continuation;
        const uint32_t count = T::popcount(leads);
        if (count > maxChars - n) {
          // The walk ends at a lead inside this block.
          const uint32_t remaining = maxChars - n;
          *chars = maxChars;
          return q + T::select(leads, remaining);
        }
        n += count;
        carry = carryOut(a);
        q += 64;
        continue;
      }
      walkUntil = q + 64;
    }
    if (carry != 0) {
      // The last character counted runs past q: leave the blocks at its lead.
      do --q;
      while ((*q & 0xC0) == 0x80);
      --n;
    }
    while (q < walkUntil && n < maxChars) {
      const uint32_t w = kUtf8Widths<kMaxWidth>[*q];
      if (w > static_cast<uint64_t>(limit - q)) {
        *chars = n;
        return q;
      }
      q += w;
      ++n;
    }
    if (n == maxChars || q >= limit) {
      *chars = n;
      return q;
    }
    carry = 0;  // q is a boundary: the walk from it ignores the bytes before it
    runStart = q;
  }
}

// Goes back from the boundary from, with k characters between it and e, to
// the boundary needed characters before e.
template <class T, uint32_t kMaxWidth, class Forward>
LXK_ALWAYS_INLINE const uint8_t* utf8BackwardBlocks(const uint8_t* p, const uint8_t* end,
                                                    uint32_t n, uint32_t* chars, Forward forward) {
  const uint8_t* from = utf8SureBoundary<kMaxWidth>(p, end);
  uint32_t k;
  forward(from, end, ~0u, &k);  // from the last sure boundary to e
  uint32_t needed = n;
  const uint8_t* to = end;  // e, or a boundary at or after from
  for (;;) {
    uint32_t skipped;
    if (k >= needed) {
      *chars = n;
      return forward(from, to, k - needed, &skipped);
    }
    needed -= k;
    if (from == p) {
      *chars = n - needed;
      return p;
    }
    to = from;
    k = 0;
    while (from - p >= 64) {
      const uint8_t* s = from - 64;
      const Utf8Masks m = T::template utf8Masks<kMaxWidth>(s);
      if ((m.continuation ^ announcedIn(m, utf8CarryInto<kMaxWidth>(p, s))) != 0) break;
      const uint64_t leads = ~m.continuation;
      const uint32_t count = T::popcount(leads);
      if (count >= needed) {
        *chars = n;
        return s + T::select(leads, count - needed);
      }
      needed -= count;
      from = s + T::select(leads, 0);
    }
    // A block that does not read as UTF-8, or the head: count exactly from
    // a sure boundary below it.
    to = from;
    from = utf8SureBoundary<kMaxWidth>(p, from - 64 > p ? from - 64 : p);
    forward(from, to, ~0u, &k);
  }
}

template <class T>
LXK_ALWAYS_INLINE uint32_t utf8PairsBlocks(const uint8_t* p, const uint8_t* end) {
  // Candidates ED A0..AF xx ED B0..BF; each counts when it starts at a
  // boundary, proven by a sure boundary or a walk from one.
  uint32_t pairs = 0;
  const uint8_t* known = p;  // a boundary; candidates below it are settled
  const auto settle = [&](const uint8_t* at) {
    if (at < known) return;
    if (utf8Announced<3>(p, at)) {
      uint32_t skipped;
      const uint8_t* q = utf8SureBoundary<3>(known, at);
      while (q < at) q = utf8Walk<3>(q, end, 1, &skipped);
      if (q != at) {
        known = q;
        return;
      }
    }
    ++pairs;
    known = at + 6;
  };
  const uint8_t* s = p;
  for (; end - s >= 69; s += 64) {  // bytes up to s + 68 read or stepped
    uint64_t starts = T::maskedEquals(s, 0xFF, 0xED) & T::maskedEquals(s + 1, 0xF0, 0xA0) &
                      T::maskedEquals(s + 3, 0xFF, 0xED) & T::maskedEquals(s + 4, 0xF0, 0xB0);
    for (; starts != 0; starts &= starts - 1) settle(s + __builtin_ctzll(starts));
  }
  for (; end - s >= 6; ++s)
    if (utf8PairAt(s)) settle(s);
  return pairs;
}

template <class T>
LXK_ALWAYS_INLINE uint32_t utf16CodePointsBlocks(const uint8_t* p, uint32_t byteLength) {
  const uint32_t units = byteLength / 2;
  constexpr uint64_t kHighBytes = 0x5555555555555555ull;  // first byte of each unit
  uint32_t pairs = 0;
  uint32_t i = 0;  // byte offset
  for (; i + 66 <= 2 * units; i += 64)
    pairs += T::popcount(T::maskedEquals(p + i, 0xFC, 0xD8) &
                         T::maskedEquals(p + i + 2, 0xFC, 0xDC) & kHighBytes);
  for (; i + 4 <= 2 * units; i += 2) pairs += (p[i] & 0xFC) == 0xD8 && (p[i + 2] & 0xFC) == 0xDC;
  return units - pairs;
}

// The second bytes of two-byte characters among 64 bytes: the bytes that
// follow an odd run of lead bytes, where a lead byte that is itself a second
// byte starts no character.  carry says whether the first byte is a second
// byte, and on return whether the next block's first byte is one.  Runs that
// start on odd bit positions are flipped to even ones by an addition, so that
// every other bit of a run marks its second bytes.
LXK_ALWAYS_INLINE uint64_t secondBytes(uint64_t leads, uint64_t& carry) {
  constexpr uint64_t kEvenBits = 0x5555555555555555ull;
  leads &= ~carry;
  const uint64_t followsLead = (leads << 1) | carry;
  const uint64_t oddRunStarts = leads & ~kEvenBits & ~followsLead;
  uint64_t evenRuns;
  carry = __builtin_add_overflow(oddRunStarts, leads, &evenRuns) ? 1u : 0u;
  return (kEvenBits ^ (evenRuns << 1)) & followsLead;
}

template <class T>
LXK_ALWAYS_INLINE const uint8_t* doubleByteForwardBlocks(const uint8_t* p, const uint8_t* limit,
                                                         uint32_t maxChars,
                                                         const DoubleByteLeads& leads,
                                                         uint32_t* chars) {
  const typename T::LeadRanges ranges(leads);
  const uint8_t* q = p;
  uint32_t n = 0;
  uint64_t carry = 0;
  while (limit - q >= 64 && n < maxChars) {
    const uint64_t starts = ~secondBytes(T::leadMask(q, ranges), carry);
    const uint32_t count = T::popcount(starts);
    if (count > maxChars - n) {
      const uint32_t remaining = maxChars - n;
      *chars = maxChars;
      return q + T::select(starts, remaining);
    }
    n += count;
    q += 64;
  }
  if (carry != 0) {
    // The last character counted runs past q.
    --q;
    --n;
  }
  uint32_t tail;
  q = doubleByteWalk(q, limit, maxChars - n, leads, &tail);
  *chars = n + tail;
  return q;
}

// The entry points of a level: the drivers inlined under the level's target
// (flatten, since a reader under a target is not inlined into a driver
// without one until the driver itself is inlined).
#define LXK_FLATTEN __attribute__((flatten))
#define LXK_KERNEL_LEVEL(ns, Reader, kLevel, TARGET)                                               \
  namespace ns {                                                                                   \
  TARGET LXK_FLATTEN const uint8_t* utf8Forward(const uint8_t* p, const uint8_t* limit,            \
                                                uint32_t maxChars, uint32_t maxWidth,              \
                                                uint32_t* chars) {                                 \
    return maxWidth >= 4 ? utf8ForwardBlocks<Reader, 4>(p, limit, maxChars, chars)                 \
                         : utf8ForwardBlocks<Reader, 3>(p, limit, maxChars, chars);                \
  }                                                                                                \
  TARGET LXK_FLATTEN const uint8_t* utf8Backward(const uint8_t* p, const uint8_t* end, uint32_t n, \
                                                 uint32_t maxWidth, uint32_t* chars) {             \
    const auto forward = [maxWidth](const uint8_t* from, const uint8_t* to, uint32_t count,        \
                                    uint32_t* stepped) {                                           \
      return utf8Forward(from, to, count, maxWidth, stepped);                                      \
    };                                                                                             \
    return maxWidth >= 4 ? utf8BackwardBlocks<Reader, 4>(p, end, n, chars, forward)                \
                         : utf8BackwardBlocks<Reader, 3>(p, end, n, chars, forward);               \
  }                                                                                                \
  TARGET LXK_FLATTEN uint32_t utf8Count(const uint8_t* p, const uint8_t* end, uint32_t maxWidth) { \
    uint32_t n;                                                                                    \
    utf8Forward(p, end, ~0u, maxWidth, &n);                                                        \
    return n;                                                                                      \
  }                                                                                                \
  TARGET LXK_FLATTEN uint32_t utf8CountCodePoints(const uint8_t* p, const uint8_t* end,            \
                                                  uint32_t maxWidth) {                             \
    const uint32_t n = utf8Count(p, end, maxWidth);                                                \
    return maxWidth >= 4 ? n : n - utf8PairsBlocks<Reader>(p, end);                                \
  }                                                                                                \
  TARGET LXK_FLATTEN uint32_t utf16CountCodePoints(const uint8_t* p, uint32_t byteLength) {        \
    return utf16CodePointsBlocks<Reader>(p, byteLength);                                           \
  }                                                                                                \
  TARGET LXK_FLATTEN const uint8_t* doubleByteForward(const uint8_t* p, const uint8_t* limit,      \
                                                      uint32_t maxChars,                           \
                                                      const DoubleByteLeads& leads,                \
                                                      uint32_t* chars) {                           \
    return doubleByteForwardBlocks<Reader>(p, limit, maxChars, leads, chars);                      \
  }                                                                                                \
  constexpr Kernels kKernels = {kLevel,           utf8Forward,         utf8Backward,               \
                                utf8Count,        utf8CountCodePoints, utf16CountCodePoints,       \
                                doubleByteForward};                                                \
  }

// ---- SSE2 ------------------------------------------------------------------------

#define LXK_TARGET_SSE2 __attribute__((target("sse2")))

struct Sse2Reader {
  static constexpr bool kHasBulk = false;
  // Baseline x86-64 has no popcnt instruction: count by halving.
  LXK_TARGET_SSE2 static inline uint32_t popcount(uint64_t x) {
    x -= (x >> 1) & 0x5555555555555555ull;
    x = (x & 0x3333333333333333ull) + ((x >> 2) & 0x3333333333333333ull);
    x = (x + (x >> 4)) & 0x0F0F0F0F0F0F0F0Full;
    return static_cast<uint32_t>((x * 0x0101010101010101ull) >> 56);
  }
  LXK_TARGET_SSE2 static inline uint32_t select(uint64_t mask, uint32_t k) {
    for (; k != 0; --k) mask &= mask - 1;
    return static_cast<uint32_t>(__builtin_ctzll(mask));
  }
  LXK_TARGET_SSE2 static inline uint64_t bits(__m128i a, __m128i b, __m128i c, __m128i d) {
    return static_cast<uint64_t>(static_cast<uint16_t>(_mm_movemask_epi8(a))) |
           static_cast<uint64_t>(static_cast<uint16_t>(_mm_movemask_epi8(b))) << 16 |
           static_cast<uint64_t>(static_cast<uint16_t>(_mm_movemask_epi8(c))) << 32 |
           static_cast<uint64_t>(static_cast<uint16_t>(_mm_movemask_epi8(d))) << 48;
  }
  LXK_TARGET_SSE2 static inline __m128i load(const uint8_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  }

  // Signed compares: 0x80..0xBF lie below -64, the leads between -63 and
  // the upper bound (0xEF or 0xF4).
  template <uint32_t kMaxWidth>
  LXK_TARGET_SSE2 static inline Utf8Masks utf8Masks(const uint8_t* p) {
    const __m128i belowLead = _mm_set1_epi8(-64);
    const __m128i aboveLead = _mm_set1_epi8(kMaxWidth == 4 ? -11 : -16);
    __m128i cont[4], l2[4], l3[4], l4[4];
    for (int i = 0; i < 4; ++i) {
      const __m128i v = load(p + 16 * i);
      const __m128i upper = _mm_cmplt_epi8(v, aboveLead);
      cont[i] = _mm_cmplt_epi8(v, belowLead);
      l2[i] = _mm_and_si128(upper, _mm_cmpgt_epi8(v, _mm_set1_epi8(-63)));
      l3[i] = _mm_and_si128(upper, _mm_cmpgt_epi8(v, _mm_set1_epi8(-33)));
      l4[i] = _mm_and_si128(upper, _mm_cmpgt_epi8(v, _mm_set1_epi8(-17)));
    }
    return {bits(cont[0], cont[1], cont[2], cont[3]), bits(l2[0], l2[1], l2[2], l2[3]),
            bits(l3[0], l3[1], l3[2], l3[3]),
            kMaxWidth == 4 ? bits(l4[0], l4[1], l4[2], l4[3]) : 0};
  }

  LXK_TARGET_SSE2 static inline uint64_t maskedEquals(const uint8_t* p, uint8_t mask,
                                                      uint8_t value) {
    __m128i eq[4];
    for (int i = 0; i < 4; ++i)
      eq[i] =
          _mm_cmpeq_epi8(_mm_and_si128(load(p + 16 * i), _mm_set1_epi8(static_cast<char>(mask))),
                         _mm_set1_epi8(static_cast<char>(value)));
    return bits(eq[0], eq[1], eq[2], eq[3]);
  }

  // Unused ranges repeat the first, so every block tests four.
  struct LeadRanges {
    __m128i first[4], span[4];
    LXK_TARGET_SSE2 explicit LeadRanges(const DoubleByteLeads& leads) {
      for (uint32_t r = 0; r < 4; ++r) {
        const uint32_t from = r < leads.ranges ? r : 0;
        first[r] = _mm_set1_epi8(static_cast<char>(leads.first[from]));
        span[r] = _mm_set1_epi8(static_cast<char>(leads.last[from] - leads.first[from]));
      }
    }
  };

  LXK_TARGET_SSE2 static inline uint64_t leadMask(const uint8_t* p, const LeadRanges& ranges) {
    __m128i in[4];
    for (int i = 0; i < 4; ++i) {
      const __m128i v = load(p + 16 * i);
      in[i] = _mm_setzero_si128();
      for (int r = 0; r < 4; ++r) {
        // v - first <= last - first, unsigned: inside the range.
        const __m128i offset = _mm_sub_epi8(v, ranges.first[r]);
        in[i] = _mm_or_si128(in[i], _mm_cmpeq_epi8(_mm_min_epu8(offset, ranges.span[r]), offset));
      }
    }
    return bits(in[0], in[1], in[2], in[3]);
  }
};

LXK_KERNEL_LEVEL(sse2, Sse2Reader, KernelLevel::Sse2, LXK_TARGET_SSE2)

// ---- AVX2 ------------------------------------------------------------------------

#define LXK_TARGET_AVX2 __attribute__((target("avx2,bmi,bmi2,popcnt")))

struct Avx2Reader {
  static constexpr bool kHasBulk = false;
  LXK_TARGET_AVX2 static inline uint32_t popcount(uint64_t x) {
    return static_cast<uint32_t>(_mm_popcnt_u64(x));
  }
  LXK_TARGET_AVX2 static inline uint32_t select(uint64_t mask, uint32_t k) {
    return static_cast<uint32_t>(_tzcnt_u64(_pdep_u64(uint64_t{1} << k, mask)));
  }
  LXK_TARGET_AVX2 static inline uint64_t bits(__m256i low, __m256i high) {
    return static_cast<uint64_t>(static_cast<uint32_t>(_mm256_movemask_epi8(low))) |
           static_cast<uint64_t>(static_cast<uint32_t>(_mm256_movemask_epi8(high))) << 32;
  }
  LXK_TARGET_AVX2 static inline __m256i load(const uint8_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
  }

  template <uint32_t kMaxWidth>
  LXK_TARGET_AVX2 static inline Utf8Masks utf8Masks(const uint8_t* p) {
    const __m256i belowLead = _mm256_set1_epi8(-64);
    const __m256i aboveLead = _mm256_set1_epi8(kMaxWidth == 4 ? -11 : -16);
    __m256i cont[2], l2[2], l3[2], l4[2];
    for (int i = 0; i < 2; ++i) {
      const __m256i v = load(p + 32 * i);
      const __m256i upper = _mm256_cmpgt_epi8(aboveLead, v);
      cont[i] = _mm256_cmpgt_epi8(belowLead, v);
      l2[i] = _mm256_and_si256(upper, _mm256_cmpgt_epi8(v, _mm256_set1_epi8(-63)));
      l3[i] = _mm256_and_si256(upper, _mm256_cmpgt_epi8(v, _mm256_set1_epi8(-33)));
      l4[i] = _mm256_and_si256(upper, _mm256_cmpgt_epi8(v, _mm256_set1_epi8(-17)));
    }
    return {bits(cont[0], cont[1]), bits(l2[0], l2[1]), bits(l3[0], l3[1]),
            kMaxWidth == 4 ? bits(l4[0], l4[1]) : 0};
  }

  LXK_TARGET_AVX2 static inline uint64_t maskedEquals(const uint8_t* p, uint8_t mask,
                                                      uint8_t value) {
    const __m256i m = _mm256_set1_epi8(static_cast<char>(mask));
    const __m256i v = _mm256_set1_epi8(static_cast<char>(value));
    return bits(_mm256_cmpeq_epi8(_mm256_and_si256(load(p), m), v),
                _mm256_cmpeq_epi8(_mm256_and_si256(load(p + 32), m), v));
  }

  struct LeadRanges {
    __m256i first[4], span[4];
    LXK_TARGET_AVX2 explicit LeadRanges(const DoubleByteLeads& leads) {
      for (uint32_t r = 0; r < 4; ++r) {
        const uint32_t from = r < leads.ranges ? r : 0;
        first[r] = _mm256_set1_epi8(static_cast<char>(leads.first[from]));
        span[r] = _mm256_set1_epi8(static_cast<char>(leads.last[from] - leads.first[from]));
      }
    }
  };

  LXK_TARGET_AVX2 static inline uint64_t leadMask(const uint8_t* p, const LeadRanges& ranges) {
    __m256i in[2];
    for (int i = 0; i < 2; ++i) {
      const __m256i v = load(p + 32 * i);
      in[i] = _mm256_setzero_si256();
      for (int r = 0; r < 4; ++r) {
        const __m256i offset = _mm256_sub_epi8(v, ranges.first[r]);
        in[i] = _mm256_or_si256(in[i],
                                _mm256_cmpeq_epi8(_mm256_min_epu8(offset, ranges.span[r]), offset));
      }
    }
    return bits(in[0], in[1]);
  }
};

LXK_KERNEL_LEVEL(avx2, Avx2Reader, KernelLevel::Avx2, LXK_TARGET_AVX2)

// ---- AVX-512BW -------------------------------------------------------------------

#define LXK_TARGET_AVX512 __attribute__((target("avx512f,avx512bw,avx512vl,avx2,bmi,bmi2,popcnt")))

struct Avx512Reader {
  static constexpr bool kHasBulk = true;

  // Mismatches of one block in sign bits, from loads at q-3..q: a byte is a
  // continuation exactly when the byte before leads two or more bytes, the
  // one before that three or more, or the one before that four.  0xC0 and
  // 0xC1 announce nothing here, so a continuation after one fails the block
  // and any other byte after one reads as the walk reads it; bytes from
  // 0xF5 (0xF0 in the three-byte form) on fail the block.  Saturating
  // arithmetic keeps this off the mask registers but for one mask per block.
  template <uint32_t kMaxWidth>
  LXK_TARGET_AVX512 static inline __m512i utf8Mismatch(__m512i v0, __m512i v1, __m512i v1Before,
                                                       __m512i* continuation) {
    // v1 is the block moved right by one byte (a load one byte early); it
    // moved right by one and two more, the bytes before it shifted in from
    // the block before: lanes [v1Before's last, v1's first three].
    const __m512i lanes = _mm512_maskz_alignr_epi64(0xFF, v1, v1Before, 6);
    const __m512i lead2 = _mm512_subs_epu8(v1, _mm512_set1_epi8(0x42));  // >= 0xC2
    const __m512i lead3 =
        _mm512_subs_epu8(_mm512_alignr_epi8(v1, lanes, 15), _mm512_set1_epi8(0x60));  // >= 0xE0
    const __m512i lead4 =
        kMaxWidth == 4 ? _mm512_subs_epu8(_mm512_alignr_epi8(v1, lanes, 14), _mm512_set1_epi8(0x70))
                       : _mm512_setzero_si512();                   // >= 0xF0
    *continuation = _mm512_adds_epi8(v0, _mm512_set1_epi8(0x40));  // 0x80..0xBF
    const __m512i high = _mm512_subs_epu8(v0, _mm512_set1_epi8(kMaxWidth == 4 ? 0x75 : 0x70));
    const __m512i expected = _mm512_ternarylogic_epi32(lead2, lead3, lead4, 0xFE);  // a | b | c
    return _mm512_ternarylogic_epi32(expected, *continuation, high, 0xBE);          // (a ^ b) | c
  }

  // Counts blocks from q, four a round, while all are consistent and none
  // can hold the last character asked for.  The 65 bytes before q are
  // counted text, the three just before it without bytes that read as leads
  // but are none.  Advances q.
  template <uint32_t kMaxWidth>
  LXK_TARGET_AVX512 static inline uint32_t utf8Bulk(const uint8_t*& q, const uint8_t* limit,
                                                    uint32_t maxChars) {
    uint32_t n = 0;
    // Blocks on 64-byte boundaries, so that no load straddles two cache
    // lines; the bytes up to the first boundary are taken from an unaligned
    // block, its excess masked off.
    const auto* aligned =
        reinterpret_cast<const uint8_t*>((reinterpret_cast<uintptr_t>(q) + 63) & ~uintptr_t{63});
    if (aligned != q) {
      if (limit - q < 320 || maxChars <= 320) return 0;
      const uint32_t head = static_cast<uint32_t>(aligned - q);
      const uint64_t inHead = (uint64_t{1} << head) - 1;
      __m512i cont;
      const __m512i mismatch = utf8Mismatch<kMaxWidth>(load(q), load(q - 1), load(q - 65), &cont);
      if ((_mm512_movepi8_mask(mismatch) & inHead) != 0) return 0;
      n = head - static_cast<uint32_t>(_mm_popcnt_u64(_mm512_movepi8_mask(cont) & inHead));
      q = aligned;
    }
    __m512i before = load(q - 65);
    while (limit - q >= 256 && maxChars - n > 256) {
      const __m512i a = _mm512_load_si512(q), b = _mm512_load_si512(q + 64);
      const __m512i c = _mm512_load_si512(q + 128), d = _mm512_load_si512(q + 192);
      const __m512i a1 = load(q - 1), b1 = load(q + 63), c1 = load(q + 127), d1 = load(q + 191);
      __m512i contA, contB, contC, contD;
      const __m512i mismatch = _mm512_ternarylogic_epi32(
          _mm512_or_si512(utf8Mismatch<kMaxWidth>(a, a1, before, &contA),
                          utf8Mismatch<kMaxWidth>(b, b1, a1, &contB)),
          utf8Mismatch<kMaxWidth>(c, c1, b1, &contC), utf8Mismatch<kMaxWidth>(d, d1, c1, &contD),
          0xFE);  // a | b | c
      if (_mm512_movepi8_mask(mismatch) != 0) break;
      n += 256 - static_cast<uint32_t>(_mm_popcnt_u64(_mm512_movepi8_mask(contA)) +
                                       _mm_popcnt_u64(_mm512_movepi8_mask(contB)) +
                                       _mm_popcnt_u64(_mm512_movepi8_mask(contC)) +
                                       _mm_popcnt_u64(_mm512_movepi8_mask(contD)));
      before = d1;
      q += 256;
    }
    return n;
  }
  LXK_TARGET_AVX512 static inline uint32_t popcount(uint64_t x) {
    return static_cast<uint32_t>(_mm_popcnt_u64(x));
  }
  LXK_TARGET_AVX512 static inline uint32_t select(uint64_t mask, uint32_t k) {
    return static_cast<uint32_t>(_tzcnt_u64(_pdep_u64(uint64_t{1} << k, mask)));
  }
  LXK_TARGET_AVX512 static inline __m512i load(const uint8_t* p) { return _mm512_loadu_si512(p); }

  template <uint32_t kMaxWidth>
  LXK_TARGET_AVX512 static inline Utf8Masks utf8Masks(const uint8_t* p) {
    const __m512i v = load(p);
    const __mmask64 upper = _mm512_cmplt_epi8_mask(v, _mm512_set1_epi8(kMaxWidth == 4 ? -11 : -16));
    return {_mm512_cmplt_epi8_mask(v, _mm512_set1_epi8(-64)),
            _mm512_mask_cmpgt_epi8_mask(upper, v, _mm512_set1_epi8(-63)),
            _mm512_mask_cmpgt_epi8_mask(upper, v, _mm512_set1_epi8(-33)),
            kMaxWidth == 4 ? _mm512_mask_cmpgt_epi8_mask(upper, v, _mm512_set1_epi8(-17)) : 0};
  }

  LXK_TARGET_AVX512 static inline uint64_t maskedEquals(const uint8_t* p, uint8_t mask,
                                                        uint8_t value) {
    return _mm512_cmpeq_epi8_mask(
        _mm512_and_si512(load(p), _mm512_set1_epi8(static_cast<char>(mask))),
        _mm512_set1_epi8(static_cast<char>(value)));
  }

  struct LeadRanges {
    __m512i first[4], span[4];
    bool twoOrFewer;  // the ranges past the second repeat the first
    LXK_TARGET_AVX512 explicit LeadRanges(const DoubleByteLeads& leads)
        : twoOrFewer(leads.ranges <= 2) {
      for (uint32_t r = 0; r < 4; ++r) {
        const uint32_t from = r < leads.ranges ? r : 0;
        first[r] = _mm512_set1_epi8(static_cast<char>(leads.first[from]));
        span[r] = _mm512_set1_epi8(static_cast<char>(leads.last[from] - leads.first[from]));
      }
    }
  };

  LXK_TARGET_AVX512 static inline uint64_t leadMask(const uint8_t* p, const LeadRanges& ranges) {
    const __m512i v = load(p);
    __mmask64 in = _mm512_cmple_epu8_mask(_mm512_sub_epi8(v, ranges.first[0]), ranges.span[0]) |
                   _mm512_cmple_epu8_mask(_mm512_sub_epi8(v, ranges.first[1]), ranges.span[1]);
    if (ranges.twoOrFewer) return in;  // most double-byte sets: two compares, not four
    for (int r = 2; r < 4; ++r)
      in |= _mm512_cmple_epu8_mask(_mm512_sub_epi8(v, ranges.first[r]), ranges.span[r]);
    return in;
  }
};

LXK_KERNEL_LEVEL(avx512, Avx512Reader, KernelLevel::Avx512, LXK_TARGET_AVX512)

// ---- Scanning kernels: block drivers -------------------------------------------------
//
// 64 bytes a block through the level's reader; a block that does not read
// plainly as the kind of text is left to the scalar steps for a stretch,
// after which the blocks resume.

template <class T>
LXK_ALWAYS_INLINE uint32_t firstNonAsciiBlocks(const uint8_t* p, uint32_t n) {
  uint32_t q = 0;
  for (; n - q >= 64; q += 64) {
    const uint64_t high = T::maskedEquals(p + q, 0x80, 0x80);
    if (high != 0) return q + static_cast<uint32_t>(__builtin_ctzll(high));
  }
  return q + scan::firstNonAscii(p + q, n - q);
}

template <class T>
LXK_ALWAYS_INLINE uint32_t asciiRunUntilBlocks(const uint8_t* p, uint32_t n, uint8_t stop) {
  uint32_t q = 0;
  for (; n - q >= 64; q += 64) {
    const uint64_t end = T::maskedEquals(p + q, 0x80, 0x80) | T::maskedEquals(p + q, 0xFF, stop);
    if (end != 0) return q + static_cast<uint32_t>(__builtin_ctzll(end));
  }
  return q + scan::asciiRunUntil(p + q, n - q, stop);
}

template <class T>
LXK_ALWAYS_INLINE uint32_t firstOutsideRangeBlocks(const uint8_t* p, uint32_t n, uint8_t low,
                                                   uint8_t high) {
  const DoubleByteLeads range{{low, low, low, low}, {high, high, high, high}, 1};
  const typename T::LeadRanges ranges(range);
  uint32_t q = 0;
  for (; n - q >= 64; q += 64) {
    const uint64_t outside = ~T::leadMask(p + q, ranges);
    if (outside != 0) return q + static_cast<uint32_t>(__builtin_ctzll(outside));
  }
  return q + scan::firstOutsideRange(p + q, n - q, low, high);
}

// A block is taken whole when its continuation bytes are exactly those its
// leads announce and none of its leads needs a look at the byte after it
// (C0, C1, E0, ED, EF, F0, F4 and above), unless that look passes.
template <class T>
LXK_ALWAYS_INLINE bool utf8SpecialsPass(const uint8_t* p, uint64_t specials) {
  for (; specials != 0; specials &= specials - 1) {
    const uint8_t* s = p + __builtin_ctzll(specials);
    if (scan::utf8CharAt(s, 4) == 0) return false;  // the block is followed by 3 bytes
  }
  return true;
}

template <class T>
LXK_ALWAYS_INLINE uint32_t utf8ValidBlocks(const uint8_t* p, uint32_t n, Utf8Tally* t) {
  uint32_t q = 0;
  for (;;) {
    uint64_t carry = 0;
    uint64_t lastFour = 0;  // whether the character cut by the block end has four bytes
    while (n - q >= 67) {
      const uint8_t* b = p + q;
      const Utf8Masks m = T::template utf8Masks<4>(b);
      if ((m.continuation ^ announcedIn(m, carry)) != 0) break;
      const uint64_t specials = T::maskedEquals(b, 0xFE, 0xC0) | T::maskedEquals(b, 0xFF, 0xE0) |
                                T::maskedEquals(b, 0xFF, 0xED) | T::maskedEquals(b, 0xFF, 0xEF) |
                                T::maskedEquals(b, 0xFF, 0xF0) | T::maskedEquals(b, 0xFC, 0xF4) |
                                T::maskedEquals(b, 0xF8, 0xF8);
      if (specials != 0 && !utf8SpecialsPass<T>(b, specials)) break;
      t->chars += T::popcount(~m.continuation);
      t->fourByte += T::popcount(m.lead4);
      carry = carryOut(m);
      lastFour = m.lead4 >> 61;
      q += 64;
    }
    if (carry != 0) {
      // The last character counted runs past q: step back to its lead.
      do --q;
      while ((p[q] & 0xC0) == 0x80);
      --t->chars;
      t->fourByte -= lastFour != 0 && p[q] >= 0xF0;
    }
    const uint32_t until = n - q > 64 ? q + 64 : n;
    const uint32_t reached = scan::utf8Walk(p, q, until, n, t);
    if (reached < until || reached >= n) return reached;
    q = reached;
  }
}

template <class T>
LXK_ALWAYS_INLINE uint32_t utf16ValidBlocks(const uint8_t* p, uint32_t n, Utf16Tally* t) {
  constexpr uint64_t kHighBytes = 0x5555555555555555ull;  // first byte of each unit
  uint32_t q = 0;
  for (;;) {
    uint64_t carry = 0;  // the block's first unit is the low half of a counted pair
    while (n - q >= 66) {
      const uint8_t* b = p + q;
      const uint64_t highs = T::maskedEquals(b, 0xFC, 0xD8) & kHighBytes;
      const uint64_t lows = T::maskedEquals(b, 0xFC, 0xDC) & kHighBytes;
      const uint64_t lowsNext = T::maskedEquals(b + 2, 0xFC, 0xDC) & kHighBytes;
      const uint64_t replacement =
          T::maskedEquals(b, 0xFF, 0xFF) & T::maskedEquals(b + 1, 0xFF, 0xFD) & kHighBytes;
      if (highs != lowsNext || (lows & ~((highs << 2) | carry)) != 0 || replacement != 0) break;
      const uint64_t zeroHigh = T::maskedEquals(b, 0xFF, 0x00) & kHighBytes;
      const uint64_t ascii = zeroHigh & (T::maskedEquals(b + 1, 0x80, 0x00) & kHighBytes);
      const uint64_t belowEight = T::maskedEquals(b, 0xF8, 0x00) & kHighBytes;
      const uint32_t pairs = T::popcount(highs);
      t->units += 32;
      t->pairs += pairs;
      t->ascii += T::popcount(ascii);
      t->twoByte += T::popcount(belowEight & ~ascii);
      carry = highs >> 62;
      q += 64;
    }
    if (carry != 0) {
      // The pair cut by the block end is walked again from its high half.
      q -= 2;
      t->units -= 1;
      t->pairs -= 1;
    }
    const uint32_t until = n - q > 64 ? q + 64 : n;
    const uint32_t reached = scan::utf16Walk(p, q, until, n, t);
    if (reached < until || n - reached < 2) return reached;
    q = reached;
  }
}

#define LXK_SCAN_LEVEL(ns, Reader, kLevel, TARGET)                                                 \
  namespace ns {                                                                                   \
  TARGET LXK_FLATTEN uint32_t firstNonAscii(const uint8_t* p, uint32_t n) {                        \
    return firstNonAsciiBlocks<Reader>(p, n);                                                      \
  }                                                                                                \
  TARGET LXK_FLATTEN uint32_t asciiRunUntil(const uint8_t* p, uint32_t n, uint8_t stop) {          \
    return asciiRunUntilBlocks<Reader>(p, n, stop);                                                \
  }                                                                                                \
  TARGET LXK_FLATTEN uint32_t firstOutsideRange(const uint8_t* p, uint32_t n, uint8_t low,         \
                                                uint8_t high) {                                    \
    return firstOutsideRangeBlocks<Reader>(p, n, low, high);                                       \
  }                                                                                                \
  TARGET LXK_FLATTEN uint32_t utf8ValidPrefix(const uint8_t* p, uint32_t n, Utf8Tally* t) {        \
    return utf8ValidBlocks<Reader>(p, n, t);                                                       \
  }                                                                                                \
  TARGET LXK_FLATTEN uint32_t utf16ValidPrefix(const uint8_t* p, uint32_t n, Utf16Tally* t) {      \
    return utf16ValidBlocks<Reader>(p, n, t);                                                      \
  }                                                                                                \
  constexpr ScanKernels kScanKernels = {                                                           \
      kLevel, firstNonAscii, asciiRunUntil, firstOutsideRange, utf8ValidPrefix, utf16ValidPrefix}; \
  }

LXK_SCAN_LEVEL(sse2, Sse2Reader, KernelLevel::Sse2, LXK_TARGET_SSE2)
LXK_SCAN_LEVEL(avx2, Avx2Reader, KernelLevel::Avx2, LXK_TARGET_AVX2)
LXK_SCAN_LEVEL(avx512, Avx512Reader, KernelLevel::Avx512, LXK_TARGET_AVX512)

#endif  // LXK_KERNELS_X86

const Kernels& bestSupported(KernelLevel level) {
#if defined(LXK_KERNELS_X86)
  if (level >= KernelLevel::Avx512 && kernelLevelSupported(KernelLevel::Avx512))
    return avx512::kKernels;
  if (level >= KernelLevel::Avx2 && kernelLevelSupported(KernelLevel::Avx2)) return avx2::kKernels;
  if (level >= KernelLevel::Sse2 && kernelLevelSupported(KernelLevel::Sse2)) return sse2::kKernels;
#endif
  (void)level;
  return scalar::kKernels;
}

}  // namespace

bool kernelLevelSupported(KernelLevel level) {
  switch (level) {
    case KernelLevel::Scalar:
      return true;
#if defined(LXK_KERNELS_X86)
    case KernelLevel::Sse2:
      return __builtin_cpu_supports("sse2");
    case KernelLevel::Avx2:
      return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
             __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
    case KernelLevel::Avx512:
      return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
             __builtin_cpu_supports("avx512vl") && kernelLevelSupported(KernelLevel::Avx2);
#endif
    default:
      return false;
  }
}

const Kernels& kernelsFor(KernelLevel level) { return bestSupported(level); }

const Kernels& kernels() {
  // Initialised once, thread-safe, from the processor's features only.
  static const Kernels& best = bestSupported(KernelLevel::Avx512);
  return best;
}

}  // namespace lxk

namespace lxk {

const ScanKernels& scanKernelsFor(KernelLevel level) {
#if defined(LXK_KERNELS_X86)
  if (level >= KernelLevel::Avx512 && kernelLevelSupported(KernelLevel::Avx512))
    return avx512::kScanKernels;
  if (level >= KernelLevel::Avx2 && kernelLevelSupported(KernelLevel::Avx2))
    return avx2::kScanKernels;
  if (level >= KernelLevel::Sse2 && kernelLevelSupported(KernelLevel::Sse2))
    return sse2::kScanKernels;
#endif
  (void)level;
  return scan::kScanKernels;
}

const ScanKernels& scanKernels() {
  static const ScanKernels& best = scanKernelsFor(KernelLevel::Avx512);
  return best;
}

}  // namespace lxk
