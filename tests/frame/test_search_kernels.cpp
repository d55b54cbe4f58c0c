// The substring search kernels of every supported level against a plain
// search, on texts of a small alphabet (so that first and last bytes agree
// often) that end at a guard page, for every start and needle length.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "frame/search_kernels.h"
#include "support/guarded_buffer.h"

namespace {

using lxk::KernelLevel;

const uint8_t* plainFind(const uint8_t* from, const uint8_t* end, const uint8_t* needle,
                         uint32_t n) {
  for (const uint8_t* h = from; end - h >= static_cast<ptrdiff_t>(n); ++h)
    if (std::memcmp(h, needle, n) == 0) return h;
  return nullptr;
}

const uint8_t* plainFindLast(const uint8_t* begin, const uint8_t* last, const uint8_t* needle,
                             uint32_t n) {
  for (const uint8_t* h = last + 1; h-- > begin;)
    if (std::memcmp(h, needle, n) == 0) return h;
  return nullptr;
}

TEST(SearchKernels, EveryLevelMatchesPlainSearch) {
  std::mt19937 rng(7);
  lxktest::GuardedBuffer text, needle;
  for (const KernelLevel level :
       {KernelLevel::Scalar, KernelLevel::Sse2, KernelLevel::Avx2, KernelLevel::Avx512}) {
    const lxk::SearchKernels& k = lxk::searchKernelsFor(level);
    for (int round = 0; round < 300; ++round) {
      const size_t size = rng() % 300;
      std::vector<uint8_t> bytes(size);
      const uint32_t alphabet = 2 + rng() % 3;
      for (auto& b : bytes) b = static_cast<uint8_t>(0x7E + rng() % alphabet);
      const uint8_t* t = text.assign(bytes.data(), bytes.size());
      const uint32_t n = 1 + rng() % 9;
      std::vector<uint8_t> pattern(n);
      if (size >= n && rng() % 2) {
        std::memcpy(pattern.data(), t + rng() % (size - n + 1), n);
      } else {
        for (auto& b : pattern) b = static_cast<uint8_t>(0x7E + rng() % alphabet);
      }
      const uint8_t* p = needle.assign(pattern.data(), n);
      const uint8_t* end = t + size;
      for (size_t from = 0; from <= size; from += 1 + rng() % 7) {
        ASSERT_EQ(k.find(t + from, end, p, n), plainFind(t + from, end, p, n))
            << static_cast<int>(level) << " size " << size << " from " << from << " n " << n;
        if (size >= n && from <= size - n) {
          ASSERT_EQ(k.findLast(t, t + from, p, n), plainFindLast(t, t + from, p, n))
              << static_cast<int>(level) << " size " << size << " last " << from << " n " << n;
        }
      }
    }
  }
}

// ASCII text where the byte and bytes of 0x80 or more are rare, so that the
// four-block rounds run before the stop, which may lie in any block.
TEST(SearchKernels, FindInAsciiStopsAtTheByteOrTheFirstHighByte) {
  std::mt19937 rng(11);
  lxktest::GuardedBuffer text;
  for (const KernelLevel level :
       {KernelLevel::Scalar, KernelLevel::Sse2, KernelLevel::Avx2, KernelLevel::Avx512}) {
    const lxk::SearchKernels& k = lxk::searchKernelsFor(level);
    for (int round = 0; round < 400; ++round) {
      std::vector<uint8_t> bytes(rng() % 700);
      for (auto& b : bytes) b = static_cast<uint8_t>('a' + rng() % 20);
      for (int stops = rng() % 3; stops > 0 && !bytes.empty(); --stops)
        bytes[rng() % bytes.size()] = rng() % 2 ? 'z' : static_cast<uint8_t>(0x80 + rng() % 128);
      const uint8_t* t = text.assign(bytes.data(), bytes.size());
      const uint8_t* end = t + bytes.size();
      const size_t from = bytes.empty() ? 0 : rng() % bytes.size();
      const uint8_t* expected = t + from;
      while (expected < end && *expected != 'z' && *expected < 0x80) ++expected;
      ASSERT_EQ(k.findInAscii(t + from, end, 'z'), expected)
          << static_cast<int>(level) << " size " << bytes.size() << " from " << from;
    }
  }
}

}  // namespace
