// Writes the character-set catalogue: one position-free definition blob per
// set, read off ICU's converters (round-trip mappings only), concatenated
// into catalogue.bin, and catalogue_index.inc with the entries and the
// GB18030 four-byte ranges.  Run at build time: lxk_gencatalogue OUTDIR.
#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>
#include <unicode/uset.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "frame/unit_rules.h"
#include "lxk/nls.h"
#include "nlscore/definition_private.h"

namespace {

using nls::Encoding;
using nls::PrivateTable;

struct CatalogueSet {
  const char* name;
  const char* aliases;
  int id;
  const char* icuName;  // null for the sets written by hand (UTF forms)
  Encoding encoding;
  bool ebcdic;
  const char* description;
};

const CatalogueSet kSets[] = {
    {"AL32UTF8", "UTF-8,UTF8MB4", 873, nullptr, Encoding::Utf8, false, "Unicode, UTF-8"},
    {"UTF8", "CESU-8,CESU8", 871, nullptr, Encoding::Cesu8, false,
     "Unicode, CESU-8 (supplementary characters as two three-byte surrogates)"},
    {"UTFE", "UTF-EBCDIC", 872, nullptr, Encoding::UtfEbcdic, true, "Unicode, UTF-EBCDIC"},
    {"AL16UTF16", "UTF-16BE,UTF16", 2000, nullptr, Encoding::Utf16Be, false,
     "Unicode, UTF-16 big-endian"},
    {"AL16UTF16LE", "UTF-16LE", 2002, nullptr, Encoding::Utf16Le, false,
     "Unicode, UTF-16 little-endian (conversion only)"},
    {"GB18030", "GB-18030", 854, "gb18030", Encoding::Gb18030, false, "Chinese, GB18030"},
    {"US7ASCII", "ASCII,US-ASCII", 1, "US-ASCII", Encoding::SingleByte, false, "ASCII"},
    {"ISO-8859-1", "ISO8859-1,LATIN1", 31, "ISO-8859-1", Encoding::SingleByte, false,
     "Western European, ISO 8859-1"},
    {"ISO-8859-2", "LATIN2", 32, "ISO-8859-2", Encoding::SingleByte, false,
     "Central European, ISO 8859-2"},
    {"ISO-8859-3", "LATIN3", 33, "ISO-8859-3", Encoding::SingleByte, false,
     "South European, ISO 8859-3"},
    {"ISO-8859-4", "LATIN4", 34, "ISO-8859-4", Encoding::SingleByte, false,
     "North European, ISO 8859-4"},
    {"ISO-8859-5", "", 35, "ISO-8859-5", Encoding::SingleByte, false, "Cyrillic, ISO 8859-5"},
    {"ISO-8859-6", "", 36, "ISO-8859-6", Encoding::SingleByte, false, "Arabic, ISO 8859-6"},
    {"ISO-8859-7", "", 37, "ISO-8859-7", Encoding::SingleByte, false, "Greek, ISO 8859-7"},
    {"ISO-8859-8", "", 38, "ISO-8859-8", Encoding::SingleByte, false, "Hebrew, ISO 8859-8"},
    {"ISO-8859-9", "LATIN5", 39, "ISO-8859-9", Encoding::SingleByte, false, "Turkish, ISO 8859-9"},
    {"ISO-8859-10", "LATIN6", 40, "ISO-8859-10", Encoding::SingleByte, false,
     "Nordic, ISO 8859-10"},
    {"ISO-8859-15", "LATIN9", 46, "ISO-8859-15", Encoding::SingleByte, false,
     "Western European with euro, ISO 8859-15"},
    {"ISO-8859-13", "LATIN7", 47, "ISO-8859-13", Encoding::SingleByte, false,
     "Baltic, ISO 8859-13"},
    {"ISO-8859-14", "LATIN8", 48, "ISO-8859-14", Encoding::SingleByte, false,
     "Celtic, ISO 8859-14"},
    {"WINDOWS-1250", "CP1250", 170, "windows-1250", Encoding::SingleByte, false,
     "Central European, Windows code page 1250"},
    {"WINDOWS-1251", "CP1251", 171, "windows-1251", Encoding::SingleByte, false,
     "Cyrillic, Windows code page 1251"},
    {"WINDOWS-1253", "CP1253", 174, "windows-1253", Encoding::SingleByte, false,
     "Greek, Windows code page 1253"},
    {"WINDOWS-1255", "CP1255", 175, "windows-1255", Encoding::SingleByte, false,
     "Hebrew, Windows code page 1255"},
    {"WINDOWS-1256", "CP1256", 177, "windows-1256", Encoding::SingleByte, false,
     "Arabic, Windows code page 1256"},
    {"WINDOWS-1252", "CP1252", 178, "windows-1252", Encoding::SingleByte, false,
     "Western European, Windows code page 1252"},
    {"WINDOWS-1257", "CP1257", 179, "windows-1257", Encoding::SingleByte, false,
     "Baltic, Windows code page 1257"},
    {"WINDOWS-1258", "CP1258", 45, "windows-1258", Encoding::SingleByte, false,
     "Vietnamese, Windows code page 1258"},
    {"IBM-1047", "CP1047,EBCDIC-LATIN1", 3001, "ibm-1047", Encoding::SingleByte, true,
     "EBCDIC Latin 1, code page 1047"},
    {"SHIFT_JIS", "SJIS,SHIFT-JIS", 3010, "ibm-943_P15A-2003", Encoding::LeadByte, false,
     "Japanese, Shift_JIS"},
    {"EUC-JP", "EUCJP", 3011, "euc-jp-2007", Encoding::LeadByte, false,
     "Japanese, EUC-JP (with JIS X 0212 three-byte characters)"},
    {"GBK", "CP936", 3012, "GBK", Encoding::LeadByte, false, "Simplified Chinese, GBK"},
    {"BIG5-HKSCS", "BIG5HKSCS", 3013, "Big5-HKSCS", Encoding::LeadByte, false,
     "Traditional Chinese, Big5 with HKSCS"},
    {"EUC-KR", "EUCKR", 3014, "ibm-970_P110_P110-2006_U2", Encoding::LeadByte, false,
     "Korean, EUC-KR"},
    {"EUC-TW", "EUCTW", 3015, "euc-tw-2014", Encoding::LeadByte, false,
     "Traditional Chinese, EUC-TW (with four-byte CNS planes)"},
    {"IBM-930", "CP930", 835, "ibm-930", Encoding::ShiftDbcs, true,
     "Japanese EBCDIC (katakana) with shifted double-byte runs"},
    {"IBM-939", "CP939", 3020, "ibm-939", Encoding::ShiftDbcs, true,
     "Japanese EBCDIC (Latin) with shifted double-byte runs"},
};

void fail(const std::string& what) {
  std::fprintf(stderr, "gencatalogue: %s\n", what.c_str());
  std::exit(1);
}

// ---- Blob building -------------------------------------------------------

class Blob {
 public:
  // The storage never moves, so references to the fixed part stay valid
  // while tables are appended.
  static constexpr size_t kMaxDefinitionSize = 8u << 20;
  Blob() {
    bytes_.reserve(kMaxDefinitionSize);
    bytes_.assign(CSDEF_VARIABLE_AREA_OFFSET, 0);
  }
  CharsetDefinition& def() { return *reinterpret_cast<CharsetDefinition*>(bytes_.data()); }
  nls::DefinitionHeader& header() {
    return *reinterpret_cast<nls::DefinitionHeader*>(bytes_.data());
  }
  uint32_t size() const { return static_cast<uint32_t>(bytes_.size()); }
  // Appends aligned data; returns its offset from the definition start.
  uint32_t append(const void* data, size_t n, size_t align = 8) {
    if (bytes_.size() + n + align > kMaxDefinitionSize) fail("definition too large");
    while (bytes_.size() % align) bytes_.push_back(0);
    uint32_t at = size();
    const uint8_t* p = static_cast<const uint8_t*>(data);
    bytes_.insert(bytes_.end(), p, p + n);
    return at;
  }
  uint8_t* at(uint32_t offset) { return bytes_.data() + offset; }
  const std::vector<uint8_t>& bytes() const { return bytes_; }
  void padTo8() {
    if (bytes_.size() + 8 > kMaxDefinitionSize) fail("definition too large");
    while (bytes_.size() % 8) bytes_.push_back(0);
  }

 private:
  std::vector<uint8_t> bytes_;
};

struct Mapping {
  uint32_t codePoint;
  std::vector<uint8_t> bytes;  // without shift bytes
  bool doubleByte;             // shift-sensitive sets: inside a shifted run
};

// The round-trip mappings of an ICU converter.
std::vector<Mapping> roundTripMappings(const CatalogueSet& set, UConverter* cnv) {
  UErrorCode err = U_ZERO_ERROR;
  USet* roundTrip = uset_openEmpty();
  ucnv_getUnicodeSet(cnv, roundTrip, UCNV_ROUNDTRIP_SET, &err);
  if (U_FAILURE(err)) fail(std::string("unicode set of ") + set.name);
  std::vector<Mapping> out;
  const int32_t ranges = uset_getItemCount(roundTrip);
  for (int32_t r = 0; r < ranges; ++r) {
    UChar32 lo, hi;
    err = U_ZERO_ERROR;
    if (uset_getItem(roundTrip, r, &lo, &hi, nullptr, 0, &err) != 0) continue;  // strings
    for (UChar32 c = lo; c <= hi; ++c) {
      UChar u[2];
      int32_t n = 0;
      U16_APPEND_UNSAFE(u, n, c);
      char buf[16];
      err = U_ZERO_ERROR;
      ucnv_reset(cnv);
      int32_t len = ucnv_fromUChars(cnv, buf, sizeof buf, u, n, &err);
      if (U_FAILURE(err) || len <= 0) continue;
      Mapping m{static_cast<uint32_t>(c), {}, false};
      int32_t from = 0, to = len;
      if (set.encoding == Encoding::ShiftDbcs) {
        if (static_cast<uint8_t>(buf[0]) == 0x0E) {
          m.doubleByte = true;
          from = 1;
          if (to > from && static_cast<uint8_t>(buf[to - 1]) == 0x0F) --to;
        }
      }
      m.bytes.assign(buf + from, buf + to);
      if (m.bytes.empty() || m.bytes.size() > 4) continue;
      out.push_back(std::move(m));
    }
  }
  uset_close(roundTrip);
  return out;
}

// Width of the byte sequence ICU sees at a lead byte without any mapping:
// the length of the sequence its to-Unicode callback is handed.
struct ProbeState {
  int32_t length = 0;
};

void probeCallback(const void* context, UConverterToUnicodeArgs*, const char*, int32_t length,
                   UConverterCallbackReason reason, UErrorCode* err) {
  auto* state = const_cast<ProbeState*>(static_cast<const ProbeState*>(context));
  if (reason <= UCNV_IRREGULAR && state->length == 0) state->length = length;
  *err = U_ZERO_ERROR;
}

uint32_t probeWidth(UConverter* cnv, uint8_t lead) {
  ProbeState state;
  UErrorCode err = U_ZERO_ERROR;
  ucnv_setToUCallBack(cnv, probeCallback, &state, nullptr, nullptr, &err);
  const char in[4] = {static_cast<char>(lead), static_cast<char>(0xA1), static_cast<char>(0xA1),
                      static_cast<char>(0xA1)};
  UChar out[8];
  ucnv_reset(cnv);
  err = U_ZERO_ERROR;
  ucnv_toUChars(cnv, out, 8, in, 4, &err);
  ucnv_setToUCallBack(cnv, UCNV_TO_U_CALLBACK_SUBSTITUTE, nullptr, nullptr, nullptr, &err);
  return state.length >= 1 && state.length <= 4 ? static_cast<uint32_t>(state.length) : 1u;
}

// The one-byte substitute that ICU writes for a Latin-1 character the set
// lacks, when the set has one besides its multibyte substitute; 0 otherwise.
uint8_t oneByteSubstitute(UConverter* cnv, const std::vector<Mapping>& maps) {
  std::vector<bool> mapped(0x100, false);
  for (const Mapping& m : maps)
    if (m.codePoint < 0x100) mapped[m.codePoint] = true;
  UChar32 missing = -1;
  for (UChar32 c = 0x80; c < 0x100 && missing < 0; ++c)
    if (!mapped[c]) missing = c;
  if (missing < 0) return 0;
  UErrorCode err = U_ZERO_ERROR;
  ucnv_setFromUCallBack(cnv, UCNV_FROM_U_CALLBACK_SUBSTITUTE, nullptr, nullptr, nullptr, &err);
  ucnv_reset(cnv);
  const UChar u = static_cast<UChar>(missing);
  char out[8];
  const int32_t n = ucnv_fromUChars(cnv, out, sizeof out, &u, 1, &err);
  ucnv_reset(cnv);
  return U_SUCCESS(err) && n == 1 ? static_cast<uint8_t>(out[0]) : 0;
}

// The code point ICU decodes from exactly these bytes (shifted: inside a
// double-byte run), or -1.
UChar32 decodeOne(UConverter* cnv, const uint8_t* bytes, int32_t n, bool shifted) {
  char in[8];
  int32_t length = 0;
  if (shifted) in[length++] = 0x0E;
  for (int32_t i = 0; i < n; ++i) in[length++] = static_cast<char>(bytes[i]);
  UChar out[4];
  UErrorCode err = U_ZERO_ERROR;
  ucnv_reset(cnv);
  const int32_t units = ucnv_toUChars(cnv, out, 4, in, length, &err);
  if (U_FAILURE(err) || units == 0) return -1;
  UChar32 c;
  int32_t i = 0;
  U16_NEXT(out, i, units, c);
  return i == units ? c : -1;
}

// Multibyte sequences that ICU decodes, by the widths of the lead-byte table
// (EUC-style trailing bytes 0xA1-0xFE for three- and four-byte sequences).
std::vector<std::pair<std::vector<uint8_t>, uint32_t>> oneWaySequences(UConverter* cnv,
                                                                       const uint16_t* leadTable,
                                                                       Encoding encoding) {
  std::vector<std::pair<std::vector<uint8_t>, uint32_t>> found;
  if (encoding == Encoding::SingleByte) return found;
  UErrorCode err = U_ZERO_ERROR;
  ucnv_setToUCallBack(cnv, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &err);
  const bool shifted = encoding == Encoding::ShiftDbcs;
  for (uint32_t lead = 0; lead < 256; ++lead) {
    const uint32_t width = shifted ? 2 : lxk::leadWidth(leadTable, static_cast<uint8_t>(lead));
    if (width == 1 || (shifted && (lead < 0x40 || lead == 0xFF))) continue;
    if (width == 2) {
      for (uint32_t t = 0; t < 256; ++t) {
        // A digit there makes a four-byte character: not a two-byte sequence.
        if (encoding == Encoding::Gb18030 && lxk::isGb18030FourByteSecond(static_cast<uint8_t>(t)))
          continue;
        const uint8_t seq[2] = {static_cast<uint8_t>(lead), static_cast<uint8_t>(t)};
        const UChar32 c = decodeOne(cnv, seq, 2, shifted);
        if (c >= 0) found.push_back({{seq, seq + 2}, static_cast<uint32_t>(c)});
      }
      continue;
    }
    // Three- and four-byte sequences (0x8F .. .. in EUC-JP, 0x8E .. .. .. in
    // EUC-TW): trailing bytes 0xA1-0xFE.
    for (uint32_t second = 0xA1; second <= 0xFE; ++second) {
      for (uint32_t third = 0xA1; third <= 0xFE; ++third) {
        if (width == 3) {
          const uint8_t seq[3] = {static_cast<uint8_t>(lead), static_cast<uint8_t>(second),
                                  static_cast<uint8_t>(third)};
          const UChar32 c = decodeOne(cnv, seq, 3, false);
          if (c >= 0) found.push_back({{seq, seq + 3}, static_cast<uint32_t>(c)});
          continue;
        }
        for (uint32_t fourth = 0xA1; fourth <= 0xFE; ++fourth) {
          const uint8_t seq[4] = {static_cast<uint8_t>(lead), static_cast<uint8_t>(second),
                                  static_cast<uint8_t>(third), static_cast<uint8_t>(fourth)};
          const UChar32 c = decodeOne(cnv, seq, 4, false);
          if (c >= 0) found.push_back({{seq, seq + 4}, static_cast<uint32_t>(c)});
        }
      }
    }
  }
  return found;
}

// ---- From-Unicode page tables ----------------------------------------------

// Builds a page table for the mappings of one plane (codes & 0xFFFF) with
// entries of n bytes.  Single-byte sets get dense one-byte pages for every
// high byte (unmapped codes give the replacement byte).
std::vector<uint8_t> buildPageTable(const std::map<uint32_t, std::vector<uint8_t>>& plane,
                                    uint32_t n, bool fourByte, bool singleByte,
                                    uint8_t replacementByte) {
  std::vector<uint8_t> table(256 * 8, 0);
  auto put32 = [&](size_t at, uint32_t v) { std::memcpy(&table[at], &v, 4); };
  if (singleByte) {
    // One shared page of replacement bytes for the high bytes without codes.
    uint32_t fillerPage = 0;
    for (uint32_t high = 0; high < 256; ++high) {
      bool any = false;
      std::vector<uint8_t> page(256, replacementByte);
      for (uint32_t low = 0; low < 256; ++low) {
        auto it = plane.find(high << 8 | low);
        if (it != plane.end()) {
          page[low] = it->second[0];
          any = true;
        }
      }
      uint32_t offset;
      if (!any) {
        if (fillerPage == 0) {
          fillerPage = static_cast<uint32_t>(table.size());
          table.insert(table.end(), page.begin(), page.end());
        }
        offset = fillerPage;
      } else {
        offset = static_cast<uint32_t>(table.size());
        table.insert(table.end(), page.begin(), page.end());
      }
      put32(high * 8, offset);
      table[high * 8 + 5] = 1;
    }
    return table;
  }
  for (uint32_t high = 0; high < 256; ++high) {
    std::vector<uint32_t> lows;
    for (uint32_t low = 0; low < 256; ++low)
      if (plane.count(high << 8 | low)) lows.push_back(low);
    if (lows.empty()) continue;
    while (table.size() % 4) table.push_back(0);
    const uint32_t offset = static_cast<uint32_t>(table.size());
    const bool dense = lows.size() == 256;
    uint8_t flags = static_cast<uint8_t>(n) | (dense ? 0 : 0x20) | (fourByte ? 0x40 : 0);
    if (!dense) {
      uint8_t bitmap[32] = {};
      for (uint32_t low : lows) bitmap[low / 8] |= static_cast<uint8_t>(1u << (low % 8));
      table.insert(table.end(), bitmap, bitmap + 32);
    }
    for (uint32_t low : lows) {
      const std::vector<uint8_t>& b = plane.at(high << 8 | low);
      std::vector<uint8_t> entry(n, 0);
      std::copy(b.begin(), b.end(), entry.end() - static_cast<long>(b.size()));
      table.insert(table.end(), entry.begin(), entry.end());
    }
    put32(high * 8, offset);
    table[high * 8 + 5] = flags;
  }
  return table;
}

// ---- UTF-EBCDIC byte permutation ---------------------------------------------

// I8 byte -> UTF-EBCDIC byte: the 160 C0/ASCII/C1 positions as in EBCDIC
// code page 1047, the other 96 I8 bytes in ascending order onto the EBCDIC
// bytes left over.
void utfEbcdicPermutation(uint8_t i8ToEbcdic[256], uint8_t ebcdicToI8[256]) {
  UErrorCode err = U_ZERO_ERROR;
  UConverter* cnv = ucnv_open("ibm-1047", &err);
  if (U_FAILURE(err)) fail("ibm-1047 for UTF-EBCDIC");
  bool used[256] = {};
  for (uint32_t c = 0; c < 0xA0; ++c) {
    UChar u = static_cast<UChar>(c);
    char b;
    err = U_ZERO_ERROR;
    ucnv_reset(cnv);
    if (ucnv_fromUChars(cnv, &b, 1, &u, 1, &err) != 1 || U_FAILURE(err))
      fail("ibm-1047 lacks a C0/ASCII/C1 character");
    i8ToEbcdic[c] = static_cast<uint8_t>(b);
    used[static_cast<uint8_t>(b)] = true;
  }
  uint32_t next = 0;
  for (uint32_t i8 = 0xA0; i8 < 0x100; ++i8) {
    while (used[next]) ++next;
    i8ToEbcdic[i8] = static_cast<uint8_t>(next);
    used[next] = true;
  }
  for (uint32_t i = 0; i < 256; ++i) ebcdicToI8[i8ToEbcdic[i]] = static_cast<uint8_t>(i);
  ucnv_close(cnv);
}

struct Gb18030Range {
  uint32_t first, last, firstLinear;
};

uint32_t gbLinear(const std::vector<uint8_t>& b) {
  return (((b[0] - 0x81u) * 10u + (b[1] - 0x30u)) * 126u + (b[2] - 0x81u)) * 10u + (b[3] - 0x30u);
}

// ---- One definition ----------------------------------------------------------

struct Built {
  Blob blob;
  std::vector<Gb18030Range> gbRanges;
};

void fillCaseTables(Blob& blob, const std::vector<uint32_t>& byteToCode,
                    const std::map<uint32_t, uint8_t>& codeToByte) {
  uint8_t* upper = blob.at(nls::kUpperCaseTableOffset);
  uint8_t* lower = blob.at(nls::kLowerCaseTableOffset);
  for (uint32_t b = 0; b < 256; ++b) {
    upper[b] = lower[b] = static_cast<uint8_t>(b);
    uint32_t c = byteToCode[b];
    if (c == 0xFFFD) continue;
    auto u = codeToByte.find(static_cast<uint32_t>(u_toupper(static_cast<UChar32>(c))));
    if (u != codeToByte.end()) upper[b] = u->second;
    auto l = codeToByte.find(static_cast<uint32_t>(u_tolower(static_cast<UChar32>(c))));
    if (l != codeToByte.end()) lower[b] = l->second;
  }
}

Built buildUnicodeForm(const CatalogueSet& set, uint8_t i8ToEbcdic[256], uint8_t ebcdicToI8[256]) {
  Built built;
  Blob& blob = built.blob;
  CharsetDefinition& d = blob.def();
  uint16_t* lead = d.baseLeadByteTable;
  std::vector<uint32_t> byteToCode(256, 0xFFFD);
  uint32_t handleFlags = CSH_LEAD_BYTE_WIDTH;
  uint8_t maxChar = 4;
  switch (set.encoding) {
    case Encoding::Utf8:
    case Encoding::Cesu8:
      for (uint32_t b = 0; b < 256; ++b) {
        uint32_t trail = 0;
        if (b >= 0xC2 && b <= 0xDF)
          trail = 1;
        else if (b >= 0xE0 && b <= 0xEF)
          trail = 2;
        else if (b >= 0xF0 && b <= 0xF4 && set.encoding == Encoding::Utf8)
          trail = 3;
        lead[b] = static_cast<uint16_t>(trail | (b < 0x80 || trail ? 4 : 0));
        if (b < 0x80) byteToCode[b] = b;
      }
      // UTF8 writes a supplementary character as two characters of its own
      // (the surrogates), so its characters already are UCS-2 units.
      d.definitionFlags =
          CSD_ASCII | CSD_ASCII_COMPATIBLE |
          (set.encoding == Encoding::Utf8 ? CSD_UTF8 | CSD_SUPPLEMENTARY_MAP : CSD_UTF8_VARIANT);
      d.maxBytesPerChar = set.encoding == Encoding::Utf8 ? 4 : 3;
      maxChar = d.maxBytesPerChar;
      d.replacementChar = 0xEFBFBD;
      handleFlags |= CSH_ASCII_BASED;
      break;
    case Encoding::UtfEbcdic:
      utfEbcdicPermutation(i8ToEbcdic, ebcdicToI8);
      for (uint32_t b = 0; b < 256; ++b) {
        uint32_t i8 = ebcdicToI8[b], trail = 0;
        if (i8 >= 0xC0 && i8 <= 0xDF)
          trail = 1;
        else if (i8 >= 0xE0 && i8 <= 0xEF)
          trail = 2;
        else if (i8 >= 0xF0 && i8 <= 0xF7)
          trail = 3;
        lead[b] = static_cast<uint16_t>(trail | (i8 < 0xA0 || trail ? 4 : 0));
        if (i8 < 0xA0) byteToCode[b] = i8;
      }
      d.definitionFlags = CSD_EBCDIC_BLANK | CSD_SUPPLEMENTARY_MAP;
      d.maxBytesPerChar = 4;
      // The substitute control (U+001A), one byte, as in the EBCDIC sets.
      d.replacementByte = i8ToEbcdic[0x1A];
      d.replacementChar = i8ToEbcdic[0x1A];
      break;
    case Encoding::Utf16Be:
    case Encoding::Utf16Le:
      for (uint32_t b = 0; b < 256; ++b)
        lead[b] = static_cast<uint16_t>(
            (set.encoding == Encoding::Utf16Be && (b & 0xFC) == 0xD8) ? 3 : 1);
      d.definitionFlags = CSD_BLANK_CODE | CSD_SUPPLEMENTARY_MAP;
      d.blankCode = 0x0020;
      d.maxBytesPerChar = 4;
      maxChar = 2;
      d.replacementChar = 0xFFFD;
      handleFlags = CSH_UTF16 | CSH_UTF16_CODES | CSH_FIXED_WIDTH |
                    (set.encoding == Encoding::Utf16Be ? CSH_LEAD_BYTE_WIDTH : 0);
      break;
    default:
      fail("not a Unicode form");
  }
  for (uint32_t b = 0; b < 256; ++b) d.toUnicode[b] = static_cast<uint16_t>(byteToCode[b]);
  std::map<uint32_t, uint8_t> codeToByte;
  for (uint32_t b = 0; b < 256; ++b)
    if (byteToCode[b] != 0xFFFD) codeToByte[byteToCode[b]] = static_cast<uint8_t>(b);
  fillCaseTables(blob, byteToCode, codeToByte);
  nls::DefinitionHeader& h = blob.header();
  h.handleFlags = handleFlags;
  h.handleMaxCharWidth = maxChar;
  if (set.encoding == Encoding::UtfEbcdic) {
    h.privateTable(PrivateTable::kI8ToEbcdic) = blob.append(i8ToEbcdic, 256);
    h.privateTable(PrivateTable::kEbcdicToI8) = blob.append(ebcdicToI8, 256);
  }
  return built;
}

// ---- Sets read off ICU's converters --------------------------------------------

// What the round-trip mappings tell about a set's bytes (GB18030: its one- and
// two-byte characters; shift-sensitive sets: outside shifted runs).
struct ByteProfile {
  uint32_t mappedWidth[256] = {};  // widest mapped character per lead byte; 0: none
  std::vector<uint32_t> byteToCode = std::vector<uint32_t>(256, 0xFFFD);  // one-byte characters
  uint32_t maxWidth = 1;
  bool supplementary = false;  // the set holds characters above U+FFFF
  bool asciiCompatible = false;
  bool asciiBased = false;
};

ByteProfile profileBytes(const CatalogueSet& set, const std::vector<Mapping>& maps) {
  const bool gb = set.encoding == Encoding::Gb18030;
  const bool shifted = set.encoding == Encoding::ShiftDbcs;
  ByteProfile p;
  for (const Mapping& m : maps) {
    const uint32_t w = static_cast<uint32_t>(m.bytes.size());
    if (m.codePoint > 0xFFFF) p.supplementary = true;
    if (shifted && m.doubleByte) continue;
    if (gb && w == 4) continue;
    p.mappedWidth[m.bytes[0]] = std::max(p.mappedWidth[m.bytes[0]], w);
    p.maxWidth = std::max(p.maxWidth, w);
    if (w == 1) p.byteToCode[m.bytes[0]] = m.codePoint;
  }
  if (gb) p.maxWidth = 4;
  if (shifted) p.maxWidth = 2;
  const std::vector<uint32_t>& code = p.byteToCode;
  p.asciiCompatible = true;
  for (uint32_t b = 0; b < 0x80; ++b)
    if (code[b] != b) p.asciiCompatible = false;
  // ASCII-based: the invariant characters (blank, digits, letters, '%', '_'
  // and the like) sit at their ASCII codes, even where some control bytes
  // are swapped (the IBM Japanese tables move 0x1A, 0x1C and 0x7F).
  p.asciiBased = [&] {
    for (uint32_t c : {0x20u, 0x22u, 0x25u, 0x26u, 0x27u, 0x28u, 0x29u, 0x2Au, 0x2Bu, 0x2Cu,
                       0x2Du, 0x2Eu, 0x2Fu, 0x3Au, 0x3Bu, 0x3Cu, 0x3Du, 0x3Eu, 0x3Fu, 0x5Fu})
      if (code[c] != c) return false;
    for (uint32_t c = '0'; c <= '9'; ++c)
      if (code[c] != c) return false;
    for (uint32_t c = 'A'; c <= 'Z'; ++c)
      if (code[c] != c || code[c + 32] != c + 32) return false;
    return true;
  }();
  return p;
}

// Width per lead byte: from the mappings, else from what ICU takes as one
// sequence there; GB18030 by its rule (the four-byte form is the frame's).
void buildLeadByteTable(const CatalogueSet& set, UConverter* cnv, const ByteProfile& profile,
                        CharsetDefinition& d) {
  const bool oneByteUnmapped =
      set.encoding == Encoding::SingleByte || set.encoding == Encoding::ShiftDbcs;
  for (uint32_t b = 0; b < 256; ++b) {
    const uint32_t mapped = profile.mappedWidth[b];
    uint32_t w;
    if (set.encoding == Encoding::Gb18030)
      w = (b >= 0x81 && b <= 0xFE) ? 2 : 1;
    else if (mapped != 0)
      w = mapped;
    else
      w = (oneByteUnmapped || b < 0x80) ? 1 : probeWidth(cnv, static_cast<uint8_t>(b));
    d.baseLeadByteTable[b] = static_cast<uint16_t>((w - 1) | (mapped ? 4 : 0));
  }
}

void buildToUnicode(const ByteProfile& profile, CharsetDefinition& d) {
  for (uint32_t b = 0; b < 256; ++b) d.toUnicode[b] = static_cast<uint16_t>(profile.byteToCode[b]);
}

// The class bits and widths of the definition and of its handles.
void fillClassFields(const CatalogueSet& set, const ByteProfile& profile, Blob& blob) {
  const bool shifted = set.encoding == Encoding::ShiftDbcs;
  CharsetDefinition& d = blob.def();
  d.definitionFlags = (profile.asciiBased ? CSD_ASCII : 0) |
                      (profile.asciiCompatible ? CSD_ASCII_COMPATIBLE : 0) |
                      (set.ebcdic ? CSD_EBCDIC_BLANK : 0) | (shifted ? CSD_SHIFT_SENSITIVE : 0) |
                      (profile.supplementary ? CSD_SUPPLEMENTARY_MAP : 0);
  d.maxBytesPerChar = static_cast<uint8_t>(profile.maxWidth);
  if (shifted) {
    d.shiftInCode = 0x0F;
    d.shiftOutCode = 0x0E;
  }
  nls::DefinitionHeader& h = blob.header();
  if (set.encoding == Encoding::SingleByte)
    h.handleFlags = CSH_SINGLE_BYTE | CSH_SIMPLE_CASE | CSH_FIXED_WIDTH | CSH_LEAD_BYTE_WIDTH;
  else if (set.encoding == Encoding::Gb18030)
    h.handleFlags = CSH_GB18030;
  else if (shifted)
    h.handleFlags = CSH_SHIFT_SENSITIVE;
  else
    h.handleFlags = CSH_LEAD_BYTE_WIDTH;
  if (profile.asciiBased) h.handleFlags |= CSH_ASCII_BASED;
  h.handleMaxCharWidth = static_cast<uint8_t>(shifted ? 2 : profile.maxWidth);
}

// ICU's substitution character, and the one-byte substitute beside it.
void fillReplacement(const CatalogueSet& set, UConverter* cnv, const std::vector<Mapping>& maps,
                     CharsetDefinition& d) {
  char subst[8];
  int8_t substLen = sizeof subst;
  UErrorCode err = U_ZERO_ERROR;
  ucnv_getSubstChars(cnv, subst, &substLen, &err);
  uint32_t substCode = 0;
  for (int i = 0; i < substLen && i < 4; ++i) {
    const uint8_t b = static_cast<uint8_t>(subst[i]);
    if (set.encoding == Encoding::ShiftDbcs && (b == 0x0E || b == 0x0F)) continue;
    substCode = substCode << 8 | b;
  }
  d.replacementChar = substCode;
  d.replacementByte = substLen == 1 ? static_cast<uint8_t>(subst[0]) : oneByteSubstitute(cnv, maps);
}

// Case tables over the one-byte characters (lead bytes of longer ones excluded).
void buildOneByteCaseTables(const ByteProfile& profile, Blob& blob) {
  std::map<uint32_t, uint8_t> codeToByte;
  for (uint32_t b = 0; b < 256; ++b)
    if (profile.byteToCode[b] != 0xFFFD && (blob.def().baseLeadByteTable[b] & 3) == 0)
      codeToByte.emplace(profile.byteToCode[b], static_cast<uint8_t>(b));
  fillCaseTables(blob, profile.byteToCode, codeToByte);
}

// Decode tables: rows of 256 code points per two-byte lead (for shifted sets
// the first byte inside a run), a sorted list for longer sequences.
void buildDecodeTables(const CatalogueSet& set, UConverter* cnv, const std::vector<Mapping>& maps,
                       Blob& blob) {
  const bool gb = set.encoding == Encoding::Gb18030;
  std::map<uint32_t, std::vector<uint32_t>> rows;
  std::vector<std::pair<uint32_t, uint32_t>> longSeqs;
  for (const Mapping& m : maps) {
    if (m.bytes.size() == 2) {
      auto& row = rows[m.bytes[0]];
      if (row.empty()) row.assign(256, 0xFFFFFFFFu);
      row[m.bytes[1]] = m.codePoint;
    } else if (m.bytes.size() >= 3 && !(gb && m.bytes.size() == 4)) {
      uint32_t seq = 0;
      for (uint8_t b : m.bytes) seq = seq << 8 | b;
      longSeqs.emplace_back(seq, m.codePoint);
    }
  }
  // Sequences ICU decodes that are not the round-trip form of any code point
  // (one-way mappings) decode too.
  for (const auto& [bytes, code] :
       oneWaySequences(cnv, blob.def().baseLeadByteTable, set.encoding)) {
    if (bytes.size() == 2) {
      auto& row = rows[bytes[0]];
      if (row.empty()) row.assign(256, 0xFFFFFFFFu);
      if (row[bytes[1]] == 0xFFFFFFFFu) row[bytes[1]] = code;
    } else {
      uint32_t seq = 0;
      for (uint8_t b : bytes) seq = seq << 8 | b;
      longSeqs.emplace_back(seq, code);
    }
  }
  std::sort(longSeqs.begin(), longSeqs.end());
  longSeqs.erase(std::unique(longSeqs.begin(), longSeqs.end(),
                             [](const auto& a, const auto& b) { return a.first == b.first; }),
                 longSeqs.end());
  if (!rows.empty()) {
    std::vector<uint32_t> index(256, 0);
    const uint32_t indexAt = blob.append(index.data(), 1024);
    for (auto& [leadByte, row] : rows) {
      uint32_t at = blob.append(row.data(), row.size() * 4);
      std::memcpy(blob.at(indexAt + leadByte * 4), &at, 4);
    }
    blob.header().privateTable(PrivateTable::kRowIndex) = indexAt;
  }
  if (!longSeqs.empty()) {
    blob.header().privateTable(PrivateTable::kLongSequences) =
        blob.append(longSeqs.data(), longSeqs.size() * 8);
    blob.header().privateTable(PrivateTable::kLongCount) = static_cast<uint32_t>(longSeqs.size());
  }
}

// GB18030 four-byte ranges of the BMP: runs where code and linear index
// advance together, stored in code order and again in linear-index order.
std::vector<Gb18030Range> buildGb18030Ranges(const std::vector<Mapping>& maps, Blob& blob) {
  std::vector<std::pair<uint32_t, uint32_t>> fours;
  for (const Mapping& m : maps)
    if (m.bytes.size() == 4 && m.codePoint <= 0xFFFF)
      fours.emplace_back(m.codePoint, gbLinear(m.bytes));
  std::sort(fours.begin(), fours.end());
  std::vector<Gb18030Range> ranges;
  for (auto& [code, linear] : fours) {
    if (!ranges.empty()) {
      Gb18030Range& r = ranges.back();
      if (code == r.last + 1 && linear == r.firstLinear + (code - r.first)) {
        r.last = code;
        continue;
      }
    }
    ranges.push_back({code, code, linear});
  }
  blob.header().privateTable(PrivateTable::kGbRanges) =
      blob.append(ranges.data(), ranges.size() * sizeof(Gb18030Range));
  blob.header().privateTable(PrivateTable::kGbRangeCount) = static_cast<uint32_t>(ranges.size());
  // The decoder searches by linear index, which is not in code order
  // everywhere (e.g. U+E7C7 sits among the low indexes).
  std::vector<Gb18030Range> byLinear = ranges;
  std::sort(byLinear.begin(), byLinear.end(), [](const Gb18030Range& a, const Gb18030Range& b) {
    return a.firstLinear < b.firstLinear;
  });
  blob.header().privateTable(PrivateTable::kGbRangesByLinear) =
      blob.append(byLinear.data(), byLinear.size() * sizeof(Gb18030Range));
  return ranges;
}

// The from-Unicode tables, last in the definition: a page table, or a plane
// table and a page table per plane for sets with supplementary characters.
void buildFromUnicodeTables(const CatalogueSet& set, const std::vector<Mapping>& maps, Blob& blob) {
  const bool gb = set.encoding == Encoding::Gb18030;
  const bool single = set.encoding == Encoding::SingleByte;
  std::map<uint32_t, std::map<uint32_t, std::vector<uint8_t>>> planes;
  uint32_t entryBytes = 1;
  for (const Mapping& m : maps) {
    if (gb && m.bytes.size() == 4) continue;
    planes[m.codePoint >> 16][m.codePoint & 0xFFFF] = m.bytes;
    entryBytes = std::max(entryBytes, static_cast<uint32_t>(m.bytes.size()));
  }
  if (set.encoding == Encoding::ShiftDbcs || gb) entryBytes = 2;
  if (!single && entryBytes == 1) entryBytes = 2;
  const bool fourByte = entryBytes == 4;
  std::vector<uint8_t> tables;
  // GB18030 reaches its supplementary characters by arithmetic: its table
  // stays a plain page table even though the set holds them.
  if ((blob.def().definitionFlags & CSD_SUPPLEMENTARY_MAP) && !gb) {
    std::vector<int32_t> planeOffsets(256, -1);
    std::vector<uint8_t> body;
    for (auto& [plane, codes] : planes) {
      while (body.size() % 8) body.push_back(0);
      planeOffsets[plane] = static_cast<int32_t>(body.size());
      std::vector<uint8_t> t = buildPageTable(codes, entryBytes, fourByte, false, 0);
      body.insert(body.end(), t.begin(), t.end());
    }
    tables.resize(1024);
    std::memcpy(tables.data(), planeOffsets.data(), 1024);
    tables.insert(tables.end(), body.begin(), body.end());
  } else {
    tables = buildPageTable(planes[0], entryBytes, fourByte, single, blob.def().replacementByte);
  }
  blob.padTo8();
  blob.def().fromUnicodeOffset = blob.size() - CSDEF_VARIABLE_AREA_OFFSET;
  blob.append(tables.data(), tables.size());
}

Built buildFromIcu(const CatalogueSet& set) {
  UErrorCode err = U_ZERO_ERROR;
  UConverter* cnv = ucnv_open(set.icuName, &err);
  if (U_FAILURE(err)) fail(std::string("no ICU converter ") + set.icuName);
  const std::vector<Mapping> maps = roundTripMappings(set, cnv);
  if (maps.empty()) fail(std::string("no mappings in ") + set.icuName);

  Built built;
  Blob& blob = built.blob;
  const ByteProfile profile = profileBytes(set, maps);
  // The order matters twice: the tables land in the blob in this order, and
  // the converter's callbacks are set by the steps that read it.
  buildLeadByteTable(set, cnv, profile, blob.def());
  buildToUnicode(profile, blob.def());
  fillClassFields(set, profile, blob);
  fillReplacement(set, cnv, maps, blob.def());
  buildOneByteCaseTables(profile, blob);
  buildDecodeTables(set, cnv, maps, blob);
  if (set.encoding == Encoding::Gb18030) built.gbRanges = buildGb18030Ranges(maps, blob);
  buildFromUnicodeTables(set, maps, blob);
  ucnv_close(cnv);
  return built;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: lxk_gencatalogue OUTDIR\n");
    return 2;
  }
  const std::string dir = argv[1];
  std::vector<uint8_t> all;
  std::string index = "// Generated by lxk_gencatalogue from ICU " U_ICU_VERSION ". Do not edit.\n";
  std::string entries, ranges;
  uint8_t i8ToEbcdic[256], ebcdicToI8[256];
  uint32_t i = 0;
  for (const CatalogueSet& set : kSets) {
    Built built = set.icuName ? buildFromIcu(set) : buildUnicodeForm(set, i8ToEbcdic, ebcdicToI8);
    Blob& blob = built.blob;
    CharsetDefinition& d = blob.def();
    d.charsetId = static_cast<int16_t>(set.id);
    nls::DefinitionHeader& h = blob.header();
    std::snprintf(h.name, sizeof h.name, "%s", set.name);
    h.magic = nls::kDefinitionMagic;
    h.encoding = static_cast<uint8_t>(set.encoding);
    h.ebcdic = set.ebcdic ? 1 : 0;
    h.conversionOnly = set.encoding == Encoding::Utf16Le ? 1 : 0;
    blob.padTo8();
    blob.header().totalSize = blob.size();
    while (all.size() % 16) all.push_back(0);
    const size_t offset = all.size();
    all.insert(all.end(), blob.bytes().begin(), blob.bytes().end());
    char row[512];
    std::snprintf(row, sizeof row,
                  "  {\"%s\", \"%s\", \"%s\", %d, 0x%08Xu, 0x%08Xu, %u, %d, %zuu},\n", set.name,
                  set.description, set.aliases, set.id, h.handleFlags, d.definitionFlags,
                  d.maxBytesPerChar, h.conversionOnly, offset);
    entries += row;
    for (const Gb18030Range& r : built.gbRanges) {
      std::snprintf(row, sizeof row, "  {0x%04X, 0x%04X, 0x%04X, 0x%04X},\n", r.first, r.last,
                    r.firstLinear >> 16, r.firstLinear & 0xFFFF);
      ranges += row;
    }
    if (!built.gbRanges.empty() && built.gbRanges.size() != NLS_GB18030_RANGE_COUNT)
      fail("GB18030 has " + std::to_string(built.gbRanges.size()) +
           " four-byte ranges; NLS_GB18030_RANGE_COUNT says otherwise");
    ++i;
  }
  index += "static const CatalogueRow kCatalogueRows[] = {\n" + entries + "};\n";
  std::FILE* f = std::fopen((dir + "/catalogue.bin").c_str(), "wb");
  if (!f || std::fwrite(all.data(), 1, all.size(), f) != all.size())
    fail("cannot write catalogue.bin");
  std::fclose(f);
  f = std::fopen((dir + "/catalogue_index.inc").c_str(), "w");
  if (!f || std::fputs(index.c_str(), f) < 0) fail("cannot write catalogue_index.inc");
  std::fclose(f);
  f = std::fopen((dir + "/catalogue_gbranges.inc").c_str(), "w");
  if (!f || std::fputs(ranges.c_str(), f) < 0) fail("cannot write catalogue_gbranges.inc");
  std::fclose(f);
  return 0;
}
