// CONCAT: two strings of one set into a destination of fixed capacity.  A
// result that does not fit keeps its longest prefix of whole characters (in
// a shift-sensitive set, one that ends in single-byte mode) and is reported
// as truncated: result word 2, status 6.  The status word is never cleared.
// Classes are tested in the common order, except that shift-sensitive sets
// are taken before any test of the operands' lengths: merged shift runs can
// make the result shorter than the operands.
#include <cstdint>
#include <cstring>

#include "frame/charset_view.h"
#include "frame/frame.h"
#include "lxk/lxk.h"
#include "lxk/nls.h"

namespace {

using namespace lxk;

inline void copyBytes(uint8_t* dst, const uint8_t* src, uint32_t length) {
  if (length != 0) std::memcpy(dst, src, length);
}

inline void markTruncated(uint32_t* resultWord, NlsContext* ctx) {
  *resultWord = LXK_RESULT_TRUNCATED;
  ctx->status = NLS_STATUS_TRUNCATED;
}

// Limits a part to the room left, reporting the cut.
inline uint32_t limitToRoom(uint32_t length, uint32_t room, uint32_t* resultWord, NlsContext* ctx) {
  if (length <= room) return length;
  markTruncated(resultWord, ctx);
  return room;
}

// The bytes of a part of n bytes that are kept: all of them in single-byte
// sets; in UTF-16 sets (big-endian units) whole two-byte units, and where
// the part was cut, no high surrogate whose pair was cut off.
inline uint32_t keptOfPart(const uint8_t* part, uint32_t n, bool cut, const CharsetView& v) {
  if (v.kind != CharsetClass::Utf16) return n;
  n &= ~1u;
  if (cut && n >= 2 && isHighSurrogateByte(part[n - 2])) n -= 2;
  return n;
}

// Byte path (single-byte sets) and UTF-16 path: at most two block copies.
uint32_t concatFixedUnits(uint8_t* dst, uint32_t capacity, const uint8_t* first,
                          uint32_t firstLength, const uint8_t* second, uint32_t secondLength,
                          uint32_t* resultWord, const CharsetView& v, NlsContext* ctx) {
  const bool firstCut = firstLength > capacity;
  const uint32_t firstPart = keptOfPart(first, firstCut ? capacity : firstLength, firstCut, v);
  copyBytes(dst, first, firstPart);
  if (firstCut) return firstPart;
  const uint32_t room = capacity - firstPart;
  const bool secondCut = secondLength > room;
  if (secondCut) markTruncated(resultWord, ctx);
  const uint32_t secondPart = keptOfPart(second, secondCut ? room : secondLength, secondCut, v);
  copyBytes(dst + firstPart, second, secondPart);
  return firstPart + secondPart;
}

// Multibyte sets without shift states: each part is cut back to whole
// characters by the core's trimming function.
uint32_t concatMultibyte(uint8_t* dst, uint32_t capacity, const uint8_t* first, uint32_t budget,
                         bool firstCut, const uint8_t* second, uint32_t secondLength,
                         uint32_t* resultWord, const CharsetView& v, NlsContext* ctx) {
  const uint32_t firstPart = wholeCharPrefix(first, budget, v.handle, v.def, ctx);
  copyBytes(dst, first, firstPart);
  if (firstCut) return firstPart;

  const uint32_t limited = limitToRoom(secondLength, capacity - firstPart, resultWord, ctx);
  const uint32_t secondPart = wholeCharPrefix(second, limited, v.handle, v.def, ctx);
  copyBytes(dst + firstPart, second, secondPart);
  return firstPart + secondPart;
}

// Copies one operand through a read cursor into the write cursor, whole
// characters only, each double-byte one with room left to close its run;
// runs that the output is already in are continued, so the shift bytes
// between the operands merge away.  False when a character of the operand
// is left out; an incomplete last character is dropped, as in the other
// multibyte sets.
bool copyOperandShifted(CharCursor& writer, const uint8_t* operand, uint32_t length,
                        const CharsetView& v, NlsContext* ctx) {
  if (length == 0) return true;
  CharCursor reader;
  lxmopen(operand, length, &reader, v.handle, ctx, 0);
  if (!atEnd(reader)) lxoCpStr(&writer, 0xFFFFFFFFu, &reader, length, OPT_STANDARD, ctx);
  return atEnd(reader) || charWidth(reader, v.table) > bytesLeft(reader);
}

// Whether a shift-sensitive string holds a whole character.
bool holdsCharacter(const uint8_t* text, uint32_t length, const CharsetView& v, NlsContext* ctx) {
  if (length == 0) return false;
  CharCursor reader;
  lxmopen(text, length, &reader, v.handle, ctx, 0);
  return !atEnd(reader) && charWidth(reader, v.table) <= bytesLeft(reader);
}

// Shift-sensitive path: the result is the longest prefix of the merged
// operands that ends in single-byte mode within the capacity, the closing
// shift-in byte counted inside it.  Merged runs may let more fit than the
// operands' own lengths suggest, so truncation is judged by what was left
// of the operands, not by their lengths.
uint32_t concatShifted(uint8_t* dst, uint32_t capacity, const uint8_t* first, uint32_t firstLength,
                       const uint8_t* second, uint32_t secondLength, uint32_t* resultWord,
                       const CharsetView& v, NlsContext* ctx) {
  if (capacity == 0) {
    // Nothing fits, not even a cursor: a cut when either string holds a
    // character (shift bytes alone make none).
    if (holdsCharacter(first, firstLength, v, ctx) || holdsCharacter(second, secondLength, v, ctx))
      markTruncated(resultWord, ctx);
    return 0;
  }
  CharCursor writer;
  const uint32_t opened = lxmopen(dst, capacity, &writer, v.handle, ctx, 1);
  if (opened > capacity) return 0;
  const bool whole = copyOperandShifted(writer, first, firstLength, v, ctx) &&
                     copyOperandShifted(writer, second, secondLength, v, ctx);
  if (!whole) markTruncated(resultWord, ctx);
  closeShiftedRun(writer);
  return static_cast<uint32_t>(writer.current - dst);
}

}  // namespace

extern "C" LXK_API uint32_t lxkConcat(void* dst, uint32_t capacity, const void* first,
                                      uint32_t firstLength, const void* second,
                                      uint32_t secondLength, uint32_t* resultWord,
                                      const CharsetHandle* handle, NlsContext* ctx) {
  const uint8_t* firstBytes = static_cast<const uint8_t*>(first);
  const uint8_t* secondBytes = static_cast<const uint8_t*>(second);
  if (firstBytes == nullptr) firstLength = 0;
  if (secondBytes == nullptr) secondLength = 0;
  if (firstLength == 0 && secondLength == 0) return 0;
  uint32_t unusedResultWord;
  if (resultWord == nullptr) resultWord = &unusedResultWord;
  *resultWord = LXK_RESULT_COMPLETE;

  uint8_t* out = static_cast<uint8_t*>(dst);
  if (out == nullptr) capacity = 0;
  const CharsetView v = viewOf(handle, ctx);
  if (v.kind == CharsetClass::ShiftSensitive)
    return concatShifted(out, capacity, firstBytes, firstLength, secondBytes, secondLength,
                         resultWord, v, ctx);

  const bool firstCut = firstLength > capacity;
  const uint32_t budget = firstCut ? capacity : firstLength;
  if (firstCut) markTruncated(resultWord, ctx);
  switch (v.kind) {
    case CharsetClass::SingleByte:
    case CharsetClass::Utf16:
      return concatFixedUnits(out, capacity, firstBytes, firstLength, secondBytes, secondLength,
                              resultWord, v, ctx);
    default:
      return concatMultibyte(out, capacity, firstBytes, budget, firstCut, secondBytes, secondLength,
                             resultWord, v, ctx);
  }
}
