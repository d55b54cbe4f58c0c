// Case conversion of the core against ICU: all of Unicode in the Unicode sets,
// special casing, every set of the catalogue on its own letters and the
// byte-for-byte tables.  Cuts at the capacity (whole characters, prefixes,
// status) are fuzz_case's.
#include <unicode/casemap.h>
#include <unicode/edits.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/guarded_buffer.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::bytes;
using lxktest::env;

constexpr uint32_t kUpper = OPT_STANDARD;
constexpr uint32_t kLower = OPT_STANDARD | CASE_DIRECTION;
constexpr uint32_t kInitcap = OPT_STANDARD | CASE_INITCAP;

// Room for every expansion; source and destination end at guard pages, so
// reading or writing past either faults.
Bytes convertCase(const std::string& set, const Bytes& text, uint32_t options) {
  const auto capacity = static_cast<uint32_t>(text.size() * 3 + 8);
  static lxktest::GuardedBuffer src, buffer;
  src.assign(text.data(), text.size());
  uint8_t* const out = buffer.tail(capacity);
  env().ctx()->status = NLS_STATUS_OK;
  const uint32_t n = lxsCnvCase(out, capacity, src.data(), static_cast<uint32_t>(src.size()),
                                options, env().handle(set), env().ctx());
  EXPECT_EQ(env().ctx()->status, NLS_STATUS_OK) << set;
  EXPECT_LE(n, capacity);
  return Bytes(out, out + std::min(n, capacity));
}

std::string utf8Of(const icu::UnicodeString& s) {
  std::string out;
  return s.toUTF8String(out);
}

bool holds(const std::string& set, const icu::UnicodeString& text) {
  return !env().held(set, utf8Of(text)).empty();
}

// UTF-8 text converted in the set, with room for it all.
std::string convertText(const std::string& set, const std::string& utf8, uint32_t options) {
  const Bytes got = convertCase(set, env().encode(set, utf8), options);
  return env().decode(set, got.data(), got.size());
}

// ICU's conversion in the root locale.  INITCAP as documented: words are
// runs of letters and digits (combining marks continue a word); the first
// letter of a word takes its titlecase mapping and everything else the
// lowercase mapping ICU gives it in the whole text.
icu::UnicodeString reference(uint32_t options, const icu::UnicodeString& text) {
  const icu::Locale& root = icu::Locale::getRoot();
  if (!(options & CASE_INITCAP))
    return (options & CASE_DIRECTION) ? icu::UnicodeString(text).toLower(root)
                                      : icu::UnicodeString(text).toUpper(root);
  icu::Edits edits;
  UErrorCode status = U_ZERO_ERROR;
  UChar lowered[4096];
  icu::CaseMap::toLower("", 0, text.getBuffer(), text.length(), lowered, 4096, &edits, status);
  EXPECT_TRUE(U_SUCCESS(status));
  // The lowercase form of each source index that starts a changed span.
  std::vector<icu::UnicodeString> lower(static_cast<size_t>(text.length()));
  for (auto it = edits.getFineChangesIterator(); it.next(status);)
    lower[it.sourceIndex()].setTo(lowered + it.destinationIndex(), it.newLength());
  icu::UnicodeString out;
  bool inWord = false;
  for (int32_t i = 0, next; i < text.length(); i = next) {
    const UChar32 c = text.char32At(i);
    next = text.moveIndex32(i, 1);
    const uint32_t mask = U_GET_GC_MASK(c);
    const bool letter = mask & U_GC_L_MASK, digit = mask & U_GC_ND_MASK;
    out += (letter && !inWord)  ? icu::UnicodeString(c).toTitle(nullptr, root)
           : lower[i].isEmpty() ? text.tempSubString(i, next - i)
                                : lower[i];
    if (letter || digit || !(mask & U_GC_M_MASK)) inWord = letter || digit;
  }
  return out;
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
        for (const icu::UnicodeString& text : {run, probed})
          if (convertText(set, utf8Of(text), options) != utf8Of(reference(options, text)) &&
              ++failures <= 3)
            ADD_FAILURE() << set << " " << modeName(options) << " from U+" << std::hex
                          << text.char32At(0) << (text == run ? "" : " with sigmas");
      }
      EXPECT_EQ(failures, 0) << set << " " << modeName(options);
    }
  }
}

// Context the sweep above cannot show (a sigma with case-ignorables on both
// sides, marks inside ASCII words, digits in words), shift-sensitive runs and
// single-byte words.
TEST(CaseMapping, SpecialCases) {
  const struct {
    const char* set;
    uint32_t options;
    const char *text, *expected;  // UTF-8
  } cases[] = {
      {"AL32UTF8", kLower, "\u0391'\u03A3.", "\u03B1'\u03C2."},
      {"AL32UTF8", kLower, "A\u03A3\u0301", "a\u03C2\u0301"},
      // Across shift bytes; the set has no final sigma, so a final one stays.
      {"IBM-939", kLower, "A\u03A3 \u03A3\u03B1\u03A3 \u30A2\u03A3",
       "a\u03A3 \u03C3\u03B1\u03A3 \u30A2\u03C3"},
      {"IBM-939", kLower, "\uFF21\uFF22AB\u30A2", "\uFF41\uFF42ab\u30A2"},
      {"IBM-939", kUpper, "ab\uFF41x", "AB\uFF21X"},
      {"AL32UTF8", kInitcap, "hello wORLD 1st o'neil a-b", "Hello World 1st O'Neil A-B"},
      {"AL32UTF8", kInitcap, "e\u0301te\u0301", "E\u0301te\u0301"},
      {"WINDOWS-1252", kInitcap, "\u00E9T\u00C9 \u00DFa", "\u00C9t\u00E9 Ssa"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(convertText(c.set, c.text, c.options), c.expected)
        << c.set << " " << modeName(c.options) << " " << c.text;
  // A long run of letters and a sigma at every distance from the start: the
  // result never depends on where the text is cut internally.
  for (int before = 0; before < 300; before += 37)
    for (const char* tail : {"", "'", " x", "'a"})
      for (const char* set : {"AL32UTF8", "AL16UTF16", "ISO-8859-7", "GB18030"}) {
        const std::string text = std::string(static_cast<size_t>(before), 'A') + "\u03A3" + tail;
        EXPECT_EQ(convertText(set, text, kLower),
                  utf8Of(reference(kLower, icu::UnicodeString::fromUTF8(text))))
            << set << " " << before << " " << tail;
      }
}

// Undecodable bytes are copied; a missing destination holds nothing and a
// missing source is no text (random bytes at every capacity: fuzz_case).
TEST(CaseMapping, MalformedInput) {
  const struct {
    const char* set;
    uint32_t options;
    Bytes text, expected;
  } cases[] = {
      {"AL32UTF8", kUpper, bytes({'a', 0xFF, 'b', 0xC3}), bytes({'A', 0xFF, 'B', 0xC3})},
      {"AL32UTF8", kLower, bytes({0xED, 0xA0, 0x80, 'Q'}), bytes({0xED, 0xA0, 0x80, 'q'})},
      // A malformed character ends the sigma's cased context, before or after it.
      {"AL32UTF8", kLower, bytes({'A', 0xFF, 0xCE, 0xA3}), bytes({'a', 0xFF, 0xCF, 0x83})},
      {"AL32UTF8", kLower, bytes({'A', 0xCE, 0xA3, 0xFF}), bytes({'a', 0xCF, 0x82, 0xFF})},
      {"AL16UTF16", kLower, bytes({0, 'A', 0xDC, 0, 3, 0xA3}), bytes({0, 'a', 0xDC, 0, 3, 0xC3})},
      {"AL16UTF16", kUpper, bytes({0xD8, 0, 0, 'a', 0}), bytes({0xD8, 0, 0, 'A', 0})},
      {"AL16UTF16", kUpper, bytes({0, 'a', 0xD8, 0}), bytes({0, 'A', 0xD8, 0})},
      {"GB18030", kUpper, bytes({'a', 0x81}), bytes({'A', 0x81})},
  };
  for (const auto& c : cases)
    EXPECT_EQ(convertCase(c.set, c.text, c.options), c.expected) << c.set;
  uint8_t out[4];
  NlsContext* ctx = env().ctx();
  ctx->status = NLS_STATUS_OK;
  EXPECT_EQ(lxsCnvCase(out, 4, nullptr, 3, kUpper, env().handle("AL32UTF8"), ctx), 0u);
  EXPECT_EQ(ctx->status, NLS_STATUS_OK);
  EXPECT_EQ(lxsCnvCase(nullptr, 10, "abc", 3, kUpper, env().handle("AL32UTF8"), ctx), 0u);
  EXPECT_EQ(ctx->status, NLS_STATUS_TRUNCATED);
}

// Letters of many scripts, one a word so each maps alone; each set is tried
// on those it can hold, and a mapping the set cannot hold keeps the letter.
TEST(CaseMapping, EverySetOnItsOwnLetters) {
  const UChar32 ranges[][2] = {
      {0x41, 0x5A},     {0x61, 0x7A},     {0xC0, 0x24F},    {0x370, 0x3FF},    {0x400, 0x52F},
      {0x531, 0x587},   {0x10A0, 0x10FF}, {0x13A0, 0x13FD}, {0x1E00, 0x1FFF},  {0x2160, 0x2188},
      {0x24B6, 0x24E9}, {0xFB00, 0xFB06}, {0xFF21, 0xFF5A}, {0x10400, 0x1044F}};
  for (const std::string& set : lxktest::stringCharsets()) {
    std::vector<icu::UnicodeString> letters;
    for (const auto& range : ranges)
      for (UChar32 c = range[0]; c <= range[1]; ++c)
        if ((u_hasBinaryProperty(c, UCHAR_CASED) || u_isalpha(c)) &&
            holds(set, icu::UnicodeString(c)))
          letters.emplace_back(c);
    EXPECT_GT(letters.size(), 20u) << set;
    for (uint32_t options : {kUpper, kLower, kInitcap}) {
      icu::UnicodeString text, expected;
      for (const icu::UnicodeString& letter : letters) {
        const icu::UnicodeString mapped = reference(options, letter);
        text.append(letter).append(u' ');
        expected.append(holds(set, mapped) ? mapped : letter).append(u' ');
      }
      EXPECT_EQ(convertText(set, utf8Of(text), options), utf8Of(expected))
          << set << " " << modeName(options);
    }
  }
}

// Every byte of every single-byte set against ICU's simple mappings; an
// unmapped byte, or a mapping the set cannot hold, is kept.
TEST(SimpleCaseMapping, SingleByteSetsFollowIcuAndInitcapInPlace) {
  Bytes all(256), out(256);
  for (int b = 0; b < 256; ++b) all[b] = static_cast<uint8_t>(b);
  for (const std::string& set : lxktest::stringCharsets()) {
    const CharsetHandle* handle = env().handle(set);
    if (!(handle->flags & CSH_SINGLE_BYTE)) continue;
    const uint16_t* toUnicode = env().definition(set)->toUnicode;
    for (const bool upper : {true, false}) {
      const uint32_t options = upper ? OPT_STANDARD | CASE_DIRECTION : OPT_STANDARD;
      EXPECT_EQ(lxsCnvSimple(out.data(), all.data(), 256, options, handle, env().ctx()), 256u);
      for (int b = 0; b < 256; ++b) {
        const UChar32 u = toUnicode[b], mapped = upper ? u_toupper(u) : u_tolower(u);
        if (u == 0xFFFD)
          EXPECT_EQ(out[b], b) << set;
        else
          EXPECT_EQ(toUnicode[out[b]], holds(set, icu::UnicodeString(mapped)) ? mapped : u)
              << set << " byte " << b;
      }
    }
  }
  // INITCAP in place; digits continue a word.
  Bytes text = env().encode("WINDOWS-1252", "hello wORLD 1st o'neil \u00E9T\u00C9 2\u00E9");
  EXPECT_EQ(lxsCnvSimple(text.data(), text.data(), static_cast<uint32_t>(text.size()), kInitcap,
                         env().handle("WINDOWS-1252"), env().ctx()),
            text.size());
  EXPECT_EQ(env().decode("WINDOWS-1252", text.data(), text.size()),
            "Hello World 1st O'Neil \u00C9t\u00E9 2\u00E9");
}

}  // namespace
