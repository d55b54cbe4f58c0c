// Cursors across the catalogue: stepping, reading, writing, the invariant
// test and byte equality on each character against the set's own encoding of
// it; shift bytes at opening and at the capacity, and truncated characters.
#include <cstdint>
#include <string>
#include <vector>

#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

CharCursor openRead(const std::string& set, const Bytes& text) {
  CharCursor c;
  lxmopen(text.data(), text.size(), &c, env().handle(set), env().ctx(), 0);
  return c;
}

// Each character in turn: lxmfwdx and lxmfwtx (by the lead-byte table) step
// over its bytes, lxmc2wx reads them as a code and lxoWriWChar writes that
// code as the same bytes; closing the run gives back the whole text.
TEST(Cursor, StepsReadsAndWritesEachCharacterOfEverySet) {
  NlsContext* ctx = env().ctx();
  for (const std::string& set : lxktest::stringCharsets()) {
    SCOPED_TRACE(set);
    const CharsetHandle* h = env().handle(set);
    const uint16_t* table = reinterpret_cast<const uint16_t*>(
        reinterpret_cast<const uint8_t*>(env().definition(set)) + h->tableOffset);
    // The characters the set holds, each with its own bytes (shift bytes
    // removed; CESU-8 pairs as two three-byte characters), and all as one text.
    std::string utf8;
    std::vector<std::pair<std::string, Bytes>> chars;
    for (const std::string& one : lxktest::sampleChars()) {
      Bytes b = env().held(set, one);
      if (b.empty()) continue;
      utf8 += one;
      if ((h->flags & CSH_SHIFT_SENSITIVE) && b.size() > 1) b = Bytes(b.begin() + 1, b.end() - 1);
      if (b.size() == 6)
        chars.emplace_back(one, Bytes(b.begin(), b.begin() + 3)), b.erase(b.begin(), b.begin() + 3);
      chars.emplace_back(one, b);
    }
    const Bytes text = env().encode(set, utf8);
    const uint8_t* end = text.data() + text.size();
    Bytes out(text.size() + 8, 0);
    const Bytes none;
    CharCursor c, w, previous = openRead(set, none);
    uint32_t passed = lxmopen(text.data(), text.size(), &c, h, ctx, 0);
    uint32_t written = lxmopen(out.data(), text.size(), &w, h, ctx, 1);
    EXPECT_EQ(c.singleByte != 0, (h->flags & CSH_SINGLE_BYTE) != 0);
    EXPECT_EQ(c.shiftSensitive != 0, (h->flags & CSH_SHIFT_SENSITIVE) != 0);
    for (const auto& [one, ch] : chars) {
      ASSERT_LT(c.current, end);
      EXPECT_EQ(Bytes(c.current, c.current + ch.size()), ch);
      EXPECT_EQ(c.shiftState != 0, c.shiftSensitive && ch.size() > 1);
      uint32_t expected = 0;
      for (uint8_t b : ch) expected = expected << 8 | b;
      const uint32_t code = lxmc2wx(&c, ctx);
      EXPECT_EQ(code, expected);
      // The invariant characters by their ASCII codes; the blank also
      // matches the ideographic space.
      for (const char invariant : {' ', '%', '_'})
        EXPECT_EQ(lxmctex(&c, invariant, ctx) != 0,
                  one == std::string(1, invariant) || (invariant == ' ' && one == "\u3000"))
            << one << " as " << invariant;
      // Byte equality: with the character opened on its own (in its own run),
      // not with the one before.
      Bytes alone = ch;
      if (c.shiftState)
        alone.insert(alone.begin(), h->shiftOutByte), alone.push_back(h->shiftInByte);
      const CharCursor a = openRead(set, alone);
      EXPECT_NE(lxmbteqx(&c, &a, nullptr), 0);
      EXPECT_EQ(lxmbteqx(&c, &previous, nullptr), 0);
      previous = c;
      CharCursor t = c;
      passed += lxmfwdx(&c, ctx);
      EXPECT_EQ(lxmfwtx(&t, table), ch.size());
      EXPECT_EQ(t.current, c.current);
      EXPECT_EQ(passed, static_cast<uint32_t>(c.current - text.data()));
      written += lxoWriWChar(&w, code, OPT_STANDARD, ctx);
      EXPECT_EQ(Bytes(w.current - ch.size(), w.current), ch);
      EXPECT_EQ(w.current, out.data() + written);
    }
    // At the end neither step moves.
    EXPECT_EQ(c.current, end);
    EXPECT_EQ(lxmfwdx(&c, ctx), 0u);
    EXPECT_EQ(lxmfwtx(&c, table), 0u);
    EXPECT_EQ(c.current, end);
    if (w.shiftState) out[written++] = h->shiftInByte;
    EXPECT_EQ(Bytes(out.begin(), out.begin() + written), text);
  }
}

// Hand-made texts: the bytes the open consumes, then at each step the code,
// the character's width (lxmfwtx) and the shift bytes lxmfwdx passes after it.
// A truncated character is passed one byte at a time and equals nothing.
TEST(Cursor, OpenAndStepOverShiftBytesAndTruncatedCharacters) {
  struct Step {
    uint32_t code, width, shiftBytes;
  };
  const struct {
    const char* set;
    Bytes text;
    bool insideRun;  // opened with lxmvopen in the shifted state
    uint32_t consumed;
    std::vector<Step> steps;
  } cases[] = {
      {"IBM-930", {0x0E, 0x45, 0x41, 0x0F, 0xC1}, false, 1, {{0x4541, 2, 1}, {0xC1, 1, 0}}},
      {"IBM-930", {0x0E, 0x0F, 0xC1, 0x0E, 0x0F}, false, 2, {{0xC1, 1, 2}}},
      {"IBM-930", {0x45, 0x41, 0x0F}, true, 0, {{0x4541, 2, 1}}},
      {"IBM-930", {0xC1, 0x0E, 0x45}, false, 0, {{0xC1, 1, 1}, {0x45, 1, 0}}},
      {"AL32UTF8", {0xE4, 0xB8}, false, 0, {{0xE4B8, 1, 0}, {0xB8, 1, 0}}},
      {"GB18030", {0x81, 0x30, 0x81}, false, 0, {{0x813081, 1, 0}, {0x30, 1, 0}, {0x81, 1, 0}}},
      {"AL16UTF16", {0xD8, 0x3D}, false, 0, {{0xD83D, 1, 0}, {0x3D, 1, 0}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.set) + " " + testing::PrintToString(c.text));
    CharCursor d, t;
    const uint32_t consumed = lxmvopen(c.text.data(), c.text.size(), &d, env().handle(c.set),
                                       env().ctx(), 0, c.insideRun);
    EXPECT_EQ(consumed, c.consumed);
    if (!c.insideRun) {
      EXPECT_EQ(lxmcpen(c.text.data(), c.text.size(), &t, env().handle(c.set), env().ctx()),
                consumed);
    }
    t = d;
    for (const Step& s : c.steps) {
      EXPECT_EQ(lxmc2wx(&d, env().ctx()), s.code);
      EXPECT_EQ(lxmfwtx(&t, nullptr), s.width);
      EXPECT_EQ(lxmfwdx(&d, env().ctx()), s.width + s.shiftBytes);
      EXPECT_EQ(d.current, t.current);
    }
    EXPECT_EQ(d.current, c.text.data() + c.text.size());
  }
  // Byte equality beyond the walk above: a truncated character equals
  // nothing, not even itself, and a one-byte character never a shifted one.
  const Bytes cut = {0xE4, 0xB8}, shifted = {0x0E, 0x42, 0x42, 0x0F}, single = {0x42};
  const CharCursor u = openRead("AL32UTF8", cut), s = openRead("IBM-930", shifted),
                   b = openRead("IBM-930", single);
  EXPECT_EQ(lxmbteqx(&u, &u, nullptr), 0);
  EXPECT_EQ(lxmbteqx(&s, &b, nullptr), 0);
  EXPECT_EQ(lxmbteqx(&b, &s, nullptr), 0);
}

TEST(Cursor, WriteCodeKeepsRoomAndShiftBytes) {
  const CharsetHandle* h = env().handle("IBM-930");
  const struct {
    uint32_t capacity, options;
    uint32_t written;  // 0: nothing fits
  } cases[] = {
      {4, OPT_STANDARD, 3},  // SO + two bytes, one byte left to close
      {3, OPT_STANDARD, 0},
      {3, OPT_CURSOR_COPY | OPT_CURSOR_WRITE_CODE, 3},  // the caller keeps its own room
      {2, OPT_CURSOR_COPY | OPT_CURSOR_WRITE_CODE, 0},
  };
  for (const auto& c : cases) {
    Bytes out(8, 0xA5);
    CharCursor w;
    // A write cursor writes nothing at opening.
    EXPECT_EQ(lxmopen(out.data(), c.capacity, &w, h, env().ctx(), 1), 0u);
    EXPECT_EQ(w.shiftState, 0);
    EXPECT_EQ(lxoWriWChar(&w, 0x4541, c.options, env().ctx()), c.written) << c.capacity;
    if (c.written != 0) {
      // A one-byte code closes the run first.
      w.length = 8;
      EXPECT_EQ(lxoWriWChar(&w, 0xC1, c.options, env().ctx()), 2u);
      EXPECT_EQ(w.shiftState, 0);
      EXPECT_EQ(Bytes(out.begin(), out.begin() + 5), Bytes({0x0E, 0x45, 0x41, 0x0F, 0xC1}));
    }
    EXPECT_EQ(out[5], 0xA5);
  }
}

}  // namespace
