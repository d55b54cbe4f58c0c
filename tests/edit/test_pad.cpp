// LPAD and RPAD across the catalogue: rows at full capacity, and at every
// smaller capacity a result of whole characters, closed, within the width;
// byte widths in single-byte sets, display columns in the others.
#include <cstdint>
#include <string>
#include <vector>

#include "support/guarded_buffer.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

struct Padded {
  Bytes bytes;
  uint32_t resultWord;
};

Padded pad(const std::string& set, const Bytes& text, const Bytes& with, uint32_t width, bool left,
           uint32_t capacity) {
  static lxktest::GuardedBuffer src, padding, out;
  src.assign(text.data(), text.size());
  padding.assign(with.data(), with.size());
  uint8_t* dst = out.tail(capacity);
  uint32_t resultWord = 77;
  const uint32_t n = lxkPad(dst, capacity, src.data(), static_cast<uint32_t>(text.size()),
                            padding.data(), static_cast<uint32_t>(with.size()), width,
                            left ? PAD_LEFT : 0u, &resultWord, env().handle(set), env().ctx());
  EXPECT_LE(n, capacity) << set;
  return {Bytes(dst, dst + std::min(n, capacity)), resultWord};
}

uint32_t columns(const std::string& set, const Bytes& b) {
  if (env().handle(set)->flags & CSH_SINGLE_BYTE) return static_cast<uint32_t>(b.size());
  return lxsCntDisp(b.data(), static_cast<uint32_t>(b.size()), OPT_STANDARD, env().handle(set),
                    env().ctx());
}

// Whether shift-sensitive text ends in single-byte mode.
bool endsSingleByte(const std::string& set, const Bytes& b) {
  const CharsetHandle* h = env().handle(set);
  bool shifted = false;
  for (uint8_t byte : b) {
    if (byte == h->shiftOutByte) shifted = true;
    if (byte == h->shiftInByte) shifted = false;
  }
  return !shifted;
}

TEST(Pad, RowsInEverySetAndEveryCapacityBelow) {
  const struct {
    std::string text, with;
    uint32_t width;
    bool left;
    std::string expected;
    bool columnsOnly;  // widths in display columns: not for single-byte sets
  } rows[] = {
      {"ab", "xyz", 5, false, "abxyz", false},
      {"ab", "xyz", 7, false, "abxyzxy", false},
      {"ab", "xyz", 7, true, "xyzxyab", false},
      {"abcdef", "*", 3, true, "abc", false},
      {"abcdef", "*", 3, false, "abc", false},
      {"ab", "", 4, false, "ab  ", false},
      {"ab", "", 4, true, "  ab", false},
      {"", "-=", 3, true, "-=-", false},
      {"a", "中", 6, false, "a中中 ", true},  // the fifth column takes a blank
      {"a", "中", 6, true, " 中中a", true},
      {"中文字", "", 5, false, "中文 ", true},  // a straddling character leaves a blank
      {"中文字", "", 5, true, " 中文", true},
      {"e\u0301", "x", 3, false, "e\u0301xx", true},
      {"ab", "中x", 7, false, "ab中x中", true},
      {"中", "x", 1, false, " ", true},
      {"😀", "ｱ", 4, true, "ｱｱ😀", true},
  };
  for (const std::string& set : lxktest::stringCharsets()) {
    const bool singleByte = env().handle(set)->flags & CSH_SINGLE_BYTE;
    const bool shifted = env().handle(set)->flags & CSH_SHIFT_SENSITIVE;
    for (const auto& row : rows) {
      if (row.columnsOnly && singleByte) continue;
      const Bytes text = env().held(set, row.text), with = env().held(set, row.with),
                  expected = env().held(set, row.expected);
      if (expected.empty() || (text.empty() && !row.text.empty()) ||
          (with.empty() && !row.with.empty()))
        continue;
      const std::string trace = set + " " + row.text + " " + std::to_string(row.width);
      const Padded full = pad(set, text, with, row.width, row.left, 64);
      EXPECT_EQ(env().decode(set, full.bytes.data(), full.bytes.size()), row.expected) << trace;
      EXPECT_EQ(full.resultWord, 77u) << trace;
      for (uint32_t capacity = 0; capacity < expected.size(); ++capacity) {
        const Padded cut = pad(set, text, with, row.width, row.left, capacity);
        const std::string at = trace + " capacity " + std::to_string(capacity);
        if (singleByte) {
          // Cut silently: the total is the capacity, the source placed first.
          Bytes want =
              pad(set, text, with, capacity < row.width ? capacity : row.width, row.left, 64).bytes;
          EXPECT_EQ(cut.bytes, want) << at;
          continue;
        }
        EXPECT_LE(columns(set, cut.bytes), row.width) << at;
        env().decode(set, cut.bytes.data(), cut.bytes.size());  // fails on a cut character
        EXPECT_TRUE(!shifted || endsSingleByte(set, cut.bytes)) << at;
      }
    }
  }
}

// Operands that end inside a character: only whole characters are copied,
// a cut pad string is repeated as cut, and a blank fills a column that the
// copies leave.  Capacities that stop the padding part-way.
TEST(Pad, CutCharactersAndShortCapacitiesInUtf8) {
  const Bytes day = {0xE6, 0x97, 0xA5};  // two columns
  const Bytes cutDay = {0xE6, 0x97};
  const auto cat = [](std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
  };
  const Bytes a = {'a'}, ab = {'a', 'b'}, x = {'x'}, xy = {'x', 'y'}, dash = {'*', '-'};
  const struct {
    Bytes text, with;
    uint32_t width;
    bool left;
    uint32_t capacity;
    Bytes expected;
  } rows[] = {
      {cat({a, cutDay}), dash, 6, false, 16, lxktest::bytes("a*-*- ")},
      {cat({a, cutDay}), dash, 6, true, 16, lxktest::bytes(" *-*-a")},
      {ab, {'*', 0xE6}, 6, false, 16, lxktest::bytes("ab** ")},
      {ab, {'*', 0xE6}, 6, true, 16, lxktest::bytes(" **ab")},
      {a, {0xE6}, 4, false, 16, lxktest::bytes("a ")},
      {a, {0xE6}, 4, true, 16, lxktest::bytes(" a")},
      {cat({ab, day}), xy, 9, false, 7, cat({ab, day, xy})},
      {cat({ab, day}), xy, 9, true, 7, cat({xy, ab, day})},
      {cat({ab, day}), xy, 9, true, 6, cat({x, ab, day})},
      {cat({a, day}), cat({day, x}), 11, false, 12, cat({a, day, day, x, day, x})},
      {cat({a, day}), cat({day, x}), 11, true, 12, cat({day, x, day, x, a, day})},
  };
  for (const auto& row : rows) {
    const Padded got = pad("AL32UTF8", row.text, row.with, row.width, row.left, row.capacity);
    EXPECT_EQ(got.bytes, row.expected)
        << row.width << (row.left ? " LPAD " : " RPAD ") << row.capacity;
    EXPECT_EQ(got.resultWord, 77u);
  }
}

TEST(Pad, SingleByteBlanksAndEdges) {
  // The blank of an empty pad string is the set's: 0x40 in EBCDIC.
  EXPECT_EQ(pad("IBM-1047", {0xC1}, {}, 3, false, 8).bytes, Bytes({0xC1, 0x40, 0x40}));
  EXPECT_EQ(pad("ISO-8859-1", {'a'}, {}, 3, true, 8).bytes, Bytes({0x20, 0x20, 'a'}));
  // Long fills repeat the pad string in phase.
  const Bytes long_ = pad("ISO-8859-1", {'#'}, lxktest::bytes("abc"), 1000, false, 4096).bytes;
  ASSERT_EQ(long_.size(), 1000u);
  for (size_t i = 1; i < long_.size(); ++i) ASSERT_EQ(long_[i], "abc"[(i - 1) % 3]) << i;
  // Width or capacity 0: nothing written (the destination is a guard page).
  for (const char* set : {"ISO-8859-1", "AL32UTF8", "IBM-930"}) {
    EXPECT_TRUE(pad(set, {'a'}, {'b'}, 0, false, 8).bytes.empty()) << set;
    EXPECT_TRUE(pad(set, {'a'}, {'b'}, 5, true, 0).bytes.empty()) << set;
  }
}

}  // namespace
