// ASCII and CHR: the code of a string's first character, and the character
// that has a given code.  A code is the big-endian value of the character's
// bytes in its set (the UTF-16 value where the set has UTF-16 codes), so
// CHR(ASCII(x)) gives back the first character of x.
#include <cstdint>
#include <cstring>

#include "frame/frame.h"
#include "lxk/lxk.h"
#include "lxk/nls.h"

namespace {

using namespace lxk;

// Room for one character of any set written through a cursor: a shift-out
// byte, up to four bytes of character and a closing shift-in byte, plus
// whatever the cursor open may report.
constexpr uint32_t kStagedCharCapacity = 16;

constexpr uint32_t kWriteCodeOptions = OPT_CURSOR_COPY | OPT_CURSOR_WRITE_CODE;

// Stores the low `size` bytes of the code, most significant first.
inline void storeBigEndian(uint8_t* out, uint32_t code, uint32_t size) {
  for (uint32_t i = 0; i < size; ++i) out[i] = static_cast<uint8_t>(code >> (8u * (size - 1u - i)));
}

// Shift-sensitive path: the character goes through a write cursor so that the
// core adds the shift-out byte; the run is then closed.  It is staged locally
// because the shift bytes make the output longer than the code's own size:
// when the whole sequence does not fit the capacity nothing is written.
uint32_t writeShiftedCode(uint8_t* dst, uint32_t capacity, uint32_t code,
                          const CharsetHandle* handle, NlsContext* ctx) {
  uint8_t staged[kStagedCharCapacity] = {};
  CharCursor cursor;
  const uint32_t opened = lxmopen(staged, kStagedCharCapacity, &cursor, handle, ctx, 1);
  const uint32_t written = lxoWriWChar(&cursor, code, kWriteCodeOptions, ctx);
  const uint32_t closing = closeShiftedRun(cursor);
  const uint32_t total = opened + written + closing;
  if (total > capacity || total > kStagedCharCapacity) return 0;
  std::memcpy(dst, staged, total);
  return total;
}

}  // namespace

extern "C" LXK_API uint32_t lxkAscii(const void* src, uint32_t srcLength,
                                     const CharsetHandle* handle, NlsContext* ctx) {
  if (src == nullptr || srcLength == 0) return 0;
  const CharsetDefinition* def = definitionOf(handle, ctx);
  const uint16_t* table = leadTableInForce(handle, def);

  CharCursor cursor;
  lxmopen(src, srcLength, &cursor, handle, ctx, 0);
  // The cursor may have passed a leading shift byte; an empty remainder has
  // no first character (and its lead byte must not be read).
  if (atEnd(cursor)) return 0;
  if (charWidth(cursor, table) > bytesLeft(cursor)) return 0;
  return charCode(cursor, table, ctx);
}

extern "C" LXK_API uint32_t lxkChr(void* dst, uint32_t capacity, uint32_t code,
                                   const CharsetHandle* handle, NlsContext* ctx) {
  if (dst == nullptr || capacity == 0) return 0;
  uint8_t* out = static_cast<uint8_t*>(dst);
  const uint32_t flags = handle->flags;

  // CHR's order of tests: single-byte sets, fixed-width sets (the code's
  // low bytes fill one character), then the code's own size, written
  // through a cursor in shift-sensitive sets and as it is elsewhere.
  if (flags & CSH_SINGLE_BYTE) {
    out[0] = static_cast<uint8_t>(code);
    return 1;
  }
  if (flags & CSH_FIXED_WIDTH) {
    // Every character is maxCharWidth bytes: the code's low bytes fill it,
    // most significant first (two bytes in the double-byte fixed sets).
    const uint32_t width = handle->maxCharWidth;
    if (width == 0 || width > 4 || width > capacity) return 0;
    storeBigEndian(out, code, width);
    return width;
  }

  const CharsetDefinition* def = definitionOf(handle, ctx);
  const bool utf16Codes = (flags & CSH_UTF16_CODES) != 0;
  uint32_t size = codeSize(code, utf16Codes);
  if (size > def->maxBytesPerChar) {
    code = def->replacementChar;
    size = codeSize(code, utf16Codes);
  }
  if (size > capacity) return 0;

  if (flags & CSH_SHIFT_SENSITIVE) return writeShiftedCode(out, capacity, code, handle, ctx);

  storeBigEndian(out, code, size);
  return size;
}
