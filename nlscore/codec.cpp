// One character at a time between a set's bytes and Unicode scalar values,
// for every encoding of the catalogue, from the tables in the definitions.
#include "nlscore/codec.h"

#include <cstring>

#include "frame/unit_rules.h"
#include "nlscore/definition_private.h"

namespace nls {
namespace {

// The private tables the generator writes (definition_private.h).
using enum PrivateTable;

struct GbRange {
  uint32_t first, last, firstLinear;
};

constexpr uint32_t kGbSupplementaryLinear = 189000;  // linear index of 0x90308130

inline uint32_t privateOffset(const CharsetDefinition* def, PrivateTable which) {
  return header(def).privateTable(which);
}

template <typename T>
inline const T* privateData(const CharsetDefinition* def, PrivateTable which) {
  return reinterpret_cast<const T*>(bytesAt(def, privateOffset(def, which)));
}

inline uint32_t leadWidth(const CharsetDefinition* def, uint8_t b) {
  return lxk::leadWidth(def->baseLeadByteTable, b);
}

inline uint32_t singleByteCode(const CharsetDefinition* def, uint8_t b) {
  const uint32_t u = def->toUnicode[b];
  return u == 0xFFFD ? kNoCodePoint : u;
}

uint32_t doubleByteCode(const CharsetDefinition* def, uint8_t first, uint8_t second) {
  if (privateOffset(def, kRowIndex) == 0) return kNoCodePoint;
  const uint32_t row = privateData<uint32_t>(def, kRowIndex)[first];
  if (row == 0) return kNoCodePoint;
  return reinterpret_cast<const uint32_t*>(bytesAt(def, row))[second];
}

uint32_t longSequenceCode(const CharsetDefinition* def, const uint8_t* p, uint32_t width) {
  const uint32_t count = privateOffset(def, kLongCount);
  if (count == 0) return kNoCodePoint;
  uint32_t key = 0;
  for (uint32_t i = 0; i < width; ++i) key = key << 8 | p[i];
  const uint32_t* pairs = privateData<uint32_t>(def, kLongSequences);
  uint32_t lo = 0, hi = count;
  while (lo < hi) {
    const uint32_t mid = (lo + hi) / 2;
    if (pairs[2 * mid] < key)
      lo = mid + 1;
    else
      hi = mid;
  }
  return (lo < count && pairs[2 * lo] == key) ? pairs[2 * lo + 1] : kNoCodePoint;
}

// ---- UTF8: a supplementary character is a pair of three-byte surrogates ----------

Decoded decodeCesu8(const CharsetDefinition* def, const uint8_t* p, uint32_t available) {
  const uint32_t width = leadWidth(def, p[0]);
  if (width > available) return {width, kNoCodePoint};
  const uint32_t c = utf8SequenceValue(p, width);
  if (c == kNoCodePoint) return {width, kNoCodePoint};
  if (!isSurrogateValue(c)) return {width, c > 0xFFFF ? kNoCodePoint : c};
  if (c > 0xDBFF || available < 6 || leadWidth(def, p[3]) != 3) return {width, kNoCodePoint};
  const uint32_t low = utf8SequenceValue(p + 3, 3);
  if (low < 0xDC00 || low > 0xDFFF) return {width, kNoCodePoint};
  return {6, 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00)};
}

}  // namespace

namespace {

// UTF-EBCDIC: the I8 form (UTF-8 with five-bit trailing bytes) permuted into
// EBCDIC byte positions.  Code points above U+3FFFF, which would need five
// bytes, are written as a surrogate pair of two four-byte sequences.
uint32_t i8Sequence(const uint8_t* toI8, const uint8_t* p, uint32_t width) {
  static constexpr uint32_t kMin[5] = {0, 0, 0xA0, 0x400, 0x4000};
  const uint32_t lead = toI8[p[0]];
  uint32_t c;
  switch (width) {
    case 1:
      return lead < 0xA0 ? lead : kNoCodePoint;
    case 2:
      c = lead & 0x1Fu;
      break;
    case 3:
      c = lead & 0x0Fu;
      break;
    case 4:
      c = lead & 0x07u;
      break;
    default:
      return kNoCodePoint;
  }
  for (uint32_t i = 1; i < width; ++i) {
    const uint32_t t = toI8[p[i]];
    if ((t & 0xE0) != 0xA0) return kNoCodePoint;
    c = c << 5 | (t & 0x1Fu);
  }
  return c < kMin[width] ? kNoCodePoint : c;
}

Decoded decodeUtfEbcdic(const CharsetDefinition* def, const uint8_t* p, uint32_t available) {
  const uint8_t* toI8 = privateData<uint8_t>(def, kEbcdicToI8);
  const uint32_t width = leadWidth(def, p[0]);
  if (width > available) return {width, kNoCodePoint};
  const uint32_t c = i8Sequence(toI8, p, width);
  if (c == kNoCodePoint || !isSurrogateValue(c)) return {width, c};
  // A pair is only the form of code points that have no four-byte sequence.
  if (c > 0xDBFF || available < 8 || leadWidth(def, p[4]) != 4) return {width, kNoCodePoint};
  const uint32_t low = i8Sequence(toI8, p + 4, 4);
  if (low < 0xDC00 || low > 0xDFFF) return {width, kNoCodePoint};
  const uint32_t scalar = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
  return scalar <= 0x3FFFF ? Decoded{width, kNoCodePoint} : Decoded{8, scalar};
}

uint32_t encodeI8(const uint8_t* toEbcdic, uint32_t c, uint8_t* out) {
  uint32_t width, leadBits;
  if (c < 0xA0) {
    out[0] = toEbcdic[c];
    return 1;
  }
  if (c < 0x400) {
    width = 2;
    leadBits = 0xC0;
  } else if (c < 0x4000) {
    width = 3;
    leadBits = 0xE0;
  } else {
    width = 4;
    leadBits = 0xF0;
  }
  for (uint32_t i = width - 1; i > 0; --i) {
    out[i] = toEbcdic[0xA0 | (c & 0x1F)];
    c >>= 5;
  }
  out[0] = toEbcdic[leadBits | c];
  return width;
}

uint32_t encodeUtfEbcdic(const CharsetDefinition* def, uint32_t c, uint8_t* out) {
  const uint8_t* toEbcdic = privateData<uint8_t>(def, kI8ToEbcdic);
  if (c <= 0x3FFFF) return encodeI8(toEbcdic, c, out);
  const uint32_t v = c - 0x10000;
  const uint32_t n = encodeI8(toEbcdic, 0xD800 | v >> 10, out);
  return n + encodeI8(toEbcdic, 0xDC00 | (v & 0x3FF), out + n);
}

// ---- UTF-16 --------------------------------------------------------------------

Decoded decodeUtf16(const uint8_t* p, uint32_t available, bool bigEndian) {
  auto unitAt = [&](uint32_t i) {
    return bigEndian ? static_cast<uint32_t>(p[i] << 8 | p[i + 1])
                     : static_cast<uint32_t>(p[i + 1] << 8 | p[i]);
  };
  if (available < 2) return {2, kNoCodePoint};
  const uint32_t u = unitAt(0);
  if (u < 0xD800 || u > 0xDFFF) return {2, u};
  if (u > 0xDBFF) return {2, kNoCodePoint};
  // A high surrogate is the lead of a four-byte character.
  if (available < 4) return {4, kNoCodePoint};
  const uint32_t low = unitAt(2);
  if (low < 0xDC00 || low > 0xDFFF) return {4, kNoCodePoint};
  return {4, 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00)};
}

uint32_t encodeUtf16(uint32_t c, uint8_t* out, bool bigEndian) {
  auto put = [&](uint32_t at, uint32_t unit) {
    out[at + (bigEndian ? 0 : 1)] = static_cast<uint8_t>(unit >> 8);
    out[at + (bigEndian ? 1 : 0)] = static_cast<uint8_t>(unit);
  };
  if (c < 0x10000) {
    put(0, c);
    return 2;
  }
  const uint32_t v = c - 0x10000;
  put(0, 0xD800 | v >> 10);
  put(2, 0xDC00 | (v & 0x3FF));
  return 4;
}

// ---- GB18030 -------------------------------------------------------------------------

inline bool inRange(uint8_t b, uint8_t lo, uint8_t hi) { return b >= lo && b <= hi; }

Decoded decodeGb18030(const CharsetDefinition* def, const uint8_t* p, uint32_t available) {
  if (p[0] < 0x80) return {1, p[0]};
  if (!inRange(p[0], 0x81, 0xFE)) return {1, kNoCodePoint};
  if (available < 2) return {2, kNoCodePoint};
  if (!lxk::isGb18030FourByteSecond(p[1])) return {2, doubleByteCode(def, p[0], p[1])};
  if (available < 4) return {4, kNoCodePoint};
  if (!inRange(p[2], 0x81, 0xFE) || !inRange(p[3], 0x30, 0x39)) return {4, kNoCodePoint};
  const uint32_t linear =
      (((p[0] - 0x81u) * 10u + (p[1] - 0x30u)) * 126u + (p[2] - 0x81u)) * 10u + (p[3] - 0x30u);
  if (linear >= kGbSupplementaryLinear) {
    const uint32_t c = 0x10000 + (linear - kGbSupplementaryLinear);
    return {4, c <= 0x10FFFF ? c : kNoCodePoint};
  }
  const GbRange* ranges = privateData<GbRange>(def, kGbRangesByLinear);
  uint32_t lo = 0, hi = privateOffset(def, kGbRangeCount);
  while (lo < hi) {  // the last range whose first linear index is <= linear
    const uint32_t mid = (lo + hi) / 2;
    if (ranges[mid].firstLinear <= linear)
      lo = mid + 1;
    else
      hi = mid;
  }
  if (lo == 0) return {4, kNoCodePoint};
  const GbRange& r = ranges[lo - 1];
  const uint32_t c = r.first + (linear - r.firstLinear);
  return {4, c <= r.last ? c : kNoCodePoint};
}

uint32_t encodeGbLinear(uint32_t linear, uint8_t* out) {
  out[3] = static_cast<uint8_t>(0x30 + linear % 10);
  linear /= 10;
  out[2] = static_cast<uint8_t>(0x81 + linear % 126);
  linear /= 126;
  out[1] = static_cast<uint8_t>(0x30 + linear % 10);
  out[0] = static_cast<uint8_t>(0x81 + linear / 10);
  return 4;
}

// ---- From-Unicode page tables ------------------------------------------------------------

// The entry of a 16-bit code in a page table, or null when unmapped; *n gets
// the bytes per entry and *fourByte the page's four-byte flag.
const uint8_t* pageEntry(const uint8_t* table, uint32_t code, uint32_t* n, bool* fourByte) {
  const uint8_t* page = table + (code >> 8) * 8;
  const uint8_t flags = page[5];
  if (flags == 0) return nullptr;
  uint32_t offset;
  std::memcpy(&offset, page, 4);
  *n = flags & 0x0Fu;
  *fourByte = (flags & 0x40) != 0;
  const uint8_t* data = table + offset;
  const uint32_t low = code & 0xFF;
  if (!(flags & 0x20)) return data + low * *n;
  if (!(data[low / 8] & (1u << (low % 8)))) return nullptr;
  // The entry's rank among the mapped codes: the set bits below it, counted
  // eight bitmap bytes at a time (without a popcount instruction, the
  // builtin would be a library call per byte).
  uint32_t before = 0;
  for (uint32_t word = 0; word <= low / 64; ++word) {
    uint64_t bits = 0;
    for (uint32_t i = 0; i < 8; ++i) bits |= uint64_t{data[8 * word + i]} << (8 * i);
    if (word == low / 64) bits &= (uint64_t{1} << (low % 64)) - 1u;
    bits -= (bits >> 1) & 0x5555555555555555ull;
    bits = (bits & 0x3333333333333333ull) + ((bits >> 2) & 0x3333333333333333ull);
    bits = (bits + (bits >> 4)) & 0x0F0F0F0F0F0F0F0Full;
    before += static_cast<uint32_t>((bits * 0x0101010101010101ull) >> 56);
  }
  return data + 32 + before * *n;
}

// Mapped bytes of an entry, without its leading zero bytes.
uint32_t entryBytes(const uint8_t* e, uint32_t n, bool fourByte, uint8_t* out) {
  uint32_t width;
  if (fourByte && e[0] != 0) {
    width = 4;
  } else {
    uint32_t zeros = 0;
    while (zeros < n && e[zeros] == 0) ++zeros;
    width = zeros == n ? 1 : n - zeros;
  }
  std::memcpy(out, e + (n - width), width);
  return width;
}

uint32_t encodeFromTables(const CharsetDefinition* def, uint32_t c, uint8_t* out) {
  const uint8_t* base = fromUnicodeBase(def);
  const uint8_t* table = base;
  if ((def->definitionFlags & CSD_SUPPLEMENTARY_MAP) && encodingOf(def) != Encoding::Gb18030) {
    if (c > 0xFFFFFF) return 0;
    int32_t planeOffset;
    std::memcpy(&planeOffset, base + (c >> 16) * 4, 4);
    if (planeOffset < 0) return 0;
    table = base + 1024 + planeOffset;
  } else if (c > 0xFFFF) {
    return 0;
  }
  uint32_t n = 0;
  bool fourByte = false;
  const uint8_t* e = pageEntry(table, c & 0xFFFF, &n, &fourByte);
  if (e == nullptr) return 0;
  return entryBytes(e, n, fourByte, out);
}

}  // namespace

Decoded decodeChar(const CharsetDefinition* def, const uint8_t* p, uint32_t available,
                   bool shifted) {
  switch (encodingOf(def)) {
    case Encoding::SingleByte:
      return {1, singleByteCode(def, p[0])};
    case Encoding::Utf8:
      return decodeUtf8(def->baseLeadByteTable, p, available);
    case Encoding::Cesu8:
      if (p[0] < 0x80) return {1, p[0]};
      return decodeCesu8(def, p, available);
    case Encoding::UtfEbcdic:
      return decodeUtfEbcdic(def, p, available);
    case Encoding::Utf16Be:
      return decodeUtf16(p, available, true);
    case Encoding::Utf16Le:
      return decodeUtf16(p, available, false);
    case Encoding::Gb18030:
      return decodeGb18030(def, p, available);
    case Encoding::ShiftDbcs:
      if (!shifted) return {1, singleByteCode(def, p[0])};
      if (available < 2) return {2, kNoCodePoint};
      return {2, doubleByteCode(def, p[0], p[1])};
    case Encoding::LeadByte: {
      const uint32_t width = leadWidth(def, p[0]);
      if (width > available) return {width, kNoCodePoint};
      if (width == 1) return {1, singleByteCode(def, p[0])};
      if (width == 2) return {2, doubleByteCode(def, p[0], p[1])};
      return {width, longSequenceCode(def, p, width)};
    }
  }
  return {1, kNoCodePoint};
}

uint32_t encodeChar(const CharsetDefinition* def, uint32_t c, uint8_t* out, bool* doubleByte) {
  if (doubleByte) *doubleByte = false;
  if (c > 0x10FFFF || isSurrogateValue(c)) return 0;
  switch (encodingOf(def)) {
    case Encoding::Utf8:
      return encodeUtf8Value(c, out);
    case Encoding::Cesu8:
      if (c < 0x10000) return encodeUtf8Value(c, out);
      encodeUtf8Value(0xD800 | (c - 0x10000) >> 10, out);
      encodeUtf8Value(0xDC00 | ((c - 0x10000) & 0x3FF), out + 3);
      return 6;
    case Encoding::UtfEbcdic:
      return encodeUtfEbcdic(def, c, out);
    case Encoding::Utf16Be:
      return encodeUtf16(c, out, true);
    case Encoding::Utf16Le:
      return encodeUtf16(c, out, false);
    case Encoding::SingleByte: {
      if (c > 0xFFFF) return 0;
      // One-byte pages are read directly; unmapped codes hold the
      // replacement byte, which then does not map back to the code.
      const uint8_t* table = fromUnicodeBase(def);
      uint32_t offset;
      std::memcpy(&offset, table + (c >> 8) * 8, 4);
      const uint8_t b = table[offset + (c & 0xFF)];
      if (def->toUnicode[b] != c) return 0;
      out[0] = b;
      return 1;
    }
    case Encoding::Gb18030: {
      if (c >= 0x10000) return encodeGbLinear(0x2E248 + (c - 0x10000), out);
      const uint32_t n = encodeFromTables(def, c, out);
      if (n) return n;
      const GbRange* ranges = privateData<GbRange>(def, kGbRanges);
      uint32_t lo = 0, hi = privateOffset(def, kGbRangeCount);
      while (lo < hi) {
        const uint32_t mid = (lo + hi) / 2;
        if (ranges[mid].last < c)
          lo = mid + 1;
        else
          hi = mid;
      }
      if (lo == privateOffset(def, kGbRangeCount) || ranges[lo].first > c) return 0;
      return encodeGbLinear(ranges[lo].firstLinear + (c - ranges[lo].first), out);
    }
    case Encoding::ShiftDbcs: {
      const uint32_t n = encodeFromTables(def, c, out);
      if (doubleByte) *doubleByte = n == 2;
      return n;
    }
    case Encoding::LeadByte:
      return encodeFromTables(def, c, out);
  }
  return 0;
}

}  // namespace nls
