// The frame's inline stepping against real sets: widths, codes, the stop
// mark at the end, closing a shifted run and whole-character prefixes.
#include <cstdint>
#include <string>

#include "frame/frame.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::bytes;
using lxktest::env;

const uint16_t* tableOf(const std::string& set) {
  const CharsetHandle* h = env().handle(set);
  return lxk::leadTableInForce(h, lxk::definitionOf(h, env().ctx()));
}

CharCursor openRead(const std::string& set, const Bytes& text) {
  CharCursor c;
  lxmopen(text.data(), text.size(), &c, env().handle(set), env().ctx(), 0);
  return c;
}

TEST(Frame, WidthBytesLeftAndCodeOfTheCurrentCharacter) {
  constexpr uint32_t kNoCode = ~0u;  // a cut character has none to check
  const struct {
    const char* set;
    Bytes text;
    uint32_t width, left, code;
  } cases[] = {
      // A two-byte lead and a digit: the four-byte rule, wider than what is left.
      {"GB18030", bytes({0x81, 0x30}), 4, 2, kNoCode},
      {"GB18030", bytes({0x81, 0x30, 0x81, 0x30}), 4, 4, 0x81308130},
      {"GB18030", bytes({0x81, 0x40}), 2, 2, kNoCode},
      {"GB18030", bytes({0x81}), 2, 1, kNoCode},
      {"AL32UTF8", bytes({'A'}), 1, 1, 0x41},
      {"AL32UTF8", bytes({0xC3, 0xA9}), 2, 2, 0xC3A9},
      {"AL32UTF8", bytes({0xF0, 0x9F, 0x98, 0x80}), 4, 4, 0xF09F9880},
      {"AL16UTF16", bytes({0xD8, 0x3D, 0xDE, 0x00}), 4, 4, 0xD83DDE00},
      {"AL16UTF16", bytes({0x00, 0x41}), 2, 2, 0x0041},
      {"IBM-930", bytes({0x0E, 0x45, 0x41, 0x0F}), 2, 3, 0x4541},  // inside a run
      {"IBM-930", bytes({0xC1}), 1, 1, 0xC1},                      // outside one
      {"ISO-8859-1", bytes({0xE9}), 1, 1, 0xE9},
  };
  for (const auto& c : cases) {
    const CharCursor cur = openRead(c.set, c.text);
    EXPECT_EQ(lxk::charWidth(cur, tableOf(c.set)), c.width) << c.set;
    EXPECT_EQ(lxk::bytesLeft(cur), c.left) << c.set;
    if (c.code != kNoCode) {
      EXPECT_EQ(lxk::charCode(cur, tableOf(c.set), env().ctx()), c.code) << c.set;
    }
  }
}

TEST(Frame, CloseShiftedRunAppendsExactlyOneShiftIn) {
  Bytes out(8, 0xA5);
  CharCursor w;
  lxmopen(out.data(), 8, &w, env().handle("IBM-930"), env().ctx(), 1);
  EXPECT_EQ(lxk::closeShiftedRun(w), 0u);  // not in a run: nothing
  ASSERT_EQ(lxoWriWChar(&w, 0x4541, OPT_STANDARD, env().ctx()), 3u);
  EXPECT_EQ(lxk::closeShiftedRun(w), 1u);
  EXPECT_EQ(lxk::closeShiftedRun(w), 0u);
  EXPECT_EQ(out, bytes({0x0E, 0x45, 0x41, 0x0F, 0xA5, 0xA5, 0xA5, 0xA5}));
  EXPECT_EQ(w.current, out.data() + 4);
}

// Cut and whole characters: the fast step goes over a cut one byte by byte,
// and the whole-character prefix stops before it. At the end the step moves
// one byte past (the loops' stop mark): the cursor is not handed to the core,
// which would not move it.
TEST(Frame, StepsAndWholePrefixOverCutCharacters) {
  const struct {
    const char* set;
    Bytes text;
    uint32_t steps, whole;
  } cases[] = {
      {"AL32UTF8", bytes({'a', 0xE4, 0xB8}), 3, 1},
      {"AL32UTF8", bytes({'a', 0xE4, 0xB8, 0xAD}), 2, 4},
      {"UTF8", bytes({'a', 0xED, 0xA0, 0xBD, 0xED}), 3, 4},
      {"GB18030", bytes({'a', 0x81, 0x30, 0x81, 0x30}), 2, 5},
      {"GB18030", bytes({'a', 0x81, 0x30}), 3, 1},
      {"SHIFT_JIS", bytes({0x82, 0xA0, 0x82}), 2, 2},
      {"IBM-930", bytes({0xC1, 0x0E, 0x45, 0x41, 0x0F}), 2, 5},
      {"ISO-8859-1", bytes({'a', 0xE9, 'b'}), 3, 3},
      {"AL16UTF16", bytes({0x00, 0x41, 0x00}), 2, 2},
  };
  for (const auto& c : cases) {
    CharCursor cur = openRead(c.set, c.text);
    uint32_t steps = 0;
    for (; !lxk::atEnd(cur); ++steps) lxk::fastAdvance(cur, tableOf(c.set));
    EXPECT_EQ(steps, c.steps) << c.set;
    EXPECT_EQ(cur.current, c.text.data() + c.text.size()) << c.set;
    lxk::advance(cur, env().ctx());
    EXPECT_EQ(cur.current, c.text.data() + c.text.size() + 1) << c.set;
    const CharsetHandle* h = env().handle(c.set);
    EXPECT_EQ(lxk::wholeCharPrefix(c.text.data(), c.text.size(), h,
                                   lxk::definitionOf(h, env().ctx()), env().ctx()),
              c.whole)
        << c.set;
  }
}

}  // namespace
