// LPAD and RPAD: a string padded with repetitions of a pad string, or cut,
// to a width.  Single-byte sets count the width in bytes and are padded
// here without calls; multibyte sets count display columns (lxsCntDisp; a
// character may take two).  Sets without shift states copy whole characters
// as bytes and go through cursors only for a copy that stops at a number of
// columns (lxoCpDisp); sets with shift states copy through cursors and close
// a shifted run at the end.  An empty pad string pads with the set's blank.
#include <cstring>

#include "frame/charset_view.h"
#include "frame/frame.h"
#include "lxk/lxk.h"

namespace lxk {
namespace {

inline uint32_t minU32(uint32_t a, uint32_t b) { return a < b ? a : b; }

struct Words16 {
  uint64_t a, b;
};

// Copies n bytes; up to 32 of them without a call, by overlapping moves of
// the first and the last bytes (all loaded before any is stored).
inline void copyShort(uint8_t* dst, const uint8_t* src, uint32_t n) {
  const auto overlapped = [&](auto word) {
    constexpr uint32_t k = sizeof word;
    decltype(word) tail;
    std::memcpy(&word, src, k);
    std::memcpy(&tail, src + n - k, k);
    std::memcpy(dst, &word, k);
    std::memcpy(dst + n - k, &tail, k);
  };
  if (n > 32)
    std::memcpy(dst, src, n);
  else if (n >= 16)
    overlapped(Words16{});
  else if (n >= 8)
    overlapped(uint64_t{});
  else if (n >= 4)
    overlapped(uint32_t{});
  else if (n >= 2)
    overlapped(uint16_t{});
  else if (n == 1)
    dst[0] = src[0];
}

// Whole repetitions of a pattern of 2 to 32 bytes from the start of out,
// while one fits into the n bytes and fewer than 64 have been written, each
// stored as the pattern's first and last Word (loaded once).  Returns the
// bytes written.
constexpr uint32_t kDirectFill = 64;
template <typename Word>
uint32_t repeatDirect(uint8_t* out, uint32_t n, const uint8_t* pattern, uint32_t patternLength) {
  constexpr uint32_t k = sizeof(Word);
  Word head, tail;
  std::memcpy(&head, pattern, k);
  std::memcpy(&tail, pattern + patternLength - k, k);
  const uint32_t stop = minU32(n, kDirectFill + patternLength - 1);
  uint32_t done = 0;
  for (; done + patternLength <= stop; done += patternLength) {
    std::memcpy(out + done, &head, k);
    std::memcpy(out + done + patternLength - k, &tail, k);
  }
  return done;
}

// Fills n bytes with repetitions of the pattern, the last one cut.  The
// first 64 bytes or so are written from the pattern, so that no copy reads
// bytes just stored; beyond them what is filled is doubled, whole
// repetitions until the last copy, so the phase holds.
void fillRepeated(uint8_t* out, uint32_t n, const uint8_t* pattern, uint32_t patternLength) {
  if (patternLength == 1) {
    std::memset(out, pattern[0], n);
    return;
  }
  uint32_t done = 0;
  if (patternLength < 4)
    done = repeatDirect<uint16_t>(out, n, pattern, patternLength);
  else if (patternLength < 8)
    done = repeatDirect<uint32_t>(out, n, pattern, patternLength);
  else if (patternLength < 16)
    done = repeatDirect<uint64_t>(out, n, pattern, patternLength);
  else if (patternLength <= 32)
    done = repeatDirect<Words16>(out, n, pattern, patternLength);
  if (n - done < patternLength) {
    copyShort(out + done, pattern, n - done);
    return;
  }
  if (done == 0) {
    std::memcpy(out, pattern, patternLength);
    done = patternLength;
  }
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

// Whether every byte is printable ASCII (0x20..0x7E), eight at a time: in
// a set whose bytes below 0x80 are the ASCII characters each is then one
// character of one column, whatever else the display rules say.
bool allPrintableAscii(const uint8_t* p, uint32_t n) {
  constexpr uint64_t kOnes = 0x0101010101010101ull;
  constexpr uint64_t kHigh = 0x8080808080808080ull;
  uint32_t i = 0;
  for (; n - i >= 8; i += 8) {
    uint64_t w;
    std::memcpy(&w, p + i, 8);
    const uint64_t below = (w - 0x20 * kOnes) & ~w;  // a byte below 0x20
    const uint64_t above = (w + 0x01 * kOnes) | w;   // a byte above 0x7E
    if ((below | above) & kHigh) return false;
  }
  for (; i < n; ++i)
    if (p[i] < 0x20 || p[i] > 0x7E) return false;
  return true;
}

inline bool asciiCompatible(const CharsetView& v) {
  return !(v.flags & (CSH_SHIFT_SENSITIVE | CSH_FIXED_WIDTH | CSH_UTF16)) &&
         (v.def->definitionFlags & CSD_ASCII_COMPATIBLE);
}

// Printable ASCII text in such a set takes a column per byte, and the blank
// is 0x20: the column path would write exactly what the byte path writes.
bool paddedAsBytes(const uint8_t* src, uint32_t srcLength, const uint8_t* pad, uint32_t padLength,
                   const CharsetView& v) {
  return asciiCompatible(v) && allPrintableAscii(pad, padLength) &&
         allPrintableAscii(src, srcLength);
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
                       const CharsetView& v, NlsContext* ctx) {
  const bool selfContained = v.kind == CharsetClass::Utf8 || v.kind == CharsetClass::Gb18030 ||
                             (v.kind == CharsetClass::LeadByte && v.def->charsetId != CSID_UTFE);
  if (!selfContained || !c.padded || !c.sourceWhole || c.sourceWritten > total)
    return lxsCntDisp(out, total, OPT_STANDARD, v.handle, ctx);
  const uint64_t padding = c.paddingKnown
                               ? c.paddingColumns
                               : lxsCntDisp(left ? out : out + c.sourceWritten,
                                            total - c.sourceWritten, OPT_STANDARD, v.handle, ctx);
  const uint64_t columns = c.sourceColumns + padding;
  return columns > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(columns);
}

// Room in the destination, which a left pad's reservation for the source may
// take below zero for a while.
inline uint32_t roomFor(int64_t room) { return room > 0 ? static_cast<uint32_t>(room) : 0u; }

inline uint32_t columnsFor(int64_t columns) {
  return static_cast<uint32_t>(columns > UINT32_MAX ? UINT32_MAX : columns);
}

// The blank, one character of u bytes, stands in for an empty pad string and
// fills a last column; its bytes are asked for when one is written.
struct Blank {
  explicit Blank(const CharsetHandle* handle)
      : width((handle->flags & CSH_FIXED_WIDTH) ? minU32(handle->maxCharWidth, 6) : 1u) {}

  const uint8_t* bytes(const CharsetHandle* handle, NlsContext* ctx) {
    if (!known) {
      if (handle->flags & CSH_FIXED_WIDTH)
        lxhlinfo(handle, LXH_ITEM_BLANK, code, sizeof code, ctx);
      else
        code[0] = singleByteBlank(handle, ctx);
      known = true;
    }
    return code;
  }

  const uint32_t width;
  uint8_t code[6];
  bool known = false;
};

// A column that a two-column pad character could not fill takes a blank,
// after the result for RPAD, before it for LPAD.  Returns the new total.
uint32_t fillLastColumn(uint8_t* out, uint32_t total, int64_t room, uint32_t width,
                        uint32_t padColumnsRaw, const Composition& made, bool left, Blank& blank,
                        const CharsetView& v, NlsContext* ctx) {
  if (room < blank.width || padColumnsRaw == 0 ||
      resultColumns(out, total, made, left, v, ctx) >= width)
    return total;
  const uint8_t* code = blank.bytes(v.handle, ctx);
  if (left) {
    std::memmove(out + blank.width, out, total);
    std::memcpy(out, code, blank.width);
  } else {
    std::memcpy(out + total, code, blank.width);
  }
  return total + blank.width;
}

// Sets with shift states: every copy goes through cursors, which carry the
// mode from one piece to the next, and the result is closed at the end.
uint32_t padShifted(uint8_t* out, uint32_t capacity, const uint8_t* src, uint32_t srcLength,
                    const uint8_t* pad, uint32_t padLength, uint32_t width, bool left,
                    uint32_t* resultWord, const CharsetHandle* handle, NlsContext* ctx) {
  Blank blank(handle);
  if (pad == nullptr || padLength == 0) {
    pad = blank.bytes(handle, ctx);
    padLength = blank.width;
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
      const uint32_t n = lxoCpDisp(&dst, roomFor(room), &padCursor, padBytes, columnsFor(columns),
                                   OPT_STANDARD, ctx);
      room -= n;
      if (n != 0) made.paddingKnown = false;
    };
    if (need < padWidth) {
      copyPart(need);
    } else {
      // Each round starts in the mode the one before left, so its bytes may
      // differ from that one's: every round is a cursor copy.
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

  if (dst.shiftState) {
    if (room < 1) {
      if (resultWord != nullptr) *resultWord = LXK_RESULT_TRUNCATED;
      ctx->status = NLS_STATUS_TRUNCATED;
      return 0;
    }
    room -= closeShiftedRun(dst);
  }
  return fillLastColumn(out, static_cast<uint32_t>(dst.current - out), room, width, padColumnsRaw,
                        made, left, blank, viewOf(handle, ctx), ctx);
}

// Bytes of the whole characters among the first n of p: the walk by the
// widths of the lead-byte table in force that the core's copies make; it
// ends at once where the last byte surely ends a character.
inline uint32_t wholeCharBytes(const CharsetView& v, const uint8_t* p, uint32_t n) {
  if (n == 0) return 0;
  const bool fourByteRule = (v.flags & (CSH_GB18030 | CSH_LEAD_BYTE_WIDTH)) == CSH_GB18030;
  const uint8_t* end = fourByteRule ? lastBoundaryBefore<true>(v.table, p, p + n)
                                    : lastBoundaryBefore<false>(v.table, p, p + n);
  return static_cast<uint32_t>(end - p);
}

// Copies the whole characters of text that fit the room and the columns to
// at, through cursors; returns the bytes written.
uint32_t copyColumns(uint8_t* out, uint32_t capacity, uint8_t* at, int64_t room,
                     const uint8_t* text, uint32_t length, int64_t columns, const CharsetView& v,
                     NlsContext* ctx) {
  CharCursor dst, from;
  lxmopen(out, capacity, &dst, v.handle, ctx, 1);
  dst.current = at;
  lxmopen(text, length, &from, v.handle, ctx, 0);
  return lxoCpDisp(&dst, roomFor(room), &from, length, columnsFor(columns), OPT_STANDARD, ctx);
}

// a / b for 0 < b <= a < 2^32, the usual small quotients by subtraction.
inline uint32_t quotient(int64_t a, int64_t b) {
  uint32_t q = 0;
  for (; a >= b && q < 16; ++q) a -= b;
  return a >= b ? q + static_cast<uint32_t>(a / b) : q;
}

// Sets without shift states: a character's bytes are the same wherever it
// is written, so the source and whole pad strings are copied as bytes, cut
// to whole characters where the room or their own end cuts them.  Cursors
// are opened only for the copies that stop at a number of columns.
uint32_t padUnshifted(uint8_t* out, uint32_t capacity, const uint8_t* src, uint32_t srcLength,
                      const uint8_t* pad, uint32_t padLength, uint32_t width, bool left,
                      const CharsetView& v, NlsContext* ctx) {
  const CharsetHandle* const handle = v.handle;
  Blank blank(handle);
  if (pad == nullptr || padLength == 0) {
    pad = blank.bytes(handle, ctx);
    padLength = blank.width;
  }
  Composition made;
  made.sourceColumns = lxsCntDisp(src, srcLength, OPT_STANDARD, handle, ctx);
  int64_t need = int64_t{width} - made.sourceColumns;
  // A printable ASCII pad string (the common one) is whole characters of a
  // column a byte.
  const bool asciiPad = asciiCompatible(v) && allPrintableAscii(pad, padLength);
  const uint32_t padColumnsRaw =
      asciiPad ? padLength : lxsCntDisp(pad, padLength, OPT_STANDARD, handle, ctx);
  uint8_t* at = out;
  int64_t room = capacity;

  if (need < 1) {
    const uint32_t n = copyColumns(out, capacity, at, room, src, srcLength, width, v, ctx);
    at += n;
    room -= n;
  } else {
    made.padded = true;
    if (left) {
      room -= srcLength;  // kept for the source, which follows the padding
    } else {
      made.sourceWritten = wholeCharBytes(v, src, minU32(srcLength, capacity));
      copyShort(at, src, made.sourceWritten);
      at += made.sourceWritten;
      room -= made.sourceWritten;
    }
    const int64_t padWidth = padColumnsRaw != 0 ? padColumnsRaw : 1;
    if (need >= padWidth && room >= padLength) {
      // Whole pad strings while the need and the room take one, each after
      // the first with a pad string's room before it.  A pad string cut by
      // its own end is repeated as cut, and adds nothing if nothing of it
      // is whole.
      const uint32_t n = asciiPad ? padLength : wholeCharBytes(v, pad, padLength);
      if (n == 0) {
        need -= padWidth;
      } else {
        const uint32_t spare = static_cast<uint32_t>(room - padLength);
        uint32_t rounds = quotient(need, padWidth);
        if (uint64_t{rounds - 1} * n > spare) rounds = spare / n + 1;
        fillRepeated(at, rounds * n, pad, n);
        at += rounds * n;
        room -= int64_t{rounds} * n;
        need -= rounds * padWidth;
        if (n == padLength)
          made.paddingColumns = uint64_t{rounds} * padColumnsRaw;
        else
          made.paddingKnown = false;
      }
    }
    if (need > 0) {
      // A part of the pad string, up to the columns still needed: their
      // number is not told.
      const uint32_t n = copyColumns(out, capacity, at, room, pad, padLength, need, v, ctx);
      at += n;
      room -= n;
      if (n != 0) made.paddingKnown = false;
    }
    if (left) {
      room += srcLength;
      made.sourceWritten = wholeCharBytes(v, src, minU32(srcLength, roomFor(room)));
      copyShort(at, src, made.sourceWritten);
      at += made.sourceWritten;
      room -= made.sourceWritten;
    }
    made.sourceWhole = made.sourceWritten == srcLength;
  }
  return fillLastColumn(out, static_cast<uint32_t>(at - out), room, width, padColumnsRaw, made,
                        left, blank, v, ctx);
}

uint32_t padColumns(uint8_t* out, uint32_t capacity, const uint8_t* src, uint32_t srcLength,
                    const uint8_t* pad, uint32_t padLength, uint32_t width, bool left,
                    uint32_t* resultWord, const CharsetView& v, NlsContext* ctx) {
  if (v.flags & CSH_SHIFT_SENSITIVE)
    return padShifted(out, capacity, src, srcLength, pad, padLength, width, left, resultWord,
                      v.handle, ctx);
  return padUnshifted(out, capacity, src, srcLength, pad, padLength, width, left, v, ctx);
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
  const CharsetView v = viewOf(handle, ctx);
  if (paddedAsBytes(in, srcLength, with, padLength, v))
    return padBytes(out, capacity, in, srcLength, with, padLength, width, left, 0x20);
  return padColumns(out, capacity, in, srcLength, with, padLength, width, left, resultWord, v, ctx);
}
