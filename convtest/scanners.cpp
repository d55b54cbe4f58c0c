// The three scanners of the conversion test: into AL32UTF8, between UTF8
// and AL16UTF16, and the general one that learns target widths from the
// target's from-Unicode tables.  Stretches of well-formed UTF-8 or UTF-16
// text are counted by the frame's scanning kernels; every other character
// is walked here, one at a time.
#include "convtest/scanners.h"

#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "frame/kernels.h"
#include "lxk/lxk.h"
#include "lxk/nls.h"

namespace lxk::conv {
namespace {

// ---- Source characters ------------------------------------------------------------

inline uint32_t tableWidth(const CharsetDefinition* def, uint8_t lead) {
  return (def->baseLeadByteTable[lead] & 3u) + 1u;
}

// Width of the character at p with left bytes left (left >= 1); may exceed
// left.  Second bytes are looked at only when they are inside the text.
inline uint32_t sourceWidth(const CharsetDefinition* def, const uint8_t* p, uint32_t left) {
  switch (def->charsetId) {
    case CSID_GB18030:
      return lxcgbgwt(def, p, left, 0) & 0xFFFFu;
    case CSID_UTF8:
      if (p[0] == 0xED && left >= 2 && (p[1] & 0xF0) == 0xA0) return 6;
      return tableWidth(def, p[0]);
    case CSID_AL16UTF16LE:
      return left >= 2 && (p[1] & 0xFC) == 0xD8 ? 4u : 2u;
    default:
      return tableWidth(def, p[0]);
  }
}

using ToUnicode = uint32_t (*)(const CharsetDefinition*, const void*, uint32_t);
using FromUnicode = uint32_t (*)(const CharsetDefinition*, void*, uint32_t, uint32_t, NlsContext*);

ToUnicode toUnicodeOf(const CharsetDefinition* def) {
  switch (def->charsetId) {
    case CSID_AL32UTF8:
      return lxcsm2uAL32UTF8;
    case CSID_UTF8:
      return lxcsm2uUTF8;
    case CSID_AL16UTF16:
      return lxcsm2uAL16UTF16;
    case CSID_AL16UTF16LE:
      return lxcsm2uAL16UTF16LE;
    case CSID_UTFE:
      return lxcsm2uUTFE;
    case CSID_GB18030:
      return lxcsm2uGB18030;
    default:
      return (def->definitionFlags & CSD_SUPPLEMENTARY_MAP) ? lxcsm2uUTF32 : lxcsm2ux;
  }
}

FromUnicode fromUnicodeOf(const CharsetDefinition* def) {
  switch (def->charsetId) {
    case CSID_AL32UTF8:
      return lxcsu2mAL32UTF8;
    case CSID_UTF8:
      return lxcsu2mUTF8;
    case CSID_AL16UTF16:
      return lxcsu2mAL16UTF16;
    case CSID_AL16UTF16LE:
      return lxcsu2mAL16UTF16LE;
    case CSID_UTFE:
      return lxcsu2mUTFE;
    case CSID_GB18030:
      return lxcsu2mGB18030;
    default:
      return (def->definitionFlags & CSD_SUPPLEMENTARY_MAP) ? lxcsu2mUTF32 : lxcsu2mx;
  }
}

// ---- Invalid bytes of single-byte sets ------------------------------------------------

// Bytes 0x80..0xFF that have no character in the set, as four 32-bit words
// (bit b - 0x80); null for sets without a row.
struct InvalidRow {
  uint32_t words[4];
};

constexpr InvalidRow kC1Controls{{0xFFFFFFFFu, 0, 0, 0}};

constexpr InvalidRow rowOf(std::initializer_list<uint32_t> bytes) {
  InvalidRow r{{0, 0, 0, 0}};
  for (uint32_t b : bytes) r.words[(b - 0x80) / 32] |= 1u << ((b - 0x80) % 32);
  return r;
}

constexpr InvalidRow kRow179 =
    rowOf({0x81, 0x83, 0x88, 0x8A, 0x8C, 0x90, 0x98, 0x9A, 0x9C, 0x9F, 0xA1, 0xA5});
constexpr InvalidRow kRow171 = rowOf({0x98});
constexpr InvalidRow kRow170 = rowOf({0x81, 0x83, 0x88, 0x90, 0x98});
constexpr InvalidRow kRow174 = rowOf({0x81, 0x88, 0x8A, 0x8C, 0x8D, 0x8E, 0x8F, 0x90, 0x98, 0x9A,
                                      0x9C, 0x9D, 0x9E, 0x9F, 0xD2, 0xFF});
constexpr InvalidRow kRow175 =
    rowOf({0x81, 0x8A, 0x8C, 0x8D, 0x8E, 0x8F, 0x90, 0x9A, 0x9C, 0x9D, 0x9E, 0x9F,
           0xCA, 0xD9, 0xDA, 0xDB, 0xDC, 0xDD, 0xDE, 0xDF, 0xFB, 0xFC, 0xFF});
constexpr InvalidRow kRow177 = rowOf({0x81, 0x8D, 0x8E, 0x8F, 0x90, 0x9D, 0x9E});
constexpr InvalidRow kRow178 = rowOf({0x81, 0x8D, 0x8F, 0x90, 0x9D});
constexpr InvalidRow kRow45 = rowOf({0x81, 0x8A, 0x8D, 0x8E, 0x8F, 0x90, 0x9A, 0x9D, 0x9E});

const InvalidRow* invalidRowOf(const CharsetDefinition* def) {
  switch (def->charsetId) {
    case 31:
    case 32:
    case 33:
    case 34:
    case 35:
    case 36:
    case 37:
    case 38:
    case 39:
    case 40:
    case 46:
    case 47:
    case 48:
      return &kC1Controls;
    case 179:
      return &kRow179;
    case 171:
      return &kRow171;
    case 170:
      return &kRow170;
    case 174:
      return &kRow174;
    case 175:
      return &kRow175;
    case 177:
      return &kRow177;
    case 178:
      return &kRow178;
    case 45:
      return &kRow45;
    default:
      return nullptr;
  }
}

inline bool marked(const InvalidRow* row, uint8_t b) {
  return row != nullptr && b >= 0x80 && ((row->words[(b - 0x80) / 32] >> ((b - 0x80) % 32)) & 1u);
}

// ---- Target widths --------------------------------------------------------------------

enum class TargetKind : uint8_t { Utf8, Utf8Pairs, Utf16, UtfEbcdic, Gb18030, Pages, Planes };

// Set bits of a word, without a call on processors the build does not
// assume to have a population-count instruction.
inline uint32_t bitCount(uint64_t x) {
  x -= (x >> 1) & 0x5555555555555555ull;
  x = (x & 0x3333333333333333ull) + ((x >> 2) & 0x3333333333333333ull);
  x = (x + (x >> 4)) & 0x0F0F0F0F0F0F0F0Full;
  return static_cast<uint32_t>((x * 0x0101010101010101ull) >> 56);
}

inline uint32_t read32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}

struct Target {
  const CharsetDefinition* def;
  const uint8_t* base;  // the from-Unicode tables
  FromUnicode fromUnicode;
  TargetKind kind;
  bool singleByte;
  bool shiftSensitive;
  bool utf8Variant;

  explicit Target(const CharsetDefinition* d)
      : def(d),
        base(reinterpret_cast<const uint8_t*>(d) + CSDEF_VARIABLE_AREA_OFFSET +
             d->fromUnicodeOffset),
        fromUnicode(fromUnicodeOf(d)),
        kind(kindOf(d)),
        singleByte(d->maxBytesPerChar == 1),
        shiftSensitive((d->definitionFlags & CSD_SHIFT_SENSITIVE) != 0),
        utf8Variant((d->definitionFlags & CSD_UTF8_VARIANT) != 0) {}

  static TargetKind kindOf(const CharsetDefinition* d) {
    switch (d->charsetId) {
      case CSID_AL32UTF8:
        return TargetKind::Utf8;
      case CSID_UTF8:
        return TargetKind::Utf8Pairs;
      case CSID_AL16UTF16:
      case CSID_AL16UTF16LE:
        return TargetKind::Utf16;
      case CSID_UTFE:
        return TargetKind::UtfEbcdic;
      case CSID_GB18030:
        return TargetKind::Gb18030;
      default:
        return (d->definitionFlags & CSD_SUPPLEMENTARY_MAP) ? TargetKind::Planes
                                                            : TargetKind::Pages;
    }
  }

  // The replacement width, negative: what the target writes for a code it
  // cannot represent.
  int32_t replacement(uint32_t sourceWidth) const {
    if (sourceWidth == 1)
      return def->replacementByte != 0 ? -1
                                       : -static_cast<int32_t>(codeBytes(def->replacementChar));
    return def->replacementChar == 0 ? -1 : -static_cast<int32_t>(codeBytes(def->replacementChar));
  }

  // Converted width of a source character that has no Unicode value.
  uint32_t noValueWidth(uint32_t sourceWidth) const {
    if (kind == TargetKind::Utf8Pairs || kind == TargetKind::Utf8) return 3;
    const int32_t r = -replacement(sourceWidth);
    return r >= 1 ? static_cast<uint32_t>(r) : 1u;
  }

  // Width of the entry for the 16-bit code in a page table; 0 when the
  // table maps nothing there.
  static uint32_t pageWidth(const uint8_t* table, uint32_t code) {
    const uint8_t* slot = table + (code >> 8) * 8;
    const uint32_t flags = slot[5];
    if (flags == 0) return 0;
    const uint32_t n = flags & 0x0F;
    const uint8_t* page = table + read32(slot);
    const uint32_t low = code & 0xFF;
    const uint8_t* e;
    if (flags & 0x20) {
      uint64_t words[4];
      std::memcpy(words, page, 32);
      const uint32_t word = low / 64, bit = low % 64;
      if (((words[word] >> bit) & 1u) == 0) return 0;
      uint32_t rank = bitCount(words[word] & ((uint64_t{1} << bit) - 1));
      for (uint32_t i = 0; i < word; ++i) rank += bitCount(words[i]);
      e = page + 32 + rank * n;
    } else {
      e = page + low * n;
    }
    if ((flags & 0x40) && e[0] != 0) return 4;
    if (n == 2) return 2 - (e[0] == 0);
    if (n == 3) return 3 - (e[0] == 0) - (e[1] == 0);
    uint32_t lead = 0;
    while (lead < n && e[lead] == 0) ++lead;
    return lead == n ? 1 : n - lead;
  }

  int32_t pageOrReplacement(const uint8_t* table, uint32_t code, uint32_t sourceWidth) const {
    const uint32_t w = pageWidth(table, code);
    return w != 0 ? static_cast<int32_t>(w) : replacement(sourceWidth);
  }

  // The target width of a code: positive bytes, or the negative
  // replacement width when the target cannot represent it.
  int32_t width(uint32_t code, uint32_t sourceWidth) const {
    const bool wide = code > 0xFFFF;
    switch (kind) {
      case TargetKind::Utf8:
      case TargetKind::Utf8Pairs:
        if (wide) return isPackedPair(code) ? (kind == TargetKind::Utf8 ? 4 : 6) : -3;
        if (code < 0x80) return 1;
        if (code < 0x800) return 2;
        return (code & 0xF800) == 0xD800 ? -3 : 3;
      case TargetKind::Utf16:
        if (wide) return isPackedPair(code) ? 4 : -2;
        return 2;
      case TargetKind::UtfEbcdic:
        if (wide) return isPackedPair(code) ? 4 : -2;
        return code < 0xA0 ? 1 : code < 0x400 ? 2 : code < 0x4000 ? 3 : 4;
      case TargetKind::Gb18030:
        if (wide) return isPackedPair(code) ? 4 : 2;
        if (code != kNoValue && inGb18030Ranges(code)) return 4;
        return pages(code, sourceWidth);
      case TargetKind::Pages:
        if (wide) return replacement(sourceWidth);
        return pages(code, sourceWidth);
      case TargetKind::Planes: {
        if (wide && !isPackedPair(code)) return replacement(sourceWidth);
        const uint32_t scalar = wide ? pairScalar(code) : code;
        if (scalar > 0xFFFFFF) return replacement(sourceWidth);
        const int32_t offset = static_cast<int32_t>(read32(base + 4 * (scalar >> 16)));
        if (offset == -1) return replacement(sourceWidth);
        return pageOrReplacement(base + offset + 1024, scalar & 0xFFFF, sourceWidth);
      }
    }
    return replacement(sourceWidth);
  }

  int32_t pages(uint32_t code, uint32_t sourceWidth) const {
    if (utf8Variant) {
      if (code < 0x80) return 1;
      if (code < 0x800) return 2;
      if (code < 0x3400 || code > 0xD7A3 || (code >= 0x4E00 && code <= 0xABFF)) return 3;
    } else if (code == kNoValue) {
      return replacement(sourceWidth);
    }
    return pageOrReplacement(base, code, sourceWidth);
  }

  static bool inGb18030Ranges(uint32_t code) {
    uint32_t lo = 0, hi = NLS_GB18030_RANGE_COUNT;
    while (lo < hi) {
      const uint32_t mid = (lo + hi) / 2;
      if (code < lxcgbMaping[mid][0])
        hi = mid;
      else if (code > lxcgbMaping[mid][1])
        lo = mid + 1;
      else
        return true;
    }
    return false;
  }

  // The byte of a code in a single-byte target (its replacement byte when
  // it has none).
  uint8_t singleByteOf(uint32_t code) const {
    if (code > 0xFFFF) return def->replacementByte;
    return base[read32(base + (code >> 8) * 8) + (code & 0xFF)];
  }
};

// Characters a converted character counts for: two for a supplementary
// character written as a UTF8 pair or a UTF-16 pair.
inline uint32_t charsFor(const Target& t, uint32_t width) {
  return (t.kind == TargetKind::Utf8Pairs && width == 6) ||
                 (t.kind == TargetKind::Utf16 && width == 4)
             ? 2u
             : 1u;
}

// Trailing characters of a span equal to a one- or two-byte blank.
inline uint32_t trailingBlanks(const uint8_t* p, uint32_t n, const Blank& blank) {
  if (blank.length == 0 || blank.length > 2) return 0;
  uint32_t k = 0;
  while (n >= blank.length && std::memcmp(p + n - blank.length, blank.bytes, blank.length) == 0) {
    n -= blank.length;
    ++k;
  }
  return k;
}

// The UTF-8 widths of the characters that a UTF-16 tally counted.
inline uint32_t utf8Bytes(const Utf16Tally& t, uint32_t pairWidth) {
  const uint32_t bmp = t.units - 2 * t.pairs;
  return t.ascii + 2 * t.twoByte + 3 * (bmp - t.ascii - t.twoByte) + pairWidth * t.pairs;
}

constexpr uint32_t kUtf8ReplacementWidth = 3;

// The well-formed stretch at p of a UTF8 (surrogate-pair) source: as the
// kernel finds it, cut before its first four-byte character, which that
// form does not have.  Each byte is looked at a bounded number of times.
inline uint32_t utf8PairsSpan(const ScanKernels& k, const uint8_t* p, uint32_t left,
                              Utf8Tally* span) {
  const uint32_t n = k.utf8ValidPrefix(p, left, span);
  if (span->fourByte == 0) return n;
  uint32_t cut = 0;
  while (p[cut] < 0xF0) ++cut;  // a four-byte lead lies inside the stretch
  *span = Utf8Tally{};
  return k.utf8ValidPrefix(p, cut, span);
}

// The well-formed AL32UTF8 character of two to four bytes at p (left bytes
// left) as a packed code; its width, or 0 for anything else (U+FFFD
// included), which the character-by-character path then judges.
inline uint32_t decodeMultibyteUtf8(const uint8_t* p, uint32_t left, uint32_t* code) {
  const uint32_t b = p[0];
  if (b >= 0xC2 && b <= 0xDF) {
    if (left < 2 || (p[1] & 0xC0) != 0x80) return 0;
    *code = (b & 0x1F) << 6 | (p[1] & 0x3F);
    return 2;
  }
  if (b >= 0xE0 && b <= 0xEF) {
    if (left < 3 || (p[1] & 0xC0) != 0x80 || (p[2] & 0xC0) != 0x80) return 0;
    const uint32_t c = (b & 0x0F) << 12 | (p[1] & 0x3F) << 6 | (p[2] & 0x3F);
    if (c < 0x800 || (c & 0xF800) == 0xD800 || c == kNoValue) return 0;
    *code = c;
    return 3;
  }
  if (b >= 0xF0 && b <= 0xF4) {
    if (left < 4 || (p[1] & 0xC0) != 0x80 || (p[2] & 0xC0) != 0x80 || (p[3] & 0xC0) != 0x80)
      return 0;
    const uint32_t c = (b & 0x07) << 18 | (p[1] & 0x3F) << 12 | (p[2] & 0x3F) << 6 | (p[3] & 0x3F);
    if (c < 0x10000 || c > 0x10FFFF) return 0;
    const uint32_t v = c - 0x10000;
    *code = (0xD800 + (v >> 10)) << 16 | (0xDC00 + (v & 0x3FF));
    return 4;
  }
  return 0;
}

// Target widths of recently met codes: text repeats its characters, and a
// hit spares the table walk.  Filled on first use.
class WidthCache {
 public:
  // For AL32UTF8 sources, whose character width follows from the code.
  int32_t width(const Target& t, uint32_t code, uint32_t sourceWidth) {
    if (!filled_) {
      std::memset(entries_, 0xFF, sizeof entries_);
      filled_ = true;
    }
    Entry& e = entries_[(code * 0x9E3779B1u) >> 24];
    if (e.code != code) e = {code, t.width(code, sourceWidth)};
    return e.width;
  }

 private:
  struct Entry {
    uint32_t code;
    int32_t width;
  };
  Entry entries_[256];
  bool filled_ = false;
};

// How the target takes the printable ASCII characters (0x20..0x7E): as one
// byte each, the same bytes or other ones, or otherwise (character by
// character then).
enum class AsciiInTarget : uint8_t { Unknown, Same, Changed, Otherwise };

AsciiInTarget asciiInTarget(const Target& t, NlsContext* ctx) {
  bool same = true;
  for (uint32_t c = 0x20; c <= 0x7E; ++c) {
    uint8_t out[16];
    if (t.singleByte) {
      const uint8_t b = t.singleByteOf(c);
      if (t.def->toUnicode[b] != c) return AsciiInTarget::Otherwise;
      same &= b == c;
      continue;
    }
    if (t.width(c, 1) != 1 || t.fromUnicode(t.def, out, c, 1, ctx) != 1)
      return AsciiInTarget::Otherwise;
    same &= out[0] == c;
  }
  return same ? AsciiInTarget::Same : AsciiInTarget::Changed;
}

// Texts shorter than this walk their ASCII character by character: sizing
// up the target's ASCII costs about as much.
constexpr uint32_t kAsciiBulkMinimum = 4096;

// Whether one of the eight bytes of v lies outside 0x20..0x7E.
inline bool anyOutsidePrintable(uint64_t v) {
  constexpr uint64_t kOnes = 0x0101010101010101ull, kHighs = kOnes * 0x80;
  const uint64_t below = (v - kOnes * 0x20) & ~v & kHighs;
  const uint64_t above = ((v + kOnes * (0x7F - 0x7E)) | v) & kHighs;
  return (below | above) != 0;
}

// The AL32UTF8 walk into a table-driven target, from at: printable ASCII
// in runs (when the target takes it byte for byte), well-formed wider
// characters decoded here and measured through the cache.  Returns where
// it stopped: the end, or a character the general steps must judge.
uint32_t walkUtf8(const Target& target, const uint8_t* text, uint32_t at, uint32_t length,
                  AsciiInTarget ascii, WidthCache& widths, const Blank& blank, Tally& tally,
                  bool& targetRun, NlsContext* ctx) {
  // The tallies in locals for the loop, stored back when it stops.
  Tally t = tally;
  bool run = targetRun;
  const bool pairsCountTwo = charsFor(target, 4) == 2 || charsFor(target, 6) == 2;
  while (at < length) {
    const uint8_t* p = text + at;
    if (*p < 0x80) {
      if (ascii == AsciiInTarget::Otherwise) break;
      uint32_t n = 0;
      for (uint64_t v; length - at - n >= 8; n += 8) {
        std::memcpy(&v, p + n, 8);
        if (anyOutsidePrintable(v)) break;
      }
      while (at + n < length && p[n] >= 0x20 && p[n] <= 0x7E) ++n;
      if (n == 0) break;
      if (ascii == AsciiInTarget::Changed) t.changed();
      if (run) {
        ++t.total;
        run = false;
      }
      t.addSpan(n, n, trailingBlanks(p, n, blank), 1);
      at += n;
      continue;
    }
    if (target.singleByte) break;
    // Runs of three-byte characters (most of CJK text) once the text is
    // known to change and the target has no shift states: the width alone
    // is needed.
    if (t.verdict != 0 && !target.shiftSensitive && !pairsCountTwo) {
      uint32_t total = t.total, chars = t.chars, last = t.lastWidth;
      int32_t verdict = t.verdict;
      while (length - at >= 3) {
        const uint8_t* q = text + at;
        if ((q[0] & 0xF0) != 0xE0 || (q[1] & 0xC0) != 0x80 || (q[2] & 0xC0) != 0x80) break;
        const uint32_t c = (q[0] & 0x0Fu) << 12 | (q[1] & 0x3Fu) << 6 | (q[2] & 0x3Fu);
        if (c < 0x800 || (c & 0xF800) == 0xD800 || c == kNoValue) break;
        const int32_t cw = widths.width(target, c, 3);
        verdict = cw < 0 ? -1 : verdict;
        last = static_cast<uint32_t>(cw < 0 ? -cw : cw);
        total += last;
        ++chars;
        at += 3;
      }
      if (chars != t.chars) {
        t.total = total;
        t.chars = chars;
        t.verdict = verdict;
        t.blankRun = 0;
        t.lastWidth = last;
        continue;
      }
    }
    uint32_t u;
    const uint32_t w = decodeMultibyteUtf8(p, length - at, &u);
    if (w == 0) break;
    const int32_t tw = widths.width(target, u, w);
    uint32_t cw;
    if (tw < 0) {
      t.lossy();
      cw = static_cast<uint32_t>(-tw);
    } else {
      cw = static_cast<uint32_t>(tw);
      if (t.verdict == 0) {
        uint8_t out[16];
        if (cw != w || target.fromUnicode(target.def, out, u, 1, ctx) != w ||
            std::memcmp(out, p, w) != 0)
          t.changed();
      }
    }
    if (target.shiftSensitive && (cw > 1) != run) {
      ++t.total;
      run = cw > 1;
    }
    t.total += cw;
    t.chars += pairsCountTwo ? charsFor(target, cw) : 1u;
    t.blankRun = 0;
    t.lastWidth = cw;
    at += w;
  }
  tally = t;
  targetRun = run;
  return at;
}

}  // namespace

// A character of a table-driven source at at: shift bytes before it are
// stepped over, shifted following them (shiftBytesChange: they make the
// converted text differ), then its width and code.  False at the end of the
// text, and, with the status set, for a character cut by the end.
struct SourceChar {
  const uint8_t* p;
  uint32_t w;
  uint32_t u;
};

inline bool nextSourceChar(const CharsetDefinition* source, ToUnicode toUnicode,
                           bool shiftSensitive, bool shiftBytesChange, const uint8_t* text,
                           uint32_t length, uint32_t& at, bool& shifted, Tally& t, NlsContext* ctx,
                           SourceChar* c) {
  if (shiftSensitive) {
    while (at < length && (text[at] == source->shiftOutCode || text[at] == source->shiftInCode)) {
      shifted = text[at] == source->shiftOutCode;
      if (shiftBytesChange) t.changed();
      ++at;
    }
    if (at == length) return false;
  }
  c->p = text + at;
  const uint32_t left = length - at;
  c->w =
      shiftSensitive ? (shifted ? source->maxBytesPerChar : 1u) : sourceWidth(source, c->p, left);
  if (c->w > left) {
    ctx->status = NLS_STATUS_INVALID_CHAR;
    t.blankRun = 0;
    return false;
  }
  c->u = c->w == 1 ? source->toUnicode[c->p[0]] : toUnicode(source, c->p, c->w);
  return true;
}

// ---- Into AL32UTF8 ----------------------------------------------------------------------

int32_t scanIntoAl32Utf8(const CharsetDefinition* targetDef, const uint8_t* text,
                         const CharsetDefinition* source, uint32_t length, uint8_t /*mode*/,
                         const Blank& blank, NlsContext* ctx) {
  Tally t;
  const Target target(targetDef);
  const int32_t sourceId = source->charsetId;
  const ScanKernels& k = scanKernels();
  uint32_t at = 0;

  if (sourceId == CSID_US7ASCII) {
    for (; at < length; ++at) {
      const bool high = text[at] >= 0x80;
      if (high) t.lossy();
      t.add(high ? kUtf8ReplacementWidth : 1, 1, isBlank(text + at, 1, blank));
    }
    return finish(t, at, ctx);
  }

  if (source->maxBytesPerChar == 1) {
    const InvalidRow* row = invalidRowOf(source);
    const bool compareAscii = !(source->definitionFlags & CSD_ASCII_COMPATIBLE);
    for (; at < length; ++at) {
      const uint8_t b = text[at];
      const uint32_t u = source->toUnicode[b];
      uint32_t w;
      if (u == kNoValue) {
        t.lossy();
        w = kUtf8ReplacementWidth;
      } else {
        w = static_cast<uint32_t>(target.width(u, 1));
        if (w == 1) {
          if (compareAscii && u != b) t.changed();
        } else {
          t.changed();
        }
      }
      if (marked(row, b)) t.lossy();
      t.add(w, 1, isBlank(text + at, 1, blank));
    }
    return finish(t, at, ctx);
  }

  if (sourceId == CSID_AL32UTF8 || sourceId == CSID_UTF8) {
    const bool pairs = sourceId == CSID_UTF8;
    while (at < length) {
      Utf8Tally span;
      const uint32_t n = pairs ? utf8PairsSpan(k, text + at, length - at, &span)
                               : k.utf8ValidPrefix(text + at, length - at, &span);
      if (n != 0) {
        t.addSpan(n, span.chars, trailingBlanks(text + at, n, blank), 1);
        at += n;
        if (at == length) break;
      }
      const uint8_t* p = text + at;
      const uint32_t left = length - at;
      const uint32_t w = sourceWidth(source, p, left);
      if (w > left) {
        ctx->status = NLS_STATUS_INVALID_CHAR;
        t.blankRun = 0;
        break;
      }
      uint32_t cw = w;
      const uint32_t valid = pairs ? lxcsVldUTF8(p, w, left) : lxcsVldAL32UTF8(p, w);
      if (valid == 0) {
        t.lossy();
        cw = kUtf8ReplacementWidth;
      } else if (valid == 6) {
        t.changed();
        cw = 4;
      } else if (w == 3 && p[0] == 0xEF && p[1] == 0xBF && p[2] == 0xBD) {
        ctx->replacementSeen = 1000;
      }
      const uint32_t step = valid == 6 ? 6 : w;
      t.add(cw, 1, isBlank(p, step, blank));
      at += step;
    }
    return finish(t, at, ctx);
  }

  if (sourceId == CSID_AL16UTF16) {
    // Well-formed stretches by the kernel; everything else as below.
    while (at < length) {
      Utf16Tally span;
      const uint32_t n = k.utf16ValidPrefix(text + at, length - at, &span);
      if (n != 0) {
        t.changed();
        t.addSpan(utf8Bytes(span, 4), span.units - span.pairs, trailingBlanks(text + at, n, blank),
                  1);
        at += n;
        if (at == length) break;
      }
      const uint8_t* p = text + at;
      const uint32_t left = length - at;
      const uint32_t w = sourceWidth(source, p, left);
      if (w > left) {
        ctx->status = NLS_STATUS_INVALID_CHAR;
        t.blankRun = 0;
        break;
      }
      const uint32_t u = lxcsm2uAL16UTF16(source, p, w);
      const int32_t tw = u == kNoValue ? -3 : target.width(u, w);
      if (tw < 0)
        t.lossy();
      else
        t.changed();
      const uint32_t cw = tw < 0 ? kUtf8ReplacementWidth : static_cast<uint32_t>(tw);
      t.add(cw, 1, isBlank(p, w, blank));
      at += w;
    }
    return finish(t, at, ctx);
  }

  // Other multibyte sources: the general steps with UTF-8 widths; every
  // multibyte character is a change.
  const bool shiftSensitive = (source->definitionFlags & CSD_SHIFT_SENSITIVE) != 0;
  const ToUnicode toUnicode = toUnicodeOf(source);
  bool shifted = false;
  while (at < length) {
    SourceChar c;
    if (!nextSourceChar(source, toUnicode, shiftSensitive, true, text, length, at, shifted, t, ctx,
                        &c))
      break;
    const uint8_t* const p = c.p;
    const uint32_t w = c.w;
    const uint32_t u = c.u;
    uint32_t cw;
    if (u == kNoValue) {
      t.lossy();
      cw = kUtf8ReplacementWidth;
    } else {
      const int32_t tw = target.width(u, w);
      if (tw < 0) {
        t.lossy();
        cw = kUtf8ReplacementWidth;
      } else {
        cw = static_cast<uint32_t>(tw);
        if (w > 1) {
          t.changed();
        } else if (t.verdict == 0) {
          uint8_t out[8];
          const uint32_t n = target.fromUnicode(targetDef, out, u, 1, ctx);
          if (n != 1 || out[0] != p[0]) t.changed();
        }
      }
    }
    t.add(cw, 1, isBlank(p, w, blank));
    at += w;
  }
  if (shiftSensitive) {
    ctx->endsShifted = shifted ? 1 : 0;
    ctx->endsShiftedExtra = 0;
  }
  return finish(t, at, ctx);
}

// ---- Between UTF8 and AL16UTF16 ------------------------------------------------------------

int32_t scanBetweenUtf8AndUtf16(const CharsetDefinition* targetDef, const uint8_t* text,
                                const CharsetDefinition* source, uint32_t length, uint8_t /*mode*/,
                                const Blank& blank, NlsContext* ctx) {
  Tally t;
  const bool fromUtf8 = source->charsetId == CSID_UTF8;
  const bool toUtf8 = targetDef->charsetId == CSID_UTF8;
  const Target target(targetDef);
  const ScanKernels& k = scanKernels();
  uint32_t at = 0;
  while (at < length) {
    const uint8_t* p = text + at;
    const uint32_t left = length - at;
    if (fromUtf8) {
      Utf8Tally span;
      const uint32_t n = utf8PairsSpan(k, p, left, &span);
      if (n != 0) {
        // Well-formed one- to three-byte characters: as they are into UTF8,
        // two bytes each into AL16UTF16.
        if (!toUtf8) t.changed();
        const uint32_t blanks = trailingBlanks(p, n, blank);
        t.addSpan(toUtf8 ? n : 2 * span.chars, span.chars, blanks, toUtf8 ? 1 : 2);
        at += n;
        continue;
      }
    } else {
      Utf16Tally span;
      const uint32_t n = k.utf16ValidPrefix(p, left, &span);
      if (n != 0) {
        if (toUtf8) t.changed();
        const uint32_t blanks = trailingBlanks(p, n, blank);
        t.addSpan(toUtf8 ? utf8Bytes(span, 6) : n, span.units, blanks, toUtf8 ? 1 : 2);
        at += n;
        continue;
      }
    }
    const uint32_t w = sourceWidth(source, p, left);
    if (w > left) {
      ctx->status = NLS_STATUS_INVALID_CHAR;
      t.blankRun = 0;
      break;
    }
    uint32_t cw, count = 1, step = w;
    if (fromUtf8) {
      const uint32_t valid = lxcsVldUTF8(p, w, left);
      if (valid == 0) {
        t.lossy();
        cw = toUtf8 ? w : 2;
      } else {
        if (valid == 6) {
          step = 6;
          count = 2;
        }
        if (w == 3 && p[0] == 0xEF && p[1] == 0xBF && p[2] == 0xBD) ctx->replacementSeen = 1000;
        if (!toUtf8) t.changed();
        cw = toUtf8 ? step : (valid == 6 ? 4 : 2);
      }
    } else {
      const uint32_t valid = lxcsVldAL16UTF16(p, w);
      if (valid == 0) {
        t.lossy();
        cw = toUtf8 ? kUtf8ReplacementWidth : w;
      } else if (!toUtf8) {
        cw = w;
        count = w == 4 ? 2 : 1;
      } else {
        const uint32_t u = lxcsm2uAL16UTF16(source, p, w);
        const int32_t tw = u == kNoValue ? -3 : target.width(u, w);
        if (tw < 0) {
          t.lossy();
          cw = kUtf8ReplacementWidth;
        } else {
          t.changed();
          cw = static_cast<uint32_t>(tw);
          count = cw == 6 ? 2 : 1;
        }
      }
    }
    t.add(cw, count, isBlank(p, step, blank));
    at += step;
  }
  return finish(t, at, ctx);
}

// ---- The general scanner ----------------------------------------------------------------------

int32_t scanGeneral(const CharsetDefinition* targetDef, const uint8_t* text,
                    const CharsetDefinition* source, uint32_t length, uint8_t /*mode*/,
                    const Blank& blank, NlsContext* ctx) {
  Tally t;
  const Target target(targetDef);
  const int32_t sourceId = source->charsetId;
  const bool sameSet = targetDef == source;
  uint32_t at = 0;

  // US7ASCII into another ASCII-based set: one byte a character, two into
  // AL16UTF16; other bytes are not characters.
  if (sourceId == CSID_US7ASCII && !sameSet &&
      ((targetDef->definitionFlags & CSD_ASCII_COMPATIBLE) ||
       targetDef->charsetId == CSID_AL16UTF16)) {
    const bool utf16 = targetDef->charsetId == CSID_AL16UTF16;
    for (; at < length; ++at) {
      uint32_t cw = utf16 ? 2 : 1;
      if (text[at] >= 0x80) {
        t.lossy();
        cw = target.noValueWidth(1);
      } else if (utf16) {
        t.changed();
      }
      t.add(cw, 1, isBlank(text + at, 1, blank));
    }
    return finish(t, at, ctx);
  }

  // AL32UTF8 into the UTF-16 forms and UTF8: well-formed stretches by the
  // kernel.
  const bool utf8Spans = sourceId == CSID_AL32UTF8 && !sameSet &&
                         (target.kind == TargetKind::Utf16 || target.kind == TargetKind::Utf8Pairs);
  const bool toUtf16 = target.kind == TargetKind::Utf16;
  const bool utf8Chars = sourceId == CSID_AL32UTF8 && !sameSet && !utf8Spans;
  AsciiInTarget ascii = AsciiInTarget::Unknown;
  WidthCache widths;
  const ScanKernels& k = scanKernels();

  const InvalidRow* row = source->maxBytesPerChar == 1 ? invalidRowOf(source) : nullptr;
  const bool shiftSensitive = (source->definitionFlags & CSD_SHIFT_SENSITIVE) != 0;
  const ToUnicode toUnicode = toUnicodeOf(source);
  bool shifted = false;    // the source is inside a multibyte run
  bool targetRun = false;  // the converted text is inside a multibyte run
  while (at < length) {
    if (utf8Spans) {
      Utf8Tally span;
      const uint32_t n = k.utf8ValidPrefix(text + at, length - at, &span);
      if (n != 0) {
        if (toUtf16 || span.fourByte != 0) t.changed();
        const uint32_t width = toUtf16 ? 2 * (span.chars + span.fourByte) : n + 2 * span.fourByte;
        t.addSpan(width, span.chars + span.fourByte, trailingBlanks(text + at, n, blank),
                  toUtf16 ? 2 : 1);
        at += n;
        if (at == length) break;
      }
    }
    if (utf8Chars) {
      // AL32UTF8 into a table-driven target: as far as the characters are
      // well formed and printable ASCII or wider, without leaving the loop.
      if (ascii == AsciiInTarget::Unknown)
        ascii = length - at >= kAsciiBulkMinimum ? asciiInTarget(target, ctx)
                                                 : AsciiInTarget::Otherwise;
      at = walkUtf8(target, text, at, length, ascii, widths, blank, t, targetRun, ctx);
      if (at == length) break;
    }
    SourceChar c;
    if (!nextSourceChar(source, toUnicode, shiftSensitive, !target.shiftSensitive, text, length, at,
                        shifted, t, ctx, &c))
      break;
    const uint8_t* const p = c.p;
    const uint32_t w = c.w;
    const uint32_t u = c.u;
    uint32_t cw;
    if (sameSet) {
      // Only validated: one-byte characters by toUnicode, the rest measured.
      cw = w;
      if (w == 1 && (u == kNoValue || (sourceId == CSID_US7ASCII && p[0] >= 0x80))) t.lossy();
    } else if (u == kNoValue) {
      t.lossy();
      cw = target.noValueWidth(w);
    } else if (target.singleByte) {
      const uint8_t b = target.singleByteOf(u);
      if (b == targetDef->replacementByte && targetDef->toUnicode[b] != u)
        t.lossy();
      else if (w > 1 || b != p[0])
        t.changed();
      cw = 1;
    } else {
      const int32_t tw = target.width(u, w);
      if (tw < 0) {
        t.lossy();
        cw = static_cast<uint32_t>(-tw);
      } else {
        cw = static_cast<uint32_t>(tw);
        if (t.verdict == 0) {
          if (cw == w) {
            uint8_t out[16];
            const uint32_t n = target.fromUnicode(targetDef, out, u, 1, ctx);
            if (n != w || std::memcmp(out, p, w) != 0) t.changed();
          } else {
            t.changed();
          }
        }
      }
    }
    if (w == 1 && marked(row, p[0])) t.lossy();
    if (target.shiftSensitive) {
      // The target's own shift bytes around its multibyte runs.
      if (cw > 1 && !targetRun) {
        ++t.total;
        targetRun = true;
      } else if (cw == 1 && targetRun) {
        ++t.total;
        targetRun = false;
      }
    }
    t.add(cw, charsFor(target, cw), isBlank(p, w, blank));
    at += w;
  }
  if (targetRun) ++t.total;
  if (shiftSensitive) {
    ctx->endsShifted = shifted ? 1 : 0;
    ctx->endsShiftedExtra = 0;
  }
  return finish(t, at, ctx);
}

}  // namespace lxk::conv
