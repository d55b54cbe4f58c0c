// Cursors across the catalogue: stepping, reading and writing each character
// against the set's own encoding of it, shift bytes at opening and at the
// capacity, the invariant-character test and byte equality.
#include <unicode/utf8.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::bytes;
using lxktest::env;

const uint32_t kCodePoints[] = {0x41, 0x7A, 0xE9,   0x20AC, 0x20,  0x4E2D,  0x3042,  0xD55C, 0xFF76,
                                0x25, 0x5F, 0x3000, 0x416,  0x5E0, 0x1F600, 0x20000, 0x4E02, 0x31};

std::string utf8Of(uint32_t cp) {
  char buf[4];
  int32_t n = 0;
  U8_APPEND_UNSAFE(buf, n, static_cast<UChar32>(cp));
  return std::string(buf, static_cast<size_t>(n));
}

// The characters a set holds as one text, and each with its own bytes (shift
// bytes removed; CESU-8 pairs as two characters).
struct SetChars {
  Bytes text;
  std::vector<Bytes> chars;
};

SetChars charsOf(const std::string& set) {
  const bool shifted = env().handle(set)->flags & CSH_SHIFT_SENSITIVE;
  const bool cesu = env().definition(set)->charsetId == CSID_UTF8;
  SetChars out;
  std::string utf8;
  for (uint32_t cp : kCodePoints) {
    const std::string one = utf8Of(cp);
    Bytes b = env().encode(set, one);
    if (b.empty() || env().decode(set, b.data(), b.size()) != one) continue;
    utf8 += one;
    if (shifted && b.size() > 1) b = Bytes(b.begin() + 1, b.end() - 1);  // SO ... SI
    if (cesu && cp > 0xFFFF) {  // two three-byte characters
      out.chars.emplace_back(b.begin(), b.begin() + 3);
      b.erase(b.begin(), b.begin() + 3);
    }
    out.chars.push_back(b);
  }
  out.text = env().encode(set, utf8);
  return out;
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
    const SetChars sc = charsOf(set);
    const uint8_t* end = sc.text.data() + sc.text.size();
    Bytes out(sc.text.size() + 8, 0);
    CharCursor c, t, w;
    uint32_t passed = lxmopen(sc.text.data(), sc.text.size(), &c, h, ctx, 0);
    lxmopen(sc.text.data(), sc.text.size(), &t, h, ctx, 0);
    uint32_t written = lxmopen(out.data(), sc.text.size(), &w, h, ctx, 1);
    EXPECT_EQ(c.singleByte != 0, (h->flags & CSH_SINGLE_BYTE) != 0);
    EXPECT_EQ(c.shiftSensitive != 0, (h->flags & CSH_SHIFT_SENSITIVE) != 0);
    for (const Bytes& ch : sc.chars) {
      for (const CharCursor* r : {&c, &t}) {
        ASSERT_LT(r->current, end);
        EXPECT_EQ(Bytes(r->current, r->current + ch.size()), ch);
        EXPECT_EQ(r->shiftState != 0, r->shiftSensitive && ch.size() > 1);
      }
      EXPECT_EQ(lxmfwtx(&t, table), ch.size());
      const uint32_t code = lxmc2wx(&c, ctx);
      uint32_t expected = 0;
      for (uint8_t b : ch) expected = expected << 8 | b;
      EXPECT_EQ(code, expected);
      const uint8_t* before = c.current;
      const uint32_t n = lxmfwdx(&c, ctx);
      EXPECT_EQ(n, static_cast<uint32_t>(c.current - before));
      EXPECT_GE(n, ch.size());
      passed += n;
      uint8_t* at = w.current;
      const uint32_t k = lxoWriWChar(&w, code, OPT_STANDARD, ctx);
      EXPECT_GE(k, ch.size());
      EXPECT_EQ(Bytes(w.current - ch.size(), w.current), ch);
      EXPECT_EQ(at + k, w.current);
      written += k;
    }
    EXPECT_EQ(passed, sc.text.size());
    for (CharCursor* r : {&c, &t}) {  // at the end neither step moves
      EXPECT_EQ(r->current, end);
      EXPECT_EQ(lxmfwdx(r, ctx), 0u);
      EXPECT_EQ(lxmfwtx(r, table), 0u);
      EXPECT_EQ(r->current, end);
    }
    if (w.shiftState) out[written++] = h->shiftInByte;
    EXPECT_EQ(Bytes(out.begin(), out.begin() + written), sc.text);
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
  const Bytes text = bytes({0x0E, 0x45, 0x41, 0x0F, 0xC1});
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
  const std::pair<const char*, Bytes> cases[] = {{"AL32UTF8", bytes({0xE4, 0xB8})},
                                                 {"GB18030", bytes({0x81, 0x30, 0x81})},
                                                 {"AL16UTF16", bytes({0xD8, 0x3D})},
                                                 {"IBM-930", bytes({0x0E, 0x45})}};
  for (const auto& [set, text] : cases) {
    CharCursor cur;
    const uint32_t lead =
        lxmopen(text.data(), text.size(), &cur, env().handle(set), env().ctx(), 0);
    uint32_t steps = 0;
    while (lxmfwtx(&cur, nullptr) == 1) ++steps;
    EXPECT_EQ(steps, text.size() - lead) << set;
    EXPECT_EQ(cur.current, text.data() + text.size()) << set;
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
    for (const auto& c : cases) {
      const std::string one = utf8Of(c.cp);
      const Bytes b = env().encode(set, one);
      if (env().decode(set, b.data(), b.size()) != one) continue;
      CharCursor cur;
      lxmopen(b.data(), b.size(), &cur, env().handle(set), env().ctx(), 0);
      EXPECT_EQ(lxmctex(&cur, c.invariant, env().ctx()) != 0, c.match)
          << set << " U+" << std::hex << c.cp << " vs " << c.invariant;
    }
  }
}

TEST(Cursor, ByteEquality) {
  const Bytes zhong = bytes({0xE4, 0xB8, 0xAD});
  const struct {
    const char* set;
    Bytes a, b;
    bool equal;
  } cases[] = {
      {"AL32UTF8", zhong, zhong, true},
      {"AL32UTF8", zhong, bytes({0xE4, 0xB8, 0xAE}), false},
      {"AL32UTF8", bytes({0xE4, 0xB8}), bytes({0xE4, 0xB8}), false},  // cut
      {"IBM-930", bytes({0x0E, 0x42, 0x42, 0x0F}), bytes({0x42}), false},
      {"IBM-930", bytes({0x0E, 0x45, 0x41}), bytes({0x0E, 0x45, 0x41, 0x0F}), true},
      {"GB18030", bytes({0x81, 0x30, 0x81, 0x30}), bytes({0x81, 0x30, 0x81, 0x31}), false},
  };
  for (const auto& c : cases) {
    CharCursor a, b;
    lxmopen(c.a.data(), c.a.size(), &a, env().handle(c.set), env().ctx(), 0);
    lxmopen(c.b.data(), c.b.size(), &b, env().handle(c.set), env().ctx(), 0);
    EXPECT_EQ(lxmbteqx(&a, &b, nullptr) != 0, c.equal) << c.set;
  }
}

}  // namespace
