// Exact search, replacement and display widths against references: a
// forward walk over character starts, a replace over characters, and
// columns from ICU's East Asian Width.
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "lxk/lxk.h"
#include "support/guarded_buffer.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

struct Token {
  std::string utf8;
  Bytes bytes;
};

std::vector<Token> heldTokens(const std::string& set) {
  std::vector<Token> out;
  for (const std::string& ch : lxktest::sampleChars()) {
    Bytes b = env().held(set, ch);
    if (!b.empty()) out.push_back({ch, std::move(b)});
  }
  return out;
}

// Shift-sensitive characters come with their own shift bytes, so runs
// open and close everywhere.
Bytes randomText(const std::vector<Token>& chars, size_t count, bool malformed, std::mt19937& rng) {
  Bytes out;
  for (size_t i = 0; i < count && !chars.empty(); ++i) {
    if (malformed && rng() % 8 == 0) out.push_back(static_cast<uint8_t>(rng()));
    const Bytes& c = chars[rng() % std::min<size_t>(chars.size(), 6 + rng() % chars.size())].bytes;
    out.insert(out.end(), c.begin(), c.end());
  }
  return out;
}

struct WalkedChar {
  uint32_t offset;
  bool shifted;
  uint32_t width;
};

std::vector<WalkedChar> cursorWalk(const CharsetHandle* h, const Bytes& text) {
  CharCursor c;
  lxmopen(text.data(), static_cast<uint32_t>(text.size()), &c, h, env().ctx(), 0);
  std::vector<WalkedChar> out;
  while (static_cast<uint32_t>(c.current - c.start) < c.length) {
    const uint32_t at = static_cast<uint32_t>(c.current - c.start);
    const bool shifted = c.shiftState != 0;
    lxmfwdx(&c, env().ctx());
    out.push_back({at, shifted, 0});
  }
  return out;
}

// Shift-sensitive characters from a position and mode, shift bytes left
// out, the last one cut to the bytes there.
std::vector<WalkedChar> shiftedChars(const CharsetHandle* h, const uint8_t* p, size_t n,
                                     bool shifted) {
  std::vector<WalkedChar> out;
  for (size_t i = 0; i < n;) {
    if (p[i] == h->shiftOutByte || p[i] == h->shiftInByte) {
      shifted = p[i++] == h->shiftOutByte;
      continue;
    }
    const size_t w = std::min<size_t>(shifted ? h->maxCharWidth : 1, n - i);
    out.push_back({static_cast<uint32_t>(i), shifted, static_cast<uint32_t>(w)});
    i += w;
  }
  return out;
}

// The end of a match of the pattern at a character start, or -1.
int64_t matchEnd(const CharsetHandle* h, const Bytes& text, const WalkedChar& at,
                 const Bytes& pattern) {
  if (!(h->flags & CSH_SHIFT_SENSITIVE)) {
    if (at.offset + pattern.size() > text.size() ||
        !std::equal(pattern.begin(), pattern.end(), text.begin() + at.offset))
      return -1;
    return at.offset + static_cast<int64_t>(pattern.size());
  }
  const auto pat = shiftedChars(h, pattern.data(), pattern.size(), false);
  const auto txt = shiftedChars(h, text.data() + at.offset, text.size() - at.offset, at.shifted);
  if (pat.size() > txt.size()) return -1;
  for (size_t k = 0; k < pat.size(); ++k) {
    if (pat[k].shifted != txt[k].shifted || pat[k].width > txt[k].width ||
        !std::equal(pattern.begin() + pat[k].offset, pattern.begin() + pat[k].offset + pat[k].width,
                    text.begin() + at.offset + txt[k].offset))
      return -1;
  }
  return pat.empty() ? at.offset : at.offset + txt[pat.size() - 1].offset + pat.back().width;
}

TEST(SearchPattern, FirstMatchAtACharacterStartAgreesWithAForwardWalk) {
  std::mt19937 rng(7);
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* h = env().handle(set);
    const std::vector<Token> chars = heldTokens(set);
    for (int round = 0; round < 60; ++round) {
      const Bytes text = randomText(chars, 1 + rng() % 40, round % 3 == 0, rng);
      const auto walk = cursorWalk(h, text);
      Bytes pattern = randomText(chars, 1 + rng() % 3, false, rng);
      if (round % 4 == 1 && !text.empty()) {
        const size_t from = rng() % text.size();
        pattern.assign(text.begin() + from,
                       text.begin() + std::min(text.size(), from + 1 + rng() % 6));
      }
      if (round % 4 == 2 && !walk.empty()) {  // whole characters of the text
        const size_t i = rng() % walk.size(), j = std::min(walk.size(), i + 1 + rng() % 4);
        const uint32_t end = j < walk.size() ? walk[j].offset : text.size();
        pattern = Bytes(text.begin() + walk[i].offset, text.begin() + end);
        if (h->flags & CSH_SHIFT_SENSITIVE && walk[i].shifted)
          pattern.insert(pattern.begin(), h->shiftOutByte);
      }
      const size_t startIndex = walk.empty() ? 0 : rng() % walk.size();
      const uint32_t start = walk.empty() ? 0 : walk[startIndex].offset;
      const uint32_t length = rng() % 2 ? static_cast<uint32_t>(text.size()) - start
                                        : static_cast<uint32_t>(rng() % (text.size() + 1));
      int64_t expected = -1;
      bool expectedShift = false;
      for (size_t i = startIndex; i < walk.size() && expected < 0; ++i) {
        const int64_t end = matchEnd(h, text, walk[i], pattern);
        if (end >= 0 && end <= static_cast<int64_t>(start) + length) {
          expected = walk[i].offset - start;
          expectedShift = walk[i].shifted;
        }
      }

      lxktest::GuardedBuffer textBuffer(text.data(), text.size()),
          patternBuffer(pattern.data(), pattern.size());
      CharCursor c, p;
      lxmopen(textBuffer.data(), static_cast<uint32_t>(text.size()), &c, h, env().ctx(), 0);
      for (size_t i = 0; i < startIndex; ++i) lxmfwdx(&c, env().ctx());
      const uint32_t lead = lxmopen(patternBuffer.data(), static_cast<uint32_t>(pattern.size()), &p,
                                    h, env().ctx(), 0);
      const CharCursor before = c, patternBefore = p;
      const int32_t got = lxoSchPat(&c, length, &p, static_cast<uint32_t>(pattern.size()) - lead,
                                    OPT_STANDARD, env().ctx());
      const std::string trace = set + " round " + std::to_string(round);
      ASSERT_EQ(got, expected) << trace;
      EXPECT_EQ(p.current, patternBefore.current) << trace;
      if (got < 0) {
        EXPECT_EQ(c.current, before.current) << trace;
      } else {
        EXPECT_EQ(c.current, before.current + got) << trace;
        EXPECT_EQ(c.shiftState != 0, expectedShift) << trace;
      }
    }
  }
}

// Leftmost occurrences, no overlap; in UTF-8 a find meets only whole characters.
std::string replaceUtf8(std::string text, const std::string& search, const std::string& with) {
  if (search.empty()) return text;
  for (size_t at = text.find(search); at != std::string::npos;
       at = text.find(search, at + with.size()))
    text.replace(at, search.size(), with);
  return text;
}

// The longest whole-character prefix of `utf8` whose size, as measured, is within the limit.
template <typename Measure>
std::string prefixWithin(const std::string& utf8, uint32_t limit, Measure measure) {
  std::string kept, next;
  for (const std::string& ch : lxktest::chars(utf8))
    if (measure(next += ch) <= limit) kept = next;
  return kept;
}

TEST(ReplaceString, AgreesWithAReplaceOnCharactersAtEveryCapacity) {
  std::mt19937 rng(11);
  lxktest::GuardedBuffer srcBuffer, out;
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* h = env().handle(set);
    const std::vector<Token> tokens = heldTokens(set);
    const size_t alphabet = std::min<size_t>(tokens.size(), 4);  // frequent occurrences
    auto pick = [&](size_t n) {
      std::string chars;
      for (size_t i = 0; i < n; ++i) chars += tokens[rng() % alphabet].utf8;
      return chars;
    };
    const auto bytesOf = [&](const std::string& utf8) { return env().encode(set, utf8).size(); };
    for (int round = 0; round < 12; ++round) {
      const std::string text = pick(rng() % 16), search = pick(rng() % 3), with = pick(rng() % 3);
      const std::string result = replaceUtf8(text, search, with);
      const Bytes source = env().encode(set, text), pattern = env().encode(set, search),
                  replacement = env().encode(set, with);
      srcBuffer.assign(source.data(), source.size());
      for (uint32_t capacity = 0; capacity <= bytesOf(result) + 1; ++capacity) {
        const std::string kept = prefixWithin(result, capacity, bytesOf);
        env().ctx()->lastByteCount = 12345;
        const uint32_t n = lxsRepStr(
            out.tail(capacity), capacity, srcBuffer.data(), static_cast<uint32_t>(source.size()),
            pattern.data(), static_cast<uint32_t>(pattern.size()), replacement.data(),
            static_cast<uint32_t>(replacement.size()), OPT_STANDARD, h, env().ctx());
        const std::string trace =
            set + " capacity " + std::to_string(capacity) + " [" + text + "] [" + search + "]";
        ASSERT_LE(n, capacity) << trace;
        EXPECT_EQ(env().decode(set, out.tail(capacity), n), kept) << trace;
        EXPECT_EQ(env().ctx()->lastByteCount == source.size(), kept == result) << trace;
        EXPECT_LE(env().ctx()->lastByteCount, source.size()) << trace;
      }
    }
  }
}

// Under a collation with LING_MATCH, occurrences are those the linguistic
// matcher finds; without LING_MATCH the same handle replaces exact bytes.
TEST(ReplaceString, LinguisticOccurrencesUnderTheHandlesCollation) {
  const struct {
    const char* collation;
    uint32_t options;
    std::string text, search, expected;
  } rows[] = {{"CI", OPT_STANDARD | LING_MATCH | 0x2u, "aBcAbC", "b", "a-cA-C"},
              {"CI", OPT_STANDARD, "aBcAbC", "b", "aBcA-C"},
              {"AI", OPT_STANDARD | LING_MATCH | 0x2u, "Café cafe", "E", "Caf- caf-"},
              {"CI", OPT_STANDARD | LING_MATCH | 0x2u, "ÉtÉ été", "é", "-t- -t-"}};
  for (const char* set : {"AL32UTF8", "ISO-8859-1", "IBM-930", "AL16UTF16"}) {
    for (const auto& row : rows) {
      const Bytes text = env().held(set, row.text), search = env().held(set, row.search),
                  with = env().held(set, "-");
      if (text.empty()) continue;
      uint8_t out[64];
      const uint32_t n = lxsRepStr(out, sizeof out, text.data(), static_cast<uint32_t>(text.size()),
                                   search.data(), static_cast<uint32_t>(search.size()), with.data(),
                                   static_cast<uint32_t>(with.size()), row.options,
                                   env().handle(set, row.collation), env().ctx());
      EXPECT_EQ(env().decode(set, out, n), row.expected) << set << " " << row.text;
      EXPECT_EQ(env().ctx()->lastByteCount, text.size()) << set << " " << row.text;
    }
  }
}

uint32_t icuColumns(UChar32 c) {
  const int8_t category = u_charType(c);
  if (category == U_NON_SPACING_MARK || category == U_ENCLOSING_MARK || category == U_FORMAT_CHAR ||
      u_hasBinaryProperty(c, UCHAR_DEFAULT_IGNORABLE_CODE_POINT))
    return 0;
  const int32_t ea = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
  return ea == U_EA_WIDE || ea == U_EA_FULLWIDTH ? 2 : 1;
}

uint32_t columnsOf(const std::string& set, const Bytes& b) {
  return lxsCntDisp(b.data(), static_cast<uint32_t>(b.size()), OPT_STANDARD, env().handle(set),
                    env().ctx());
}

TEST(DisplayWidth, EveryCodePointInAL32UTF8FollowsTheRule) {
  for (UChar32 c = 0; c <= 0x10FFFF; ++c) {
    if (c == 0xD800) c = 0xE000;
    uint8_t b[4];
    int32_t n = 0;
    U8_APPEND_UNSAFE(b, n, c);
    ASSERT_EQ(lxsCntDisp(b, static_cast<uint32_t>(n), OPT_STANDARD, env().handle("AL32UTF8"),
                         env().ctx()),
              icuColumns(c))
        << std::hex << c;
  }
}

// Columns of texts in every set that holds them, and the copy within each
// width: the longest whole-character prefix, marks of no width at the limit
// going with it.
TEST(DisplayWidth, TextInEverySetThatHoldsItAndCopiesWithinAWidth) {
  const std::pair<std::string, uint32_t> rows[] = {
      {"中文", 4},           {"e\u0301", 1},        {"a\u200Bb", 2},  {"ｱｶ", 2},
      {"ＡＢ", 4},           {"soft\u00ADhyph", 8}, {"한국어", 6},    {"\uFEFFz", 1},
      {"x\u0301\u0302y", 2}, {"a中e\u0301ｱ", 5},    {"😀\u3000bＡ", 7}};
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* h = env().handle(set);
    const auto columns = [&](const std::string& utf8) {
      return columnsOf(set, env().encode(set, utf8));
    };
    for (const auto& [text, expected] : rows) {
      const Bytes source = env().held(set, text);
      if (source.empty()) continue;
      EXPECT_EQ(columnsOf(set, source), expected) << set << " " << text;
      for (uint32_t width = 0; width <= expected + 1; ++width) {
        uint8_t out[128];
        CharCursor dst, src;
        lxmopen(out, sizeof out, &dst, h, env().ctx(), 1);
        const uint32_t lead =
            lxmopen(source.data(), static_cast<uint32_t>(source.size()), &src, h, env().ctx(), 0);
        uint32_t n = lxoCpDisp(&dst, sizeof out, &src, static_cast<uint32_t>(source.size()) - lead,
                               width, OPT_STANDARD, env().ctx());
        if (dst.shiftState) out[n++] = h->shiftInByte;
        EXPECT_EQ(env().decode(set, out, n), prefixWithin(text, width, columns))
            << set << " " << text << " width " << width;
      }
    }
  }
  // A byte that is no character and a character cut by the end: one column.
  EXPECT_EQ(columnsOf("AL32UTF8", {0xFF, 'a', 0xE4, 0xB8}), 3u);
  EXPECT_EQ(columnsOf("AL16UTF16", {0x4E, 0x2D, 0xD8, 0x3D, 0x00}), 3u);
  EXPECT_EQ(columnsOf("GB18030", {0x81, 0x30}), 1u);
}

}  // namespace
