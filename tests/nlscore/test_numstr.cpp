// Hexadecimal digit strings in each family of sets, and one character into
// UTF-16 units, UTF8's three-byte surrogate forms included.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

TEST(NumStr, DigitsOfEachFamily) {
  struct Row {
    const char* set;
    Bytes digits;
    uint32_t options;
    uint32_t value;
  } rows[] = {
      {"AL32UTF8", {'0', '0', 'e', '9'}, 0x808, 0xE9},
      {"AL32UTF8", {'D', '8', '3', 'D'}, 0x808, 0xD83D},
      {"AL32UTF8", {'1', '2', 'G', '4'}, 0x808, 0x12},
      {"AL32UTF8", {'1', '2', '3', '4'}, 0x8, 1234},
      {"IBM-1047", {0xF0, 0xF0, 0xC5, 0x89}, 0x808, 0xE},
      {"IBM-1047", {0xF0, 0xF0, 0x85, 0xF9}, 0x808, 0xE9},
      {"IBM-930", {0xF0, 0xF0, 0x66, 0xF9}, 0x808, 0xE9},
      {"AL16UTF16", {0, '0', 0, '0', 0, 'E', 0, '9'}, 0x808, 0xE9},
  };
  for (const Row& r : rows) {
    const CharsetHandle* h = env().handle(r.set);
    EXPECT_EQ(lxsCnvNumStrToInt(r.digits.data(), static_cast<uint32_t>(r.digits.size()), r.options,
                                h, env().ctx()),
              r.value)
        << r.set;
    CharCursor c;
    lxmopen(r.digits.data(), static_cast<uint32_t>(r.digits.size()), &c, h, env().ctx(), 0);
    const uint32_t width = (h->flags & CSH_UTF16) ? 2 : 1;
    EXPECT_EQ(lxoCnvNumStrToInt(&c, static_cast<uint32_t>(r.digits.size()) / width, r.options,
                                env().ctx()),
              r.value)
        << r.set;
  }
}

TEST(NumStr, OneCharacterToUtf16) {
  struct Row {
    const char* set;
    Bytes bytes;
    std::vector<uint16_t> units;
  } rows[] = {
      {"UTF8", {0xED, 0xA0, 0xBD}, {0xD83D}},
      {"UTF8", {0xED, 0xB8, 0x80}, {0xDE00}},
      {"UTF8", {0xC3, 0xA9}, {0xE9}},
      {"AL32UTF8", {0xF0, 0x9F, 0x98, 0x80}, {0xD83D, 0xDE00}},
      {"AL32UTF8", {0xED, 0xA0, 0xBD}, {}},
      {"ISO-8859-1", {0xE9}, {0xE9}},
  };
  for (const Row& r : rows) {
    uint16_t units[2] = {};
    const uint32_t n = lxgt2u(units, 2, r.bytes.data(), env().definition(r.set),
                              static_cast<uint32_t>(r.bytes.size()), 0, env().ctx());
    EXPECT_EQ(std::vector<uint16_t>(units, units + n), r.units) << r.set;
  }
}

}  // namespace
