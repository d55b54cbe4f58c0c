// Conversion: set-to-set round trips of a multilingual sample through every
// set, shift bytes and four-byte GB18030, truncation and capacity failures,
// replacement characters; the one-character converters against the codec
// (reached through nlsConvert); the validity scanners, the GB18030 width, the
// run converters of ASCIISTR and UNISTR, byte-wise replacement and the digit
// tables.
#include <unicode/utf8.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::bytes;
using lxktest::NlsEnv;

using lxktest::env;

const char kAscii[] = "Hello, World! 0123456789 %_";

// What each set holds besides ASCII.
struct SetSample {
  const char* set;
  const char* text;
};

const SetSample kSamples[] = {
    {"AL32UTF8", "café Привет 日本語 한국어 中文 😀 𠀋"},
    {"UTF8", "café Привет 日本語 한국어 中文 😀 𠀋"},
    {"UTFE", "café Привет 日本語 한국어 中文 😀 𠀋"},
    {"AL16UTF16", "café Привет 日本語 한국어 中文 😀 𠀋"},
    {"AL16UTF16LE", "café Привет 日本語 한국어 中文 😀 𠀋"},
    {"GB18030", "café Привет 日本語 한국어 中文 😀 𠀋 \u0080"},
    {"US7ASCII", ""},
    {"ISO-8859-1", "café Grüße ñ"},
    {"ISO-8859-2", "Łódź Žluťoučký kůň"},
    {"ISO-8859-3", "Ħamrun ġ"},
    {"ISO-8859-4", "Ģirts ļ ŗ"},
    {"ISO-8859-5", "Привет мир"},
    {"ISO-8859-6", "مرحبا"},
    {"ISO-8859-7", "Καλημέρα"},
    {"ISO-8859-8", "שלום"},
    {"ISO-8859-9", "İstanbul ğ ş"},
    {"ISO-8859-10", "Ŋ ŧ ą"},
    {"ISO-8859-15", "café € Œ"},
    {"ISO-8859-13", "Ąžuolas ų ė"},
    {"ISO-8859-14", "Ŵ ŵ ẁ"},
    {"WINDOWS-1250", "Łódź Žluťoučký kůň"},
    {"WINDOWS-1251", "Привет мир"},
    {"WINDOWS-1253", "Καλημέρα"},
    {"WINDOWS-1255", "שלום"},
    {"WINDOWS-1256", "مرحبا"},
    {"WINDOWS-1252", "café € Grüße"},
    {"WINDOWS-1257", "Ąžuolas ų ė"},
    {"WINDOWS-1258", "café ư ơ đ"},
    {"IBM-1047", "café Grüße ñ"},
    {"SHIFT_JIS", "日本語 カタカナ ｶﾀｶﾅ"},
    {"EUC-JP", "日本語 カタカナ ｶﾀｶﾅ"},
    {"GBK", "中文 汉字"},
    {"BIG5-HKSCS", "中文 繁體"},
    {"EUC-KR", "한국어"},
    {"EUC-TW", "中文 繁體"},
    {"IBM-930", "日本語 ｶﾀｶﾅ"},
    {"IBM-939", "日本語 カタカナ"},
};

std::string sampleOf(const SetSample& s) { return std::string(kAscii) + " " + s.text; }

std::vector<uint32_t> codePoints(const std::string& utf8) {
  std::vector<uint32_t> out;
  const auto* p = reinterpret_cast<const uint8_t*>(utf8.data());
  int32_t i = 0;
  const int32_t n = static_cast<int32_t>(utf8.size());
  while (i < n) {
    UChar32 c;
    U8_NEXT(p, i, n, c);
    out.push_back(static_cast<uint32_t>(c));
  }
  return out;
}

std::string utf8Of(uint32_t cp) {
  char buf[4];
  int32_t n = 0;
  U8_APPEND_UNSAFE(buf, n, static_cast<UChar32>(cp));
  return std::string(buf, static_cast<size_t>(n));
}

uint32_t packed(uint32_t cp) {
  if (cp < 0x10000) return cp;
  const uint32_t v = cp - 0x10000;
  return (0xD800 + (v >> 10)) << 16 | (0xDC00 + (v & 0x3FF));
}

int32_t convert(const char* to, Bytes* out, uint32_t capacity, const char* from, const Bytes& src) {
  out->assign(capacity, 0xEE);
  const int32_t n = nlsConvert(env().ctx(), to, out->data(), capacity, from, src.data(),
                               static_cast<uint32_t>(src.size()));
  if (n >= 0) out->resize(static_cast<size_t>(n));
  return n;
}

bool isShiftSensitive(const char* set) {
  return (env().definition(set)->definitionFlags & CSD_SHIFT_SENSITIVE) != 0;
}

// ---- Set to set ---------------------------------------------------------------------

TEST(Convert, SampleRoundTripsThroughEverySet) {
  for (const SetSample& s : kSamples) {
    SCOPED_TRACE(s.set);
    const std::string sample = sampleOf(s);
    const Bytes encoded = env().encode(s.set, sample);
    ASSERT_FALSE(encoded.empty());
    EXPECT_EQ(env().decode(s.set, encoded.data(), static_cast<uint32_t>(encoded.size())), sample);
    // Between two non-UTF-8 sets too: through AL16UTF16 and back.
    Bytes utf16, back;
    ASSERT_GT(
        convert("AL16UTF16", &utf16, 4 * static_cast<uint32_t>(encoded.size()) + 8, s.set, encoded),
        0);
    ASSERT_EQ(convert(s.set, &back, static_cast<uint32_t>(encoded.size()), "AL16UTF16", utf16),
              static_cast<int32_t>(encoded.size()));
    EXPECT_EQ(back, encoded);
  }
}

TEST(Convert, ExactBytes) {
  struct Case {
    const char* set;
    const char* utf8;
    Bytes expected;
  };
  const Case cases[] = {
      {"IBM-1047", "Aa1", bytes({0xC1, 0x81, 0xF1})},
      {"AL16UTF16", "A€", bytes({0x00, 0x41, 0x20, 0xAC})},
      {"AL16UTF16LE", "A€", bytes({0x41, 0x00, 0xAC, 0x20})},
      {"AL16UTF16", "😀", bytes({0xD8, 0x3D, 0xDE, 0x00})},
      {"UTF8", "😀", bytes({0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80})},
      // GB18030: two-byte, four-byte of the basic plane, four-byte supplementary.
      {"GB18030", "€", bytes({0xA2, 0xE3})},
      {"GB18030", "\u0080", bytes({0x81, 0x30, 0x81, 0x30})},
      {"GB18030", "😀", bytes({0x94, 0x39, 0xFC, 0x36})},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(env().encode(c.set, c.utf8), c.expected) << c.set << " " << c.utf8;
    EXPECT_EQ(env().decode(c.set, c.expected.data(), static_cast<uint32_t>(c.expected.size())),
              c.utf8)
        << c.set;
  }
}

TEST(Convert, ShiftSensitiveRunsOpenAndClose) {
  for (const char* set : {"IBM-930", "IBM-939"}) {
    SCOPED_TRACE(set);
    const CharsetDefinition* def = env().definition(set);
    const uint8_t so = def->shiftOutCode, si = def->shiftInCode;
    const Bytes dbcs = env().encode(set, "日本");  // one run, closed at the end
    ASSERT_EQ(dbcs.size(), 6u);
    EXPECT_EQ(dbcs.front(), so);
    EXPECT_EQ(dbcs.back(), si);

    const Bytes mixed = env().encode(set, "A日本B語");
    const Bytes expected = {0xC1, so, dbcs[1], dbcs[2], dbcs[3], dbcs[4], si, 0xC2, so, 0, 0, si};
    ASSERT_EQ(mixed.size(), expected.size());
    for (size_t i : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 11u}) EXPECT_EQ(mixed[i], expected[i]);

    // Redundant shifts, and a run that the text leaves open, read fine.
    EXPECT_EQ(env().decode(set, Bytes{so, si, 0xC1, so, si}.data(), 5), "A");
    Bytes open(dbcs.begin(), dbcs.end() - 1);
    EXPECT_EQ(env().decode(set, open.data(), static_cast<uint32_t>(open.size())), "日本");

    // Between two shift-sensitive sets the runs are rebuilt.
    Bytes other;
    const char* otherSet = std::strcmp(set, "IBM-930") == 0 ? "IBM-939" : "IBM-930";
    ASSERT_EQ(convert(otherSet, &other, 32, set, mixed), static_cast<int32_t>(mixed.size()));
    EXPECT_EQ(env().decode(otherSet, other.data(), static_cast<uint32_t>(other.size())),
              "A日本B語");
  }
}

TEST(Convert, TruncatedSourceFails) {
  struct Case {
    const char* set;
    Bytes source;
  };
  const Case cases[] = {
      {"AL32UTF8", bytes({0x41, 0xE6, 0x97})},
      {"AL16UTF16", bytes({0x00, 0x41, 0x00})},
      {"AL16UTF16", bytes({0xD8, 0x3D})},
      {"GB18030", bytes({0x41, 0x81, 0x30, 0x81})},
      {"GB18030", bytes({0x81})},
      {"SHIFT_JIS", bytes({0x93})},
      {"IBM-930", bytes({0xC1, 0x0E, 0x45})},
      {"UTF8", bytes({0xED, 0xA0})},
  };
  for (const Case& c : cases) {
    Bytes out;
    EXPECT_EQ(convert("AL32UTF8", &out, 64, c.set, c.source), -1) << c.set;
  }
}

TEST(Convert, CapacityMustHoldTheWholeResult) {
  struct Case {
    const char* set;
    const char* utf8;
  };
  const Case cases[] = {{"AL32UTF8", "日本"},
                        {"AL16UTF16", "a😀"},
                        {"IBM-930", "A日"},
                        {"GB18030", "\u0080"},
                        {"ISO-8859-1", "abc"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.set);
    const Bytes full = env().encode(c.set, c.utf8);
    const Bytes src = bytes(c.utf8);
    Bytes out;
    EXPECT_EQ(convert(c.set, &out, static_cast<uint32_t>(full.size()), "AL32UTF8", src),
              static_cast<int32_t>(full.size()));
    EXPECT_EQ(convert(c.set, &out, static_cast<uint32_t>(full.size()) - 1, "AL32UTF8", src), -1);
  }
  Bytes out;
  EXPECT_EQ(nlsConvert(env().ctx(), "AL32UTF8", nullptr, 0, "AL32UTF8", nullptr, 0), 0);
  EXPECT_EQ(convert("NO-SUCH-SET", &out, 8, "AL32UTF8", bytes("a")), -1);
}

TEST(Convert, UnmappableAndMalformedBecomeTheReplacement) {
  struct Case {
    const char* to;
    const char* from;
    Bytes source;
    Bytes expected;
  };
  const Case cases[] = {
      {"AL16UTF16", "AL32UTF8", bytes({0x41, 0xFF, 0x42}),
       bytes({0x00, 0x41, 0xFF, 0xFD, 0x00, 0x42})},
      {"AL32UTF8", "AL16UTF16", bytes({0xDC, 0x00}), bytes({0xEF, 0xBF, 0xBD})},
      {"AL32UTF8", "UTF8", bytes({0xED, 0xB8, 0x80}), bytes({0xEF, 0xBF, 0xBD})},
  };
  for (const Case& c : cases) {
    Bytes out;
    ASSERT_GE(convert(c.to, &out, 32, c.from, c.source), 0) << c.to;
    EXPECT_EQ(out, c.expected) << c.to << " from " << c.from;
  }
  // Characters the target lacks: its own replacement character (inside a
  // run when a shift-sensitive set's replacement is double-byte).
  for (const char* set :
       {"ISO-8859-1", "US7ASCII", "SHIFT_JIS", "EUC-KR", "IBM-930", "IBM-1047", "WINDOWS-1251"}) {
    SCOPED_TRACE(set);
    const CharsetDefinition* def = env().definition(set);
    Bytes got = env().encode(set, "😀");
    ASSERT_FALSE(got.empty());
    if (isShiftSensitive(set) && got.front() == def->shiftOutCode) {
      ASSERT_EQ(got.back(), def->shiftInCode);
      got = Bytes(got.begin() + 1, got.end() - 1);
    }
    uint32_t code = 0;
    for (uint8_t b : got) code = code << 8 | b;
    EXPECT_EQ(code, def->replacementChar);
  }
}

// ---- One character to and from Unicode --------------------------------------------------

using ToUnicode = uint32_t (*)(const CharsetDefinition*, const void*, uint32_t);
using FromUnicode = uint32_t (*)(const CharsetDefinition*, void*, uint32_t, uint32_t, NlsContext*);

// The converters the conversion test picks for a set.
std::pair<ToUnicode, FromUnicode> convertersOf(const CharsetDefinition* def) {
  switch (def->charsetId) {
    case CSID_AL32UTF8:
      return {lxcsm2uAL32UTF8, lxcsu2mAL32UTF8};
    case CSID_UTF8:
      return {lxcsm2uUTF8, lxcsu2mUTF8};
    case CSID_AL16UTF16:
      return {lxcsm2uAL16UTF16, lxcsu2mAL16UTF16};
    case CSID_AL16UTF16LE:
      return {lxcsm2uAL16UTF16LE, lxcsu2mAL16UTF16LE};
    case CSID_UTFE:
      return {lxcsm2uUTFE, lxcsu2mUTFE};
    case CSID_GB18030:
      return {lxcsm2uGB18030, lxcsu2mGB18030};
    default:
      if (def->definitionFlags & CSD_SUPPLEMENTARY_MAP) return {lxcsm2uUTF32, lxcsu2mUTF32};
      return {lxcsm2ux, lxcsu2mx};
  }
}

TEST(OneCharacter, ConvertersAgreeWithTheCodec) {
  for (const SetSample& s : kSamples) {
    SCOPED_TRACE(s.set);
    const CharsetDefinition* def = env().definition(s.set);
    const auto [toUnicode, fromUnicode] = convertersOf(def);
    const bool shifted = isShiftSensitive(s.set);
    for (uint32_t cp : codePoints(sampleOf(s))) {
      Bytes b = env().encode(s.set, utf8Of(cp));
      if (shifted && b.size() > 1) b = Bytes(b.begin() + 1, b.end() - 1);  // the run's bytes
      const uint32_t width = static_cast<uint32_t>(b.size());
      EXPECT_EQ(toUnicode(def, b.data(), width), packed(cp)) << std::hex << cp;
      uint8_t out[16];
      std::memset(out, 0xEE, sizeof out);
      ASSERT_EQ(fromUnicode(def, out, packed(cp), 1, env().ctx()), width) << std::hex << cp;
      EXPECT_EQ(Bytes(out, out + width), b) << std::hex << cp;
      EXPECT_EQ(out[width], 0xEE);
    }
  }
}

TEST(OneCharacter, ValuesWithoutAForm) {
  const CharsetDefinition* latin1 = env().definition("ISO-8859-1");
  const CharsetDefinition* sjis = env().definition("SHIFT_JIS");
  uint8_t out[16];
  // Set to Unicode: malformed, lone surrogates, wrong widths.
  EXPECT_EQ(lxcsm2uAL32UTF8(nullptr, "\xC0\x80", 2), 0xFFFDu);
  EXPECT_EQ(lxcsm2uAL32UTF8(nullptr, "\xED\xA0\xBD", 3), 0xFFFDu);
  EXPECT_EQ(lxcsm2uUTF8(nullptr, "\xED\xA0\xBD", 3), 0xFFFDu);
  EXPECT_EQ(lxcsm2uUTF8(nullptr, "\xF0\x9F\x98\x80", 4), 0xFFFDu);
  EXPECT_EQ(lxcsm2uAL16UTF16(nullptr, "\xD8\x3D\x00\x41", 4), 0xFFFDu);
  EXPECT_EQ(lxcsm2uAL16UTF16LE(nullptr, "\x00\xDC", 2), 0xFFFDu);
  EXPECT_EQ(lxcsm2ux(sjis, "\x93\xFF", 2), 0xFFFDu);
  EXPECT_EQ(lxcsm2ux(sjis, "\x93\xFA", 1), 0xFFFDu);  // a lead byte alone
  // Unicode to set: a 32-bit value that is not a pair, lone surrogates where
  // the set cannot hold them, characters the set lacks.
  EXPECT_EQ(lxcsu2mAL32UTF8(nullptr, out, 0x1F600, 1, nullptr), 0u);
  EXPECT_EQ(lxcsu2mAL32UTF8(nullptr, out, 0xD800, 1, nullptr), 0u);
  EXPECT_EQ(lxcsu2mUTF8(nullptr, out, 0xDC00, 1, nullptr), 0u);
  EXPECT_EQ(lxcsu2mx(latin1, out, 0x20AC, 1, nullptr), 0u);
  EXPECT_EQ(lxcsu2mx(latin1, out, packed(0x1F600), 1, nullptr), 0u);
  EXPECT_EQ(lxcsu2mx(sjis, out, 0xAC00, 1, nullptr), 0u);
  EXPECT_EQ(lxcsu2mAL32UTF8(nullptr, out, 0x41, 0, nullptr), 0u);
  // UTF-16 holds every 16-bit code.
  ASSERT_EQ(lxcsu2mAL16UTF16(nullptr, out, 0xD800, 1, nullptr), 2u);
  EXPECT_EQ(Bytes(out, out + 2), bytes({0xD8, 0x00}));
}

// ---- Validity scanners and widths ----------------------------------------------------------

TEST(Validity, Scanners) {
  struct Case {
    const char* name;
    const char* text;
    uint32_t width, bytesLeft, expected;
  };
  const Case utf8[] = {
      {"ascii", "A", 1, 1, 1},
      {"two", "\xC3\xA9", 2, 2, 2},
      {"overlong", "\xC0\x80", 2, 2, 0},
      {"three", "\xE6\x97\xA5", 3, 3, 3},
      {"bad trail", "\xE6\x97\x41", 3, 3, 0},
      {"pair as six", "\xED\xA0\xBD\xED\xB8\x80", 6, 6, 6},
      {"pair from its first half", "\xED\xA0\xBD\xED\xB8\x80", 3, 6, 6},
      {"lone high", "\xED\xA0\xBD\x41\x41\x41", 3, 6, 0},
      {"high at the end", "\xED\xA0\xBD", 3, 3, 0},
      {"lone low", "\xED\xB8\x80", 3, 3, 0},
      {"four-byte form", "\xF0\x9F\x98\x80", 4, 4, 0},
      {"past the end", "\xE6\x97\xA5", 3, 2, 0},
      {"continuation lead", "\x80", 1, 1, 0},
  };
  for (const Case& c : utf8)
    EXPECT_EQ(lxcsVldUTF8(c.text, c.width, c.bytesLeft), c.expected) << "UTF8 " << c.name;

  const Case al32utf8[] = {
      {"two", "\xC3\xA9", 2, 0, 2},           {"four", "\xF0\x9F\x98\x80", 4, 0, 4},
      {"surrogate", "\xED\xA0\xBD", 3, 0, 0}, {"above U+10FFFF", "\xF4\x90\x80\x80", 4, 0, 0},
      {"overlong", "\xE0\x80\x80", 3, 0, 0},  {"wrong width", "\xC3\xA9", 3, 0, 0},
  };
  for (const Case& c : al32utf8)
    EXPECT_EQ(lxcsVldAL32UTF8(c.text, c.width), c.expected) << "AL32UTF8 " << c.name;

  const Case utf16[] = {
      {"unit", "\x00\x41", 2, 0, 2},
      {"pair", "\xD8\x3D\xDE\x00", 4, 0, 4},
      {"high then unit", "\xD8\x3D\x00\x41", 4, 0, 0},
      {"lone low", "\xDC\x00", 2, 0, 0},
      {"replacement itself", "\xFF\xFD", 2, 0, 2},
      {"odd width", "\x00\x41\x00", 3, 0, 0},
  };
  for (const Case& c : utf16)
    EXPECT_EQ(lxcsVldAL16UTF16(c.text, c.width), c.expected) << "AL16UTF16 " << c.name;
}

TEST(Validity, Gb18030Widths) {
  const CharsetDefinition* gb = env().definition("GB18030");
  struct Case {
    Bytes text;
    uint32_t bytesLeft, expected;
  };
  const Case cases[] = {
      {bytes({0x41}), 1, 1},
      {bytes({0x80}), 1, 1},
      {bytes({0xFF, 0x30}), 2, 1},
      {bytes({0x81, 0x40}), 2, 2},
      {bytes({0x81}), 1, 2},  // more than is left: the caller sees it
      {bytes({0x81, 0x30, 0x81, 0x30}), 4, 4},
      {bytes({0x81, 0x39}), 2, 4},
      {bytes({0x41}), 0, 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(lxcgbgwt2(gb, c.text.data(), c.bytesLeft) & 0xFFFF, c.expected);
    EXPECT_EQ(lxcgbgwt(gb, c.text.data(), c.bytesLeft, 0) & 0xFFFF, c.expected);
  }
}

TEST(Validity, InvariantCharactersOfEverySet) {
  for (uint32_t i = 0; i < nlsCatalogueCount(); ++i) {
    const char* set = nlsCatalogueEntry(i)->name;
    const CharsetDefinition* def = env().definition(set);
    for (const char* invariant : {"%", "_"}) {
      uint8_t out[8];
      const uint32_t n = lxcss2m(def, out, static_cast<uint8_t>(invariant[0])) & 0xFFFF;
      EXPECT_EQ(Bytes(out, out + n), env().encode(set, invariant)) << set << " " << invariant;
    }
  }
  uint8_t out[8];
  EXPECT_EQ(lxcss2m(env().definition("IBM-1047"), out, 0x25), 1u);
  EXPECT_EQ(out[0], 0x6C);
}

// ---- Composition -------------------------------------------------------------------------

TEST(Compose, ComposedFormsWithinTheBound) {
  std::string exclusions;  // each composes to two characters, twice its bytes
  for (int i = 0; i < 20; ++i) exclusions += "\u0958";
  struct Case {
    const char* set;
    std::string input;     // UTF-8, converted into the set
    std::string composed;  // UTF-8; empty: the input as it is
  };
  const Case cases[] = {
      {"AL32UTF8", "A", "A"},
      {"AL32UTF8", "e\u0301", "\u00E9"},
      {"AL32UTF8", "\u00E9", "\u00E9"},
      {"AL32UTF8", "Cafe\u0301 e\u0301\u0323", "Caf\u00E9 \u1EB9\u0301"},
      {"AL32UTF8", "\u0958", "\u0915\u093C"},  // grows, still within 32 bytes
      {"AL32UTF8", exclusions, ""},            // would outgrow the input
      {"AL16UTF16", "e\u0301", "\u00E9"},
      {"UTF8", "e\u0301\U0001F600", "\u00E9\U0001F600"},
      {"GB18030", "e\u0301", "\u00E9"},
      {"ISO-8859-1", "e", "e"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.set) + " " + c.input);
    const Bytes input = env().encode(c.set, c.input);
    const Bytes expected = c.composed.empty() ? input : env().encode(c.set, c.composed);
    const size_t bound = input.size() > 32 ? input.size() : 32;
    Bytes out(bound + 8, 0xEE);
    const uint32_t n = lxcsCompose(env().definition(c.set), out.data(), input.data(),
                                   static_cast<uint32_t>(input.size()), env().ctx());
    EXPECT_EQ(Bytes(out.begin(), out.begin() + n), expected);
    EXPECT_EQ(Bytes(out.begin() + bound, out.end()), Bytes(8, 0xEE));
  }
  // Malformed text is its own form.
  uint8_t out[32];
  EXPECT_EQ(lxcsCompose(env().definition("AL32UTF8"), out, "e\xCC", 2, env().ctx()), 2u);
  EXPECT_EQ(Bytes(out, out + 2), bytes({'e', 0xCC}));
}

// ---- ASCIISTR and UNISTR converters -------------------------------------------------------

TEST(Unistr, OneCharacterToUnits) {
  struct Case {
    const char* set;
    Bytes character;
    uint32_t maxUnits;
    std::vector<uint16_t> expected;
  };
  const Bytes kanji930 = env().encode("IBM-930", "日");  // SO, two bytes, SI
  const Case cases[] = {
      {"ISO-8859-1", bytes({0xE9}), 2, {0x00E9}},
      {"AL32UTF8", bytes({0xF0, 0x9F, 0x98, 0x80}), 2, {0xD83D, 0xDE00}},
      {"AL32UTF8", bytes({0xF0, 0x9F, 0x98, 0x80}), 1, {}},
      {"AL32UTF8", bytes({0xFF}), 2, {}},
      {"GB18030", bytes({0x81, 0x30, 0x81, 0x30}), 2, {0x0080}},
      {"AL16UTF16", bytes({0x20, 0xAC}), 2, {0x20AC}},
      {"IBM-930", Bytes(kanji930.begin() + 1, kanji930.end() - 1), 2, {0x65E5}},
      {"IBM-930", Bytes(kanji930.begin(), kanji930.end() - 1), 2, {0x65E5}},  // SO in front
      {"IBM-930", bytes({0xC1}), 2, {0x41}},
  };
  for (const Case& c : cases) {
    uint16_t units[2] = {0xEEEE, 0xEEEE};
    const uint32_t n = lxgt2u(units, c.maxUnits, c.character.data(), env().definition(c.set),
                              static_cast<uint32_t>(c.character.size()), 0, env().ctx());
    EXPECT_EQ(std::vector<uint16_t>(units, units + n), c.expected) << c.set;
  }
}

TEST(Unistr, RunsIntoTheTarget) {
  struct Case {
    const char* target;
    const char* source;
    std::string utf8;
    uint32_t room;
    uint32_t expectedBytes, expectedChars;
    bool cut;
  };
  const Case cases[] = {
      {"AL16UTF16", "ISO-8859-1", "café", 16, 8, 4, false},
      {"AL16UTF16", "ISO-8859-1", "café", 5, 4, 2, true},
      {"UTF8", "AL32UTF8", "a😀", 16, 7, 2, false},
      {"UTF8", "AL32UTF8", "a😀", 6, 1, 1, true},
      {"AL16UTF16", "IBM-930", "A日本", 16, 6, 3, false},
      {"UTF8", "GB18030", "中\u0080", 6, 5, 2, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.source) + " -> " + c.target + " room " + std::to_string(c.room));
    const Bytes src = env().encode(c.source, c.utf8);
    Bytes out(c.room, 0xEE);
    env().ctx()->status = NLS_STATUS_OK;
    const uint32_t n =
        lxgcnv(out.data(), env().definition(c.target), c.room, src.data(),
               env().definition(c.source), static_cast<uint32_t>(src.size()), env().ctx());
    EXPECT_EQ(n, c.expectedBytes);
    EXPECT_EQ(env().ctx()->convertedChars, c.expectedChars);
    EXPECT_EQ(env().ctx()->status, c.cut ? NLS_STATUS_TRUNCATED : NLS_STATUS_OK);
    const Bytes full = env().encode(c.target, c.utf8);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + n), Bytes(full.begin(), full.begin() + n));
  }
}

TEST(Unistr, UnitsToUtf8Forms) {
  struct Case {
    uint32_t unit, count, room;
    Bytes expected;
    bool overflow;
  };
  const Case cases[] = {
      {0x41, 1, 4, bytes({0x41}), false},
      {0xE9, 1, 4, bytes({0xC3, 0xA9}), false},
      {0x20AC, 1, 3, bytes({0xE2, 0x82, 0xAC}), false},
      {0xD83D, 1, 3, bytes({0xED, 0xA0, 0xBD}), false},
      {0x20AC, 1, 2, {}, true},
      {0xD83DDE00, 2, 6, bytes({0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}), false},
      {0xD83DDE00, 2, 5, {}, true},
  };
  for (const Case& c : cases) {
    uint8_t out[8];
    int32_t overflow = -1;
    const uint32_t n = lxgucs2utf(out, c.room, c.unit, c.count, &overflow);
    EXPECT_EQ(Bytes(out, out + n), c.expected) << std::hex << c.unit;
    EXPECT_EQ(overflow != 0, c.overflow) << std::hex << c.unit;
  }
}

// ---- Byte-wise replacement -------------------------------------------------------------------

TEST(ByteReplace, EveryOccurrenceWithinTheCapacity) {
  struct Case {
    std::string source, search, replacement;
    uint32_t capacity;
    std::string expected;
    bool truncated;
  };
  const Case cases[] = {
      {"abcabc", "b", "XY", 64, "aXYcaXYc", false},
      {"aaaa", "aa", "b", 64, "bb", false},
      {"aaa", "aa", "b", 64, "ba", false},
      {"abab", "ab", "", 64, "", false},
      {"abc", "", "X", 64, "abc", false},
      {"ab", "abc", "X", 64, "ab", false},
      {"xaxbx", "x", "--", 64, "--a--b--", false},
      {"abcabc", "b", "XY", 5, "aXYca", true},
      {"abcabc", "b", "XY", 2, "aX", true},
      {"abc", "z", "", 2, "ab", true},
      {std::string("a\0b\0", 4), std::string("\0", 1), "0", 64, "a0b0", false},
      {"", "a", "b", 64, "", false},
  };
  for (const Case& c : cases) {
    std::string out(c.capacity + 4, '#');
    int32_t truncated = -1;
    const uint32_t n =
        lstcpyr(out.data(), c.capacity, c.source.data(), static_cast<uint32_t>(c.source.size()),
                c.search.data(), static_cast<uint32_t>(c.search.size()), c.replacement.data(),
                static_cast<uint32_t>(c.replacement.size()), &truncated);
    EXPECT_EQ(out.substr(0, n), c.expected) << c.source << " / " << c.search;
    EXPECT_EQ(truncated != 0, c.truncated) << c.source << " / " << c.search;
    EXPECT_EQ(out[c.capacity], '#');
  }
}

// ---- Digit tables --------------------------------------------------------------------------

int hexValue(uint32_t u) {
  if (u >= '0' && u <= '9') return static_cast<int>(u - '0');
  if (u >= 'A' && u <= 'F') return static_cast<int>(u - 'A' + 10);
  if (u >= 'a' && u <= 'f') return static_cast<int>(u - 'a' + 10);
  return 0xFF;
}

// Each set reads its digits with the table the escape reader picks for it.
TEST(DigitTables, AgreeWithTheDigitsOfEverySet) {
  for (uint32_t i = 0; i < nlsCatalogueCount(); ++i) {
    const NlsCharsetInfo* info = nlsCatalogueEntry(i);
    const CharsetDefinition* def = env().definition(info->name);
    if (info->charsetId == CSID_AL16UTF16 || info->charsetId == CSID_AL16UTF16LE) continue;
    const uint8_t* table = (def->definitionFlags & CSD_ASCII) ? lxppCodeHexToIntASCIITbl
                           : def->charsetId == CSID_EBCDIC_SPECIAL_DIGITS
                               ? lxppCodeHexToIntEBCDICTblSpec
                               : lxppCodeHexToIntEBCDICTbl;
    for (uint32_t b = 0; b < 256; ++b) {
      const uint8_t one = static_cast<uint8_t>(b);
      Bytes out;
      const bool isChar = convert("AL32UTF8", &out, 8, info->name, Bytes{one}) == 1;
      const int expected = isChar ? hexValue(out[0]) : 0xFF;
      EXPECT_EQ(table[b], expected) << info->name << " byte " << std::hex << b;
    }
  }
}

}  // namespace
