// Case conversion of the core against ICU: all of Unicode in the Unicode sets,
// special casing, every set of the catalogue on its own letters, whole
// characters at every capacity, and the byte-for-byte tables.
#include <unicode/casemap.h>
#include <unicode/edits.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::bytes;
using lxktest::env;

constexpr uint32_t kUpper = OPT_STANDARD;
constexpr uint32_t kLower = OPT_STANDARD | CASE_DIRECTION;
constexpr uint32_t kInitcap = OPT_STANDARD | CASE_INITCAP;

struct Converted {
  Bytes bytes;
  int32_t status;
};

// Room for every expansion unless a capacity is given.
Converted convertCase(const std::string& set, const Bytes& text, uint32_t options,
                      uint32_t capacity = UINT32_MAX) {
  if (capacity == UINT32_MAX) capacity = static_cast<uint32_t>(text.size() * 3 + 8);
  Bytes out(capacity + 1, 0xEE);  // one guard byte past the capacity
  env().ctx()->status = NLS_STATUS_OK;
  const uint32_t n =
      lxsCnvCase(out.data(), capacity, text.data(), static_cast<uint32_t>(text.size()), options,
                 env().handle(set), env().ctx());
  EXPECT_LE(n, capacity);
  EXPECT_EQ(out[capacity], 0xEE) << "wrote past the capacity";
  out.resize(n);
  return Converted{out, env().ctx()->status};
}

std::string utf8Of(const icu::UnicodeString& s) {
  std::string out;
  return s.toUTF8String(out);
}

// Decodes the result and checks the status.
std::string decoded(const std::string& set, const Converted& got) {
  EXPECT_EQ(got.status, NLS_STATUS_OK) << set;
  return env().decode(set, got.bytes.data(), got.bytes.size());
}

// Where two long texts part: a few characters from there on, both sides.
std::string firstDifference(const std::string& actual, const std::string& expected) {
  size_t at = 0;
  while (at < actual.size() && at < expected.size() && actual[at] == expected[at]) ++at;
  while (at > 0 && (static_cast<uint8_t>(expected[at]) & 0xC0) == 0x80) --at;
  return "got \"" + actual.substr(at, 24) + "\" expected \"" + expected.substr(at, 24) + "\"";
}

// INITCAP as documented: words are runs of letters and digits (combining
// marks continue a word); the first letter of a word takes its titlecase
// mapping and everything else the lowercase mapping ICU gives it in the
// whole text.
icu::UnicodeString referenceInitcap(const icu::UnicodeString& text) {
  icu::Edits edits;
  UErrorCode status = U_ZERO_ERROR;
  UChar buffer[4096];
  const icu::UnicodeString lowered(
      buffer,
      icu::CaseMap::toLower("", 0, text.getBuffer(), text.length(), buffer, 4096, &edits, status));
  EXPECT_TRUE(U_SUCCESS(status));
  // Replacement of each source index that starts a changed span.
  std::vector<icu::UnicodeString> replacement(static_cast<size_t>(text.length()) + 1);
  std::vector<bool> changed(replacement.size(), false);
  for (auto it = edits.getFineChangesIterator(); it.next(status);) {
    changed[it.sourceIndex()] = true;
    replacement[it.sourceIndex()] = lowered.tempSubString(it.destinationIndex(), it.newLength());
  }
  icu::UnicodeString out;
  bool inWord = false;
  for (int32_t i = 0; i < text.length();) {
    const UChar32 c = text.char32At(i);
    const int32_t next = text.moveIndex32(i, 1);
    const uint32_t mask = U_GET_GC_MASK(c);
    const bool letter = mask & U_GC_L_MASK, digit = mask & U_GC_ND_MASK, mark = mask & U_GC_M_MASK;
    out += (letter && !inWord) ? icu::UnicodeString(c).toTitle(nullptr, icu::Locale::getRoot())
           : changed[i]        ? replacement[i]
                               : text.tempSubString(i, next - i);
    if (letter || digit || !mark) inWord = letter || digit;
    i = next;
  }
  return out;
}

icu::UnicodeString reference(uint32_t options, const icu::UnicodeString& text) {
  if (options & CASE_INITCAP) return referenceInitcap(text);
  icu::UnicodeString t(text);
  return (options & CASE_DIRECTION) ? t.toLower(icu::Locale::getRoot())
                                    : t.toUpper(icu::Locale::getRoot());
}

const char* modeName(uint32_t options) {
  return (options & CASE_INITCAP) ? "initcap" : (options & CASE_DIRECTION) ? "lower" : "upper";
}

// All of Unicode in the Unicode sets, in runs of 160 assigned code points;
// each run again with a capital sigma after every code point, whose lower
// and INITCAP forms show whether its neighbours are cased, case-ignorable
// or letters.
TEST(CaseMapping, AllAssignedCodePointsMatchIcu) {
  std::vector<icu::UnicodeString> runs(1);
  for (UChar32 c = 0, count = 0; c <= 0x10FFFF; ++c) {
    if (c == 0xF0000) c = 0x10FFFE;  // the private-use planes only repeat themselves
    if (u_charType(c) == U_UNASSIGNED || u_charType(c) == U_SURROGATE) continue;
    runs.back().append(c);
    if (++count % 160 == 0) runs.emplace_back();
  }

  for (const char* set : {"AL32UTF8", "UTF8", "AL16UTF16"}) {
    for (uint32_t options : {kUpper, kLower, kInitcap}) {
      int failures = 0;
      for (const icu::UnicodeString& run : runs) {
        icu::UnicodeString probed;
        for (int32_t i = 0; i < run.length(); i = run.moveIndex32(i, 1))
          probed.append(run.char32At(i)).append(UChar{0x03A3});
        for (const icu::UnicodeString& text : {run, probed}) {
          const Converted got = convertCase(set, env().encode(set, utf8Of(text)), options);
          if (decoded(set, got) != utf8Of(reference(options, text)) && ++failures <= 3)
            ADD_FAILURE() << set << " " << modeName(options) << " from U+" << std::hex
                          << text.char32At(0) << (text == run ? "" : " with sigmas");
        }
      }
      EXPECT_EQ(failures, 0) << set << " " << modeName(options);
    }
  }
}

TEST(CaseMapping, SpecialCases) {
  const struct {
    const char* set;
    uint32_t options;
    const char *text, *expected;  // UTF-8
  } cases[] = {
      // Expansions, context-free in the Unicode sets, are covered against ICU
      // above; here the context and the sets that cannot hold every mapping.
      // Final sigma: after a cased letter and not before one, case-ignorables
      // skipped on both sides.
      {"AL32UTF8", kLower, "\u039F\u0394\u039F\u03A3", "\u03BF\u03B4\u03BF\u03C2"},
      {"AL32UTF8", kLower, "\u03A3\u0391\u03A3 \u03A3", "\u03C3\u03B1\u03C2 \u03C3"},
      {"AL32UTF8", kLower, "\u0391\u03A3'\u0391", "\u03B1\u03C3'\u03B1"},
      {"AL32UTF8", kLower, "\u0391'\u03A3.", "\u03B1'\u03C2."},
      {"AL32UTF8", kLower, "A\u03A3\u0301", "a\u03C2\u0301"},
      {"AL32UTF8", kLower, "1\u03A3", "1\u03C3"},
      {"AL32UTF8", kLower, "A\u65E5\u03A3 A\u03A3\u65E5", "a\u65E5\u03C3 a\u03C2\u65E5"},
      // Across shift bytes; the set has no final sigma, so a final one stays.
      {"IBM-939", kLower, "A\u03A3 \u03A3\u03B1\u03A3 \u30A2\u03A3",
       "a\u03A3 \u03C3\u03B1\u03A3 \u30A2\u03C3"},
      {"UTF8", kLower, "\u039F\u03A3 \U00010400", "\u03BF\u03C2 \U00010428"},
      {"ISO-8859-9", kLower, "\u0130I", "\u0130i"},  // no combining dot: kept
      // Georgian: Mkhedruli uppercases to Mtavruli but titlecases to itself.
      {"AL32UTF8", kInitcap, "\u10D0\u10D1 \u1C90\u1C91", "\u10D0\u10D1 \u1C90\u10D1"},
      // INITCAP words and titlecase forms.
      {"AL32UTF8", kInitcap, "hello wORLD 1st o'neil a-b", "Hello World 1st O'Neil A-B"},
      {"AL32UTF8", kInitcap, "\u01C6emal \u00DFa \uFB01sh", "\u01C5emal Ssa Fish"},
      {"AL32UTF8", kInitcap, "e\u0301te\u0301", "E\u0301te\u0301"},
      {"WINDOWS-1252", kInitcap, "\u00E9T\u00C9 \u00DFa", "\u00C9t\u00E9 Ssa"},
      {"GB18030", kUpper, "a\u00DF\u03C3\u4E2D", "ASS\u03A3\u4E2D"},
      {"IBM-939", kLower, "\uFF21\uFF22AB\u30A2", "\uFF41\uFF42ab\u30A2"},
      {"IBM-939", kUpper, "ab\uFF41x", "AB\uFF21X"},
  };
  for (const auto& c : cases) {
    const Converted got = convertCase(c.set, env().encode(c.set, c.text), c.options);
    EXPECT_EQ(decoded(c.set, got), c.expected)
        << c.set << " " << modeName(c.options) << " " << c.text;
  }
  // A long run of letters and a sigma at every distance from the start: the
  // result never depends on where the text is cut internally.
  for (int before = 0; before < 300; before += 37) {
    for (const char* tail : {"", "'", " x", "'a"}) {
      const std::string text = std::string(static_cast<size_t>(before), 'A') + "\u03A3" + tail;
      const std::string expected = utf8Of(reference(kLower, icu::UnicodeString::fromUTF8(text)));
      for (const char* set : {"AL32UTF8", "AL16UTF16", "ISO-8859-7", "GB18030"}) {
        EXPECT_EQ(decoded(set, convertCase(set, env().encode(set, text), kLower)), expected)
            << set << " " << before << " " << tail;
      }
    }
  }
}

// Undecodable bytes are copied; random bytes never overrun the capacity.
TEST(CaseMapping, MalformedInput) {
  const struct {
    const char* set;
    uint32_t options;
    Bytes text, expected;
  } cases[] = {
      {"AL32UTF8", kUpper, bytes({'a', 0xFF, 'b', 0xC3}), bytes({'A', 0xFF, 'B', 0xC3})},
      {"AL32UTF8", kLower, bytes({0xED, 0xA0, 0x80, 'Q'}), bytes({0xED, 0xA0, 0x80, 'q'})},
      // A malformed character ends the sigma's cased context.
      {"AL32UTF8", kLower, bytes({'A', 0xFF, 0xCE, 0xA3}), bytes({'a', 0xFF, 0xCF, 0x83})},
      {"AL16UTF16", kLower, bytes({0, 'A', 0xDC, 0, 3, 0xA3}), bytes({0, 'a', 0xDC, 0, 3, 0xC3})},
      {"AL16UTF16", kUpper, bytes({0xD8, 0, 0, 'a', 0}), bytes({0xD8, 0, 0, 'A', 0})},
      {"AL16UTF16", kLower, bytes({0, 'A', 0xDC, 0}), bytes({0, 'a', 0xDC, 0})},
      {"GB18030", kUpper, bytes({'a', 0x81}), bytes({'A', 0x81})},
  };
  for (const auto& c : cases)
    EXPECT_EQ(convertCase(c.set, c.text, c.options).bytes, c.expected) << c.set;
  std::mt19937 random(7);
  for (const std::string& set : lxktest::stringCharsets()) {
    for (int round = 0; round < 40; ++round) {
      Bytes text(random() % 40);
      for (uint8_t& b : text) b = static_cast<uint8_t>(random());
      for (uint32_t options : {kUpper, kLower, kInitcap})
        convertCase(set, text, options, static_cast<uint32_t>(random() % 90));
    }
  }
}

bool holds(const std::string& set, const icu::UnicodeString& text) {
  const std::string utf8 = utf8Of(text);
  Bytes out(utf8.size() * 4 + 16);
  const int32_t n = nlsConvert(env().ctx(), set.c_str(), out.data(), out.size(), "AL32UTF8",
                               reinterpret_cast<const uint8_t*>(utf8.data()), utf8.size());
  return n >= 0 && env().decode(set, out.data(), static_cast<uint32_t>(n)) == utf8;
}

// Letters of many scripts; each set is tried on those it can hold.
TEST(CaseMapping, EverySetOnItsOwnLetters) {
  std::vector<UChar32> candidates;
  const UChar32 ranges[][2] = {
      {0x41, 0x5A},     {0x61, 0x7A},     {0xC0, 0x24F},    {0x370, 0x3FF},    {0x400, 0x52F},
      {0x531, 0x587},   {0x10A0, 0x10FF}, {0x13A0, 0x13FD}, {0x1E00, 0x1FFF},  {0x2160, 0x2188},
      {0x24B6, 0x24E9}, {0xFB00, 0xFB06}, {0xFF21, 0xFF5A}, {0x10400, 0x1044F}};
  for (const auto& range : ranges)
    for (UChar32 c = range[0]; c <= range[1]; ++c)
      if (u_hasBinaryProperty(c, UCHAR_CASED) || u_isalpha(c)) candidates.push_back(c);
  for (const std::string& set : lxktest::stringCharsets()) {
    std::vector<UChar32> letters;
    for (UChar32 c : candidates)
      if (holds(set, icu::UnicodeString(c))) letters.push_back(c);
    EXPECT_GT(letters.size(), 20u) << set;
    for (uint32_t options : {kUpper, kLower, kInitcap}) {
      // One letter a word, so each maps alone; a mapping the set cannot hold
      // keeps the letter.
      icu::UnicodeString text, expected;
      for (UChar32 c : letters) {
        const icu::UnicodeString one(c);
        const icu::UnicodeString mapped = reference(options, one);
        text.append(one).append(u' ');
        expected.append(holds(set, mapped) ? mapped : one).append(u' ');
      }
      const std::string actual =
          decoded(set, convertCase(set, env().encode(set, utf8Of(text)), options));
      EXPECT_TRUE(actual == utf8Of(expected))
          << set << " " << modeName(options) << ": " << firstDifference(actual, utf8Of(expected));
    }
  }
}

// Whether the bytes end outside a shifted run.
bool endsUnshifted(const Bytes& bytes, const CharsetHandle* handle) {
  bool shifted = false;
  for (size_t i = 0; i < bytes.size();) {
    if (bytes[i] == handle->shiftOutByte || bytes[i] == handle->shiftInByte)
      shifted = bytes[i++] == handle->shiftOutByte;
    else
      i += shifted ? 2 : 1;
  }
  return !shifted;
}

TEST(CaseMapping, CutsToWholeCharactersAtEveryCapacity) {
  const char* text = "stra\u00DFe \u03A3\u0391\u03A3 \u0130x \uFF41\uFF42 \u30A2\u4E2D a\U00010428";
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* handle = env().handle(set);
    const Bytes source = env().encode(set, text);
    for (uint32_t options : {kUpper, kLower, kInitcap}) {
      const Converted full = convertCase(set, source, options);
      const std::string fullText = env().decode(set, full.bytes.data(), full.bytes.size());
      size_t previous = 0;
      for (uint32_t capacity = 0; capacity <= full.bytes.size(); ++capacity) {
        const Converted cut = convertCase(set, source, options, capacity);
        const std::string cutText = env().decode(set, cut.bytes.data(), cut.bytes.size());
        SCOPED_TRACE(set + " " + modeName(options) + " capacity " + std::to_string(capacity));
        EXPECT_EQ(fullText.compare(0, cutText.size(), cutText), 0) << "not a prefix";
        EXPECT_GE(cutText.size(), previous);
        previous = cutText.size();
        EXPECT_TRUE(!(handle->flags & CSH_SHIFT_SENSITIVE) || endsUnshifted(cut.bytes, handle));
        EXPECT_TRUE(!(handle->flags & CSH_UTF16) || cut.bytes.size() % 2 == 0);
        EXPECT_EQ(cut.status, capacity < full.bytes.size() ? NLS_STATUS_TRUNCATED : NLS_STATUS_OK);
      }
      EXPECT_EQ(previous, fullText.size()) << set;
    }
  }
}

TEST(CaseMapping, MissingBuffers) {
  const uint8_t text[] = "abc";
  uint8_t out[4];
  NlsContext* ctx = env().ctx();
  const CharsetHandle* handle = env().handle("AL32UTF8");
  ctx->status = NLS_STATUS_OK;
  EXPECT_EQ(lxsCnvCase(nullptr, 10, text, 3, kUpper, handle, ctx), 0u);
  EXPECT_EQ(ctx->status, NLS_STATUS_TRUNCATED);
  ctx->status = NLS_STATUS_OK;
  EXPECT_EQ(lxsCnvCase(out, 4, nullptr, 3, kUpper, handle, ctx), 0u);
  EXPECT_EQ(lxsCnvCase(out, 4, text, 0, kUpper, handle, ctx), 0u);
  EXPECT_EQ(ctx->status, NLS_STATUS_OK);
}

TEST(SimpleCaseMapping, SingleByteSetsFollowIcuAndInitcapInPlace) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* handle = env().handle(set);
    if (!(handle->flags & CSH_SINGLE_BYTE)) continue;
    const CharsetDefinition* def = env().definition(set);
    for (uint32_t options : {OPT_STANDARD | CASE_DIRECTION, OPT_STANDARD}) {
      Bytes all(256), out(256);
      for (int b = 0; b < 256; ++b) all[b] = static_cast<uint8_t>(b);
      EXPECT_EQ(lxsCnvSimple(out.data(), all.data(), 256, options, handle, env().ctx()), 256u);
      for (int b = 0; b < 256; ++b) {
        const UChar32 u = def->toUnicode[b];
        const UChar32 mapped = (options & CASE_DIRECTION) ? u_toupper(u) : u_tolower(u);
        const bool held = u != 0xFFFD && mapped != u && holds(set, icu::UnicodeString(mapped));
        if (u == 0xFFFD)  // an unmapped byte is kept as it is
          EXPECT_EQ(out[b], b) << set;
        else
          EXPECT_EQ(def->toUnicode[out[b]], held ? mapped : u) << set << " byte " << b;
      }
    }
  }
  // INITCAP in place.
  const struct {
    const char *set, *text, *expected;
  } cases[] = {
      {"WINDOWS-1252", "hello wORLD 1st o'neil \u00E9T\u00C9",
       "Hello World 1st O'Neil \u00C9t\u00E9"},
      {"ISO-8859-5", "\u0434\u041E\u041C 2\u0434", "\u0414\u043E\u043C 2\u0434"},
      {"US7ASCII", "mIxEd-case_words", "Mixed-Case_Words"},
  };
  for (const auto& c : cases) {
    Bytes text = env().encode(c.set, c.text);
    EXPECT_EQ(lxsCnvSimple(text.data(), text.data(), static_cast<uint32_t>(text.size()),
                           OPT_STANDARD | CASE_INITCAP, env().handle(c.set), env().ctx()),
              text.size());
    EXPECT_EQ(env().decode(c.set, text.data(), text.size()), c.expected) << c.set;
  }
}

}  // namespace
