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
  }

  uint32_t columns(uint32_t codePoint) const {
    if (codePoint > 0x10FFFFu) return 1;
    return blocks_[index_[codePoint >> kBlockBits]][codePoint & ((1u << kBlockBits) - 1)];
  }

 private:
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

// Bytes below 0x80 from p, at most max, counted a word at a time.
inline uint32_t asciiRun(const uint8_t* p, uint32_t max) {
  uint32_t run = 0;
  while (max - run >= 16) {
    uint64_t a, b;
    std::memcpy(&a, p + run, 8);
    std::memcpy(&b, p + run + 8, 8);
    if ((a | b) & 0x8080808080808080ull) break;
    run += 16;
  }
  while (run < max && p[run] < 0x80) ++run;
  return run;
}

// The character at s (at rest, not at the end): its bytes and columns;
// bytes 0 when it is cut by the end.
struct Sized {
  uint32_t bytes;
  uint32_t columns;
};

inline Sized characterAt(const ColumnTable& table, const SetInfo& set, Reading reading,
                         const Scan& s) {
  const uint8_t* p = s.p;
  const uint32_t left = s.left();
  switch (reading) {
    case Reading::SingleByte:
      return {1, table.columns(set.def->toUnicode[*p])};
    case Reading::Utf8: {
      const uint32_t w = lxk::leadWidth(set.table, *p);
      if (w > left) return {0, 1};
      const uint32_t c = utf8SequenceValue(p, w);
      return {w, c == kNoCodePoint ? 1u : table.columns(c)};
    }
    case Reading::Utf16: {
      const uint32_t w = lxk::leadWidth(set.table, *p);
      if (w > left) return {0, 1};
      const uint32_t high = static_cast<uint32_t>(p[0]) << 8 | p[1];
      if (w == 2) return {2, table.columns(high)};
      const uint32_t low = static_cast<uint32_t>(p[2]) << 8 | p[3];
      if (!lxk::isLowSurrogateByte(p[2])) return {4, 1};
      return {4, table.columns(0x10000u + ((high - 0xD800u) << 10) + (low - 0xDC00u))};
    }
    case Reading::Codec:
      break;
  }
  uint32_t w = widthAt(set, s);
  if (w > left) return {0, 1};
  const Decoded d = decodeChar(set.def, p, left, s.shifted);
  if (d.width > w && d.width <= left) w = d.width;  // a surrogate pair written as two characters
  return {w, d.codePoint == kNoCodePoint ? 1u : table.columns(d.codePoint)};
}

}  // namespace

ColumnWalk walkColumns(const SetInfo& set, Scan& s, uint64_t budget) {
  static const ColumnTable table;  // built on first use, read-only after
  const Reading reading = readingOf(set);
  const bool asciiRuns =
      !set.shiftSensitive && reading != Reading::Utf16 &&
      ((set.def->definitionFlags & CSD_ASCII_COMPATIBLE) != 0 || reading == Reading::Utf8);
  ColumnWalk walk{0, false};
  settle(set, s);
  while (!s.atEnd()) {
    if (asciiRuns && *s.p < 0x80) {
      const uint64_t room = budget - walk.columns;
      const uint32_t run = asciiRun(s.p, room < s.left() ? static_cast<uint32_t>(room) : s.left());
      s.p += run;
      walk.columns += run;
      if (run == 0) break;  // the budget is used up
      continue;
    }
    const Sized c = characterAt(table, set, reading, s);
    if (c.bytes == 0) {
      walk.cut = true;
      break;
    }
    if (walk.columns + c.columns > budget) break;
    walk.columns += c.columns;
    s.p += c.bytes;
    settle(set, s);
  }
  return walk;
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
