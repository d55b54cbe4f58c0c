// Cursors across the catalogue: stepping widths against the set's own
// encoding of each character, codes that write the same bytes again, the
// invariant-character test and byte equality.
#include <unicode/utf8.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::NlsEnv;

using lxktest::env;

const std::vector<uint32_t> kCodePoints = {0x41,   0x7A,   0xE9,    0x20AC,  0x20,   0x4E2D,
                                           0x3042, 0xD55C, 0xFF76,  0x25,    0x5F,   0x3000,
                                           0x416,  0x5E0,  0x1F600, 0x20000, 0x4E02, 0x31};

std::string utf8Of(uint32_t cp) {
  char buf[4];
  int32_t n = 0;
  U8_APPEND_UNSAFE(buf, n, static_cast<UChar32>(cp));
  return std::string(buf, static_cast<size_t>(n));
}

// The characters a set holds, each with its own bytes (shift bytes removed).
struct SetChars {
  std::string utf8;
  Bytes text;
  std::vector<Bytes> chars;
};

SetChars charsOf(const std::string& set) {
  const CharsetHandle* h = env().handle(set);
  const bool shifted = h->flags & CSH_SHIFT_SENSITIVE;
  const bool cesu = env().definition(set)->charsetId == CSID_UTF8;
  SetChars out;
  for (uint32_t cp : kCodePoints) {
    const std::string one = utf8Of(cp);
    Bytes b = env().encode(set, one);
    if (b.empty() || env().decode(set, b.data(), b.size()) != one) continue;
    out.utf8 += one;
    if (shifted && b.size() > 1) b = Bytes(b.begin() + 1, b.end() - 1);  // SO ... SI
    if (cesu && cp > 0xFFFF) {  // two three-byte characters
      out.chars.push_back(Bytes(b.begin(), b.begin() + 3));
      out.chars.push_back(Bytes(b.begin() + 3, b.end()));
    } else {
      out.chars.push_back(b);
    }
  }
  out.text = env().encode(set, out.utf8);
  return out;
}

TEST(Cursor, StepsOverEachCharacterOfEverySet) {
  for (const std::string& set : lxktest::stringCharsets()) {
    SCOPED_TRACE(set);
    const CharsetHandle* h = env().handle(set);
    const uint16_t* table = reinterpret_cast<const uint16_t*>(
        reinterpret_cast<const uint8_t*>(env().definition(set)) + h->tableOffset);
    const SetChars sc = charsOf(set);
    for (bool byTable : {false, true}) {
      CharCursor c;
      uint32_t passed = lxmopen(sc.text.data(), sc.text.size(), &c, h, env().ctx(), 0);
      EXPECT_EQ(c.singleByte != 0, (h->flags & CSH_SINGLE_BYTE) != 0);
      EXPECT_EQ(c.shiftSensitive != 0, (h->flags & CSH_SHIFT_SENSITIVE) != 0);
      for (const Bytes& ch : sc.chars) {
        ASSERT_LT(c.current, sc.text.data() + sc.text.size());
        EXPECT_EQ(Bytes(c.current, c.current + ch.size()), ch);
        EXPECT_EQ(c.shiftState != 0, c.shiftSensitive && ch.size() > 1);
        if (byTable) {
          EXPECT_EQ(lxmfwtx(&c, table), ch.size());
        } else {
          const uint8_t* before = c.current;
          const uint32_t n = lxmfwdx(&c, env().ctx());
          EXPECT_EQ(n, static_cast<uint32_t>(c.current - before));
          EXPECT_GE(n, ch.size());
          passed += n;
        }
      }
      EXPECT_EQ(c.current, sc.text.data() + sc.text.size());
      if (!byTable) {
        EXPECT_EQ(passed, sc.text.size());
      }
      EXPECT_EQ(lxmfwdx(&c, env().ctx()), 0u);  // at the end
      EXPECT_EQ(lxmfwtx(&c, table), 0u);
      EXPECT_EQ(c.current, sc.text.data() + sc.text.size());
    }
  }
}

// lxmc2wx then lxoWriWChar writes each character's bytes again; closing the
// run gives back the whole text.
TEST(Cursor, CodeRoundTripsThroughWriteInEverySet) {
  for (const std::string& set : lxktest::stringCharsets()) {
    SCOPED_TRACE(set);
    const CharsetHandle* h = env().handle(set);
    const SetChars sc = charsOf(set);
    Bytes out(sc.text.size() + 8, 0);
    CharCursor r, w;
    lxmopen(sc.text.data(), sc.text.size(), &r, h, env().ctx(), 0);
    uint32_t n = lxmopen(out.data(), sc.text.size(), &w, h, env().ctx(), 1);
    for (const Bytes& ch : sc.chars) {
      const uint32_t code = lxmc2wx(&r, env().ctx());
      uint32_t expected = 0;
      for (uint8_t b : ch) expected = expected << 8 | b;
      EXPECT_EQ(code, expected);
      uint8_t* at = w.current;
      const uint32_t k = lxoWriWChar(&w, code, OPT_STANDARD, env().ctx());
      EXPECT_GE(k, ch.size());
      EXPECT_EQ(Bytes(w.current - ch.size(), w.current), ch);
      EXPECT_EQ(at + k, w.current);
      n += k;
      lxmfwdx(&r, env().ctx());
    }
    if (w.shiftState) {
      *w.current++ = h->shiftInByte;
      ++n;
    }
    EXPECT_EQ(Bytes(out.begin(), out.begin() + n), sc.text);
  }
}

TEST(Cursor, WriteCodeKeepsRoomAndShiftBytes) {
  const CharsetHandle* h = env().handle("IBM-930");
  const struct {
    uint32_t capacity;
    uint32_t options;
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
    lxmopen(out.data(), c.capacity, &w, h, env().ctx(), 1);
    EXPECT_EQ(lxoWriWChar(&w, 0x4541, c.options, env().ctx()), c.written) << c.capacity;
    if (c.written != 0) {
      EXPECT_EQ(out[0], h->shiftOutByte);
      EXPECT_EQ(w.shiftState, 1);
      // A one-byte code closes the run first.
      CharCursor more = w;
      more.length = 8;
      EXPECT_EQ(lxoWriWChar(&more, 0xC1, c.options, env().ctx()), 2u);
      EXPECT_EQ(out[3], h->shiftInByte);
      EXPECT_EQ(out[4], 0xC1);
      EXPECT_EQ(more.shiftState, 0);
    }
    EXPECT_EQ(out[5], 0xA5);
  }
}

TEST(Cursor, OpenConsumesShiftBytesAndStartsInTheGivenState) {
  const CharsetHandle* h = env().handle("IBM-930");
  const Bytes text = lxktest::bytes({0x0E, 0x45, 0x41, 0x0F, 0xC1});
  CharCursor c;
  EXPECT_EQ(lxmopen(text.data(), text.size(), &c, h, env().ctx(), 0), 1u);
  EXPECT_EQ(c.current, text.data() + 1);
  EXPECT_EQ(c.shiftState, 1);
  EXPECT_EQ(lxmcpen(text.data(), text.size(), &c, h, env().ctx()), 1u);
  EXPECT_EQ(lxmfwdx(&c, env().ctx()), 3u);  // the character and the shift-in byte
  EXPECT_EQ(c.shiftState, 0);
  EXPECT_EQ(lxmc2wx(&c, env().ctx()), 0xC1u);

  // Inside a run from the first byte: a double-byte character without SO.
  EXPECT_EQ(lxmvopen(text.data() + 1, 4, &c, h, env().ctx(), 0, 1), 0u);
  EXPECT_EQ(lxmc2wx(&c, env().ctx()), 0x4541u);
  EXPECT_EQ(lxmfwtx(&c, nullptr), 2u);
  EXPECT_EQ(c.current, text.data() + 4);

  // A write cursor writes nothing at opening.
  Bytes out(4);
  EXPECT_EQ(lxmopen(out.data(), out.size(), &c, h, env().ctx(), 1), 0u);
  EXPECT_EQ(c.shiftState, 0);
}

// Truncated characters: the step passes one byte.
TEST(Cursor, TruncatedCharactersStepOneByte) {
  const struct {
    const char* set;
    Bytes text;
  } cases[] = {{"AL32UTF8", lxktest::bytes({0xE4, 0xB8})},
               {"GB18030", lxktest::bytes({0x81, 0x30, 0x81})},
               {"AL16UTF16", lxktest::bytes({0xD8, 0x3D})},
               {"IBM-930", lxktest::bytes({0x0E, 0x45})}};
  for (const auto& c : cases) {
    const CharsetHandle* h = env().handle(c.set);
    CharCursor cur;
    const uint32_t lead = lxmopen(c.text.data(), c.text.size(), &cur, h, env().ctx(), 0);
    uint32_t steps = 0;
    while (lxmfwtx(&cur, nullptr) == 1) ++steps;
    EXPECT_EQ(steps, c.text.size() - lead) << c.set;
    EXPECT_EQ(cur.current, c.text.data() + c.text.size()) << c.set;
  }
}

// The invariant characters by their ASCII codes, in every set's encoding.
TEST(Cursor, InvariantCharacterTest) {
  const struct {
    uint32_t cp;
    uint32_t invariant;
    bool match;
  } cases[] = {{0x25, 0x25, true},   {0x5F, 0x5F, true},    {0x25, 0x5F, false}, {0x20, 0x20, true},
               {0x3000, 0x20, true}, {0xFF05, 0x25, false}, {0x41, 0x25, false}};
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* h = env().handle(set);
    for (const auto& c : cases) {
      const std::string one = utf8Of(c.cp);
      const Bytes b = env().encode(set, one);
      if (env().decode(set, b.data(), b.size()) != one) continue;
      CharCursor cur;
      lxmopen(b.data(), b.size(), &cur, h, env().ctx(), 0);
      EXPECT_EQ(lxmctex(&cur, c.invariant, env().ctx()) != 0, c.match)
          << set << " U+" << std::hex << c.cp << " vs " << c.invariant;
    }
  }
}

TEST(Cursor, ByteEquality) {
  const struct {
    const char* set;
    Bytes a, b;
    bool equal;
  } cases[] = {
      {"AL32UTF8", lxktest::bytes({0xE4, 0xB8, 0xAD}), lxktest::bytes({0xE4, 0xB8, 0xAD}), true},
      {"AL32UTF8", lxktest::bytes({0xE4, 0xB8, 0xAD}), lxktest::bytes({0xE4, 0xB8, 0xAE}), false},
      {"AL32UTF8", lxktest::bytes({0xE4, 0xB8}), lxktest::bytes({0xE4, 0xB8}), false},  // cut
      {"IBM-930", lxktest::bytes({0x0E, 0x42, 0x42, 0x0F}), lxktest::bytes({0x42}), false},
      {"IBM-930", lxktest::bytes({0x0E, 0x45, 0x41}), lxktest::bytes({0x0E, 0x45, 0x41, 0x0F}),
       true},
      {"GB18030", lxktest::bytes({0x81, 0x30, 0x81, 0x30}),
       lxktest::bytes({0x81, 0x30, 0x81, 0x31}), false},
  };
  for (const auto& c : cases) {
    const CharsetHandle* h = env().handle(c.set);
    CharCursor a, b;
    lxmopen(c.a.data(), c.a.size(), &a, h, env().ctx(), 0);
    lxmopen(c.b.data(), c.b.size(), &b, h, env().ctx(), 0);
    EXPECT_EQ(lxmbteqx(&a, &b, nullptr) != 0, c.equal) << c.set;
  }
}

}  // namespace
