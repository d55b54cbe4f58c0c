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

TEST(Pad, RowsInEverySetAndEveryCapacityBelow) {
  const struct {
    std::string text, with;
    uint32_t width;
    bool left;
    std::string expected;
    bool columnsOnly;  // widths in display columns: not for single-byte sets
  } rows[] = {
      {"ab", "xyz", 7, false, "abxyzxy", false}, {"ab", "xyz", 7, true, "xyzxyab", false},
      {"abcdef", "*", 3, true, "abc", false},    {"abcdef", "*", 3, false, "abc", false},
      {"ab", "", 4, false, "ab  ", false},       {"", "-=", 3, true, "-=-", false},
      {"a", "中", 6, false, "a中中 ", true},    // the fifth column takes a blank
      {"中文字", "", 5, false, "中文 ", true},  // a straddling character leaves a blank
      {"中文字", "", 5, true, " 中文", true},    {"e\u0301", "x", 3, false, "e\u0301xx", true},
      {"ab", "中x", 7, false, "ab中x中", true},  {"中", "x", 1, false, " ", true},
      {"😀", "ｱ", 4, true, "ｱｱ😀", true},          {"a", "b", 0, false, "", false}};
  for (const std::string& set : lxktest::stringCharsets()) {
    const bool singleByte = env().handle(set)->flags & CSH_SINGLE_BYTE;
    const bool shifted = env().handle(set)->flags & CSH_SHIFT_SENSITIVE;
    for (const auto& row : rows) {
      if (row.columnsOnly && singleByte) continue;
      const Bytes text = env().held(set, row.text), with = env().held(set, row.with),
                  expected = env().held(set, row.expected);
      if ((expected.empty() && !row.expected.empty()) || (text.empty() && !row.text.empty()) ||
          (with.empty() && !row.with.empty()))
        continue;
      const std::string trace = set + " " + row.text + " " + std::to_string(row.width);
      const Padded full = pad(set, text, with, row.width, row.left, 64);
      EXPECT_EQ(env().decode(set, full.bytes.data(), full.bytes.size()), row.expected) << trace;
      EXPECT_EQ(full.resultWord, 77u) << trace;
      for (uint32_t capacity = 0; capacity < expected.size(); ++capacity) {
        const Padded cut = pad(set, text, with, row.width, row.left, capacity);
        const std::string at = trace + " capacity " + std::to_string(capacity);
        if (singleByte) {  // the source placed first, the total cut to the capacity
          EXPECT_EQ(cut.bytes,
                    pad(set, text, with, std::min(capacity, row.width), row.left, 64).bytes)
              << at;
          continue;
        }
        EXPECT_LE(columns(set, cut.bytes), row.width) << at;
        env().decode(set, cut.bytes.data(), cut.bytes.size());  // fails on a cut character
        bool open = false;  // a shift-sensitive result must end in single-byte mode
        for (uint8_t b : cut.bytes)
          if (shifted &&
              (b == env().handle(set)->shiftOutByte || b == env().handle(set)->shiftInByte))
            open = b == env().handle(set)->shiftOutByte;
        EXPECT_FALSE(open) << at;
      }
    }
  }
}

// Operands cut inside a character: only whole characters are copied and a
// blank fills a column the copies leave; capacities that stop part-way.
TEST(Pad, CutCharactersAndShortCapacitiesInUtf8) {
  const struct {
    const char *text, *with;
    uint32_t width;
    bool left;
    uint32_t capacity;
    const char* expected;
  } rows[] = {
      {"a\xE6\x97", "*-", 6, false, 16, "a*-*- "}, {"a\xE6\x97", "*-", 6, true, 16, " *-*-a"},
      {"ab", "*\xE6", 6, false, 16, "ab** "},      {"a", "\xE6", 4, true, 16, " a"},
      {"ab日", "xy", 9, false, 7, "ab日xy"},       {"ab日", "xy", 9, true, 6, "xab日"},
      {"a日", "日x", 11, false, 12, "a日日x日x"},  {"a日", "日x", 11, true, 12, "日x日xa日"}};
  for (const auto& row : rows) {
    const Padded got = pad("AL32UTF8", lxktest::bytes(row.text), lxktest::bytes(row.with),
                           row.width, row.left, row.capacity);
    EXPECT_EQ(got.bytes, lxktest::bytes(row.expected))
        << row.text << " " << row.width << " " << row.left << " " << row.capacity;
  }
}

TEST(Pad, SingleByteBlanksAndEmptyCapacity) {
  EXPECT_EQ(pad("IBM-1047", {0xC1}, {}, 3, false, 8).bytes, Bytes({0xC1, 0x40, 0x40}));
  EXPECT_EQ(pad("ISO-8859-1", {'a'}, {}, 3, true, 8).bytes, Bytes({0x20, 0x20, 'a'}));
  for (const char* set : {"ISO-8859-1", "AL32UTF8", "IBM-930"})  // a guard page: nothing written
    EXPECT_TRUE(pad(set, {'a'}, {'b'}, 5, true, 0).bytes.empty()) << set;
}

}  // namespace
