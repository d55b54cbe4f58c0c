// The substring search kernels of frame/search_kernels.h: one block driver
// for each direction, written over a reader that turns 64 bytes into a mask
// of the bytes equal to one value, and one reader per level.
#include "frame/search_kernels.h"

#include <cstddef>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#define LXK_SEARCH_X86 1
#include <immintrin.h>
#endif

namespace lxk {
namespace {

#define LXK_ALWAYS_INLINE inline __attribute__((always_inline))

// Whether the bytes between the first and the last of the needle agree; the
// first and last are known to (the scalar rule).
LXK_ALWAYS_INLINE bool middleAgrees(const uint8_t* h, const uint8_t* needle, uint32_t n) {
  return n <= 2 || std::memcmp(h + 1, needle + 1, n - 2) == 0;
}

// ---- Scalar ---------------------------------------------------------------------

const uint8_t* findScalar(const uint8_t* from, const uint8_t* end, const uint8_t* needle,
                          uint32_t n) {
  if (end - from < static_cast<ptrdiff_t>(n)) return nullptr;
  const uint8_t* const last = end - n;
  const uint8_t first = needle[0];
  // memchr skips to the first byte; the rest is compared where it stops.
  for (const uint8_t* h = from; h <= last; ++h) {
    h = static_cast<const uint8_t*>(std::memchr(h, first, static_cast<size_t>(last - h) + 1));
    if (h == nullptr) return nullptr;
    if (h[n - 1] == needle[n - 1] && middleAgrees(h, needle, n)) return h;
  }
  return nullptr;
}

const uint8_t* findLastScalar(const uint8_t* begin, const uint8_t* last, const uint8_t* needle,
                              uint32_t n) {
  const uint8_t first = needle[0];
  const uint8_t final = needle[n - 1];
  for (size_t i = static_cast<size_t>(last - begin) + 1; i-- > 0;) {
    const uint8_t* h = begin + i;
    if (h[0] == first && h[n - 1] == final && middleAgrees(h, needle, n)) return h;
  }
  return nullptr;
}

const uint8_t* findInAsciiScalar(const uint8_t* from, const uint8_t* end, uint8_t byte) {
  while (from < end && *from != byte && *from < 0x80) ++from;
  return from;
}

#if defined(LXK_SEARCH_X86)

// ---- Block drivers ----------------------------------------------------------------
//
// Block of 64 candidates at h: bit i of the filter is set when the bytes at
// h + i agree with the needle at its probes.  A block is read only when all
// its candidates lie at or below the last one allowed, so every load ends
// inside the text; the candidates left over are taken by the scalar rule.

// The bytes filtered on: the last; the first, or the second when the first
// is a byte of 0x80 or more and the needle is longer than two (such a byte
// leads a multibyte character in most sets, and lead bytes repeat far more
// often in text than the bytes after them); and, in longer needles, one in
// the middle, so that text of a small alphabet rarely passes the filter.
struct Probes {
  uint32_t front, middle, back;
  bool three;
  Probes(const uint8_t* needle, uint32_t n)
      : front(n >= 3 && needle[0] >= 0x80 ? 1u : 0u), middle(n / 2), back(n - 1) {
    three = middle != front && middle != back;
  }
};

// Whether the needle occurs at h, whose last byte agrees.
LXK_ALWAYS_INLINE bool restAgrees(const uint8_t* h, const uint8_t* needle, uint32_t n) {
  return std::memcmp(h, needle, n - 1) == 0;
}

template <class R, bool kThree>
LXK_ALWAYS_INLINE uint64_t filterBlock(const uint8_t* h, const uint8_t* needle, const Probes& at) {
  uint64_t mask = R::equal(h + at.front, needle[at.front]) & R::equal(h + at.back, needle[at.back]);
  if constexpr (kThree) mask &= R::equal(h + at.middle, needle[at.middle]);
  return mask;
}

// Candidates from + i for i below count, in blocks; *i where the blocks end.
template <class R, bool kThree>
LXK_ALWAYS_INLINE const uint8_t* findInBlocks(const uint8_t* from, size_t count,
                                              const uint8_t* needle, uint32_t n, const Probes& at,
                                              size_t* i) {
  for (; count - *i >= 64; *i += 64) {
    uint64_t mask = filterBlock<R, kThree>(from + *i, needle, at);
    while (mask != 0) {
      const uint8_t* h = from + *i + static_cast<uint32_t>(__builtin_ctzll(mask));
      if (restAgrees(h, needle, n)) return h;
      mask &= mask - 1;
    }
  }
  return nullptr;
}

// Candidates begin + i for i below *top, in blocks from the top down; *top
// where the blocks end.
template <class R, bool kThree>
LXK_ALWAYS_INLINE const uint8_t* findLastInBlocks(const uint8_t* begin, const uint8_t* needle,
                                                  uint32_t n, const Probes& at, size_t* top) {
  for (; *top >= 64; *top -= 64) {
    const uint8_t* base = begin + *top - 64;
    uint64_t mask = filterBlock<R, kThree>(base, needle, at);
    while (mask != 0) {
      const uint32_t bit = 63u - static_cast<uint32_t>(__builtin_clzll(mask));
      if (restAgrees(base + bit, needle, n)) return base + bit;
      mask &= ~(uint64_t{1} << bit);
    }
  }
  return nullptr;
}

template <class R>
LXK_ALWAYS_INLINE const uint8_t* findBlocks(const uint8_t* from, const uint8_t* end,
                                            const uint8_t* needle, uint32_t n) {
  if (end - from < static_cast<ptrdiff_t>(n)) return nullptr;
  if (n == 1) return static_cast<const uint8_t*>(std::memchr(from, needle[0], end - from));
  const size_t candidates = static_cast<size_t>(end - from) - n + 1;
  const Probes at(needle, n);
  size_t i = 0;
  const uint8_t* h = at.three ? findInBlocks<R, true>(from, candidates, needle, n, at, &i)
                              : findInBlocks<R, false>(from, candidates, needle, n, at, &i);
  if (h != nullptr) return h;
  return i < candidates ? findScalar(from + i, end, needle, n) : nullptr;
}

template <class R>
LXK_ALWAYS_INLINE const uint8_t* findLastBlocks(const uint8_t* begin, const uint8_t* last,
                                                const uint8_t* needle, uint32_t n) {
  const Probes at(needle, n);
  size_t top = static_cast<size_t>(last - begin) + 1;
  const uint8_t* h = at.three ? findLastInBlocks<R, true>(begin, needle, n, at, &top)
                              : findLastInBlocks<R, false>(begin, needle, n, at, &top);
  if (h != nullptr) return h;
  return top != 0 ? findLastScalar(begin, begin + top - 1, needle, n) : nullptr;
}

// Four blocks a round while none holds the byte or a byte of 0x80 or more,
// then the block that does; the tail byte by byte.
template <class R>
LXK_ALWAYS_INLINE const uint8_t* findInAsciiBlocks(const uint8_t* from, const uint8_t* end,
                                                   uint8_t byte) {
  while (end - from >= 256 && !R::anyAsciiStop(from, byte)) from += 256;
  for (; end - from >= 64; from += 64) {
    const uint64_t stops = R::asciiStops(from, byte);
    if (stops != 0) return from + __builtin_ctzll(stops);
  }
  return findInAsciiScalar(from, end, byte);
}

// ---- Readers ---------------------------------------------------------------------------

#define LXK_TARGET_SSE2 __attribute__((target("sse2")))
struct Sse2Reader {
  LXK_TARGET_SSE2 static inline uint64_t equal16(const uint8_t* p, uint8_t value) {
    const __m128i b = _mm_set1_epi8(static_cast<char>(value));
    return static_cast<uint16_t>(
        _mm_movemask_epi8(_mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), b)));
  }
  LXK_TARGET_SSE2 static inline uint64_t equal(const uint8_t* p, uint8_t b) {
    return equal16(p, b) | equal16(p + 16, b) << 16 | equal16(p + 32, b) << 32 |
           equal16(p + 48, b) << 48;
  }
  // Sign bits of the bytes equal to value or of 0x80 or more.
  LXK_TARGET_SSE2 static inline __m128i stops16(const uint8_t* p, uint8_t value) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    return _mm_or_si128(v, _mm_cmpeq_epi8(v, _mm_set1_epi8(static_cast<char>(value))));
  }
  LXK_TARGET_SSE2 static inline uint64_t asciiStops(const uint8_t* p, uint8_t b) {
    return static_cast<uint64_t>(static_cast<uint16_t>(_mm_movemask_epi8(stops16(p, b)))) |
           static_cast<uint64_t>(static_cast<uint16_t>(_mm_movemask_epi8(stops16(p + 16, b))))
               << 16 |
           static_cast<uint64_t>(static_cast<uint16_t>(_mm_movemask_epi8(stops16(p + 32, b))))
               << 32 |
           static_cast<uint64_t>(static_cast<uint16_t>(_mm_movemask_epi8(stops16(p + 48, b))))
               << 48;
  }
  LXK_TARGET_SSE2 static inline bool anyAsciiStop(const uint8_t* p, uint8_t b) {
    __m128i any = stops16(p, b);
    for (int i = 1; i < 16; ++i) any = _mm_or_si128(any, stops16(p + 16 * i, b));
    return _mm_movemask_epi8(any) != 0;
  }
};

#define LXK_TARGET_AVX2 __attribute__((target("avx2,bmi,bmi2,popcnt")))
struct Avx2Reader {
  LXK_TARGET_AVX2 static inline uint64_t equal32(const uint8_t* p, uint8_t value) {
    const __m256i b = _mm256_set1_epi8(static_cast<char>(value));
    return static_cast<uint32_t>(_mm256_movemask_epi8(
        _mm256_cmpeq_epi8(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)), b)));
  }
  LXK_TARGET_AVX2 static inline uint64_t equal(const uint8_t* p, uint8_t b) {
    return equal32(p, b) | equal32(p + 32, b) << 32;
  }
  // Sign bits of the bytes equal to value or of 0x80 or more.
  LXK_TARGET_AVX2 static inline __m256i stops32(const uint8_t* p, uint8_t value) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    return _mm256_or_si256(v, _mm256_cmpeq_epi8(v, _mm256_set1_epi8(static_cast<char>(value))));
  }
  LXK_TARGET_AVX2 static inline uint64_t asciiStops(const uint8_t* p, uint8_t b) {
    return static_cast<uint32_t>(_mm256_movemask_epi8(stops32(p, b))) |
           static_cast<uint64_t>(static_cast<uint32_t>(_mm256_movemask_epi8(stops32(p + 32, b))))
               << 32;
  }
  LXK_TARGET_AVX2 static inline bool anyAsciiStop(const uint8_t* p, uint8_t b) {
    __m256i any = stops32(p, b);
    for (int i = 1; i < 8; ++i) any = _mm256_or_si256(any, stops32(p + 32 * i, b));
    return _mm256_movemask_epi8(any) != 0;
  }
};

#define LXK_TARGET_AVX512 __attribute__((target("avx512f,avx512bw,avx512vl,avx2,bmi,bmi2,popcnt")))
struct Avx512Reader {
  LXK_TARGET_AVX512 static inline uint64_t equal(const uint8_t* p, uint8_t value) {
    return _mm512_cmpeq_epi8_mask(_mm512_loadu_si512(p),
                                  _mm512_set1_epi8(static_cast<char>(value)));
  }
  LXK_TARGET_AVX512 static inline uint64_t asciiStops(const uint8_t* p, uint8_t value) {
    const __m512i v = _mm512_loadu_si512(p);
    return _mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8(static_cast<char>(value))) |
           _mm512_movepi8_mask(v);
  }
  // A byte equal to value leaves a zero in v ^ value, which the minimum of
  // four blocks keeps; a byte of 0x80 or more leaves its sign bit in their
  // union.  One mask test for 256 bytes.
  LXK_TARGET_AVX512 static inline bool anyAsciiStop(const uint8_t* p, uint8_t value) {
    const __m512i b = _mm512_set1_epi8(static_cast<char>(value));
    const __m512i v0 = _mm512_loadu_si512(p), v1 = _mm512_loadu_si512(p + 64);
    const __m512i v2 = _mm512_loadu_si512(p + 128), v3 = _mm512_loadu_si512(p + 192);
    const __m512i least =
        _mm512_min_epu8(_mm512_min_epu8(_mm512_xor_si512(v0, b), _mm512_xor_si512(v1, b)),
                        _mm512_min_epu8(_mm512_xor_si512(v2, b), _mm512_xor_si512(v3, b)));
    const __m512i high = _mm512_or_si512(_mm512_ternarylogic_epi32(v0, v1, v2, 0xFE), v3);
    return (_mm512_testn_epi8_mask(least, least) | _mm512_movepi8_mask(high)) != 0;
  }
};

#define LXK_FLATTEN __attribute__((flatten))
#define LXK_SEARCH_LEVEL(ns, Reader, kLevel, TARGET)                                     \
  namespace ns {                                                                         \
  TARGET LXK_FLATTEN const uint8_t* find(const uint8_t* from, const uint8_t* end,        \
                                         const uint8_t* needle, uint32_t n) {            \
    return findBlocks<Reader>(from, end, needle, n);                                     \
  }                                                                                      \
  TARGET LXK_FLATTEN const uint8_t* findLast(const uint8_t* begin, const uint8_t* last,  \
                                             const uint8_t* needle, uint32_t n) {        \
    return findLastBlocks<Reader>(begin, last, needle, n);                               \
  }                                                                                      \
  TARGET LXK_FLATTEN const uint8_t* findInAscii(const uint8_t* from, const uint8_t* end, \
                                                uint8_t byte) {                          \
    return findInAsciiBlocks<Reader>(from, end, byte);                                   \
  }                                                                                      \
  constexpr SearchKernels kKernels{kLevel, find, findLast, findInAscii};                 \
  }

LXK_SEARCH_LEVEL(sse2, Sse2Reader, KernelLevel::Sse2, LXK_TARGET_SSE2)
LXK_SEARCH_LEVEL(avx2, Avx2Reader, KernelLevel::Avx2, LXK_TARGET_AVX2)
LXK_SEARCH_LEVEL(avx512, Avx512Reader, KernelLevel::Avx512, LXK_TARGET_AVX512)

#endif  // LXK_SEARCH_X86

constexpr SearchKernels kScalarKernels{KernelLevel::Scalar, findScalar, findLastScalar,
                                       findInAsciiScalar};

const SearchKernels& bestSupported(KernelLevel level) {
#if defined(LXK_SEARCH_X86)
  if (level >= KernelLevel::Avx512 && kernelLevelSupported(KernelLevel::Avx512))
    return avx512::kKernels;
  if (level >= KernelLevel::Avx2 && kernelLevelSupported(KernelLevel::Avx2)) return avx2::kKernels;
  if (level >= KernelLevel::Sse2 && kernelLevelSupported(KernelLevel::Sse2)) return sse2::kKernels;
#endif
  (void)level;
  return kScalarKernels;
}

}  // namespace

const SearchKernels& searchKernelsFor(KernelLevel level) { return bestSupported(level); }

const SearchKernels& searchKernels() {
  // Initialised once, thread-safe, from the processor's features only.
  static const SearchKernels& best = bestSupported(KernelLevel::Avx512);
  return best;
}

}  // namespace lxk
