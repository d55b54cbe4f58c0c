// The scanning kernels, level by level, against a plain character walk
// written here, on random text built to hit every block path: long
// well-formed stretches, each kind of malformed or special sequence placed
// at every offset around block ends, and every length up to several blocks.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "frame/kernels.h"
#include "support/guarded_buffer.h"

namespace {

using lxk::KernelLevel;
using Bytes = std::vector<uint8_t>;

template <class F>
void forEachLevel(F f) {
  for (KernelLevel level :
       {KernelLevel::Scalar, KernelLevel::Sse2, KernelLevel::Avx2, KernelLevel::Avx512}) {
    if (!lxk::kernelLevelSupported(level)) continue;
    f(lxk::scanKernelsFor(level), static_cast<int>(level));
  }
}

// The references: one character at a time by the Unicode rules.
uint32_t utf8Reference(const Bytes& b, lxk::Utf8Tally* t) {
  size_t q = 0;
  while (q < b.size()) {
    const uint8_t c = b[q];
    size_t w = c < 0x80                 ? 1
               : c >= 0xC2 && c <= 0xDF ? 2
               : c >= 0xE0 && c <= 0xEF ? 3
               : c >= 0xF0 && c <= 0xF4 ? 4
                                        : 0;
    if (w == 0 || w > b.size() - q) break;
    uint32_t v = w == 1 ? c : c & (0x7F >> w);
    bool ok = true;
    for (size_t i = 1; i < w; ++i) {
      ok &= (b[q + i] & 0xC0) == 0x80;
      v = v << 6 | (b[q + i] & 0x3F);
    }
    static const uint32_t kMin[5] = {0, 0, 0x80, 0x800, 0x10000};
    if (!ok || v < kMin[w] || v > 0x10FFFF || (v >= 0xD800 && v <= 0xDFFF) || v == 0xFFFD) break;
    q += w;
    ++t->chars;
    t->fourByte += w == 4;
  }
  return static_cast<uint32_t>(q);
}

uint32_t utf16Reference(const Bytes& b, lxk::Utf16Tally* t) {
  size_t q = 0;
  while (b.size() - q >= 2) {
    const uint32_t u = b[q] << 8 | b[q + 1];
    if (u >= 0xD800 && u <= 0xDBFF) {
      if (b.size() - q < 4 || (b[q + 2] & 0xFC) != 0xDC) break;
      t->units += 2;
      ++t->pairs;
      q += 4;
      continue;
    }
    if ((u >= 0xDC00 && u <= 0xDFFF) || u == 0xFFFD) break;
    ++t->units;
    t->ascii += u < 0x80;
    t->twoByte += u >= 0x80 && u < 0x800;
    q += 2;
  }
  return static_cast<uint32_t>(q);
}

// Well-formed UTF-8 of every width, with one piece of trouble (or none) put
// in at a random place.
Bytes utf8Text(std::mt19937& rng, size_t chars) {
  static const std::vector<Bytes> kPieces = {{0x61},
                                             {0x20},
                                             {0xC3, 0xA9},
                                             {0xE4, 0xB8, 0xAD},
                                             {0xED, 0x9F, 0xBF},
                                             {0xEF, 0xBC, 0xA1},
                                             {0xE0, 0xA0, 0x80},
                                             {0xF0, 0x9F, 0x98, 0x80},
                                             {0xF4, 0x8F, 0xBF, 0xBF}};
  static const std::vector<Bytes> kTrouble = {{0x80},
                                              {0xC0, 0x80},
                                              {0xE0, 0x9F, 0x80},
                                              {0xED, 0xA0, 0x80},
                                              {0xEF, 0xBF, 0xBD},
                                              {0xF0, 0x8F, 0x80, 0x80},
                                              {0xF4, 0x90, 0x80, 0x80},
                                              {0xF5},
                                              {0xFF},
                                              {0xE4, 0xB8},
                                              {0xC3}};
  Bytes b;
  const bool ascii = rng() % 3 == 0;
  for (size_t i = 0; i < chars; ++i) {
    const Bytes& p = kPieces[ascii ? rng() % 2 : rng() % kPieces.size()];
    b.insert(b.end(), p.begin(), p.end());
  }
  if (rng() % 2) {
    const Bytes& t = kTrouble[rng() % kTrouble.size()];
    b.insert(b.begin() + static_cast<long>(rng() % (b.size() + 1)), t.begin(), t.end());
  }
  return b;
}

Bytes utf16Text(std::mt19937& rng, size_t units) {
  Bytes b;
  for (size_t i = 0; i < units; ++i) {
    switch (rng() % 6) {
      case 0:
        b.insert(b.end(), {0x00, static_cast<uint8_t>(rng() % 0x80)});
        break;
      case 1:
        b.insert(b.end(), {0x03, static_cast<uint8_t>(rng())});
        break;
      case 2:
        b.insert(b.end(), {0x4E, static_cast<uint8_t>(rng())});
        break;
      case 3:
        b.insert(b.end(), {0xD8, 0x3D, 0xDE, static_cast<uint8_t>(rng())});
        break;
      default:
        b.insert(b.end(), {0x00, 0x20});
        break;
    }
  }
  if (rng() % 2) {
    static const std::vector<Bytes> kTrouble = {{0xD8, 0x00}, {0xDC, 0x00}, {0xFF, 0xFD}, {0x41}};
    const Bytes& t = kTrouble[rng() % kTrouble.size()];
    const size_t at = (rng() % (b.size() / 2 + 1)) * 2;
    b.insert(b.begin() + static_cast<long>(at), t.begin(), t.end());
  }
  return b;
}

TEST(ScanKernels, MatchTheCharacterWalkAtEveryLevel) {
  std::mt19937 rng(5);
  lxktest::GuardedBuffer buffer;
  for (int round = 0; round < 3000; ++round) {
    const size_t size = rng() % 4 == 0 ? 300 + rng() % 600 : rng() % 140;
    const Bytes u8 = utf8Text(rng, size);
    const Bytes u16 = utf16Text(rng, size);
    lxk::Utf8Tally want8;
    lxk::Utf16Tally want16;
    const uint32_t end8 = utf8Reference(u8, &want8);
    const uint32_t end16 = utf16Reference(u16, &want16);
    forEachLevel([&](const lxk::ScanKernels& k, int level) {
      const uint8_t* p = buffer.assign(u8.data(), u8.size());
      const auto n8 = static_cast<uint32_t>(u8.size());
      lxk::Utf8Tally got8;
      ASSERT_EQ(k.utf8ValidPrefix(p, n8, &got8), end8) << "level " << level;
      EXPECT_EQ(got8.chars, want8.chars) << "level " << level;
      EXPECT_EQ(got8.fourByte, want8.fourByte) << "level " << level;
      size_t firstHigh = 0, runEnd = 0;
      while (firstHigh < u8.size() && u8[firstHigh] < 0x80) ++firstHigh;
      while (runEnd < u8.size() && u8[runEnd] < 0x80 && u8[runEnd] != 0x20) ++runEnd;
      EXPECT_EQ(k.firstNonAscii(p, n8), firstHigh) << "level " << level;
      EXPECT_EQ(k.asciiRunUntil(p, n8, 0x20), runEnd) << "level " << level;
      size_t printableEnd = 0;
      while (printableEnd < u8.size() && u8[printableEnd] >= 0x21 && u8[printableEnd] <= 0x7E)
        ++printableEnd;
      EXPECT_EQ(k.firstOutsideRange(p, n8, 0x21, 0x7E), printableEnd) << "level " << level;

      p = buffer.assign(u16.data(), u16.size());
      lxk::Utf16Tally got16;
      ASSERT_EQ(k.utf16ValidPrefix(p, static_cast<uint32_t>(u16.size()), &got16), end16)
          << "level " << level;
      EXPECT_EQ(got16.units, want16.units) << "level " << level;
      EXPECT_EQ(got16.pairs, want16.pairs) << "level " << level;
      EXPECT_EQ(got16.ascii, want16.ascii) << "level " << level;
      EXPECT_EQ(got16.twoByte, want16.twoByte) << "level " << level;
    });
  }
}

}  // namespace
