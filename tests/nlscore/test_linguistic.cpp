// Linguistic matching against ICU's root collator and string search on
// random strings; rows for anchored matches, the weightless cut and binary
// handles.
#include <unicode/ucol.h>
#include <unicode/usearch.h>
#include <unicode/ustring.h>

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "support/guarded_buffer.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

// Groups of tokens that differ by case, accents or composition.
const std::vector<std::vector<std::string>> kGroups = {
    {"a", "A", "\u00E1", "\u00C1", "a\u0301", "\u00E0", "\u00E4", "A\u0308"},
    {"e", "E", "\u00E9", "e\u0301", "\u00CA", "E\u0302", "\u00EB"},
    {"n", "N", "\u00F1", "n\u0303", "\u00D1"},
    {"o", "O", "\u00F6", "o\u0308", "\u00F8", "\u00D3"},
    {"c", "C", "\u00E7", "c\u0327", "\u00C7"},
    {"s", "S", "\u00DF", "ss", "SS"},
    {"\u03B1", "\u0391", "\u03AC", "\u03B1\u0301", "\u0386"},
    {"\u03C3", "\u03A3", "\u03C2"},
    {"\u0438", "\u0418", "\u0439", "\u0438\u0306", "\u0419"},
    {"\u0435", "\u0415", "\u0451", "\u0435\u0308", "\u0401"},
    {"\u0436", "\u0416"},
    {"\u4E2D", "\u6587", "\u65E5", "\u672C"},
    {"l", "L", "\u00B7", "l\u00B7", "L\u0387"},
    {" ", "1", "-", ",", "\u00B7"},
    {"\u0301", "\u0308", "\u0323"},
    {"\u200B", "\u00AD", "\x01"},
};

struct Token {
  size_t group;
  size_t member;
};

std::string textOf(const std::vector<Token>& tokens) {
  std::string s;
  for (const Token& t : tokens) s += kGroups[t.group][t.member];
  return s;
}

std::vector<Token> randomTokens(std::mt19937& rng, size_t n, size_t groupLimit) {
  std::vector<Token> out;
  for (size_t i = 0; i < n; ++i) {
    const size_t g = rng() % groupLimit;
    out.push_back({g, rng() % kGroups[g].size()});
  }
  return out;
}

// The same groups with other members: often equal at some strength.
std::vector<Token> variant(std::mt19937& rng, std::vector<Token> tokens) {
  for (Token& t : tokens)
    if (rng() % 2) t.member = rng() % kGroups[t.group].size();
  return tokens;
}

std::u16string utf16(const std::string& utf8) {
  std::u16string out(utf8.size() + 1, u'\0');
  int32_t n = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strFromUTF8(reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()), &n,
                utf8.data(), static_cast<int32_t>(utf8.size()), &status);
  out.resize(static_cast<size_t>(n));
  return out;
}

UCollator* collator(const char* collation) {
  const auto open = [](UColAttributeValue strength) {
    UErrorCode status = U_ZERO_ERROR;
    UCollator* c = ucol_open("", &status);
    ucol_setStrength(c, strength);
    return c;
  };
  static UCollator *const secondary = open(UCOL_SECONDARY), *const primary = open(UCOL_PRIMARY);
  return std::string(collation) == "AI" ? primary : secondary;
}

struct Found {
  int32_t result;
  uint32_t start, length;
};

// Guarded copies of both operands; direction -1 searches, 0 and 1 anchor.
Found linMatch(const std::string& set, const char* collation, const Bytes& text,
               const Bytes& pattern, int direction = -1) {
  static lxktest::GuardedBuffer t, p;
  t.assign(text.data(), text.size());
  p.assign(pattern.data(), pattern.size());
  Found f{0, 99, 99};
  const CharsetHandle* h = env().handle(set, collation);
  const auto tn = static_cast<uint32_t>(t.size()), pn = static_cast<uint32_t>(p.size());
  if (direction < 0)
    f.result =
        lxpLinMatch(t.data(), tn, p.data(), pn, &f.start, &f.length, LING_MATCH, h, env().ctx());
  else
    f.result = lxpLinDirMatch(t.data(), tn, p.data(), pn, &f.start, &f.length,
                              static_cast<uint32_t>(direction), h, env().ctx());
  return f;
}

const std::vector<std::string> kSets = {"AL32UTF8", "AL16UTF16", "GB18030", "ISO-8859-1"};
const char* const kCollations[] = {"CI", "AI"};

// UTF-16 units of the set's bytes before an offset.
int32_t utf16Offset(const std::string& set, const Bytes& text, uint32_t offset) {
  return static_cast<int32_t>(utf16(env().decode(set, text.data(), offset)).size());
}

// Two strings are equal at the strength exactly when one matches the other
// whole, anchored; the first occurrence of a needle planted in random text
// is where ICU's string search finds it; a match at the end is the same in
// the sets read backward (bounded near the end) as in GB18030 (walked from
// the start).
TEST(Linguistic, AgreesWithCollatorAndStringSearch) {
  std::mt19937 rng(11);
  const size_t wordGroups = kGroups.size() - 2;  // lone marks and ignorables last
  for (int round = 0; round < 2000; ++round) {
    auto a = randomTokens(rng, 1 + rng() % 5, kGroups.size());
    while (!a.empty() && a.front().group >= wordGroups) a.erase(a.begin());  // starts weighted
    const std::string sa = textOf(a), sb = textOf(variant(rng, a));
    const auto needle = randomTokens(rng, 1 + rng() % 3, wordGroups);
    auto tokens = randomTokens(rng, rng() % (round % 4 == 0 ? 300 : 90), kGroups.size());
    const auto planted = variant(rng, needle);
    const size_t plant = round % 2 ? tokens.size() : rng() % (tokens.size() + 1);
    tokens.insert(tokens.begin() + static_cast<long>(plant), planted.begin(), planted.end());
    if (rng() % 6 == 0) tokens.push_back({kGroups.size() - 1, rng() % 3});  // weightless
    const std::string text = textOf(tokens), pattern = textOf(needle);
    const std::u16string t16 = utf16(text), p16 = utf16(pattern), ua = utf16(sa), ub = utf16(sb);
    const Bytes gbText = env().encode("GB18030", text),
                gbPattern = env().encode("GB18030", pattern);
    for (const char* collation : kCollations) {
      const bool equal =
          ucol_equal(collator(collation), reinterpret_cast<const UChar*>(ua.data()),
                     static_cast<int32_t>(ua.size()), reinterpret_cast<const UChar*>(ub.data()),
                     static_cast<int32_t>(ub.size()));
      const Found end = linMatch("GB18030", collation, gbText, gbPattern, 1);
      const int32_t endAt = end.result == 1 ? utf16Offset("GB18030", gbText, end.start) : -1;
      UErrorCode status = U_ZERO_ERROR;
      UStringSearch* search = usearch_openFromCollator(
          reinterpret_cast<const UChar*>(p16.data()), static_cast<int32_t>(p16.size()),
          reinterpret_cast<const UChar*>(t16.data()), static_cast<int32_t>(t16.size()),
          collator(collation), nullptr, &status);
      ASSERT_TRUE(U_SUCCESS(status)) << u_errorName(status);
      const int32_t at = usearch_first(search, &status);
      const int32_t length = usearch_getMatchedLength(search);
      usearch_close(search);
      for (const std::string& set : kSets) {
        const Bytes ta = env().held(set, sa), tb = env().held(set, sb);
        if (!a.empty() && !ta.empty() && !tb.empty()) {
          const Found f = linMatch(set, collation, ta, tb, 0);
          EXPECT_EQ(f.result == 1 && f.length == ta.size(), equal)
              << set << " " << collation << " [" << sa << "] [" << sb << "]";
        }
        const Bytes textBytes = env().held(set, text), patternBytes = env().held(set, pattern);
        if (textBytes.empty() || patternBytes.empty()) continue;
        const std::string trace = set + " " + collation + " [" + text + "] [" + pattern + "]";
        const Found atEnd = linMatch(set, collation, textBytes, patternBytes, 1);
        ASSERT_EQ(atEnd.result, end.result) << trace;
        EXPECT_EQ(atEnd.result == 1 ? utf16Offset(set, textBytes, atEnd.start) : -1, endAt)
            << trace;
        const Found f = linMatch(set, collation, textBytes, patternBytes);
        ASSERT_EQ(f.result == 1, at != USEARCH_DONE) << trace;
        if (at == USEARCH_DONE) continue;
        EXPECT_EQ(utf16Offset(set, textBytes, f.start), at) << trace;
        // Weightless characters after a match are ours; usearch may leave them.
        EXPECT_GE(utf16Offset(set, textBytes, f.start + f.length) - at, length) << trace;
      }
    }
  }
}

struct Row {
  const char* set;
  const char* collation;  // nullptr: binary
  const char* text;
  const char* pattern;
  int direction;  // -1: search, 0: at the start, 1: at the end
  int32_t result;
  uint32_t start, length;  // bytes of the set
};

TEST(Linguistic, Rows) {
  const Row rows[] = {
      {"AL32UTF8", "CI", "Stra\u00DFe", "strasse", 1, 0, 0, 0},  // sharp s differs from ss
      {"AL32UTF8", "CI", "Stra\u00DFe", "STRA\u00DFE", 1, 1, 0, 7},
      {"AL32UTF8", "CI", "al\u00B7la", "L\u00B7L", -1, 1, 1, 4},  // a contraction
      {"AL32UTF8", "CI", "e\u0301x", "e", 0, 0, 0, 0},            // would end inside a cluster
      {"AL32UTF8", "AI", "e\u0301x", "e", 0, 1, 0, 3},            // the mark weighs nothing
      {"AL32UTF8", "AI", "xe\u0301", "E", 1, 1, 1, 3},
      {"AL32UTF8", "CI", "a\u200Bb", "AB", -1, 1, 0, 5},
      {"AL32UTF8", "CI", "ab\u200B", "B", -1, 1, 1, 4},  // trailing weightless belongs
      {"AL32UTF8", "CI", "\u200Bab", "a", -1, 1, 3, 1},  // starts at a weighted character
      {"AL32UTF8", "CI", "\u200Bab", "a", 0, 0, 0, 0},
      {"AL32UTF8", "CI", "\u200B\u00ADab", "\u00AD", 0, 1, 0, 5},  // a weightless run
      {"AL32UTF8", "CI", "x\xFFy", "\xFFY", -1, 1, 1, 2},          // malformed equals its bytes
      {"AL32UTF8", "CI", "x\xFEy", "\xFFy", -1, 0, 0, 0},
      {"AL16UTF16", "AI", "R\u00E9SUM\u00C9", "resume", 0, 1, 0, 12},
      {"IBM-939", "CI", "\uFF21\u65E5x", "\u65E5X", 1, 1, 3, 4},
      {"AL32UTF8", nullptr, "abcABC", "ABC", -1, 1, 3, 3},
      {"AL32UTF8", nullptr, "abcab", "ab", 1, 1, 3, 2},
  };
  for (const Row& r : rows) {
    const bool utf8 = std::string(r.set) == "AL32UTF8";  // raw bytes: malformed ones kept
    const Found f =
        linMatch(r.set, r.collation, utf8 ? lxktest::bytes(r.text) : env().encode(r.set, r.text),
                 utf8 ? lxktest::bytes(r.pattern) : env().encode(r.set, r.pattern), r.direction);
    const std::string trace = std::string(r.set) + " [" + r.text + "] [" + r.pattern + "]";
    EXPECT_EQ(f.result, r.result) << trace;
    if (f.result == 1 && r.result == 1) {
      EXPECT_EQ(f.start, r.start) << trace;
      EXPECT_EQ(f.length, r.length) << trace;
    }
  }
}

TEST(Linguistic, TrimPunc) {
  struct TrimRow {
    const char* set;
    const char* collation;
    const char* text;
    int32_t result;
    uint32_t first, last;
  };
  const TrimRow rows[] = {
      {"AL32UTF8", "CI", "\u200Bab\u00AD", 1, 3, 4},
      {"AL32UTF8", "CI", "\x01\u0301a", 1, 1, 3},              // a mark weighs under CI
      {"AL32UTF8", "AI", "\x01\u0301a\u0301\u200B", 1, 3, 5},  // alone it is cut under AI
      {"AL32UTF8", "CI", "\u200B\u00AD", 0, 5, 4},
      {"AL32UTF8", "CI", "", 0, 0, 0xFFFFFFFFu},
      {"AL32UTF8", nullptr, "\u200Ba", 1, 0, 3},
      {"AL16UTF16", "AI", "\u00ADx\u200B", 1, 2, 3},
  };
  for (const TrimRow& r : rows) {
    const Bytes text = env().encode(r.set, r.text);
    uint32_t first = 99, last = 99;
    const int32_t result =
        lxpLinTrimPunc(text.data(), static_cast<uint32_t>(text.size()), 0, &first, &last,
                       env().handle(r.set, r.collation), env().ctx());
    EXPECT_EQ(std::make_tuple(result, first, last), std::make_tuple(r.result, r.first, r.last))
        << r.set << " [" << r.text << "]";
  }
}

}  // namespace

// The cursor forms read from the cursor's position in its shift state.
TEST(Linguistic, CursorsReadInTheirShiftState) {
  const std::string set = "IBM-939";
  const Bytes text = env().encode(set, "\uFF21\u65E5x"), pattern = env().encode(set, "\u65E5X");
  const CharsetHandle* h = env().handle(set, "CI");
  CharCursor t, p;
  lxmopen(text.data(), static_cast<uint32_t>(text.size()), &t, h, env().ctx(), 0);
  lxmfwdx(&t, env().ctx());  // past the first double-byte character, still shifted
  ASSERT_NE(t.shiftState, 0);
  const uint32_t patternLength =
      static_cast<uint32_t>(pattern.size()) -
      lxmopen(pattern.data(), static_cast<uint32_t>(pattern.size()), &p, h, env().ctx(), 0);
  const auto left = static_cast<uint32_t>(text.data() + text.size() - t.current);
  const uint8_t* before = t.current;
  for (const uint32_t flags : {0u, LING_MATCH, LING_MATCH | LING_AT_END, 0x10800u}) {
    uint32_t start = 99, length = 99;
    const int32_t found =
        flags == 0 || flags == 0x10800u
            ? lxpoLinMatch(&t, left, &p, patternLength, &start, &length, flags, h, env().ctx())
            : lxpoLinDirMatch(&t, left, &p, patternLength, &start, &length, flags, h, env().ctx());
    EXPECT_EQ(found, 1) << flags;
    EXPECT_EQ(start, 0u) << flags;
    EXPECT_EQ(length, left) << flags;
  }
  EXPECT_EQ(t.current, before);
}
