// Display widths: the columns a string takes (lxsCntDisp) and copying whole
// characters within a number of columns (lxoCpDisp).  The rule of
// docs/display.md, read from ICU once into a two-stage table, so that the
// walks look columns up without calls; runs of ASCII are counted a word at
// a time in the sets whose bytes below 0x80 are the ASCII characters.
#include "nlscore/display.h"

#include <unicode/uchar.h>

#include <cstring>

#include "lxk/lxk.h"
#include "lxk/nls.h"
#include "nlscore/codec.h"
#include "nlscore/units.h"

namespace nls {

namespace {

// The rule for one code point, straight from ICU.
uint8_t columnsFromIcu(UChar32 c) {
  const int8_t category = u_charType(c);
  if (category == U_NON_SPACING_MARK || category == U_ENCLOSING_MARK || category == U_FORMAT_CHAR ||
      u_hasBinaryProperty(c, UCHAR_DEFAULT_IGNORABLE_CODE_POINT))
    return 0;
  const int32_t eastAsian = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
  return (eastAsian == U_EA_WIDE || eastAsian == U_EA_FULLWIDTH) ? 2 : 1;
}

// Blocks of 256 code points; equal blocks are stored once.  Unicode needs
// about a hundred distinct ones; the room left covers later versions.
constexpr uint32_t kBlockBits = 8;
constexpr uint32_t kBlockCount = 0x110000u >> kBlockBits;
constexpr uint32_t kMaxDistinctBlocks = 512;

class ColumnTable {
 public:
  ColumnTable() {
    uint32_t distinct = 0;
    for (uint32_t block = 0; block < kBlockCount; ++block) {
      uint8_t columns[1u << kBlockBits];
      for (uint32_t i = 0; i < (1u << kBlockBits); ++i)
        columns[i] = columnsFromIcu(static_cast<UChar32>(block << kBlockBits | i));
      uint32_t found = 0;
      while (found < distinct && std::memcmp(blocks_[found], columns, sizeof columns) != 0) ++found;
      if (found == distinct) {
        if (distinct == kMaxDistinctBlocks)
          found = 0;  // cannot happen with the blocks known
        else
          std::memcpy(blocks_[distinct++], columns, sizeof columns);
      }
      index_[block] = static_cast<uint16_t>(found);
    }
    for (uint32_t c = 0; c < 0x10000u; ++c) basic_[c] = columnsBeyondBasic(c);
  }

  // The basic plane in one load: the text of most sets lies there.
  uint32_t columns(uint32_t codePoint) const {
    if (codePoint < 0x10000u) return basic_[codePoint];
    return columnsBeyondBasic(codePoint);
  }

 private:
  uint8_t basic_[0x10000];

  uint32_t columnsBeyondBasic(uint32_t codePoint) const {
    if (codePoint > 0x10FFFFu) return 1;
    return blocks_[index_[codePoint >> kBlockBits]][codePoint & ((1u << kBlockBits) - 1)];
  }

  uint16_t index_[kBlockCount];
  uint8_t blocks_[kMaxDistinctBlocks][1u << kBlockBits];
};

// How the characters of a set are read for their columns.
enum class Reading : uint8_t { SingleByte, Utf8, Utf16, Codec };

Reading readingOf(const SetInfo& set) {
  if (set.singleByte) return Reading::SingleByte;
  switch (encodingOf(set.def)) {
    case Encoding::Utf8:
      return Reading::Utf8;
    case Encoding::Utf16Be:
      return Reading::Utf16;
    default:
      return Reading::Codec;
  }
}

// Bytes below 0x80 from p, at most max, sixteen at a time while they last.
inline uint32_t asciiBlocks(const uint8_t* p, uint32_t max) {
  uint32_t run = 0;
  while (max - run >= 16) {
    uint64_t a, b;
    std::memcpy(&a, p + run, 8);
    std::memcpy(&b, p + run + 8, 8);
    if ((a | b) & 0x8080808080808080ull) break;
    run += 16;
  }
  return run;
}

// The character at s (at rest, not at the end) of a set read by kReading:
// its bytes and columns; bytes 0 when it is cut by the end.
struct Sized {
  uint32_t bytes;
  uint32_t columns;
};

template <Reading kReading>
inline Sized characterAt(const ColumnTable& table, const SetInfo& set, const Scan& s) {
  const uint8_t* p = s.p;
  const uint32_t left = s.left();
  if constexpr (kReading == Reading::SingleByte) {
    return {1, table.columns(set.def->toUnicode[*p])};
  } else if constexpr (kReading == Reading::Utf16) {
    const uint32_t w = lxk::leadWidth(set.table, *p);
    if (w > left) return {0, 1};
    const uint32_t high = static_cast<uint32_t>(p[0]) << 8 | p[1];
    if (w == 2) return {2, table.columns(high)};
    if (!lxk::isLowSurrogateByte(p[2])) return {4, 1};
    const uint32_t low = static_cast<uint32_t>(p[2]) << 8 | p[3];
    return {4, table.columns(0x10000u + ((high - 0xD800u) << 10) + (low - 0xDC00u))};
  } else {
    uint32_t w = widthAt(set, s);
    if (w > left) return {0, 1};
    const Decoded d = decodeChar(set.def, p, left, s.shifted);
    if (d.width > w && d.width <= left) w = d.width;  // a surrogate pair written as two characters
    return {w, d.codePoint == kNoCodePoint ? 1u : table.columns(d.codePoint)};
  }
}

template <Reading kReading>
ColumnWalk walkAs(const ColumnTable& table, const SetInfo& set, Scan& s, uint64_t budget) {
  // One-byte ASCII characters of one column each, where the set has them.
  const bool asciiSingle =
      kReading == Reading::Utf8 || (kReading != Reading::Utf16 && !set.shiftSensitive &&
                                    (set.def->definitionFlags & CSD_ASCII_COMPATIBLE) != 0);
  ColumnWalk walk{0, false};
  uint64_t columns = 0;
  settle(set, s);
  const uint8_t* p = s.p;
  const uint8_t* const end = s.end;
  while (p < end) {
    if (asciiSingle && *p < 0x80) {
      if (columns == budget) break;
      // A run of ASCII: sixteen bytes at a time while it lasts, then byte by
      // byte, never past the budget.
      const uint64_t room = budget - columns;
      const uint32_t left = static_cast<uint32_t>(end - p);
      const uint8_t* const stop = p + (room < left ? static_cast<uint32_t>(room) : left);
      const uint8_t* q = p + asciiBlocks(p, static_cast<uint32_t>(stop - p));
      while (q < stop && *q < 0x80) ++q;
      columns += static_cast<uint64_t>(q - p);
      p = q;
      continue;
    }
    s.p = p;
    const Sized c = characterAt<kReading>(table, set, s);
    if (c.bytes == 0) {
      walk.cut = true;
      break;
    }
    if (columns + c.columns > budget) break;
    columns += c.columns;
    p += c.bytes;
    if (set.shiftSensitive) {
      s.p = p;
      settle(set, s);
      p = s.p;
    }
  }
  s.p = p;
  walk.columns = columns;
  return walk;
}

// AL32UTF8 counted whole, without a budget: two- and three-byte characters
// are told by their bits, so the next step does not wait for the lead-byte
// table, which is read beside it and compared at the end (*agrees false: the
// table gives some lead byte another width, and the walk must be redone by
// the table).
ColumnWalk countUtf8(const ColumnTable& table, const uint16_t* leadTable, Scan& s, bool* agrees) {
  const uint8_t* p = s.p;
  const uint8_t* const end = s.end;
  uint64_t columns = 0;
  uint32_t mismatch = 0;
  bool cut = false;
  while (p < end) {
    const uint8_t b = *p;
    if (b < 0x80) {
      ++columns;
      ++p;
      continue;
    }
    const uint32_t left = static_cast<uint32_t>(end - p);
    uint32_t w, add;
    if ((b & 0xF0u) == 0xE0u && left >= 3) {
      const uint32_t c = (b & 0x0Fu) << 12 | (p[1] & 0x3Fu) << 6 | (p[2] & 0x3Fu);
      const uint32_t notContinuation = ((p[1] ^ 0x80u) | (p[2] ^ 0x80u)) & 0xC0u;
      mismatch |= lxk::trailingBytes(leadTable, b) ^ 2u;
      w = 3;
      add = (notContinuation == 0 && c >= 0x800u && !isSurrogateValue(c)) ? table.columns(c) : 1u;
    } else if (b >= 0xC2u && b < 0xE0u && left >= 2) {
      const uint32_t c = (b & 0x1Fu) << 6 | (p[1] & 0x3Fu);
      mismatch |= lxk::trailingBytes(leadTable, b) ^ 1u;
      w = 2;
      add = ((p[1] ^ 0x80u) & 0xC0u) ? 1u : table.columns(c);
    } else {
      w = lxk::leadWidth(leadTable, b);
      if (w > left) {
        cut = true;
        break;
      }
      const uint32_t c = utf8SequenceValue(p, w);
      add = (c == kNoCodePoint || isSurrogateValue(c)) ? 1u : table.columns(c);
    }
    columns += add;
    p += w;
  }
  *agrees = mismatch == 0;
  if (*agrees) s.p = p;
  return {columns, cut};
}

// AL32UTF8 within a budget, by the lead-byte table.
ColumnWalk walkUtf8(const ColumnTable& table, const uint16_t* leadTable, Scan& s, uint64_t budget) {
  if (budget == UINT64_MAX) {
    bool agrees;
    const ColumnWalk whole = countUtf8(table, leadTable, s, &agrees);
    if (agrees) return whole;
  }
  const uint8_t* p = s.p;
  const uint8_t* const end = s.end;
  uint64_t columns = 0;
  bool cut = false;
  while (p < end) {
    const uint8_t b = *p;
    if (b < 0x80) {
      if (columns == budget) break;
      ++columns;
      ++p;
      continue;
    }
    const uint32_t w = lxk::leadWidth(leadTable, b);
    if (w > static_cast<uint32_t>(end - p)) {
      cut = true;
      break;
    }
    const uint32_t c = utf8SequenceValue(p, w);
    const uint32_t add = (c == kNoCodePoint || isSurrogateValue(c)) ? 1u : table.columns(c);
    if (columns + add > budget) break;
    columns += add;
    p += w;
  }
  s.p = p;
  return {columns, cut};
}

const ColumnTable& columnTable() {
  static const ColumnTable table;  // built on first use, read-only after
  return table;
}

}  // namespace

ColumnWalk walkColumns(const SetInfo& set, Scan& s, uint64_t budget) {
  const ColumnTable& table = columnTable();
  switch (readingOf(set)) {
    case Reading::SingleByte:
      return walkAs<Reading::SingleByte>(table, set, s, budget);
    case Reading::Utf8:
      return walkUtf8(table, set.table, s, budget);
    case Reading::Utf16:
      return walkAs<Reading::Utf16>(table, set, s, budget);
    default:
      return walkAs<Reading::Codec>(table, set, s, budget);
  }
}

}  // namespace nls

using namespace nls;

extern "C" {

// A character cut off by the end of the text takes one column.
NLS_API uint32_t lxsCntDisp(const void* str, uint32_t length, uint32_t /*options*/,
                            const CharsetHandle* handle, NlsContext* ctx) {
  if (str == nullptr || length == 0) return 0;
  const SetInfo set = setInfo(handle, definitionFor(handle, ctx));
  const auto* p = static_cast<const uint8_t*>(str);
  Scan s{p, p + length, false};
  const ColumnWalk walk = walkColumns(set, s, UINT64_MAX);
  const uint64_t columns = walk.columns + (walk.cut ? 1u : 0u);
  return columns > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(columns);
}

// The source's whole characters whose running total of columns stays
// within width, copied as lxoCpStr copies them.
NLS_API uint32_t lxoCpDisp(CharCursor* dst, uint32_t capacity, CharCursor* src, uint32_t srcBytes,
                           uint32_t width, uint32_t options, NlsContext* ctx) {
  const SetInfo set = cursorSet(src);
  Scan s = cursorScan(src);
  if (s.atEnd()) return 0;
  if (srcBytes < s.left()) s.end = s.p + srcBytes;
  const uint8_t* const from = src->current;
  walkColumns(set, s, width);
  return lxoCpStr(dst, capacity, src, static_cast<uint32_t>(s.p - from), options, ctx);
}

}  // extern "C"
