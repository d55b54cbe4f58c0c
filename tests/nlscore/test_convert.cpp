// Conversion between sets and to and from Unicode, one character and whole
// runs; validity scanners, GB18030 widths, composition, byte-wise replacement
// and the digit tables.
#include <unicode/utf8.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using lxktest::bytes;
using lxktest::env;
using namespace std::string_literals;

uint32_t size32(const Bytes& b) { return static_cast<uint32_t>(b.size()); }

// A supplementary character as the 32-bit surrogate pair the converters take.
uint32_t packed(uint32_t cp) {
  if (cp < 0x10000) return cp;
  return (0xD800 + ((cp - 0x10000) >> 10)) << 16 | (0xDC00 + (cp & 0x3FF));
}

int32_t convert(const char* to, Bytes* out, uint32_t capacity, const char* from, const Bytes& src) {
  out->assign(capacity, 0xEE);
  const int32_t n =
      nlsConvert(env().ctx(), to, out->data(), capacity, from, src.data(), size32(src));
  if (n >= 0) out->resize(static_cast<size_t>(n));
  return n;
}

using ToUnicode = uint32_t (*)(const CharsetDefinition*, const void*, uint32_t);
using FromUnicode = uint32_t (*)(const CharsetDefinition*, void*, uint32_t, uint32_t, NlsContext*);

// The one-character converters the conversion code picks for a set.
std::pair<ToUnicode, FromUnicode> convertersOf(const CharsetDefinition* def) {
  const std::tuple<int32_t, ToUnicode, FromUnicode> byId[] = {
      {CSID_AL32UTF8, lxcsm2uAL32UTF8, lxcsu2mAL32UTF8},
      {CSID_UTF8, lxcsm2uUTF8, lxcsu2mUTF8},
      {CSID_AL16UTF16, lxcsm2uAL16UTF16, lxcsu2mAL16UTF16},
      {CSID_AL16UTF16LE, lxcsm2uAL16UTF16LE, lxcsu2mAL16UTF16LE},
      {CSID_UTFE, lxcsm2uUTFE, lxcsu2mUTFE},
      {CSID_GB18030, lxcsm2uGB18030, lxcsu2mGB18030}};
  for (const auto& [id, to, from] : byId)
    if (def->charsetId == id) return {to, from};
  if (def->definitionFlags & CSD_SUPPLEMENTARY_MAP) return {lxcsm2uUTF32, lxcsu2mUTF32};
  return {lxcsm2ux, lxcsu2mx};
}

TEST(Convert, EverySetRoundTripsAndItsConvertersAgreeWithTheCodec) {
  for (uint32_t i = 0; i < nlsCatalogueCount(); ++i) {
    const std::string set = nlsCatalogueEntry(i)->name;
    SCOPED_TRACE(set);
    // ASCII and the sample characters the set holds: the per-set tables are
    // checked against ICU in test_catalogue, these reach every converter kind.
    std::string sample = "Hello, World! 0123456789 %_";
    for (const std::string& ch : lxktest::sampleChars())
      if (ch.size() > 1 && !env().held(set, ch).empty()) sample += ch;
    EXPECT_GE(sample.size(), set == "US7ASCII" ? 27u : 31u) << "too little of the sample held";
    const Bytes encoded = env().encode(set, sample);
    ASSERT_FALSE(encoded.empty());
    EXPECT_EQ(env().decode(set, encoded.data(), size32(encoded)), sample);
    // Between two non-UTF-8 sets too: through AL16UTF16 and back, exact fit
    // (a byte less is no room).
    Bytes utf16, back;
    ASSERT_GT(convert("AL16UTF16", &utf16, 4 * size32(encoded) + 8, set.c_str(), encoded), 0);
    EXPECT_EQ(convert(set.c_str(), &back, size32(encoded) - 1, "AL16UTF16", utf16), -1);
    ASSERT_EQ(convert(set.c_str(), &back, size32(encoded), "AL16UTF16", utf16),
              static_cast<int32_t>(encoded.size()));
    EXPECT_EQ(back, encoded);
    // A character the set lacks: its own replacement character (inside a
    // run when a shift-sensitive set's replacement is double-byte).
    const CharsetDefinition* def = env().definition(set);
    if (Bytes lacked = env().encode(set, "😀"); env().held(set, "😀").empty()) {
      if ((def->definitionFlags & CSD_SHIFT_SENSITIVE) && lacked.front() == def->shiftOutCode) {
        ASSERT_EQ(lacked.back(), def->shiftInCode);
        lacked = Bytes(lacked.begin() + 1, lacked.end() - 1);
      }
      uint32_t code = 0;
      for (uint8_t b : lacked) code = code << 8 | b;
      EXPECT_EQ(code, def->replacementChar);
    }

    // Each character through the one-character converters, which must not
    // write past its width; the invariant ones through lxcss2m too.
    const auto [toUnicode, fromUnicode] = convertersOf(def);
    const auto* p = reinterpret_cast<const uint8_t*>(sample.data());
    for (int32_t i = 0, n = static_cast<int32_t>(sample.size()); i < n;) {
      const int32_t start = i;
      UChar32 cp;
      U8_NEXT(p, i, n, cp);
      Bytes b = env().encode(
          set, sample.substr(static_cast<size_t>(start), static_cast<size_t>(i - start)));
      if ((def->definitionFlags & CSD_SHIFT_SENSITIVE) && b.size() > 1)
        b = Bytes(b.begin() + 1, b.end() - 1);  // the run's bytes
      const uint32_t width = size32(b), u = packed(static_cast<uint32_t>(cp));
      EXPECT_EQ(toUnicode(def, b.data(), width), u) << std::hex << cp;
      uint8_t out[16];
      std::memset(out, 0xEE, sizeof out);
      ASSERT_EQ(fromUnicode(def, out, u, 1, env().ctx()), width) << std::hex << cp;
      EXPECT_EQ(Bytes(out, out + width), b) << std::hex << cp;
      EXPECT_EQ(out[width], 0xEE);
      // UNISTR's one character: the same value as UTF-16 units.
      uint16_t units[3] = {0, 0, 0xEEEE};
      const uint32_t count = lxgt2u(units, 2, b.data(), def, width, 0, env().ctx());
      EXPECT_EQ(count == 2 ? static_cast<uint32_t>(units[0]) << 16 | units[1] : units[0], u);
      EXPECT_EQ(units[2], 0xEEEE);
      if (cp == '%' || cp == '_') {
        EXPECT_EQ(lxcss2m(def, out, static_cast<uint32_t>(cp)), width);
        EXPECT_EQ(Bytes(out, out + width), b);
      }
    }
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
    EXPECT_EQ(env().decode(set, dbcs.data(), 5), "日本");
    // Between two shift-sensitive sets the runs are rebuilt.
    const char* other = std::strcmp(set, "IBM-930") == 0 ? "IBM-939" : "IBM-930";
    Bytes out;
    ASSERT_EQ(convert(other, &out, 32, set, mixed), static_cast<int32_t>(mixed.size()));
    EXPECT_EQ(env().decode(other, out.data(), size32(out)), "A日本B語");
  }
}

TEST(Convert, TruncatedFailsMalformedIsReplacedUnknownSetFails) {
  const std::pair<const char*, std::string> truncated[] = {
      {"AL32UTF8", "A\xE6\x97"},    {"AL16UTF16", "\0A\0"s}, {"AL16UTF16", "\xD8\x3D"},
      {"GB18030", "A\x81\x30\x81"}, {"GB18030", "\x81"},     {"SHIFT_JIS", "\x93"},
      {"IBM-930", "\xC1\x0E\x45"},  {"UTF8", "\xED\xA0"}};
  Bytes out;
  for (const auto& [from, source] : truncated)
    EXPECT_EQ(convert("AL32UTF8", &out, 64, from, bytes(source)), -1) << from;
  const std::tuple<const char*, const char*, std::string, std::string> replaced[] = {
      {"AL16UTF16", "AL32UTF8", "A\xFF\x42", "\0A\xFF\xFD\0B"s},
      {"AL32UTF8", "AL16UTF16", "\xDC\x00"s, "\xEF\xBF\xBD"},
      {"AL32UTF8", "UTF8", "\xED\xB8\x80", "\xEF\xBF\xBD"}};
  for (const auto& [to, from, source, expected] : replaced) {
    EXPECT_EQ(convert(to, &out, 64, from, bytes(source)), static_cast<int32_t>(expected.size()));
    EXPECT_EQ(out, bytes(expected)) << to << " from " << from;
  }
  // No text converts to nothing; an unknown set fails.
  EXPECT_EQ(nlsConvert(env().ctx(), "AL32UTF8", nullptr, 0, "AL32UTF8", nullptr, 0), 0);
  EXPECT_EQ(convert("NO-SUCH-SET", &out, 8, "AL32UTF8", bytes("a")), -1);
}

TEST(OneCharacter, ValuesWithoutAForm) {
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
  // the set cannot hold them, nothing to convert (characters a set lacks are
  // the codec's, in test_catalogue).
  EXPECT_EQ(lxcsu2mAL32UTF8(nullptr, out, 0x1F600, 1, nullptr), 0u);
  EXPECT_EQ(lxcsu2mAL32UTF8(nullptr, out, 0xD800, 1, nullptr), 0u);
  EXPECT_EQ(lxcsu2mUTF8(nullptr, out, 0xDC00, 1, nullptr), 0u);
  EXPECT_EQ(lxcsu2mAL32UTF8(nullptr, out, 0x41, 0, nullptr), 0u);
  // UTF-16 holds every 16-bit code.
  ASSERT_EQ(lxcsu2mAL16UTF16(nullptr, out, 0xD800, 1, nullptr), 2u);
  EXPECT_EQ(Bytes(out, out + 2), bytes({0xD8, 0x00}));
}

TEST(Validity, Scanners) {
  // UTF8 takes a pair as two three-byte halves, never the four-byte form.
  // text, width, bytes left, expected
  // clang-format off
  const std::tuple<std::string, uint32_t, uint32_t, uint32_t> utf8[] = {
      {"A", 1, 1, 1}, {"\xC3\xA9", 2, 2, 2}, {"\xC0\x80", 2, 2, 0}, {"\xE6\x97\xA5", 3, 3, 3},
      {"\xE6\x97\x41", 3, 3, 0}, {"\xED\xA0\xBD\xED\xB8\x80", 6, 6, 6},
      {"\xED\xA0\xBD\xED\xB8\x80", 3, 6, 6}, {"\xED\xA0\xBD\x41\x41\x41", 3, 6, 0},
      {"\xED\xA0\xBD", 3, 3, 0}, {"\xED\xB8\x80", 3, 3, 0}, {"\xF0\x9F\x98\x80", 4, 4, 0},
      {"\xE6\x97\xA5", 3, 2, 0}, {"\x80", 1, 1, 0}};
  // clang-format on
  for (const auto& [text, width, left, expected] : utf8)
    EXPECT_EQ(lxcsVldUTF8(text.data(), width, left), expected) << testing::PrintToString(text);
  // text, width, expected
  const std::tuple<std::string, uint32_t, uint32_t> al32utf8[] = {
      {"\xC3\xA9", 2, 2},         {"\xF0\x9F\x98\x80", 4, 4}, {"\xED\xA0\xBD", 3, 0},
      {"\xF4\x90\x80\x80", 4, 0}, {"\xE0\x80\x80", 3, 0},     {"\xC3\xA9", 3, 0}};
  for (const auto& [text, width, expected] : al32utf8)
    EXPECT_EQ(lxcsVldAL32UTF8(text.data(), width), expected) << testing::PrintToString(text);
  const std::tuple<std::string, uint32_t, uint32_t> utf16[] = {
      {"\0A"s, 2, 2},      {"\xD8\x3D\xDE\x00"s, 4, 4}, {"\xD8\x3D\0A"s, 4, 0},
      {"\xDC\x00"s, 2, 0}, {"\xFF\xFD", 2, 2},          {"\0A\0"s, 3, 0}};
  for (const auto& [text, width, expected] : utf16)
    EXPECT_EQ(lxcsVldAL16UTF16(text.data(), width), expected) << testing::PrintToString(text);
}

TEST(Validity, Gb18030Widths) {
  const CharsetDefinition* gb = env().definition("GB18030");
  // A lead byte with less left than its width still reports the width: the
  // caller sees the shortfall.
  const std::tuple<const char*, uint32_t, uint32_t> cases[] = {
      {"A", 1, 1},        {"\x80", 1, 1}, {"\xFF\x30", 2, 1},
      {"\x81\x40", 2, 2}, {"\x81", 1, 2}, {"\x81\x30\x81\x30", 4, 4},
      {"\x81\x39", 2, 4}, {"A", 0, 0}};
  for (const auto& [text, left, expected] : cases) {
    EXPECT_EQ(lxcgbgwt2(gb, text, left) & 0xFFFF, expected);
    EXPECT_EQ(lxcgbgwt(gb, text, left, 0) & 0xFFFF, expected);
  }
}

TEST(Compose, ComposedFormsWithinTheBound) {
  std::string exclusions;  // each composes to two characters, twice its bytes
  for (int i = 0; i < 20; ++i) exclusions += "\u0958";
  // set, input, composed (empty: the input as it is), all as UTF-8.
  const std::tuple<const char*, std::string, std::string> cases[] = {
      {"AL32UTF8", "e\u0301", "\u00E9"},
      {"AL32UTF8", "\u00E9", "\u00E9"},
      {"AL32UTF8", "Cafe\u0301 e\u0301\u0323", "Caf\u00E9 \u1EB9\u0301"},
      {"AL32UTF8", "\u0958", "\u0915\u093C"},  // grows, still within 32 bytes
      {"AL32UTF8", exclusions, ""},            // would outgrow the input
      {"AL16UTF16", "e\u0301", "\u00E9"},
      {"UTF8", "e\u0301\U0001F600", "\u00E9\U0001F600"},
      {"GB18030", "e\u0301", "\u00E9"}};
  for (const auto& [set, utf8, composed] : cases) {
    SCOPED_TRACE(std::string(set) + " " + utf8);
    const Bytes input = env().encode(set, utf8);
    const Bytes expected = composed.empty() ? input : env().encode(set, composed);
    const size_t bound = std::max<size_t>(input.size(), 32);
    Bytes out(bound + 8, 0xEE);
    const uint32_t n =
        lxcsCompose(env().definition(set), out.data(), input.data(), size32(input), env().ctx());
    EXPECT_EQ(Bytes(out.begin(), out.begin() + n), expected);
    EXPECT_EQ(Bytes(out.begin() + bound, out.end()), Bytes(8, 0xEE));
  }
  // Malformed text is its own form.
  uint8_t out[32];
  EXPECT_EQ(lxcsCompose(env().definition("AL32UTF8"), out, "e\xCC", 2, env().ctx()), 2u);
  EXPECT_EQ(Bytes(out, out + 2), bytes({'e', 0xCC}));
}

// Every character of every set is in the round trip above; here what has no
// units, and a shift-out byte in front.
TEST(Unistr, OneCharacterToUnits) {
  const Bytes kanji = env().encode("IBM-930", "日");  // SO, two bytes, SI
  // clang-format off
  const std::tuple<const char*, Bytes, uint32_t, std::vector<uint16_t>> cases[] = {
      {"AL32UTF8", {0xF0, 0x9F, 0x98, 0x80}, 1, {}}, {"AL32UTF8", {0xFF}, 2, {}},
      {"SHIFT_JIS", {0x93}, 2, {}}, {"IBM-930", {0x0E}, 2, {}},
      {"IBM-930", Bytes(kanji.begin(), kanji.end() - 1), 2, {0x65E5}}};
  // clang-format on
  for (const auto& [set, character, maxUnits, expected] : cases) {
    uint16_t units[2] = {0xEEEE, 0xEEEE};
    const uint32_t n = lxgt2u(units, maxUnits, character.data(), env().definition(set),
                              size32(character), 0, env().ctx());
    EXPECT_EQ(std::vector<uint16_t>(units, units + n), expected) << set;
  }
}

TEST(Unistr, RunsIntoTheTarget) {
  // target, source, text, room, bytes written, characters converted, cut short.
  const std::tuple<const char*, const char*, const char*, uint32_t, uint32_t, uint32_t, bool>
      cases[] = {{"AL16UTF16", "ISO-8859-1", "café", 16, 8, 4, false},
                 {"AL16UTF16", "ISO-8859-1", "café", 5, 4, 2, true},
                 {"UTF8", "AL32UTF8", "a😀", 16, 7, 2, false},
                 {"UTF8", "AL32UTF8", "a😀", 6, 1, 1, true},
                 {"AL16UTF16", "IBM-930", "A日本", 16, 6, 3, false},
                 {"UTF8", "GB18030", "中\u0080", 6, 5, 2, false}};
  for (const auto& [target, source, utf8, room, written, chars, cut] : cases) {
    SCOPED_TRACE(std::string(source) + " -> " + target + " room " + std::to_string(room));
    const Bytes src = env().encode(source, utf8);
    Bytes out(room, 0xEE);
    env().ctx()->status = NLS_STATUS_OK;
    const uint32_t n = lxgcnv(out.data(), env().definition(target), room, src.data(),
                              env().definition(source), size32(src), env().ctx());
    EXPECT_EQ(n, written);
    EXPECT_EQ(env().ctx()->convertedChars, chars);
    EXPECT_EQ(env().ctx()->status, cut ? NLS_STATUS_TRUNCATED : NLS_STATUS_OK);
    const Bytes full = env().encode(target, utf8);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + n), Bytes(full.begin(), full.begin() + n));
  }
}

TEST(Unistr, UnitsToUtf8Forms) {
  // unit, count, room, expected (empty: overflow).
  // clang-format off
  const std::tuple<uint32_t, uint32_t, uint32_t, std::string> cases[] = {
      {0xE9, 1, 4, "\xC3\xA9"}, {0x20AC, 1, 3, "\xE2\x82\xAC"}, {0xD83D, 1, 3, "\xED\xA0\xBD"},
      {0x20AC, 1, 2, ""}, {0xD83DDE00, 2, 6, "\xED\xA0\xBD\xED\xB8\x80"}, {0xD83DDE00, 2, 5, ""}};
  // clang-format on
  for (const auto& [unit, count, room, expected] : cases) {
    char out[8];
    int32_t overflow = -1;
    const uint32_t n = lxgucs2utf(out, room, unit, count, &overflow);
    EXPECT_EQ(std::string(out, n), expected) << std::hex << unit;
    EXPECT_EQ(overflow != 0, expected.empty()) << std::hex << unit;
  }
}

TEST(ByteReplace, EveryOccurrenceWithinTheCapacity) {
  // source, search, replacement, capacity, expected, truncated.
  const std::tuple<std::string, std::string, std::string, uint32_t, std::string, bool> cases[] = {
      {"abcabc", "b", "XY", 64, "aXYcaXYc", false}, {"aaaa", "aa", "b", 64, "bb", false},
      {"aaa", "aa", "b", 64, "ba", false},          {"abab", "ab", "", 64, "", false},
      {"abc", "", "X", 64, "abc", false},           {"ab", "abc", "X", 64, "ab", false},
      {"xaxbx", "x", "--", 64, "--a--b--", false},  {"abcabc", "b", "XY", 5, "aXYca", true},
      {"abcabc", "b", "XY", 2, "aX", true},         {"abc", "z", "", 2, "ab", true},
      {"a\0b\0"s, "\0"s, "0", 64, "a0b0", false},   {"", "a", "b", 64, "", false}};
  const auto len = [](const std::string& s) { return static_cast<uint32_t>(s.size()); };
  for (const auto& [source, search, replacement, capacity, expected, truncated] : cases) {
    std::string out(capacity + 4, '#');
    int32_t cut = -1;
    const uint32_t n = lstcpyr(out.data(), capacity, source.data(), len(source), search.data(),
                               len(search), replacement.data(), len(replacement), &cut);
    EXPECT_EQ(out.substr(0, n), expected) << source << " / " << search;
    EXPECT_EQ(cut != 0, truncated) << source << " / " << search;
    EXPECT_EQ(out[capacity], '#');
  }
}

// Each set reads its digits with the table the escape reader picks for it.
TEST(DigitTables, AgreeWithTheDigitsOfEverySet) {
  const auto hexValue = [](uint8_t u) {
    static const char kDigits[] = "0123456789ABCDEF";
    const char* at = u ? std::strchr(kDigits, std::toupper(u)) : nullptr;
    return at ? static_cast<int>(at - kDigits) : 0xFF;
  };
  for (uint32_t i = 0; i < nlsCatalogueCount(); ++i) {
    const NlsCharsetInfo* info = nlsCatalogueEntry(i);
    const CharsetDefinition* def = env().definition(info->name);
    if (info->charsetId == CSID_AL16UTF16 || info->charsetId == CSID_AL16UTF16LE) continue;
    const uint8_t* table = (def->definitionFlags & CSD_ASCII) ? lxppCodeHexToIntASCIITbl
                           : def->charsetId == CSID_EBCDIC_SPECIAL_DIGITS
                               ? lxppCodeHexToIntEBCDICTblSpec
                               : lxppCodeHexToIntEBCDICTbl;
    for (uint32_t b = 0; b < 256; ++b) {
      Bytes out;
      const bool isChar =
          convert("AL32UTF8", &out, 8, info->name, Bytes{static_cast<uint8_t>(b)}) == 1;
      EXPECT_EQ(table[b], isChar ? hexValue(out[0]) : 0xFF) << info->name << " " << std::hex << b;
    }
  }
}

}  // namespace
