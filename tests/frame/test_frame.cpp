// The frame's inline stepping against real sets: widths, the stop mark at
// the end, closing a shifted run, character codes and whole-character
// prefixes.
#include <cstdint>
#include <string>

#include "frame/frame.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::NlsEnv;

using lxktest::env;

const uint16_t* tableOf(const std::string& set) {
  const CharsetHandle* h = env().handle(set);
  return lxk::leadTableInForce(h, lxk::definitionOf(h, env().ctx()));
}

CharCursor openRead(const std::string& set, const Bytes& text, uint32_t* lead = nullptr) {
  CharCursor c;
  const uint32_t n = lxmopen(text.data(), text.size(), &c, env().handle(set), env().ctx(), 0);
  if (lead != nullptr) *lead = n;
  return c;
}

TEST(Frame, WidthOfTheCurrentCharacter) {
  const struct {
    const char* set;
    Bytes text;
    uint32_t width;
    uint32_t left;
  } cases[] = {
      // A two-byte lead and a digit: the four-byte rule, wider than what is left.
      {"GB18030", lxktest::bytes({0x81, 0x30}), 4, 2},
      {"GB18030", lxktest::bytes({0x81, 0x30, 0x81, 0x30}), 4, 4},
      {"GB18030", lxktest::bytes({0x81, 0x40}), 2, 2},
      {"GB18030", lxktest::bytes({0x81}), 2, 1},
      {"AL32UTF8", lxktest::bytes({0xF0, 0x9F, 0x98, 0x80}), 4, 4},
      {"AL16UTF16", lxktest::bytes({0xD8, 0x3D, 0xDE, 0x00}), 4, 4},
      {"AL16UTF16", lxktest::bytes({0x00, 0x41}), 2, 2},
      {"IBM-930", lxktest::bytes({0x0E, 0x45, 0x41, 0x0F}), 2, 3},
      {"IBM-930", lxktest::bytes({0xC1}), 1, 1},
      {"ISO-8859-1", lxktest::bytes({0xE9}), 1, 1},
  };
  for (const auto& c : cases) {
    const CharCursor cur = openRead(c.set, c.text);
    EXPECT_EQ(lxk::charWidth(cur, tableOf(c.set)), c.width) << c.set;
    EXPECT_EQ(lxk::bytesLeft(cur), c.left) << c.set;
  }
}

// At the end the step moves one byte past the end (the loops' stop mark);
// the cursor is not handed to the core, which would not move it.
TEST(Frame, AdvanceAtTheEndMovesOnePast) {
  for (const char* set : {"AL32UTF8", "GB18030", "IBM-930", "ISO-8859-1", "AL16UTF16"}) {
    const Bytes text = env().encode(set, "a");
    CharCursor cur = openRead(set, text);
    uint32_t steps = 0;
    while (!lxk::atEnd(cur) && steps < 10) {
      lxk::advance(cur, env().ctx());
      ++steps;
    }
    EXPECT_EQ(steps, 1u) << set;
    uint8_t* end = cur.current;
    lxk::advance(cur, env().ctx());
    EXPECT_EQ(cur.current, end + 1) << set;
  }
}

TEST(Frame, FastAdvanceStepsOverTruncatedCharactersByteByByte) {
  const struct {
    const char* set;
    Bytes text;
    uint32_t steps;
  } cases[] = {
      {"AL32UTF8", lxktest::bytes({'a', 0xE4, 0xB8}), 3},
      {"AL32UTF8", lxktest::bytes({'a', 0xE4, 0xB8, 0xAD}), 2},
      {"GB18030", lxktest::bytes({'a', 0x81, 0x30, 0x81, 0x30}), 2},
      {"GB18030", lxktest::bytes({'a', 0x81, 0x30}), 3},
      {"SHIFT_JIS", lxktest::bytes({0x82, 0xA0, 0x82}), 2},
      {"IBM-930", lxktest::bytes({0xC1, 0x0E, 0x45, 0x41, 0x0F}), 2},
  };
  for (const auto& c : cases) {
    CharCursor cur = openRead(c.set, c.text);
    uint32_t steps = 0;
    while (!lxk::atEnd(cur)) {
      lxk::fastAdvance(cur, tableOf(c.set));
      ++steps;
    }
    EXPECT_EQ(steps, c.steps) << c.set;
    EXPECT_EQ(cur.current, c.text.data() + c.text.size()) << c.set;
  }
}

TEST(Frame, CloseShiftedRunAppendsExactlyOneShiftIn) {
  const CharsetHandle* h = env().handle("IBM-930");
  Bytes out(8, 0xA5);
  CharCursor w;
  lxmopen(out.data(), 8, &w, h, env().ctx(), 1);
  EXPECT_EQ(lxk::closeShiftedRun(w), 0u);  // not in a run: nothing
  const uint32_t n = lxoWriWChar(&w, 0x4541, OPT_STANDARD, env().ctx());
  ASSERT_EQ(n, 3u);
  EXPECT_EQ(lxk::closeShiftedRun(w), 1u);
  EXPECT_EQ(lxk::closeShiftedRun(w), 0u);
  EXPECT_EQ(out, lxktest::bytes({0x0E, 0x45, 0x41, 0x0F, 0xA5, 0xA5, 0xA5, 0xA5}));
  EXPECT_EQ(w.current, out.data() + 4);
}

TEST(Frame, CharacterCodes) {
  const struct {
    const char* set;
    Bytes text;
    uint32_t code;
  } cases[] = {
      {"ISO-8859-1", lxktest::bytes({0xE9}), 0xE9},
      {"AL32UTF8", lxktest::bytes({'A'}), 0x41},
      {"AL32UTF8", lxktest::bytes({0xC3, 0xA9}), 0xC3A9},
      {"AL32UTF8", lxktest::bytes({0xF0, 0x9F, 0x98, 0x80}), 0xF09F9880},
      {"AL16UTF16", lxktest::bytes({0x00, 0x41}), 0x0041},
      {"AL16UTF16", lxktest::bytes({0xD8, 0x3D, 0xDE, 0x00}), 0xD83DDE00},
      {"IBM-930", lxktest::bytes({0xC1}), 0xC1},                      // outside a run
      {"IBM-930", lxktest::bytes({0x0E, 0x45, 0x41, 0x0F}), 0x4541},  // inside one
      {"GB18030", lxktest::bytes({0x81, 0x30, 0x81, 0x30}), 0x81308130},
  };
  for (const auto& c : cases) {
    const CharCursor cur = openRead(c.set, c.text);
    EXPECT_EQ(lxk::charCode(cur, tableOf(c.set), env().ctx()), c.code) << c.set;
  }
}

TEST(Frame, WholeCharacterPrefix) {
  const struct {
    const char* set;
    Bytes text;
    uint32_t whole;
  } cases[] = {
      {"ISO-8859-1", lxktest::bytes({'a', 0xE9, 'b'}), 3},
      {"AL16UTF16", lxktest::bytes({0x00, 0x41, 0x00}), 2},
      {"AL32UTF8", lxktest::bytes({'a', 0xC3}), 1},
      {"UTF8", lxktest::bytes({'a', 0xED, 0xA0, 0xBD, 0xED}), 4},
      {"GB18030", lxktest::bytes({'a', 0x81, 0x30, 0x81}), 1},
      {"SHIFT_JIS", lxktest::bytes({0x82, 0xA0, 0x82}), 2},
  };
  for (const auto& c : cases) {
    const CharsetHandle* h = env().handle(c.set);
    EXPECT_EQ(lxk::wholeCharPrefix(c.text.data(), c.text.size(), h,
                                   lxk::definitionOf(h, env().ctx()), env().ctx()),
              c.whole)
        << c.set;
  }
}

}  // namespace
