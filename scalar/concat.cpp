// CONCAT: two strings of one set into a destination of fixed capacity.  A
// result that does not fit keeps its longest prefix of whole characters (in
// a shift-sensitive set, one that ends in single-byte mode) and is reported
// as truncated: result word 2, status 6.  The status word is never cleared.
#include <cstdint>
#include <cstring>

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

// Byte path (single-byte sets) and UTF-16 path (unitMask ~1 keeps whole
// two-byte units): at most two block copies.
uint32_t concatFixedUnits(uint8_t* dst, uint32_t capacity, const uint8_t* first, uint32_t budget,
                          const uint8_t* second, uint32_t secondLength, uint32_t unitMask,
                          uint32_t* resultWord, NlsContext* ctx) {
  budget &= unitMask;
  copyBytes(dst, first, budget);
  const uint32_t secondPart =
      limitToRoom(secondLength, capacity - budget, resultWord, ctx) & unitMask;
  copyBytes(dst + budget, second, secondPart);
  return budget + secondPart;
}

// Multibyte sets without shift states: each part is cut back to whole
// characters by the core's trimming function.
uint32_t concatMultibyte(uint8_t* dst, uint32_t capacity, const uint8_t* first, uint32_t budget,
                         bool firstCut, const uint8_t* second, uint32_t secondLength,
                         uint32_t* resultWord, const CharsetHandle* handle, NlsContext* ctx) {
  const CharsetDefinition* def = definitionOf(handle, ctx);
  const uint32_t firstPart = wholeCharPrefix(first, budget, handle, def, ctx);
  copyBytes(dst, first, firstPart);
  if (firstCut) return firstPart;

  const uint32_t limited = limitToRoom(secondLength, capacity - firstPart, resultWord, ctx);
  const uint32_t secondPart = wholeCharPrefix(second, limited, handle, def, ctx);
  copyBytes(dst + firstPart, second, secondPart);
  return firstPart + secondPart;
}

// Shift-sensitive path: cursor copies merge the shift states of the two parts
// and the result is closed in single-byte mode, with the closing byte counted
// inside the capacity.
uint32_t concatShifted(uint8_t* dst, uint32_t capacity, const uint8_t* first, uint32_t budget,
                       bool firstCut, const uint8_t* second, uint32_t secondLength,
                       uint32_t* resultWord, const CharsetHandle* handle, NlsContext* ctx) {
  CharCursor cursor;
  uint32_t written = lxmopen(dst, capacity, &cursor, handle, ctx, 1);
  if (written > capacity) return 0;
  if (budget != 0)
    written += lxoCpToOp(&cursor, capacity - written, first, budget, OPT_STANDARD, ctx);

  if (!firstCut && secondLength != 0 && written < capacity) {
    const uint32_t room = capacity - written;
    const uint32_t secondPart = limitToRoom(secondLength, room, resultWord, ctx);
    written += lxoCpToOp(&cursor, room, second, secondPart, OPT_STANDARD, ctx);
  } else if (!firstCut && secondLength != 0) {
    markTruncated(resultWord, ctx);
  }

  if (cursor.shiftState && written + 1 > capacity) {
    // No room for the closing byte: the last character of the run gives way.
    const uint32_t width = handle->maxCharWidth;
    if (written >= width) {
      written -= width;
      cursor.current -= width;
    }
    markTruncated(resultWord, ctx);
  }
  if (written < capacity) written += closeShiftedRun(cursor);
  return written;
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
  uint8_t* out = static_cast<uint8_t*>(dst);
  if (out == nullptr) capacity = 0;

  const bool firstCut = firstLength > capacity;
  uint32_t budget = firstLength;
  if (firstCut) {
    markTruncated(resultWord, ctx);
    budget = capacity;
  } else {
    *resultWord = LXK_RESULT_COMPLETE;
  }

  const uint32_t flags = handle->flags;
  if (flags & CSH_SINGLE_BYTE)
    return concatFixedUnits(out, capacity, firstBytes, budget, secondBytes, secondLength, ~0u,
                            resultWord, ctx);
  if (flags & CSH_UTF16)
    return concatFixedUnits(out, capacity, firstBytes, budget, secondBytes, secondLength, ~1u,
                            resultWord, ctx);
  if (!(flags & CSH_SHIFT_SENSITIVE))
    return concatMultibyte(out, capacity, firstBytes, budget, firstCut, secondBytes, secondLength,
                           resultWord, handle, ctx);
  if (capacity == 0) {
    // Nothing fits, not even a cursor: the second string is cut as well.
    if (!firstCut) markTruncated(resultWord, ctx);
    return 0;
  }
  return concatShifted(out, capacity, firstBytes, budget, firstCut, secondBytes, secondLength,
                       resultWord, handle, ctx);
}
