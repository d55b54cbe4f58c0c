// LIKE: rows for the pattern language, escapes, statuses and unit rules, and
// every matcher against a plain recursive matcher over lists of characters,
// on random sources and patterns built from their characters, in every set,
// binary and under CI and AI collations.
#include <unicode/normalizer2.h>
#include <unicode/ucol.h>
#include <unicode/unistr.h>

#include <chrono>
#include <random>
#include <string>
#include <vector>

#include "support/guarded_buffer.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::env;

struct Verdict {
  int32_t result;
  uint32_t status;
  bool operator==(const Verdict& o) const { return result == o.result && status == o.status; }
};

Verdict like(const Bytes& source, const Bytes& pattern, const Bytes* escape, uint32_t options,
             const CharsetHandle* handle) {
  static lxktest::GuardedBuffer s, p, e;
  s.assign(source.data(), source.size());
  p.assign(pattern.data(), pattern.size());
  if (escape != nullptr) e.assign(escape->data(), escape->size());
  uint8_t flagA = 9, flagB = 9;
  uint32_t status = 77;
  NlsContext* ctx = env().ctx();
  ctx->status = 55;
  const int32_t r = lxkLike(s.data(), static_cast<uint32_t>(source.size()), p.data(),
                            static_cast<uint32_t>(pattern.size()), escape ? e.data() : nullptr,
                            escape ? static_cast<uint32_t>(escape->size()) : 0, &flagA, 0, &flagB,
                            0, nullptr, options, &status, handle, ctx);
  EXPECT_EQ(flagA + flagB, 0);
  EXPECT_EQ(ctx->status, 55);
  return {r, status};
}

std::string show(const Bytes& b) {
  std::string out;
  for (uint8_t c : b)
    out += (c >= 0x20 && c < 0x7F) ? std::string(1, char(c)) : "\\x" + std::to_string(c);
  return out;
}

// ---- Rows -----------------------------------------------------------------------------

constexpr uint32_t kBadSeq = LIKE_STATUS_BAD_ESCAPE_SEQUENCE,
                   kBadChar = LIKE_STATUS_BAD_ESCAPE_CHAR;

struct Row {
  const char* source;
  const char* pattern;
  const char* escape;  // null: none
  int32_t result;
  uint32_t status;
};

// ASCII rows that hold in every set whose wildcards are '%' and '_'.
const Row kRows[] = {
    {"abc", "%", nullptr, 1, 0},
    {"", "%", nullptr, 0, 0},
    {"abc", "", nullptr, 0, 0},
    {"a%", "a\\%", "\\", 1, 0},
    {"ab", "a\\%", "\\", 0, 0},
    {"a", "a\\", "\\", 0, kBadSeq},
    {"zz", "a\\b", "\\", 0, kBadSeq},
    {"a\\", "a\\\\", "\\", 1, 0},
    {"a", "a%", nullptr, 1, 0},
    {"abc", "a%", nullptr, 1, 0},
    {"ba", "a%", nullptr, 0, 0},
    {"ba", "%a", nullptr, 1, 0},
    {"ab", "%a", nullptr, 0, 0},
    {"abc", "a_c", nullptr, 1, 0},
    {"ac", "a_c", nullptr, 0, 0},
    {"abbc", "a_c", nullptr, 0, 0},
    {"x", "_", nullptr, 1, 0},
    {"xy", "_", nullptr, 0, 0},
    {"aXbYbZc", "a%b%c", nullptr, 1, 0},
    {"aXcYb", "a%b%c", nullptr, 0, 0},
    {"aba", "ab%ba", nullptr, 0, 0},
    {"xy%", "%\\%", "\\", 1, 0},
    {"xy", "%\\%", "\\", 0, 0},
    {"x\\y", "%\\\\%", "\\", 1, 0},
    {"%ab", "\\%%", "\\", 1, 0},
    {"a%", "\\%%", "\\", 0, 0},
    {"%", "%%", "%", 1, 0},
    {"a", "%%", "%", 0, 0},
    {"a", "%%", nullptr, 1, 0},
    {"ab", "ab%", nullptr, 1, 0},
    {"ab", "%b", nullptr, 1, 0},
    {"ba", "%b", nullptr, 0, 0},
    {"x..needle..y", "x%needle%y", nullptr, 1, 0},
    {"x..needl..y", "x%needle%y", nullptr, 0, 0},
    {"\\x1", "\\\\x%", "\\", 1, 0},
    {"ab", "a\\b%", "\\", 0, kBadSeq},
};

uint8_t percentIn(const std::string& set, const CharsetHandle* h) {
  return (!(h->flags & (CSH_SINGLE_BYTE | CSH_SHIFT_SENSITIVE)) &&
          env().definition(set)->charsetId == CSID_UTFE)
             ? 0x6C
             : 0x25;
}

TEST(Like, RowsInEverySetAndMatcher) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* h = env().handle(set);
    const Bytes pct = env().encode(set, "%");
    const Bytes want = (h->flags & CSH_UTF16) ? Bytes{0, 0x25} : Bytes{percentIn(set, h)};
    if (pct != want) continue;  // sets whose '%' is not the matchers' wildcard
    for (const char* collation : {static_cast<const char*>(nullptr), "CI"}) {
      for (uint32_t options : {0u, +OPT_UCS4_UNITS, +OPT_COMPLETE_CHARS}) {
        for (const Row& row : kRows) {
          const Bytes s = env().encode(set, row.source), p = env().encode(set, row.pattern);
          const Bytes e = row.escape ? env().encode(set, row.escape) : Bytes{};
          EXPECT_EQ(like(s, p, row.escape ? &e : nullptr, options, env().handle(set, collation)),
                    (Verdict{row.result, row.status}))
              << set << " " << (collation ? collation : "binary") << " options " << options << " '"
              << row.source << "' LIKE '" << row.pattern << "'";
        }
      }
    }
  }
}

// Rows in one set: unit rules, bad escapes, malformed bytes.
TEST(Like, ByteRows) {
  const uint32_t ucs4 = OPT_UCS4_UNITS, whole = OPT_COMPLETE_CHARS, skip = LIKE_SKIP_ESCAPE_CHECK;
  const auto u8 = [](const char* s) { return env().encode("AL32UTF8", s); };
  const Bytes none{}, pair6{0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80};
  const struct {
    const char* set;
    const char* collation;
    Bytes source, pattern, escape;
    uint32_t options;
    Verdict expected;
  } rows[] = {
      // The skip bit takes an escape before any character literally.
      {"AL32UTF8", nullptr, u8("ab"), u8("a\\b"), u8("\\"), skip, {1, 0}},
      {"AL32UTF8", nullptr, u8("a"), u8("a\\"), u8("\\"), skip, {0, 0}},
      // Supplementary characters: one '_' in code points and linguistically.
      {"AL32UTF8", nullptr, u8("a😀"), u8("a_"), none, 0, {1, 0}},
      {"AL32UTF8", nullptr, pair6, u8("_"), none, 0, {0, 0}},
      {"AL32UTF8", nullptr, pair6, u8("__"), none, 0, {1, 0}},
      {"AL32UTF8", nullptr, pair6, u8("_"), none, ucs4, {1, 0}},
      {"AL32UTF8", "CI", pair6, u8("_"), none, 0, {1, 0}},
      {"UTF8", nullptr, pair6, u8("__"), none, ucs4, {1, 0}},
      {"AL16UTF16", nullptr, env().encode("AL16UTF16", "😀"), {0, 0x5F}, none, ucs4, {1, 0}},
      {"AL16UTF16", nullptr, env().encode("AL16UTF16", "😀"), {0, 0x5F}, none, 0, {0, 0}},
      {"AL16UTF16", nullptr, env().encode("AL16UTF16", "😀"), {0, 0x5F, 0, 0x5F}, none, 0, {1, 0}},
      // Odd UTF-16 patterns, short escapes and lone surrogates.
      {"AL16UTF16", nullptr, {0, 0x61}, {0, 0x61, 0}, none, 0, {0, kBadSeq}},
      {"AL16UTF16", nullptr, {0, 0x61}, {0}, none, 0, {0, 0}},
      {"AL16UTF16", nullptr, {0, 0x61}, {0, 0x61}, {0x5C}, ucs4, {0, kBadChar}},
      {"AL16UTF16", nullptr, {0, 0x61}, {0, 0x61}, {0xD8, 0}, ucs4, {0, kBadChar}},
      {"AL16UTF16", nullptr, {0, 0x61}, {0, 0x61}, {0x5C}, 0, {0, kBadChar}},
      // UTF-8 escapes: one byte only; an encoded lone surrogate.
      {"AL32UTF8", nullptr, u8("%"), u8("€%"), u8("€"), 0, {0, kBadChar}},
      {"AL32UTF8", nullptr, u8("%"), u8("\\%"), u8("\\"), whole, {1, 0}},
      {"AL32UTF8", nullptr, u8("%"), u8("\\%"), {0xED, 0xA0, 0x80}, whole, {0, kBadChar}},
      // Complete characters: composed forms are equal; '_' takes base and mark.
      {"AL32UTF8", nullptr, u8("e\u0301"), u8("_"), none, whole, {1, 0}},
      {"AL32UTF8", nullptr, u8("\u00e9"), u8("_"), none, whole, {1, 0}},
      {"AL32UTF8", nullptr, u8("e\u0301"), u8("_"), none, 0, {0, 0}},
      {"AL32UTF8", nullptr, u8("e\u0301"), u8("__"), none, 0, {1, 0}},
      {"AL32UTF8", nullptr, u8("e\u0301x"), u8("\u00e9%"), none, whole, {1, 0}},
      {"AL16UTF16", nullptr, env().encode("AL16UTF16", "e\u0301"), {0, 0x5F}, none, whole, {1, 0}},
      // Malformed text never matches a character it is not.
      {"AL32UTF8", nullptr, {0xC3}, u8("_"), none, 0, {1, 0}},
      {"AL32UTF8", nullptr, {0xE4, 0xB8}, u8("%a"), none, 0, {0, 0}},
      {"AL32UTF8", nullptr, {0xC3, 0x61}, {0xC3}, none, 0, {0, 0}},
      // Linguistic: case-insensitive runs, escaped characters, '_'.
      {"AL32UTF8", "CI", u8("abc"), u8("AB%"), none, 0, {1, 0}},
      {"AL32UTF8", "CI", u8("abc"), u8("%C"), none, 0, {1, 0}},
      {"AL32UTF8", "CI", u8("%a"), u8("\\%A"), u8("\\"), 0, {1, 0}},
      {"AL32UTF8", "CI", u8("AXC"), u8("a_c"), none, 0, {1, 0}},
      {"AL32UTF8", "CI", u8("AC"), u8("a_c"), none, 0, {0, 0}},
      {"AL32UTF8", "AI", u8("Straße"), u8("%STRASSE"), none, 0, {1, 0}},
      {"AL32UTF8", "AI", u8("résumé"), u8("RESUME"), none, 0, {1, 0}},
      {"AL32UTF8", "CI", u8("\\X1"), u8("\\\\x%"), u8("\\"), 0, {1, 0}},
      // A caller's linguistic bit under a binary handle compares bytes.
      {"AL32UTF8", nullptr, u8("abc"), u8("a%C"), none, LIKE_LINGUISTIC, {0, 0}},
      {"AL32UTF8", nullptr, u8("abc"), u8("a%c"), none, LIKE_LINGUISTIC, {1, 0}},
      // Single-byte sets ignore the unit options; raw bytes ignore the set.
      {"WINDOWS-1252", nullptr, {0xE9}, {0x5F}, none, ucs4 | whole, {1, 0}},
      {"AL32UTF8", nullptr, u8("é"), u8("__"), none, OPT_RAW_BYTES, {1, 0}},
      // A double-byte character whose second byte is 0x5F is no wildcard.
      {"GBK", nullptr, {0x81, 0x5F}, {0x81, 0x5F}, none, 0, {1, 0}},
      {"GBK", nullptr, {0x81, 0x40}, {0x81, 0x5F}, none, 0, {0, 0}},
      {"GBK", nullptr, {0x81, 0x40}, {0x5F}, none, 0, {1, 0}},
      {"GBK", nullptr, {0x81, 0x40}, {0x5F, 0x5F}, none, 0, {0, 0}},
      // UTF-EBCDIC: 0x6C is the any-sequence wildcard, 0x25 a character.
      {"UTFE", nullptr, {0xC1, 0xC2}, {0x6C}, none, 0, {1, 0}},
      {"UTFE", nullptr, {0xC1, 0xC2}, {0x25}, none, 0, {0, 0}},
      // Shift-sensitive: 0x25 inside a shifted run is part of a character.
      {"IBM-930", nullptr, {0x0E, 0x45, 0x25, 0x0F}, {0x0E, 0x45, 0x25, 0x0F}, none, 0, {1, 0}},
      {"IBM-930", nullptr, {0x0E, 0x45, 0x41, 0x0F}, {0x0E, 0x45, 0x25, 0x0F}, none, 0, {0, 0}},
      {"IBM-930", nullptr, {0x0E, 0x45, 0x25, 0x0F}, {0x5F}, none, 0, {1, 0}},
      {"IBM-930",
       nullptr,
       {0xC1, 0x0E, 0x45, 0x25, 0x0F},
       {0x0E, 0x45, 0x25, 0x0F, 0x25},
       none,
       0,
       {0, 0}},
      {"IBM-930",
       nullptr,
       {0x0E, 0x45, 0x25, 0x0F, 0xC1},
       {0x0E, 0x45, 0x25, 0x0F, 0x25},
       none,
       0,
       {1, 0}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(like(row.source, row.pattern, row.escape.empty() ? nullptr : &row.escape, row.options,
                   env().handle(row.set, row.collation)),
              row.expected)
        << row.set << " " << show(row.source) << " LIKE " << show(row.pattern) << " options "
        << row.options;
  }
}

// A handle with a collation in force selects a linguistic matcher unasked.
TEST(Like, CollationInForceIsLinguistic) {
  const Bytes s = env().encode("AL32UTF8", "ABC"), p = env().encode("AL32UTF8", "abc");
  EXPECT_EQ(like(s, p, nullptr, 0, env().handle("AL32UTF8", "CI")).result, 1);
  EXPECT_EQ(like(s, p, nullptr, 0, env().handle("AL32UTF8")).result, 0);
}

// Many '%a' segments ending in 'b' against a long run of 'a': no
// backtracking beyond the latest '%'.
TEST(Like, NoExponentialBacktracking) {
  const Bytes source(20000, 'a');
  std::string p;
  for (int i = 0; i < 30; ++i) p += "%a";
  p += "%b";
  const Bytes pattern(p.begin(), p.end());
  for (const char* set : {"AL32UTF8", "WINDOWS-1252", "GBK"})
    EXPECT_EQ(like(source, pattern, nullptr, 0, env().handle(set)).result, 0) << set;
  Bytes ab = source;
  ab.push_back('b');
  EXPECT_EQ(like(ab, pattern, nullptr, 0, env().handle("AL32UTF8")).result, 1);
  std::string q;
  for (int i = 0; i < 30; ++i) q += "%a_";
  q += "b%";
  EXPECT_EQ(like(source, Bytes(q.begin(), q.end()), nullptr, 0, env().handle("AL32UTF8")).result,
            0);
}

// ASCII patterns without an escape are decided at the entry; the same
// pattern with an escape that does not occur in it goes to the matchers.
// Sources hold bytes that do not read as whole UTF-8 characters, so that a
// literal found after one must be refused where no character starts.
TEST(Like, EntryDecisionsAgreeWithTheMatchers) {
  std::mt19937 rng(9);
  const uint8_t bytes[] = {'a', 'b', 'c', 0xE4, 0xB8, 0xAD, 0xC3, 0xA9, 0xF0, 0x80};
  const Bytes escape = {'#'};
  for (const char* set : {"AL32UTF8", "ISO-8859-1", "UTF8", "GB18030", "SHIFT_JIS", "EUC-JP"}) {
    for (int round = 0; round < 20000; ++round) {
      Bytes source, pattern;
      for (uint32_t k = rng() % 8; k > 0; --k)
        source.push_back(bytes[rng() % (rng() % 2 ? 3 : 10)]);
      for (uint32_t k = 1 + rng() % 6; k > 0; --k) pattern.push_back("ab%_c"[rng() % 5]);
      const CharsetHandle* h = env().handle(set);
      ASSERT_TRUE(like(source, pattern, nullptr, 0, h) == like(source, pattern, &escape, 0, h))
          << set << " " << show(source) << " LIKE " << show(pattern);
    }
  }
}

// ---- Against a reference ----------------------------------------------------------------

// One unit of the matcher's semantics: its bytes in the set and its text.
struct Unit {
  Bytes bytes;
  std::string text;  // UTF-8; empty for half of a split character
};

enum class Compare { Bytes, Composed, Collator };

struct Semantics {
  bool splitPairs;  // supplementary characters are two units
  bool complete;    // base characters with marks
  bool linguistic;
  bool escapedBinary;  // escaped characters compared by bytes
  Bytes percent, underscore;
};

Semantics semanticsOf(const std::string& set, uint32_t options, bool linguistic) {
  const CharsetHandle* h = env().handle(set);
  const CharsetDefinition* def = env().definition(set);
  const bool utf16 = (h->flags & CSH_UTF16) != 0, single = (h->flags & CSH_SINGLE_BYTE) != 0;
  const bool utf8 = (def->definitionFlags & CSD_UTF8) || def->charsetId == CSID_AL32UTF8;
  Semantics s{};
  s.linguistic = linguistic;
  s.complete = (utf16 || utf8) && (options & OPT_COMPLETE_CHARS);
  const bool points = (options & OPT_UCS4_UNITS) != 0;
  // Sets read by their lead-byte table see a six-byte pair as two characters.
  s.splitPairs =
      !s.complete && ((utf16 && !points) || (utf8 && !points && !linguistic) || (!utf16 && !utf8));
  s.escapedBinary = linguistic && utf8 && points && !s.complete;
  const bool shiftOrSingle = single || (h->flags & CSH_SHIFT_SENSITIVE);
  const uint8_t pct = (!shiftOrSingle && def->charsetId == CSID_UTFE) ? 0x6C : 0x25;
  s.percent = utf16 ? Bytes{0, 0x25} : Bytes{pct};
  s.underscore = utf16 ? Bytes{0, 0x5F} : Bytes{static_cast<uint8_t>(pct == 0x6C ? 0x6D : 0x5F)};
  return s;
}

UCollator* collator(const char* name) {
  static UCollator* const secondary = [] {
    UErrorCode status = U_ZERO_ERROR;
    UCollator* c = ucol_open("", &status);
    ucol_setStrength(c, UCOL_SECONDARY);
    return c;
  }();
  static UCollator* const primary = [] {
    UErrorCode status = U_ZERO_ERROR;
    UCollator* c = ucol_open("", &status);
    ucol_setStrength(c, UCOL_PRIMARY);
    return c;
  }();
  return std::string(name) == "AI" ? primary : secondary;
}

std::string nfc(const std::string& s) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* n = icu::Normalizer2::getNFCInstance(status);
  std::string out;
  n->normalize(icu::UnicodeString::fromUTF8(s), status).toUTF8String(out);
  return out;
}

struct Element {
  enum Kind { Literal, Any, Percent } kind;
  Unit unit;
  bool escaped;
};

struct Reference {
  const Semantics& sem;
  const char* collation;

  bool equal(const Unit& s, const Element& p) const {
    if (sem.linguistic && !(p.escaped && sem.escapedBinary) && !s.text.empty() &&
        !p.unit.text.empty()) {
      UErrorCode status = U_ZERO_ERROR;
      return ucol_strcollUTF8(collator(collation), s.text.data(), int32_t(s.text.size()),
                              p.unit.text.data(), int32_t(p.unit.text.size()),
                              &status) == UCOL_EQUAL;
    }
    if (sem.complete) return nfc(s.text) == nfc(p.unit.text);
    return s.bytes == p.unit.bytes;
  }

  bool match(const std::vector<Element>& p, size_t i, const std::vector<Unit>& s, size_t j) const {
    if (i == p.size()) return j == s.size();
    switch (p[i].kind) {
      case Element::Percent:
        for (size_t k = j; k <= s.size(); ++k)
          if (match(p, i + 1, s, k)) return true;
        return false;
      case Element::Any:
        return j < s.size() && match(p, i + 1, s, j + 1);
      default:
        return j < s.size() && equal(s[j], p[i]) && match(p, i + 1, s, j + 1);
    }
  }
};

// The units of one character of the pool in the set.
std::vector<Unit> unitsOf(const std::string& set, const std::string& ch, const Semantics& sem) {
  const Bytes b = env().held(set, ch);
  if (b.empty()) return {};
  const size_t half = b.size() / 2;
  const bool pair = (b.size() == 4 && (env().handle(set)->flags & CSH_UTF16)) || b.size() == 6;
  if (sem.splitPairs && pair && lxktest::chars(ch).size() == 1)
    return {{Bytes(b.begin(), b.begin() + half), ""}, {Bytes(b.begin() + half, b.end()), ""}};
  return {{b, ch}};
}

std::vector<std::string> poolFor(bool linguistic, bool complete) {
  if (linguistic) {
    std::vector<std::string> pool = lxktest::chars("aAbBeEéÉèüÜöÖzαΑέжЖ中文あア한");
    if (complete) pool.insert(pool.end(), {"e\u0301", "E\u0301", "a\u0308"});
    return pool;
  }
  std::vector<std::string> pool;
  for (const std::string& c : lxktest::sampleChars())
    if (c != "%" && c != "_" && c != "％") pool.push_back(c);
  pool.insert(pool.end(), {"a", "a", "b", "b"});
  if (complete) pool.insert(pool.end(), {"e\u0301", "E\u0301", "a\u0308", "é"});
  return pool;
}

TEST(Like, MatchersAgreeWithReference) {
  std::mt19937 rng(20261123);
  size_t tally[2] = {0, 0};
  const auto pick = [&](size_t n) { return static_cast<size_t>(rng() % n); };
  for (const std::string& set : lxktest::stringCharsets()) {
    for (const char* collation : {static_cast<const char*>(nullptr), "CI", "AI"}) {
      for (uint32_t options : {0u, +OPT_UCS4_UNITS, +OPT_COMPLETE_CHARS}) {
        const Semantics sem = semanticsOf(set, options, collation != nullptr);
        const CharsetHandle* handle = env().handle(set, collation);
        const Bytes escape = env().encode(set, "#");
        if (escape.empty() || escape == sem.percent || escape == sem.underscore) continue;
        std::vector<Unit> pool;
        for (const std::string& c : poolFor(collation != nullptr, sem.complete))
          for (const Unit& u : unitsOf(set, c, sem))
            if (u.bytes != sem.percent && u.bytes != sem.underscore && u.bytes != escape &&
                !(u.bytes.size() == 1 && (u.bytes[0] == escape[0])))
              pool.push_back(u);
        if (pool.size() < 4) continue;
        const Reference ref{sem, collation};
        for (int round = 0; round < 150; ++round) {
          std::vector<Unit> src;
          const size_t n = 1 + pick(7);
          for (size_t i = 0; i < n; ++i) src.push_back(pool[pick(pool.size())]);
          // The source with some units made wildcards, escaped or replaced,
          // and '%' inserted.
          std::vector<Element> pat;
          for (size_t i = 0; i < src.size(); ++i) {
            const size_t r = pick(10);
            if (r == 0)
              pat.push_back({Element::Any, {}, false});
            else if (r == 1)
              pat.push_back({Element::Percent, {}, false});
            else if (r == 2)
              pat.push_back({Element::Literal, pool[pick(pool.size())], false});
            else if (r != 3)
              pat.push_back({Element::Literal, src[i], false});
            if (pick(6) == 0) pat.push_back({Element::Percent, {}, false});
          }
          if (pick(4) == 0) {
            const size_t at = pick(pat.size() + 1);
            const Bytes& lit = pick(2) ? sem.percent : escape;
            pat.insert(pat.begin() + at, {Element::Literal, {lit, ""}, true});
            if (pick(2)) src.insert(src.begin() + std::min(at, src.size()), {lit, ""});
          }
          Bytes s, p;
          for (const Unit& u : src) s.insert(s.end(), u.bytes.begin(), u.bytes.end());
          for (const Element& e : pat) {
            const Bytes& b = e.kind == Element::Percent ? sem.percent
                             : e.kind == Element::Any   ? sem.underscore
                                                        : e.unit.bytes;
            if (e.escaped) p.insert(p.end(), escape.begin(), escape.end());
            p.insert(p.end(), b.begin(), b.end());
          }
          const bool expected = !p.empty() && ref.match(pat, 0, src, 0);
          const Verdict got = like(s, p, &escape, options, handle);
          ++tally[expected];
          ASSERT_EQ(got, (Verdict{expected ? 1 : 0, 0}))
              << set << " " << (collation ? collation : "binary") << " options " << options << " "
              << show(s) << " LIKE " << show(p);
        }
      }
    }
  }
  // Both verdicts are common.
  EXPECT_GT(tally[0], 5000u);
  EXPECT_GT(tally[1], 5000u);
}

// The reference's collator equality is the core's on the pools' characters.
TEST(Like, PoolEqualityIsTheCollators) {
  const std::vector<std::string> pool = poolFor(true, true);
  for (const char* collation : {"CI", "AI"})
    for (const std::string& a : pool)
      for (const std::string& b : pool) {
        UErrorCode status = U_ZERO_ERROR;
        const bool icu = ucol_strcollUTF8(collator(collation), a.data(), int32_t(a.size()),
                                          b.data(), int32_t(b.size()), &status) == UCOL_EQUAL;
        const Bytes x = env().encode("AL32UTF8", a), y = env().encode("AL32UTF8", b);
        EXPECT_EQ(lxsCmpStr(x.data(), uint32_t(x.size()), y.data(), uint32_t(y.size()),
                            OPT_STANDARD, env().handle("AL32UTF8", collation), env().ctx()) == 0,
                  icu)
            << collation << " " << a << " " << b;
      }
}

}  // namespace
