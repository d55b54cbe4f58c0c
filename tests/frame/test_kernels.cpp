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

constexpr KernelLevel kLevels[] = {KernelLevel::Scalar, KernelLevel::Sse2, KernelLevel::Avx2,
                                   KernelLevel::Avx512};

uint32_t refWidth(uint8_t b, uint32_t maxWidth) {
  if (b >= 0xC2 && b <= 0xDF) return 2;
  if (b >= 0xE0 && b <= 0xEF) return 3;
  if (b >= 0xF0 && b <= 0xF4 && maxWidth == 4) return 4;
  return 1;
}

// The boundaries of the walk from p over [p, limit): p first, e last.
std::vector<const uint8_t*> refBoundaries(const uint8_t* p, const uint8_t* limit,
                                          uint32_t maxWidth) {
  std::vector<const uint8_t*> at{p};
  while (p < limit && refWidth(*p, maxWidth) <= static_cast<size_t>(limit - p))
    at.push_back(p += refWidth(*p, maxWidth));
  return at;
}

// Text of random pieces, then a few flipped bytes.
Bytes randomUtf8(std::mt19937& rng, size_t length) {
  Bytes text;
  const auto pick = [&](uint32_t lo, uint32_t hi) {
    return static_cast<uint8_t>(std::uniform_int_distribution<uint32_t>(lo, hi)(rng));
  };
  const uint32_t kind = pick(0, 3);  // ASCII-heavy, CJK-heavy, mixed, noisy
  while (text.size() < length) {
    const uint32_t piece = kind == 1 ? (pick(0, 9) < 8 ? 3u : pick(0, 9)) : pick(0, 9);
    if (piece <= 3 && kind != 3) {
      for (uint32_t i = pick(1, 40); i > 0; --i) text.push_back(pick(0x20, 0x7E));
    } else if (piece == 4) {
      text.insert(text.end(), {pick(0xC2, 0xDF), pick(0x80, 0xBF)});
    } else if (piece == 5 || piece == 3) {
      text.insert(text.end(), {pick(0xE0, 0xEF), pick(0x80, 0xBF), pick(0x80, 0xBF)});
    } else if (piece == 6) {
      text.insert(text.end(),
                  {pick(0xF0, 0xF4), pick(0x80, 0xBF), pick(0x80, 0xBF), pick(0x80, 0xBF)});
    } else if (piece == 7) {  // a surrogate pair as six bytes
      text.insert(text.end(), {0xED, pick(0xA0, 0xAF), pick(0x80, 0xBF), 0xED, pick(0xB0, 0xBF),
                               pick(0x80, 0xBF)});
    } else if (piece == 8) {  // a stray continuation, 0xC0/0xC1 or 0xF5..0xFF
      const uint8_t odd[] = {pick(0x80, 0xBF), pick(0xC0, 0xC1), pick(0xF5, 0xFF)};
      text.push_back(odd[pick(0, 2)]);
    } else {  // a truncated character
      text.insert(text.end(), {pick(0xE0, 0xF4), pick(0x80, 0xBF)});
    }
  }
  text.resize(length);
  for (uint32_t flips = kind == 0 ? 0 : pick(0, 3); flips > 0 && length > 0; --flips)
    text[pick(0, static_cast<uint32_t>(length - 1))] = pick(0, 255);
  return text;
}

uint32_t randomCount(std::mt19937& rng, uint32_t around) {
  switch (rng() % 4) {
    case 0:
      return rng() % 3;
    case 1:
      return around == 0 ? 0 : rng() % (around + 2);
    case 2:
      return ~0u;
    default:
      return around;
  }
}

TEST(Kernels, Utf8MatchesTheReferenceWalk) {
  std::mt19937 rng(7);
  for (int round = 0; round < 3000; ++round) {
    const Bytes text = randomUtf8(rng, rng() % (round % 10 == 0 ? 4000 : 400));
    const uint8_t* base = text.data();
    const size_t size = text.size();
    const uint8_t* p = base + (size ? rng() % (size / 8 + 1) : 0);
    const uint8_t* limit = base + size - (size ? rng() % (size / 8 + 1) : 0);
    if (limit < p) limit = p;
    for (uint32_t maxWidth : {3u, 4u}) {
      const auto at = refBoundaries(p, limit, maxWidth);
      const uint32_t total = static_cast<uint32_t>(at.size() - 1);
      const uint32_t maxChars = randomCount(rng, total);
      const uint32_t stepped = maxChars < total ? maxChars : total;
      uint32_t pairs = 0;
      for (size_t i = 0; maxWidth == 3 && i + 2 < at.size(); ++i)
        if (at[i][0] == 0xED && (at[i][1] & 0xF0) == 0xA0 && at[i][3] == 0xED &&
            (at[i][4] & 0xF0) == 0xB0)
          ++pairs, ++i;
      for (KernelLevel level : kLevels) {
        if (!lxk::kernelLevelSupported(level)) continue;
        const lxk::Kernels& k = lxk::kernelsFor(level);
        SCOPED_TRACE(testing::Message() << "level " << static_cast<int>(level) << " round " << round
                                        << " maxWidth " << maxWidth << " maxChars " << maxChars);
        uint32_t chars = 12345;
        EXPECT_EQ(k.utf8Forward(p, limit, maxChars, maxWidth, &chars), at[stepped]);
        EXPECT_EQ(chars, stepped);
        chars = 12345;
        EXPECT_EQ(k.utf8Backward(p, limit, maxChars, maxWidth, &chars), at[total - stepped]);
        EXPECT_EQ(chars, stepped);
        EXPECT_EQ(k.utf8Count(p, limit, maxWidth), total);
        EXPECT_EQ(k.utf8CountCodePoints(p, limit, maxWidth), total - pairs);
      }
    }
  }
}

// Cases the reference walk itself must get right.
TEST(Kernels, Utf8WidthsByLeadByte) {
  const struct {
    Bytes text;
    uint32_t maxWidth, chars;
  } cases[] = {
      {{0xF0, 0x9F, 0x98, 0x80}, 4, 1},
      {{0xF0, 0x9F, 0x98, 0x80}, 3, 4},  // 4-byte lead or one byte
      {{0xC1, 0x80, 0xF5, 0x80}, 4, 4},
      {{0x41, 0xE6, 0x97}, 4, 1},                    // no leads; cut at the end
      {{0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}, 3, 1},  // one pair, one code point
  };
  for (const auto& c : cases)
    for (KernelLevel level : kLevels) {
      if (!lxk::kernelLevelSupported(level)) continue;
      EXPECT_EQ(lxk::kernelsFor(level).utf8CountCodePoints(
                    c.text.data(), c.text.data() + c.text.size(), c.maxWidth),
                c.chars);
    }
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
    const auto isLead = [&](uint8_t b) {
      for (const auto& [first, last] : set)
        if (b >= first && b <= last) return true;
      return false;
    };
    for (int round = 0; round < 1500; ++round) {
      Bytes text(rng() % 700);
      const uint32_t leadShare = rng() % 100;
      for (uint8_t& b : text)
        b = rng() % 100 < leadShare ? set[0].first : static_cast<uint8_t>(rng());
      const uint8_t* p = text.data() + (text.empty() ? 0 : rng() % (text.size() / 4 + 1));
      const uint8_t* limit = std::max<const uint8_t*>(
          p, text.data() + text.size() - std::min<size_t>(text.size(), rng() % 3));
      std::vector<const uint8_t*> at{p};
      for (const uint8_t* q = p; q < limit && (isLead(*q) ? 2 : 1) <= limit - q;)
        at.push_back(q += isLead(*q) ? 2 : 1);
      const uint32_t total = static_cast<uint32_t>(at.size() - 1);
      const uint32_t maxChars = randomCount(rng, total);
      const uint32_t stepped = std::min(maxChars, total);
      for (KernelLevel level : kLevels) {
        if (!lxk::kernelLevelSupported(level)) continue;
        SCOPED_TRACE(testing::Message()
                     << "level " << static_cast<int>(level) << " round " << round);
        uint32_t chars = 12345;
        EXPECT_EQ(lxk::kernelsFor(level).doubleByteForward(p, limit, maxChars, leads, &chars),
                  at[stepped]);
        EXPECT_EQ(chars, stepped);
      }
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
    const uint32_t units = static_cast<uint32_t>(text.size() / 2);
    uint32_t expected = 0;
    for (uint32_t i = 0; i < units; ++i, ++expected)
      if (i + 1 < units && (text[2 * i] & 0xFC) == 0xD8 && (text[2 * i + 2] & 0xFC) == 0xDC) ++i;
    for (KernelLevel level : kLevels) {
      if (!lxk::kernelLevelSupported(level)) continue;
      EXPECT_EQ(lxk::kernelsFor(level).utf16CountCodePoints(text.data(),
                                                            static_cast<uint32_t>(text.size())),
                expected)
          << "level " << static_cast<int>(level) << " round " << round;
    }
  }
}

TEST(Kernels, BestLevelIsSupportedAndStable) {
  const lxk::Kernels& best = lxk::kernels();
  EXPECT_TRUE(lxk::kernelLevelSupported(best.level));
  EXPECT_EQ(&best, &lxk::kernels());
  for (KernelLevel level : kLevels) {
    if (lxk::kernelLevelSupported(level)) {
      EXPECT_GE(best.level, level);
    }
  }
}

}  // namespace
