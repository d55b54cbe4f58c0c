// The counting kernels of every supported level against plain reference
// walks, on random text built from UTF-8 pieces, broken pieces and byte
// flips, with random starts, limits and character counts.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "frame/kernels.h"

namespace {

using lxk::KernelLevel;
using Bytes = std::vector<uint8_t>;

// f(kernels) for every level this CPU supports, the level in the trace.
template <class F>
void eachLevel(F f) {
  for (KernelLevel level : {KernelLevel::Scalar, KernelLevel::Sse2, KernelLevel::Avx2,
                            KernelLevel::Avx512}) {
    if (!lxk::kernelLevelSupported(level)) continue;
    SCOPED_TRACE(testing::Message() << "level " << static_cast<int>(level));
    f(lxk::kernelsFor(level));
  }
}

// The boundaries of the walk from p over [p, limit) with width(byte): p first.
template <class W>
std::vector<const uint8_t*> refBoundaries(const uint8_t* p, const uint8_t* limit, W width) {
  std::vector<const uint8_t*> at{p};
  while (p < limit && width(*p) <= limit - p) at.push_back(p += width(*p));
  return at;
}

// Text of random pieces, then a few flipped bytes.
Bytes randomUtf8(std::mt19937& rng, size_t length) {
  Bytes text;
  const auto pick = [&](uint32_t lo, uint32_t hi) {
    return static_cast<uint8_t>(std::uniform_int_distribution<uint32_t>(lo, hi)(rng));
  };
  const auto tail = [&] { return pick(0x80, 0xBF); };
  const uint32_t kind = pick(0, 3);  // ASCII-heavy, CJK-heavy, mixed, noisy
  while (text.size() < length) {
    const uint32_t piece = kind == 1 ? (pick(0, 9) < 8 ? 3u : pick(0, 9)) : pick(0, 9);
    if (piece <= 3 && kind != 3) {
      for (uint32_t i = pick(1, 40); i > 0; --i) text.push_back(pick(0x20, 0x7E));
    } else if (piece == 4) {
      text.insert(text.end(), {pick(0xC2, 0xDF), tail()});
    } else if (piece == 5 || piece == 3) {
      text.insert(text.end(), {pick(0xE0, 0xEF), tail(), tail()});
    } else if (piece == 6) {
      text.insert(text.end(), {pick(0xF0, 0xF4), tail(), tail(), tail()});
    } else if (piece == 7) {  // a surrogate pair as six bytes
      text.insert(text.end(), {0xED, pick(0xA0, 0xAF), tail(), 0xED, pick(0xB0, 0xBF), tail()});
    } else if (piece == 8) {  // a stray continuation, 0xC0/0xC1 or 0xF5..0xFF
      const uint8_t odd[] = {tail(), pick(0xC0, 0xC1), pick(0xF5, 0xFF)};
      text.push_back(odd[pick(0, 2)]);
    } else {  // a truncated character
      text.insert(text.end(), {pick(0xE0, 0xF4), tail()});
    }
  }
  text.resize(length);
  for (uint32_t flips = kind == 0 ? 0 : pick(0, 3); flips > 0 && length > 0; --flips)
    text[pick(0, static_cast<uint32_t>(length - 1))] = pick(0, 255);
  return text;
}

// 0..2, up to just past the total, no limit, or exactly the total.
uint32_t randomCount(std::mt19937& rng, uint32_t total) {
  switch (rng() % 4) {
    case 0: return rng() % 3;
    case 1: return total == 0 ? 0 : rng() % (total + 2);
    case 2: return ~0u;
    default: return total;
  }
}

TEST(Kernels, Utf8MatchesTheReferenceWalk) {
  std::mt19937 rng(7);
  for (int round = 0; round < 3000; ++round) {
    const Bytes text = randomUtf8(rng, rng() % (round % 10 == 0 ? 4000 : 400));
    const size_t size = text.size();
    const uint8_t* p = text.data() + (size ? rng() % (size / 8 + 1) : 0);
    const uint8_t* limit =
        std::max(p, text.data() + size - (size ? rng() % (size / 8 + 1) : 0));
    for (uint32_t maxWidth : {3u, 4u}) {
      const auto at = refBoundaries(p, limit, [&](uint8_t b) -> long {
        return b >= 0xC2 && b <= 0xDF ? 2 : b >= 0xE0 && b <= 0xEF ? 3
               : b >= 0xF0 && b <= 0xF4 && maxWidth == 4 ? 4 : 1;
      });
      const auto total = static_cast<uint32_t>(at.size() - 1);
      const uint32_t maxChars = randomCount(rng, total), stepped = std::min(maxChars, total);
      uint32_t pairs = 0;
      for (size_t i = 0; maxWidth == 3 && i + 2 < at.size(); ++i)
        if (at[i][0] == 0xED && (at[i][1] & 0xF0) == 0xA0 && at[i][3] == 0xED &&
            (at[i][4] & 0xF0) == 0xB0)
          ++pairs, ++i;
      SCOPED_TRACE(testing::Message() << "round " << round << " maxWidth " << maxWidth
                                      << " maxChars " << maxChars);
      eachLevel([&](const lxk::Kernels& k) {
        uint32_t chars = 12345;
        EXPECT_EQ(k.utf8Forward(p, limit, maxChars, maxWidth, &chars), at[stepped]);
        EXPECT_EQ(chars, stepped);
        chars = 12345;
        EXPECT_EQ(k.utf8Backward(p, limit, maxChars, maxWidth, &chars), at[total - stepped]);
        EXPECT_EQ(chars, stepped);
        EXPECT_EQ(k.utf8Count(p, limit, maxWidth), total);
        EXPECT_EQ(k.utf8CountCodePoints(p, limit, maxWidth), total - pairs);
      });
    }
  }
  // Cases the reference walk itself must get right: text, maxWidth, code points.
  const std::tuple<Bytes, uint32_t, uint32_t> cases[] = {
      {{0xF0, 0x9F, 0x98, 0x80}, 4, 1},
      {{0xF0, 0x9F, 0x98, 0x80}, 3, 4},  // 4-byte lead or one byte
      {{0xC1, 0x80, 0xF5, 0x80}, 4, 4},
      {{0x41, 0xE6, 0x97}, 4, 1},                    // no leads; cut at the end
      {{0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}, 3, 1},  // one pair, one code point
  };
  for (const auto& [text, maxWidth, codePoints] : cases)
    eachLevel([&](const lxk::Kernels& k) {
      EXPECT_EQ(k.utf8CountCodePoints(text.data(), text.data() + text.size(), maxWidth),
                codePoints);
    });
}

TEST(Kernels, DoubleByteMatchesTheReferenceWalk) {
  const std::vector<std::pair<uint8_t, uint8_t>> leadSets[] = {
      {{0x81, 0x9F}, {0xE0, 0xFC}},
      {{0x81, 0xFE}},
      {{0x8E, 0x8E}, {0xA1, 0xFE}},
      {{0x81, 0x84}, {0x87, 0x9F}, {0xE0, 0xEF}, {0xFA, 0xFC}}};
  std::mt19937 rng(11);
  for (const auto& set : leadSets) {
    lxk::DoubleByteLeads leads{};
    for (const auto& [first, last] : set) {
      leads.first[leads.ranges] = first;
      leads.last[leads.ranges++] = last;
    }
    const auto width = [&](uint8_t b) -> long {
      for (const auto& [first, last] : set)
        if (b >= first && b <= last) return 2;
      return 1;
    };
    for (int round = 0; round < 1500; ++round) {
      Bytes text(rng() % 700);
      const uint32_t leadShare = rng() % 100;
      for (uint8_t& b : text)
        b = rng() % 100 < leadShare ? set[0].first : static_cast<uint8_t>(rng());
      const uint8_t* p = text.data() + (text.empty() ? 0 : rng() % (text.size() / 4 + 1));
      const uint8_t* limit = std::max<const uint8_t*>(
          p, text.data() + text.size() - std::min<size_t>(text.size(), rng() % 3));
      const auto at = refBoundaries(p, limit, width);
      const auto total = static_cast<uint32_t>(at.size() - 1);
      const uint32_t maxChars = randomCount(rng, total), stepped = std::min(maxChars, total);
      SCOPED_TRACE(testing::Message() << "round " << round);
      eachLevel([&](const lxk::Kernels& k) {
        uint32_t chars = 12345;
        EXPECT_EQ(k.doubleByteForward(p, limit, maxChars, leads, &chars), at[stepped]);
        EXPECT_EQ(chars, stepped);
      });
    }
  }
}

TEST(Kernels, Utf16CodePoints) {
  std::mt19937 rng(5);
  const uint8_t highBytes[] = {0x00, 0x4E, 0xD8, 0xDB, 0xDC, 0xDF};
  for (int round = 0; round < 2000; ++round) {
    Bytes text(rng() % 300);
    for (size_t i = 0; i < text.size(); ++i)
      text[i] = i % 2 == 0 ? highBytes[rng() % 6] : static_cast<uint8_t>(rng());
    const auto units = static_cast<uint32_t>(text.size() / 2);
    uint32_t expected = 0;
    for (uint32_t i = 0; i < units; ++i, ++expected)
      if (i + 1 < units && (text[2 * i] & 0xFC) == 0xD8 && (text[2 * i + 2] & 0xFC) == 0xDC) ++i;
    SCOPED_TRACE(testing::Message() << "round " << round);
    eachLevel([&](const lxk::Kernels& k) {
      EXPECT_EQ(k.utf16CountCodePoints(text.data(), static_cast<uint32_t>(text.size())), expected);
    });
  }
}

TEST(Kernels, BestLevelIsSupportedAndStable) {
  const lxk::Kernels& best = lxk::kernels();
  EXPECT_EQ(&best, &lxk::kernels());
  EXPECT_TRUE(lxk::kernelLevelSupported(best.level));
  eachLevel([&](const lxk::Kernels& k) { EXPECT_GE(best.level, k.level); });
}

}  // namespace
