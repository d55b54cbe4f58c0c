// LPAD and RPAD: a string padded with repetitions of a pad string, or cut,
// to a width.  Single-byte sets count the width in bytes and are padded
// here without calls; multibyte sets count display columns (lxsCntDisp; a
// character may take two) and copy through cursors, closing a shifted run
// at the end.  An empty pad string pads with the set's blank.
#include <cstring>

#include "frame/charset_view.h"
#include "frame/frame.h"
#include "lxk/lxk.h"

namespace lxk {
namespace {

inline uint32_t minU32(uint32_t a, uint32_t b) { return a < b ? a : b; }

// Fills n bytes with repetitions of the pattern, the last one cut: one
// copy of the pattern, then copies of all that is filled, doubling.  What
// is filled is whole repetitions until the last copy, so the phase holds.
void fillRepeated(uint8_t* out, uint32_t n, const uint8_t* pattern, uint32_t patternLength) {
  if (patternLength == 1) {
    std::memset(out, pattern[0], n);
    return;
  }
  uint32_t done = minU32(n, patternLength);
  std::memcpy(out, pattern, done);
  while (done < n) {
    const uint32_t take = minU32(done, n - done);
    std::memcpy(out + done, out, take);
    done += take;
  }
}

// ---- Single-byte sets: widths are bytes -------------------------------------------

uint32_t padBytes(uint8_t* out, uint32_t capacity, const uint8_t* src, uint32_t srcLength,
                  const uint8_t* pad, uint32_t padLength, uint32_t width, bool left,
                  uint8_t blank) {
  const uint32_t total = minU32(width, capacity);
  if (total <= srcLength) {
    // Cut on the right, for LPAD as for RPAD.
    std::memcpy(out, src, total);
    return total;
  }
  const uint32_t fill = total - srcLength;
  uint8_t* const padAt = left ? out : out + srcLength;
  if (srcLength != 0) std::memcpy(left ? out + fill : out, src, srcLength);
  if (padLength == 0) {
    std::memset(padAt, blank, fill);
  } else {
    fillRepeated(padAt, fill, pad, padLength);
  }
  return total;
}

// Whether every byte is below 0x80, eight at a time.
bool allAscii(const uint8_t* p, uint32_t n) {
  uint64_t any = 0;
  uint32_t i = 0;
  for (; n - i >= 8; i += 8) {
    uint64_t word;
    std::memcpy(&word, p + i, 8);
    any |= word;
    if (any & 0x8080808080808080ull) return false;
  }
  for (; i < n; ++i) any |= p[i];
  return (any & 0x80) == 0;
}

// Text of one-byte ASCII characters in a set whose bytes below 0x80 are the
// ASCII characters takes a column per byte, and the blank is 0x20: the
// column path would write exactly what the byte path writes.
bool paddedAsBytes(const uint8_t* src, uint32_t srcLength, const uint8_t* pad, uint32_t padLength,
                   const CharsetHandle* handle, NlsContext* ctx) {
  if (handle->flags & (CSH_SHIFT_SENSITIVE | CSH_FIXED_WIDTH | CSH_UTF16)) return false;
  if (!(definitionOf(handle, ctx)->definitionFlags & CSD_ASCII_COMPATIBLE)) return false;
  return allAscii(pad, padLength) && allAscii(src, srcLength);
}

// ---- Multibyte sets: widths are display columns ---------------------------------------

// What a padded result is made of: the source's bytes (sourceWritten of
// them, at the end for LPAD, at the start for RPAD) and whole pad
// characters, whose columns are known when only whole pad strings went in.
struct Composition {
  bool padded = false;  // the source and padding, not a cut source
  bool sourceWhole = false;
  uint32_t sourceWritten = 0;
  uint32_t sourceColumns = 0;
  bool paddingKnown = true;
  uint64_t paddingColumns = 0;
};

// Display columns of a result.  Where each character's columns follow from
// its own bytes and the source went in whole, a padded result has the
// source's columns plus the padding's, and at most the padding is counted.
// Sets that write a character beyond the basic plane as two characters of
// their own (UTF8, UTFE) could join a pad character to the source's last
// one, and shift-sensitive sets read the padding in the mode the source
// leaves: their whole result is counted.
uint32_t resultColumns(const uint8_t* out, uint32_t total, const Composition& c, bool left,
                       const CharsetHandle* handle, NlsContext* ctx) {
  const CharsetView v = viewOf(handle, ctx);
  const bool selfContained = v.kind == CharsetClass::Utf8 || v.kind == CharsetClass::Gb18030 ||
                             (v.kind == CharsetClass::LeadByte && v.def->charsetId != CSID_UTFE);
  if (!selfContained || !c.padded || !c.sourceWhole || c.sourceWritten > total)
    return lxsCntDisp(out, total, OPT_STANDARD, handle, ctx);
  const uint64_t padding = c.paddingKnown
                               ? c.paddingColumns
                               : lxsCntDisp(left ? out : out + c.sourceWritten,
                                            total - c.sourceWritten, OPT_STANDARD, handle, ctx);
  const uint64_t columns = c.sourceColumns + padding;
  return columns > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(columns);
}

// Room in the destination, which a left pad's reservation for the source may
// take below zero for a while.
inline uint32_t roomFor(int64_t room) { return room > 0 ? static_cast<uint32_t>(room) : 0u; }

uint32_t padColumns(uint8_t* out, uint32_t capacity, const uint8_t* src, uint32_t srcLength,
                    const uint8_t* pad, uint32_t padLength, uint32_t width, bool left,
                    uint32_t* resultWord, const CharsetHandle* handle, NlsContext* ctx) {
  // The blank, one character of u bytes, stands in for an empty pad string
  // and fills a last column; its bytes are asked for when one is written.
  const uint32_t u = (handle->flags & CSH_FIXED_WIDTH) ? minU32(handle->maxCharWidth, 6) : 1u;
  uint8_t blank[6];
  bool blankKnown = false;
  const auto fetchBlank = [&] {
    if (blankKnown) return;
    if (handle->flags & CSH_FIXED_WIDTH)
      lxhlinfo(handle, LXH_ITEM_BLANK, blank, sizeof blank, ctx);
    else
      blank[0] = singleByteBlank(handle, ctx);
    blankKnown = true;
  };
  if (pad == nullptr || padLength == 0) {
    fetchBlank();
    pad = blank;
    padLength = u;
  }

  CharCursor dst, source;
  int64_t room = capacity - int64_t{lxmopen(out, capacity, &dst, handle, ctx, 1)};
  const uint32_t sourceLead = lxmopen(src, srcLength, &source, handle, ctx, 0);
  const uint32_t sourceBytes = srcLength - sourceLead;
  Composition made;
  made.sourceColumns = lxsCntDisp(src, srcLength, OPT_STANDARD, handle, ctx);
  int64_t need = int64_t{width} - made.sourceColumns;
  const uint32_t padColumnsRaw = lxsCntDisp(pad, padLength, OPT_STANDARD, handle, ctx);

  if (need < 1) {
    room -= lxoCpDisp(&dst, roomFor(room), &source, sourceBytes, width, OPT_STANDARD, ctx);
  } else {
    made.padded = true;
    if (left) {
      room -= srcLength;  // kept for the source, which follows the padding
    } else {
      made.sourceWritten = lxoCpStr(&dst, roomFor(room), &source, sourceBytes, OPT_STANDARD, ctx);
      room -= made.sourceWritten;
    }
    const int64_t padWidth = padColumnsRaw != 0 ? padColumnsRaw : 1;
    CharCursor padCursor;
    const uint32_t padBytes = padLength - lxmopen(pad, padLength, &padCursor, handle, ctx, 0);
    const CharCursor padStart = padCursor;
    // A part of the pad string, up to some columns: their number is not told.
    const auto copyPart = [&](int64_t columns) {
      const uint32_t n = lxoCpDisp(
          &dst, roomFor(room), &padCursor, padBytes,
          static_cast<uint32_t>(columns > UINT32_MAX ? UINT32_MAX : columns), OPT_STANDARD, ctx);
      room -= n;
      if (n != 0) made.paddingKnown = false;
    };
    if (need < padWidth) {
      copyPart(need);
    } else {
      while (room >= padBytes) {
        const uint32_t n = lxoCpStr(&dst, roomFor(room), &padCursor, padBytes, OPT_STANDARD, ctx);
        room -= n;
        need -= padWidth;
        padCursor = padStart;
        if (n == padBytes)
          made.paddingColumns += padColumnsRaw;
        else if (n != 0)
          made.paddingKnown = false;
        // Nothing written: every further round would write nothing either.
        if (need < padWidth || n == 0) break;
        if (!dst.shiftSensitive) {
          // Without shift states every further round writes the same n
          // bytes as this one: as many as the need and the room allow.
          const int64_t byNeed = need / padWidth;
          const int64_t byRoom = room >= padBytes ? (room - padBytes) / n + 1 : 0;
          const uint32_t rounds = static_cast<uint32_t>(byNeed < byRoom ? byNeed : byRoom);
          fillRepeated(dst.current, rounds * n, dst.current - n, n);
          dst.current += rounds * n;
          room -= int64_t{rounds} * n;
          need -= rounds * padWidth;
          made.paddingColumns += uint64_t{rounds} * padColumnsRaw;
          break;
        }
      }
      if (need > 0) copyPart(need);
    }
    if (left) {
      room += srcLength;
      made.sourceWritten = lxoCpStr(&dst, roomFor(room), &source, sourceBytes, OPT_STANDARD, ctx);
      room -= made.sourceWritten;
    }
    made.sourceWhole = atEnd(source) && sourceLead == 0;
  }

  if (dst.shiftSensitive && dst.shiftState) {
    if (room < 1) {
      if (resultWord != nullptr) *resultWord = LXK_RESULT_TRUNCATED;
      ctx->status = NLS_STATUS_TRUNCATED;
      return 0;
    }
    room -= closeShiftedRun(dst);
  }
  uint32_t total = static_cast<uint32_t>(dst.current - out);

  // A column that a two-column pad character could not fill takes a blank.
  if (room >= u && padColumnsRaw != 0 &&
      resultColumns(out, total, made, left, handle, ctx) < width) {
    fetchBlank();
    if (left) {
      std::memmove(out + u, out, total);
      std::memcpy(out, blank, u);
    } else {
      std::memcpy(out + total, blank, u);
    }
    total += u;
  }
  return total;
}

}  // namespace
}  // namespace lxk

extern "C" LXK_API uint32_t lxkPad(void* dst, uint32_t capacity, const void* src,
                                   uint32_t srcLength, const void* pad, uint32_t padLength,
                                   uint32_t width, uint32_t options, uint32_t* resultWord,
                                   const CharsetHandle* handle, NlsContext* ctx) {
  using namespace lxk;
  if (dst == nullptr || width == 0 || capacity == 0) return 0;
  if (src == nullptr) srcLength = 0;
  if (pad == nullptr) padLength = 0;
  auto* out = static_cast<uint8_t*>(dst);
  const auto* in = static_cast<const uint8_t*>(src);
  const auto* with = static_cast<const uint8_t*>(pad);
  const bool left = (options & PAD_LEFT) != 0;
  // The blank is an invariant character: at its EBCDIC code unless the
  // handle says the invariant characters have their ASCII codes.
  if (handle->flags & CSH_SINGLE_BYTE)
    return padBytes(out, capacity, in, srcLength, with, padLength, width, left,
                    (handle->flags & CSH_ASCII_BASED) ? 0x20 : 0x40);
  if (paddedAsBytes(in, srcLength, with, padLength, handle, ctx))
    return padBytes(out, capacity, in, srcLength, with, padLength, width, left, 0x20);
  return padColumns(out, capacity, in, srcLength, with, padLength, width, left, resultWord, handle,
                    ctx);
}
