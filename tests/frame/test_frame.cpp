// The frame's inline stepping against real sets: widths, codes, the stop
// mark at the end and whole-character prefixes; the inline UTF-8 trimming and
// the double-byte second-byte masks against plain references.  Closing a shifted run is
// checked through CHR and CONCAT in every shift-sensitive set.
#include <cstdint>
#include <random>
#include <string>

#include "frame/frame.h"
#include "frame/units.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

// The first character's width, the bytes left and its code; then the fast
// step goes over a cut character byte by byte, and the whole-character prefix
// stops before it. At the end the step moves one byte past (the loops' stop
// mark): the cursor is not handed to the core, which would not move it.
TEST(Frame, WidthCodeStepsAndWholePrefix) {
  constexpr uint32_t kNoCode = ~0u;  // a cut character has none to check
  const struct {
    const char* set;
    Bytes text;
    uint32_t width, left, code, steps, whole;
  } cases[] = {
      // A two-byte lead and a digit: the four-byte rule, wider than what is left.
      {"GB18030", {0x81, 0x30}, 4, 2, kNoCode, 2, 0},
      {"GB18030", {0x81, 0x30, 0x81, 0x30}, 4, 4, 0x81308130, 1, 4},
      {"GB18030", {'a', 0x81, 0x30}, 1, 3, 'a', 3, 1},
      {"GB18030", {0x81, 0x40}, 2, 2, 0x8140, 1, 2},
      {"GB18030", {0x81}, 2, 1, kNoCode, 1, 0},
      {"AL32UTF8", {'a', 0xE4, 0xB8}, 1, 3, 'a', 3, 1},
      {"AL32UTF8", {0xE4, 0xB8, 0xAD, 'a'}, 3, 4, 0xE4B8AD, 2, 4},
      {"AL32UTF8", {0xF0, 0x9F, 0x98, 0x80}, 4, 4, 0xF09F9880, 1, 4},
      {"UTF8", {'a', 0xED, 0xA0, 0xBD, 0xED}, 1, 5, 'a', 3, 4},
      {"AL16UTF16", {0xD8, 0x3D, 0xDE, 0x00}, 4, 4, 0xD83DDE00, 1, 4},
      {"AL16UTF16", {0x00, 0x41, 0x00}, 2, 3, 0x0041, 2, 2},
      {"SHIFT_JIS", {0x82, 0xA0, 0x82}, 2, 3, 0x82A0, 2, 2},
      {"IBM-930", {0x0E, 0x45, 0x41, 0x0F}, 2, 3, 0x4541, 1, 4},      // inside a run
      {"IBM-930", {0xC1, 0x0E, 0x45, 0x41, 0x0F}, 1, 5, 0xC1, 2, 5},  // outside one
      {"ISO-8859-1", {0xE9, 'b'}, 1, 2, 0xE9, 2, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.set) + " " + testing::PrintToString(c.text));
    const CharsetHandle* h = env().handle(c.set);
    const CharsetDefinition* def = lxk::definitionOf(h, env().ctx());
    const uint16_t* table = lxk::leadTableInForce(h, def);
    CharCursor cur;
    lxmopen(c.text.data(), c.text.size(), &cur, h, env().ctx(), 0);
    EXPECT_EQ(lxk::charWidth(cur, table), c.width);
    EXPECT_EQ(lxk::bytesLeft(cur), c.left);
    if (c.code != kNoCode) {
      EXPECT_EQ(lxk::charCode(cur, table, env().ctx()), c.code);
    }
    uint32_t steps = 0;
    for (; !lxk::atEnd(cur); ++steps) lxk::fastAdvance(cur, table);
    EXPECT_EQ(steps, c.steps);
    EXPECT_EQ(cur.current, c.text.data() + c.text.size());
    lxk::advance(cur, env().ctx());
    EXPECT_EQ(cur.current, c.text.data() + c.text.size()) << "advanced past the end";
    EXPECT_EQ(lxk::wholeCharPrefix(c.text.data(), c.text.size(), h, def, env().ctx()), c.whole);
  }
}

// The inline UTF-8 trimming is the core's lxptmutf8 on every prefix of
// random bytes, malformed ones included.
TEST(Frame, Utf8WholeCharEndIsTheCores) {
  std::mt19937 rng(3);
  for (int round = 0; round < 200; ++round) {
    Bytes text(1 + rng() % 12);
    for (uint8_t& b : text) b = static_cast<uint8_t>(round % 2 ? rng() : 0x80 | (rng() % 0x78));
    for (size_t n = 0; n <= text.size(); ++n)
      ASSERT_EQ(lxk::utf8WholeCharEnd(text.data(), text.data() + n),
                lxptmutf8(text.data(), text.data() + n))
          << testing::PrintToString(text) << " prefix " << n;
  }
}

}  // namespace
