// The generated catalogue and the one-character codec against ICU: every
// round-trip character encodes to ICU's bytes and decodes back with the widths
// the lead-byte and page tables give; malformed bytes decode to nothing.
#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/uset.h>
#include <unicode/utf16.h>

#include <cstring>
#include <memory>
#include <string>

#include "nlscore/codec.h"
#include "nlscore/definition_private.h"
#include "support/nls_env.h"

namespace {

using lxktest::Bytes;
using nls::Decoded;
using nls::Encoding;
using nls::kNoCodePoint;

struct Expected {
  const char* name;
  int32_t id;
  const char* converter;  // ICU converter to compare with; null for UTFE
  Encoding encoding;
};

using enum Encoding;
// clang-format off
const Expected kCatalogue[] = {
    {"AL32UTF8", 873, "UTF-8", Utf8}, {"UTF8", 871, "CESU-8", Cesu8},
    {"UTFE", 872, nullptr, UtfEbcdic}, {"AL16UTF16", 2000, "UTF-16BE", Utf16Be},
    {"AL16UTF16LE", 2002, "UTF-16LE", Utf16Le}, {"GB18030", 854, "gb18030", Gb18030},
    {"US7ASCII", 1, "US-ASCII", SingleByte}, {"ISO-8859-1", 31, "ISO-8859-1", SingleByte},
    {"ISO-8859-2", 32, "ISO-8859-2", SingleByte}, {"ISO-8859-3", 33, "ISO-8859-3", SingleByte},
    {"ISO-8859-4", 34, "ISO-8859-4", SingleByte}, {"ISO-8859-5", 35, "ISO-8859-5", SingleByte},
    {"ISO-8859-6", 36, "ISO-8859-6", SingleByte}, {"ISO-8859-7", 37, "ISO-8859-7", SingleByte},
    {"ISO-8859-8", 38, "ISO-8859-8", SingleByte}, {"ISO-8859-9", 39, "ISO-8859-9", SingleByte},
    {"ISO-8859-10", 40, "ISO-8859-10", SingleByte}, {"ISO-8859-15", 46, "ISO-8859-15", SingleByte},
    {"ISO-8859-13", 47, "ISO-8859-13", SingleByte}, {"ISO-8859-14", 48, "ISO-8859-14", SingleByte},
    {"WINDOWS-1250", 170, "windows-1250", SingleByte},
    {"WINDOWS-1251", 171, "windows-1251", SingleByte},
    {"WINDOWS-1253", 174, "windows-1253", SingleByte},
    {"WINDOWS-1255", 175, "windows-1255", SingleByte},
    {"WINDOWS-1256", 177, "windows-1256", SingleByte},
    {"WINDOWS-1252", 178, "windows-1252", SingleByte},
    {"WINDOWS-1257", 179, "windows-1257", SingleByte},
    {"WINDOWS-1258", 45, "windows-1258", SingleByte}, {"IBM-1047", 3001, "ibm-1047", SingleByte},
    {"SHIFT_JIS", 3010, "ibm-943_P15A-2003", LeadByte}, {"EUC-JP", 3011, "euc-jp-2007", LeadByte},
    {"GBK", 3012, "GBK", LeadByte}, {"BIG5-HKSCS", 3013, "Big5-HKSCS", LeadByte},
    {"EUC-KR", 3014, "ibm-970_P110_P110-2006_U2", LeadByte},
    {"EUC-TW", 3015, "euc-tw-2014", LeadByte}, {"IBM-930", 835, "ibm-930", ShiftDbcs},
    {"IBM-939", 3020, "ibm-939", ShiftDbcs},
};
// clang-format on

const CharsetDefinition* definitionOf(const char* name) { return lxktest::env().definition(name); }

const NlsCharsetInfo* infoOf(const char* name) {
  for (uint32_t i = 0; i < nlsCatalogueCount(); ++i)
    if (std::strcmp(nlsCatalogueEntry(i)->name, name) == 0) return nlsCatalogueEntry(i);
  return nullptr;
}

using Converter = std::unique_ptr<UConverter, decltype(&ucnv_close)>;

Converter openConverter(const char* name) {
  UErrorCode err = U_ZERO_ERROR;
  Converter c(ucnv_open(name, &err), &ucnv_close);
  EXPECT_TRUE(U_SUCCESS(err)) << name;
  return c;
}

// ICU's bytes for one code point, shift bytes taken off.
Bytes icuBytes(UConverter* cnv, UChar32 c, bool* doubleByte) {
  UChar u[2];
  int32_t n = 0;
  U16_APPEND_UNSAFE(u, n, c);
  char buf[16];
  UErrorCode err = U_ZERO_ERROR;
  ucnv_resetFromUnicode(cnv);
  const int32_t len = ucnv_fromUChars(cnv, buf, sizeof buf, u, n, &err);
  if (U_FAILURE(err)) return {};
  Bytes b(buf, buf + len);
  *doubleByte = ucnv_getType(cnv) == UCNV_EBCDIC_STATEFUL && !b.empty() && b[0] == 0x0E;
  if (*doubleByte) {
    b.erase(b.begin());
    if (!b.empty() && b.back() == 0x0F) b.pop_back();
  }
  return b;
}

// The width a frame-style reader gets from the lead-byte table (and the
// four-byte rule for GB18030); 0 where the table does not decide.
uint32_t tableWidth(const CharsetDefinition* def, const Bytes& b, bool doubleByte) {
  const uint32_t w = (def->baseLeadByteTable[b[0]] & 3u) + 1u;
  switch (nls::encodingOf(def)) {
    case Encoding::ShiftDbcs:
      return doubleByte ? def->maxBytesPerChar : 1;
    case Encoding::Gb18030:
      return (w > 1 && b.size() > 1 && b[1] >= 0x30 && b[1] <= 0x39) ? 4 : w;
    case Encoding::Cesu8:
    case Encoding::UtfEbcdic:
    case Encoding::Utf16Le:
      return 0;  // pairs of sequences, or a little-endian unit
    default:
      return w;
  }
}

std::string hex(const Bytes& b) { return ::testing::PrintToString(b); }

class CatalogueSet : public ::testing::TestWithParam<Expected> {};

// The entry, the definition header and the class bits agree with the set's
// encoding (look-ups by name and id are in test_env).
TEST_P(CatalogueSet, EntryDefinitionAndClassBitsAgree) {
  const Expected& e = GetParam();
  const CharsetDefinition* def = definitionOf(e.name);
  const NlsCharsetInfo* info = infoOf(e.name);
  ASSERT_NE(def, nullptr);
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(def->charsetId, e.id);
  EXPECT_EQ(info->charsetId, e.id);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(def) % 8, 0u);
  const nls::DefinitionHeader& h = nls::header(def);
  EXPECT_EQ(h.magic, nls::kDefinitionMagic);
  EXPECT_STREQ(h.name, e.name);
  EXPECT_EQ(h.totalSize % 8, 0u);
  EXPECT_GT(h.totalSize, static_cast<uint32_t>(CSDEF_VARIABLE_AREA_OFFSET));
  EXPECT_EQ(nls::encodingOf(def), e.encoding);
  EXPECT_EQ(info->handleFlags, h.handleFlags);
  EXPECT_EQ(info->definitionFlags, def->definitionFlags);
  EXPECT_EQ(info->maxBytesPerChar, def->maxBytesPerChar);
  EXPECT_EQ(info->conversionOnly != 0, e.encoding == Encoding::Utf16Le);

  const uint32_t hf = h.handleFlags, df = def->definitionFlags;
  const bool single = e.encoding == Encoding::SingleByte;
  const bool shifted = e.encoding == Encoding::ShiftDbcs;
  EXPECT_EQ((hf & CSH_SINGLE_BYTE) != 0, single);
  EXPECT_EQ((hf & CSH_SIMPLE_CASE) != 0, single);
  EXPECT_EQ((hf & CSH_SHIFT_SENSITIVE) != 0, shifted);
  EXPECT_EQ((df & CSD_SHIFT_SENSITIVE) != 0, shifted);
  EXPECT_EQ((hf & CSH_GB18030) != 0, e.encoding == Encoding::Gb18030);
  EXPECT_EQ((hf & CSH_UTF16) != 0,
            e.encoding == Encoding::Utf16Be || e.encoding == Encoding::Utf16Le);
  EXPECT_EQ((hf & CSH_LEAD_BYTE_WIDTH) != 0,
            e.encoding != Encoding::Gb18030 && !shifted && e.encoding != Encoding::Utf16Le);
  EXPECT_EQ((df & CSD_UTF8) != 0, e.encoding == Encoding::Utf8);
  EXPECT_EQ((df & CSD_UTF8_VARIANT) != 0, e.encoding == Encoding::Cesu8);
  if (shifted) {
    EXPECT_EQ(def->shiftOutCode, 0x0E);
    EXPECT_EQ(def->shiftInCode, 0x0F);
    EXPECT_EQ(def->maxBytesPerChar, 2);
  }
  if (shifted || e.encoding == Encoding::Utf16Be) {
    EXPECT_EQ(h.handleMaxCharWidth, 2);
  }
  if (e.encoding == Encoding::Utf16Be) {
    EXPECT_TRUE(df & CSD_BLANK_CODE);
    EXPECT_EQ(def->blankCode, 0x0020u);
  }
  // The blank is 0x40 exactly in the EBCDIC sets; ASCII compatibility as the
  // decoder sees it.
  uint8_t blank[8];
  const bool ebcdic = nls::encodeChar(def, 0x20, blank, nullptr) == 1 && blank[0] == 0x40;
  EXPECT_EQ((df & CSD_EBCDIC_BLANK) != 0, ebcdic);
  EXPECT_EQ(h.ebcdic != 0, ebcdic);
  bool ascii = true;
  for (uint8_t b = 0; b < 0x80; ++b) {
    const Decoded d = nls::decodeChar(def, &b, 1, false);
    ascii &= d.width == 1 && d.codePoint == b;
  }
  EXPECT_EQ((df & CSD_ASCII_COMPATIBLE) != 0, ascii);
}

// The whole round-trip set of the ICU converter: our bytes (through the
// from-Unicode page tables, which only the codec reads), our decoding and the
// lead-byte widths all agree with ICU.
TEST_P(CatalogueSet, MatchesIcu) {
  const Expected& e = GetParam();
  if (e.converter == nullptr) GTEST_SKIP() << "no ICU converter";
  const CharsetDefinition* def = definitionOf(e.name);
  ASSERT_NE(def, nullptr);
  Converter cnv = openConverter(e.converter);
  UErrorCode err = U_ZERO_ERROR;
  std::unique_ptr<USet, decltype(&uset_close)> set(uset_openEmpty(), &uset_close);
  ucnv_getUnicodeSet(cnv.get(), set.get(), UCNV_ROUNDTRIP_SET, &err);
  ASSERT_TRUE(U_SUCCESS(err));
  const bool pageTables = e.encoding == Encoding::LeadByte || e.encoding == Encoding::ShiftDbcs ||
                          e.encoding == Encoding::Gb18030;
  uint32_t checked = 0, failures = 0;
  for (int32_t i = 0; i < uset_getItemCount(set.get()) && failures < 10; ++i) {
    UChar32 lo, hi;
    UErrorCode itemErr = U_ZERO_ERROR;
    if (uset_getItem(set.get(), i, &lo, &hi, nullptr, 0, &itemErr) != 0) continue;
    for (UChar32 c = lo; c <= hi && failures < 10; ++c) {
      bool icuDouble = false;
      const Bytes want = U_IS_SURROGATE(c) ? Bytes() : icuBytes(cnv.get(), c, &icuDouble);
      if (want.empty()) continue;
      ++checked;
      uint8_t out[8] = {};
      bool doubleByte = false;
      const uint32_t n = nls::encodeChar(def, static_cast<uint32_t>(c), out, &doubleByte);
      const Bytes got(out, out + n);
      const Decoded d =
          nls::decodeChar(def, want.data(), static_cast<uint32_t>(want.size()), icuDouble);
      const uint32_t tw = tableWidth(def, want, icuDouble);
      if (got != want || doubleByte != icuDouble || d.codePoint != static_cast<uint32_t>(c) ||
          d.width != want.size() || (tw != 0 && tw != want.size())) {
        ++failures;
        ADD_FAILURE() << e.name << " U+" << std::hex << c << ": ICU " << hex(want) << " ours "
                      << hex(got) << " decoded U+" << d.codePoint << std::dec << " width "
                      << d.width << " table width " << tw;
      }
    }
  }
  EXPECT_GT(checked, 0u);

  // Every two-byte sequence decodes as ICU decodes it, one-way mappings
  // included, and to nothing where ICU finds no character.
  const bool shifted = e.encoding == Encoding::ShiftDbcs;
  if (!pageTables) return;
  err = U_ZERO_ERROR;
  ucnv_setToUCallBack(cnv.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &err);
  failures = 0;
  for (uint32_t lead = 0; lead < 256 && failures < 10; ++lead) {
    if (!shifted && (def->baseLeadByteTable[lead] & 3) != 1) continue;
    for (uint32_t t = 0; t < 256 && failures < 10; ++t) {
      if (e.encoding == Encoding::Gb18030 && t >= 0x30 && t <= 0x39) continue;
      // Shift bytes inside a run are not character bytes to ICU.
      if (shifted && (lead == 0x0E || lead == 0x0F || t == 0x0E || t == 0x0F)) continue;
      const char in[3] = {0x0E, static_cast<char>(lead), static_cast<char>(t)};
      UChar out[4];
      err = U_ZERO_ERROR;
      ucnv_reset(cnv.get());
      const int32_t units =
          ucnv_toUChars(cnv.get(), out, 4, shifted ? in : in + 1, shifted ? 3 : 2, &err);
      uint32_t want = kNoCodePoint;
      if (U_SUCCESS(err) && units > 0) {
        UChar32 c;
        int32_t i = 0;
        U16_NEXT(out, i, units, c);
        if (i == units) want = static_cast<uint32_t>(c);
      }
      const uint8_t seq[2] = {static_cast<uint8_t>(lead), static_cast<uint8_t>(t)};
      const Decoded d = nls::decodeChar(def, seq, 2, shifted);
      if (d.codePoint != want || d.width != 2) {
        ++failures;
        ADD_FAILURE() << e.name << " " << hex(Bytes(seq, seq + 2)) << ": ICU U+" << std::hex << want
                      << " ours U+" << d.codePoint << std::dec << " width " << d.width;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Catalogue, CatalogueSet, ::testing::ValuesIn(kCatalogue),
                         [](const ::testing::TestParamInfo<Expected>& info) {
                           std::string name = info.param.name;
                           for (char& c : name)
                             if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                           return name;
                         });

// Exactly the sets above, the listing and the context's table ending with
// null (test_env checks that the two agree entry by entry).
TEST(Catalogue, ListsExactlyTheSetsAndEndsWithNull) {
  const uint32_t count = nlsCatalogueCount();
  EXPECT_EQ(count, std::size(kCatalogue));
  EXPECT_EQ(nlsCatalogueEntry(count), nullptr);
  const NlsDefinitionTable* table = lxktest::env().ctx()->definitions;
  ASSERT_EQ(table->count, count);
  EXPECT_EQ(table->definitions[count], nullptr);
  EXPECT_EQ(definitionOf("no-such-set"), nullptr);
  EXPECT_EQ(definitionOf("sjis"), definitionOf("SHIFT_JIS"));  // an alias
}

// UTFE has no ICU converter: its permutation keeps the 1047 positions of the
// C0, ASCII and C1 characters, and every scalar value round-trips.
TEST(UtfEbcdic, KnownBytesAndEveryScalarRoundTrips) {
  const CharsetDefinition* def = definitionOf("UTFE");
  ASSERT_NE(def, nullptr);
  const std::pair<uint32_t, Bytes> cases[] = {
      {0x41, {0xC1}}, {0x20, {0x40}}, {0x0A, {0x25}}, {0x85, {0x15}}, {0xA0, {0x80, 0x41}},
  };
  for (const auto& [code, bytes] : cases) {
    uint8_t out[8];
    EXPECT_EQ(Bytes(out, out + nls::encodeChar(def, code, out, nullptr)), bytes) << code;
  }
  uint32_t failures = 0;
  for (uint32_t c = 0; c <= 0x10FFFF && failures < 10; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    uint8_t out[8];
    const uint32_t n = nls::encodeChar(def, c, out, nullptr);
    const uint32_t expectWidth = c < 0xA0      ? 1
                                 : c < 0x400   ? 2
                                 : c < 0x4000  ? 3
                                 : c < 0x40000 ? 4
                                               : 8;
    const Decoded d = nls::decodeChar(def, out, n, false);
    const uint32_t leadWidth = (def->baseLeadByteTable[out[0]] & 3u) + 1u;
    if (n != expectWidth || d.codePoint != c || d.width != n || leadWidth != (n == 8 ? 4 : n)) {
      ++failures;
      ADD_FAILURE() << "U+" << std::hex << c << " width " << n << " decoded " << d.codePoint;
    }
  }
}

// Each decodes to no character with the structural width a reader steps by;
// shift-sensitive sets read the bytes as inside a run.
TEST(Codec, MalformedAndTruncatedDecodeToNothing) {
  const struct {
    const char* set;
    Bytes bytes;
    uint32_t width;
  } cases[] = {
      // clang-format off
      // AL32UTF8: stray trailing byte, overlong lead, overlong three-byte,
      // surrogate, above U+10FFFF, truncated, bad trailing byte.
      {"AL32UTF8", {0x80}, 1}, {"AL32UTF8", {0xC0, 0xAF}, 1}, {"AL32UTF8", {0xE0, 0x80, 0xAF}, 3},
      {"AL32UTF8", {0xED, 0xA0, 0x80}, 3}, {"AL32UTF8", {0xF4, 0x90, 0x80, 0x80}, 4},
      {"AL32UTF8", {0xE4, 0xB8}, 3}, {"AL32UTF8", {0xE4, 0x41, 0x41}, 3},
      // UTF8: the four-byte form, a lone high surrogate.
      {"UTF8", {0xF0, 0x9F, 0x98, 0x80}, 1}, {"UTF8", {0xED, 0xA0, 0xBD}, 3},
      // UTF-16: half a unit, truncated pair, high or low surrogate alone.
      {"AL16UTF16", {0x00}, 2}, {"AL16UTF16", {0xD8, 0x3D, 0x00}, 4},
      {"AL16UTF16", {0xD8, 0x3D, 0x00, 0x41}, 4}, {"AL16UTF16", {0xDE, 0x00}, 2},
      {"AL16UTF16LE", {0x3D, 0xD8, 0x41, 0x00}, 4},
      // GB18030: truncated two- and four-byte, bad third byte, 0xFF, above U+10FFFF.
      {"GB18030", {0x81}, 2}, {"GB18030", {0x81, 0x30}, 4},
      {"GB18030", {0x81, 0x30, 0x20, 0x30}, 4},
      {"GB18030", {0xFF}, 1}, {"GB18030", {0xE3, 0x32, 0x9A, 0x36}, 4},
      // Truncated (bad two-byte sequences are in the sweep above), half a
      // double-byte character, a byte the set lacks.
      {"SHIFT_JIS", {0x82}, 2}, {"EUC-JP", {0x8F, 0xB0}, 3}, {"EUC-TW", {0x8E, 0xA2, 0xA1}, 4},
      {"IBM-930", {0x42}, 2}, {"US7ASCII", {0x80}, 1}, {"UTFE", {0xB9, 0x42}, 3},
      // clang-format on
  };
  for (const auto& m : cases) {
    const CharsetDefinition* def = definitionOf(m.set);
    ASSERT_NE(def, nullptr) << m.set;
    const Decoded d = nls::decodeChar(def, m.bytes.data(), static_cast<uint32_t>(m.bytes.size()),
                                      def->definitionFlags & CSD_SHIFT_SENSITIVE);
    EXPECT_EQ(d.codePoint, kNoCodePoint) << m.set << " " << hex(m.bytes);
    EXPECT_EQ(d.width, m.width) << m.set << " " << hex(m.bytes);
  }
}

TEST(Codec, UnmappedAndInvalidCodesEncodeToNothing) {
  const std::pair<const char*, uint32_t> cases[] = {
      {"US7ASCII", 0xE9},   {"ISO-8859-1", 0x20AC},  {"ISO-8859-1", 0x1F600},
      {"SHIFT_JIS", 0xE9},  {"EUC-KR", 0x1F600},     {"IBM-930", 0x1F600},
      {"AL32UTF8", 0xD800}, {"AL16UTF16", 0x110000}, {"GB18030", 0xDFFF},
  };
  for (const auto& [set, code] : cases) {
    uint8_t out[8];
    EXPECT_EQ(nls::encodeChar(definitionOf(set), code, out, nullptr), 0u) << set << " " << code;
  }
}

// The four-byte ranges: sorted, disjoint, and the codes at their edges encode
// to the linear index the table gives.
TEST(Gb18030, FourByteRangesMatchTheEncoder) {
  const CharsetDefinition* def = definitionOf("GB18030");
  ASSERT_NE(def, nullptr);
  uint32_t previousLast = 0;
  for (const auto& r : lxcgbMaping) {
    ASSERT_LE(r[0], r[1]);
    EXPECT_TRUE(&r == &lxcgbMaping[0] || r[0] > previousLast) << std::hex << r[0];
    previousLast = r[1];
    const uint32_t linear = static_cast<uint32_t>(r[2]) << 16 | r[3];
    for (uint32_t code : {static_cast<uint32_t>(r[0]), static_cast<uint32_t>(r[1])}) {
      uint8_t out[8];
      ASSERT_EQ(nls::encodeChar(def, code, out, nullptr), 4u) << std::hex << code;
      const uint32_t got =
          (((out[0] - 0x81u) * 10u + (out[1] - 0x30u)) * 126u + (out[2] - 0x81u)) * 10u +
          (out[3] - 0x30u);
      EXPECT_EQ(got, linear + (code - r[0])) << std::hex << code;
    }
  }
}

}  // namespace
