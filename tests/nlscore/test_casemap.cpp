// Case conversion of the core against ICU: all of Unicode in the Unicode sets,
// special casing, every set of the catalogue on its own letters, whole
// characters at every capacity, and the byte-for-byte tables.
#include <unicode/casemap.h>
#include <unicode/edits.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::NlsEnv;

using lxktest::env;

constexpr uint32_t kUpper = OPT_STANDARD;
constexpr uint32_t kLower = OPT_STANDARD | CASE_DIRECTION;
constexpr uint32_t kInitcap = OPT_STANDARD | CASE_INITCAP;

struct Converted {
  Bytes bytes;
  int32_t status;
};

Converted convertCase(const std::string& set, const Bytes& text, uint32_t options,
                      uint32_t capacity) {
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

Converted convertCase(const std::string& set, const Bytes& text, uint32_t options) {
  return convertCase(set, text, options, static_cast<uint32_t>(text.size() * 3 + 8));
}

std::string utf8Of(const icu::UnicodeString& s) {
  std::string out;
  s.toUTF8String(out);
  return out;
}

icu::UnicodeString unicodeOf(const std::string& utf8) { return icu::UnicodeString::fromUTF8(utf8); }

// Where two long texts part: a few characters from there on, both sides.
std::string firstDifference(const std::string& actual, const std::string& expected) {
  size_t at = 0;
  while (at < actual.size() && at < expected.size() && actual[at] == expected[at]) ++at;
  while (at > 0 && (static_cast<uint8_t>(expected[at]) & 0xC0) == 0x80) --at;
  return "got \"" + actual.substr(at, 24) + "\" expected \"" + expected.substr(at, 24) + "\"";
}

icu::UnicodeString icuUpper(const icu::UnicodeString& s) {
  icu::UnicodeString t(s);
  return t.toUpper(icu::Locale::getRoot());
}

icu::UnicodeString icuLower(const icu::UnicodeString& s) {
  icu::UnicodeString t(s);
  return t.toLower(icu::Locale::getRoot());
}

icu::UnicodeString icuTitleOfChar(UChar32 c) {
  UChar src[2];
  int32_t n = 0;
  U16_APPEND_UNSAFE(src, n, c);
  UChar out[16];
  UErrorCode status = U_ZERO_ERROR;
  const int32_t m = u_strToTitle(out, 16, src, n, nullptr, "", &status);
  EXPECT_TRUE(U_SUCCESS(status));
  return icu::UnicodeString(out, m);
}

// INITCAP as documented: words are runs of letters and digits (combining
// marks continue a word); the first letter of a word takes its titlecase
// mapping and everything else the lowercase mapping ICU gives it in the
// whole text.
icu::UnicodeString referenceInitcap(const icu::UnicodeString& text) {
  icu::Edits edits;
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeString lowered;
  {
    UChar buffer[4096];
    const int32_t n =
        icu::CaseMap::toLower("", 0, text.getBuffer(), text.length(), buffer, 4096, &edits, status);
    EXPECT_TRUE(U_SUCCESS(status));
    lowered.setTo(buffer, n);
  }
  // Replacement of each source index that starts a changed span.
  std::vector<icu::UnicodeString> replacement(static_cast<size_t>(text.length()) + 1);
  std::vector<bool> changed(static_cast<size_t>(text.length()) + 1, false);
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
    if (letter && !inWord)
      out += icuTitleOfChar(c);
    else
      out += changed[i] ? replacement[i] : text.tempSubString(i, next - i);
    if (letter || digit)
      inWord = true;
    else if (!mark)
      inWord = false;
    i = next;
  }
  return out;
}

icu::UnicodeString reference(uint32_t options, const icu::UnicodeString& text) {
  if (options & CASE_INITCAP) return referenceInitcap(text);
  return (options & CASE_DIRECTION) ? icuLower(text) : icuUpper(text);
}

const char* modeName(uint32_t options) {
  return (options & CASE_INITCAP) ? "initcap" : (options & CASE_DIRECTION) ? "lower" : "upper";
}

// ---- All of Unicode in the Unicode sets -------------------------------------

bool isAssigned(UChar32 c) { return u_charType(c) != U_UNASSIGNED && u_charType(c) != U_SURROGATE; }

TEST(CaseMapping, AllAssignedCodePointsMatchIcu) {
  constexpr int kRun = 160;
  std::vector<icu::UnicodeString> runs;
  icu::UnicodeString run;
  int count = 0;
  for (UChar32 c = 0; c <= 0x10FFFF; ++c) {
    if (c == 0xF0000) c = 0x10FFFE;  // the private-use planes only repeat themselves
    if (!isAssigned(c)) continue;
    run.append(c);
    if (++count % kRun == 0) {
      runs.push_back(run);
      run.remove();
    }
  }
  runs.push_back(run);

  for (const char* set : {"AL32UTF8", "UTF8", "AL16UTF16"}) {
    for (uint32_t options : {kUpper, kLower, kInitcap}) {
      int failures = 0;
      for (const icu::UnicodeString& text : runs) {
        const Bytes source = env().encode(set, utf8Of(text));
        const Converted got = convertCase(set, source, options);
        const std::string expected = utf8Of(reference(options, text));
        const std::string actual = env().decode(set, got.bytes.data(), got.bytes.size());
        EXPECT_EQ(got.status, NLS_STATUS_OK);
        if (actual != expected && ++failures <= 3)
          ADD_FAILURE() << set << " " << modeName(options) << " from U+" << std::hex
                        << text.char32At(0);
      }
      EXPECT_EQ(failures, 0) << set << " " << modeName(options);
    }
  }
}

// ---- Special casing ------------------------------------------------------------

struct SpecialCase {
  const char* set;
  uint32_t options;
  const char* text;      // UTF-8
  const char* expected;  // UTF-8
};

const SpecialCase kSpecialCases[] = {
    {"AL32UTF8", kUpper, "stra\u00DFe", "STRASSE"},
    {"AL32UTF8", kLower, "STRASSE", "strasse"},
    {"AL32UTF8", kUpper, "\uFB03 \u0149", "FFI \u02BCN"},
    // Final sigma: after a cased letter and not before one, case-ignorables
    // skipped on both sides.
    {"AL32UTF8", kLower, "\u039F\u0394\u039F\u03A3", "\u03BF\u03B4\u03BF\u03C2"},
    {"AL32UTF8", kLower, "\u03A3\u0391\u03A3 \u03A3", "\u03C3\u03B1\u03C2 \u03C3"},
    {"AL32UTF8", kLower, "\u0391\u03A3'\u0391", "\u03B1\u03C3'\u03B1"},
    {"AL32UTF8", kLower, "\u0391'\u03A3.", "\u03B1'\u03C2."},
    {"AL32UTF8", kLower, "A\u03A3\u0301", "a\u03C2\u0301"},
    {"AL32UTF8", kLower, "1\u03A3", "1\u03C3"},
    {"ISO-8859-7", kLower, "\u039F\u0394\u039F\u03A3 \u03A3\u039F",
     "\u03BF\u03B4\u03BF\u03C2 \u03C3\u03BF"},
    {"AL16UTF16", kLower, "\u039F\u0394\u039F\u03A3", "\u03BF\u03B4\u03BF\u03C2"},
    {"UTF8", kLower, "\u039F\u03A3 \U00010400", "\u03BF\u03C2 \U00010428"},
    // Dotted and dotless I in the root locale.
    {"AL32UTF8", kLower, "\u0130I", "i\u0307i"},
    {"AL32UTF8", kUpper, "\u0131i", "II"},
    {"ISO-8859-9", kLower, "\u0130I", "\u0130i"},  // no combining dot: kept
    {"ISO-8859-9", kUpper, "\u0131i", "II"},
    // Georgian: Mkhedruli uppercases to Mtavruli but titlecases to itself.
    {"AL32UTF8", kUpper, "\u10D0\u10D1", "\u1C90\u1C91"},
    {"AL32UTF8", kLower, "\u1C90\u1C91", "\u10D0\u10D1"},
    {"AL32UTF8", kInitcap, "\u10D0\u10D1 \u1C90\u1C91", "\u10D0\u10D1 \u1C90\u10D1"},
    // Cherokee: the capitals are the older letters.
    {"AL32UTF8", kLower, "\u13A0\u13F5", "\uAB70\u13FD"},
    {"AL32UTF8", kUpper, "\uAB70\u13FD", "\u13A0\u13F5"},
    // INITCAP words and titlecase forms.
    {"AL32UTF8", kInitcap, "hello wORLD 1st o'neil a-b", "Hello World 1st O'Neil A-B"},
    {"AL32UTF8", kInitcap, "\u01C6emal \u00DFa \uFB01sh", "\u01C5emal Ssa Fish"},
    {"AL32UTF8", kInitcap, "e\u0301te\u0301", "E\u0301te\u0301"},
    {"WINDOWS-1252", kUpper, "stra\u00DFe \u00FF", "STRASSE \u0178"},
    {"WINDOWS-1252", kInitcap, "\u00E9T\u00C9 \u00DFa", "\u00C9t\u00E9 Ssa"},
    {"GB18030", kUpper, "a\u00DF\u03C3\u4E2D", "ASS\u03A3\u4E2D"},
    {"IBM-939", kLower, "\uFF21\uFF22AB\u30A2", "\uFF41\uFF42ab\u30A2"},
    {"IBM-939", kUpper, "ab\uFF41x", "AB\uFF21X"},
    {"UTFE", kUpper, "stra\u00DFe \u0101", "STRASSE \u0100"},
};

TEST(CaseMapping, SpecialCases) {
  for (const SpecialCase& c : kSpecialCases) {
    const Converted got = convertCase(c.set, env().encode(c.set, c.text), c.options);
    EXPECT_EQ(env().decode(c.set, got.bytes.data(), got.bytes.size()), c.expected)
        << c.set << " " << modeName(c.options) << " " << c.text;
    EXPECT_EQ(got.status, NLS_STATUS_OK);
  }
}

// A chunk of ASCII, a long run of letters and a sigma at every distance from
// the start: the result never depends on where the text is cut internally.
TEST(CaseMapping, SigmaContextAcrossLongText) {
  for (int before = 0; before < 300; before += 37) {
    for (const char* tail : {"", "'", " x", "'a"}) {
      std::string text = std::string(static_cast<size_t>(before), 'A') + "\u03A3" + tail;
      const icu::UnicodeString u = unicodeOf(text);
      for (const char* set : {"AL32UTF8", "AL16UTF16", "ISO-8859-7", "GB18030"}) {
        const Converted got = convertCase(set, env().encode(set, text), kLower);
        EXPECT_EQ(env().decode(set, got.bytes.data(), got.bytes.size()), utf8Of(icuLower(u)))
            << set << " " << before << " " << tail;
      }
    }
  }
}

// ---- Malformed input -------------------------------------------------------------

struct RawCase {
  const char* set;
  uint32_t options;
  Bytes text;
  Bytes expected;
};

TEST(CaseMapping, UndecodableBytesAreCopied) {
  const RawCase cases[] = {
      {"AL32UTF8", kUpper, lxktest::bytes({'a', 0xFF, 'b', 0xC3}),
       lxktest::bytes({'A', 0xFF, 'B', 0xC3})},
      {"AL32UTF8", kLower, lxktest::bytes({0xED, 0xA0, 0x80, 'Q'}),
       lxktest::bytes({0xED, 0xA0, 0x80, 'q'})},
      {"AL16UTF16", kUpper, lxktest::bytes({0xD8, 0x00, 0x00, 'a', 0x00}),
       lxktest::bytes({0xD8, 0x00, 0x00, 'A', 0x00})},
      {"AL16UTF16", kLower, lxktest::bytes({0x00, 'A', 0xDC, 0x00}),
       lxktest::bytes({0x00, 'a', 0xDC, 0x00})},
      {"GB18030", kUpper, lxktest::bytes({'a', 0x81}), lxktest::bytes({'A', 0x81})},
  };
  for (const RawCase& c : cases) {
    const Converted got = convertCase(c.set, c.text, c.options);
    EXPECT_EQ(got.bytes, c.expected) << c.set << " " << modeName(c.options);
  }
}

TEST(CaseMapping, RandomBytesStayWithinCapacity) {
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

// ---- Every set on its own letters ------------------------------------------------

// Letters of many scripts; each set is tried on those it can hold.
std::vector<UChar32> candidateLetters() {
  std::vector<UChar32> letters;
  const UChar32 ranges[][2] = {
      {0x41, 0x5A},     {0x61, 0x7A},     {0xC0, 0x24F},    {0x370, 0x3FF},    {0x400, 0x52F},
      {0x531, 0x587},   {0x10A0, 0x10FF}, {0x13A0, 0x13FD}, {0x1E00, 0x1FFF},  {0x2160, 0x2188},
      {0x24B6, 0x24E9}, {0xFB00, 0xFB06}, {0xFF21, 0xFF5A}, {0x10400, 0x1044F}};
  for (const auto& range : ranges)
    for (UChar32 c = range[0]; c <= range[1]; ++c)
      if (u_hasBinaryProperty(c, UCHAR_CASED) || u_isalpha(c)) letters.push_back(c);
  return letters;
}

bool holds(const std::string& set, const icu::UnicodeString& text) {
  const std::string utf8 = utf8Of(text);
  Bytes out(utf8.size() * 4 + 16);
  const int32_t n = nlsConvert(env().ctx(), set.c_str(), out.data(), out.size(), "AL32UTF8",
                               reinterpret_cast<const uint8_t*>(utf8.data()), utf8.size());
  if (n < 0) return false;
  return env().decode(set, out.data(), static_cast<uint32_t>(n)) == utf8;
}

TEST(CaseMapping, EverySetOnItsOwnLetters) {
  const std::vector<UChar32> candidates = candidateLetters();
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
        text += one;
        text += u' ';
        expected += holds(set, mapped) ? mapped : one;
        expected += u' ';
      }
      const Converted got = convertCase(set, env().encode(set, utf8Of(text)), options);
      const std::string actual = env().decode(set, got.bytes.data(), got.bytes.size());
      EXPECT_TRUE(actual == utf8Of(expected))
          << set << " " << modeName(options) << ": " << firstDifference(actual, utf8Of(expected));
      EXPECT_EQ(got.status, NLS_STATUS_OK);
    }
  }
}

// ---- Whole characters at every capacity ---------------------------------------------

// Whether the bytes end outside a shifted run.
bool endsUnshifted(const Bytes& bytes, const CharsetHandle* handle) {
  bool shifted = false;
  for (size_t i = 0; i < bytes.size();) {
    if (bytes[i] == handle->shiftOutByte) {
      shifted = true;
      ++i;
    } else if (bytes[i] == handle->shiftInByte) {
      shifted = false;
      ++i;
    } else {
      i += shifted ? 2 : 1;
    }
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
        if (handle->flags & CSH_SHIFT_SENSITIVE) {
          EXPECT_TRUE(endsUnshifted(cut.bytes, handle));
        }
        if (capacity < full.bytes.size())
          EXPECT_EQ(cut.status, NLS_STATUS_TRUNCATED);
        else
          EXPECT_EQ(cut.status, NLS_STATUS_OK);
        if (handle->flags & CSH_UTF16) {
          EXPECT_EQ(cut.bytes.size() % 2, 0u);
        }
      }
      EXPECT_EQ(previous, fullText.size()) << set;
    }
  }
}

TEST(CaseMapping, MissingBuffers) {
  const Bytes text = lxktest::bytes("abc");
  NlsContext* ctx = env().ctx();
  const CharsetHandle* handle = env().handle("AL32UTF8");
  ctx->status = NLS_STATUS_OK;
  EXPECT_EQ(lxsCnvCase(nullptr, 10, text.data(), 3, kUpper, handle, ctx), 0u);
  EXPECT_EQ(ctx->status, NLS_STATUS_TRUNCATED);
  ctx->status = NLS_STATUS_OK;
  uint8_t out[4];
  EXPECT_EQ(lxsCnvCase(out, 4, nullptr, 3, kUpper, handle, ctx), 0u);
  EXPECT_EQ(lxsCnvCase(out, 4, text.data(), 0, kUpper, handle, ctx), 0u);
  EXPECT_EQ(ctx->status, NLS_STATUS_OK);
}

// ---- The byte-for-byte mapping ----------------------------------------------------

TEST(SimpleCaseMapping, SingleByteSetsFollowIcuSimpleMappings) {
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* handle = env().handle(set);
    if (!(handle->flags & CSH_SINGLE_BYTE)) continue;
    const CharsetDefinition* def = env().definition(set);
    for (uint32_t options : {OPT_STANDARD | CASE_DIRECTION, OPT_STANDARD}) {
      Bytes all(256);
      for (int b = 0; b < 256; ++b) all[b] = static_cast<uint8_t>(b);
      Bytes out(256);
      EXPECT_EQ(lxsCnvSimple(out.data(), all.data(), 256, options, handle, env().ctx()), 256u);
      for (int b = 0; b < 256; ++b) {
        const UChar32 u = def->toUnicode[b];
        if (u == 0xFFFD) {
          EXPECT_EQ(out[b], b) << set;
          continue;
        }
        const UChar32 mapped = (options & CASE_DIRECTION) ? u_toupper(u) : u_tolower(u);
        const bool held = mapped != u && holds(set, icu::UnicodeString(mapped));
        EXPECT_EQ(def->toUnicode[out[b]], held ? mapped : u) << set << " byte " << b;
      }
    }
  }
}

TEST(SimpleCaseMapping, InitcapInPlace) {
  struct Case {
    const char* set;
    const char* text;
    const char* expected;
  };
  const Case cases[] = {
      {"WINDOWS-1252", "hello wORLD 1st o'neil \u00E9T\u00C9",
       "Hello World 1st O'Neil \u00C9t\u00E9"},
      {"ISO-8859-5", "\u0434\u041E\u041C 2\u0434", "\u0414\u043E\u043C 2\u0434"},
      {"US7ASCII", "mIxEd-case_words", "Mixed-Case_Words"},
  };
  for (const Case& c : cases) {
    Bytes text = env().encode(c.set, c.text);
    EXPECT_EQ(lxsCnvSimple(text.data(), text.data(), static_cast<uint32_t>(text.size()),
                           OPT_STANDARD | CASE_INITCAP, env().handle(c.set), env().ctx()),
              text.size());
    EXPECT_EQ(env().decode(c.set, text.data(), text.size()), c.expected) << c.set;
  }
}

}  // namespace
