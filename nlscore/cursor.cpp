// Character cursors: opening, stepping, the code of the current character and
// character comparisons.  A read cursor in a shift-sensitive set consumes
// shift bytes whenever it comes to rest, so `current` is always a
// character's first byte (or the end) and `shiftState` gives its width.
#include <cstring>

#include "lxk/nls.h"
#include "nlscore/codec.h"
#include "nlscore/units.h"

namespace {

using namespace nls;

uint32_t openCursor(const void* buffer, uint32_t length, CharCursor* cursor,
                    const CharsetHandle* handle, NlsContext* ctx, uint32_t mode,
                    bool initiallyShifted) {
  const CharsetDefinition* def = definitionFor(handle, ctx);
  uint8_t* bytes = static_cast<uint8_t*>(const_cast<void*>(buffer));
  if (bytes == nullptr) length = 0;
  cursor->singleByte = (handle->flags & CSH_SINGLE_BYTE) ? 1 : 0;
  cursor->shiftSensitive = (handle->flags & CSH_SHIFT_SENSITIVE) ? 1 : 0;
  cursor->current = bytes;
  cursor->handle = handle;
  cursor->start = bytes;
  cursor->shiftState = (initiallyShifted && cursor->shiftSensitive) ? 1 : 0;
  cursor->length = length;
  std::memset(&cursor->coreReserved, 0, sizeof cursor->coreReserved);
  cursor->coreReserved.pointer = def;
  cursor->coreReserved.words[2] = mode == 1 ? kCursorWrite : 0;
  if (mode == 1 || !cursor->shiftSensitive) return 0;
  // A read cursor rests on the first character: leading shift bytes are
  // consumed and reported, so callers can take them off the length.
  const SetInfo set = setInfo(handle, def);
  Scan s = cursorScan(cursor);
  const uint32_t consumed = settle(set, s);
  storeScan(cursor, s);
  return consumed;
}

inline bool cursorAtEnd(const CharCursor* c) {
  return static_cast<uint32_t>(c->current - c->start) >= c->length;
}

// Steps over the current character; a truncated one is passed one byte at a
// time.  Returns the character's width; *shiftBytes gets the shift bytes
// consumed after it.
uint32_t stepCursor(CharCursor* c, const uint16_t* table, uint32_t* shiftBytes) {
  *shiftBytes = 0;
  if (cursorAtEnd(c)) return 0;
  if (c->singleByte) {
    ++c->current;
    return 1;
  }
  const SetInfo set = cursorSet(c);
  Scan s = cursorScan(c);
  uint32_t w = widthAt(set, table != nullptr ? table : set.table, s);
  if (w > s.left()) w = 1;
  s.p += w;
  *shiftBytes = settle(set, s);
  storeScan(c, s);
  return w;
}

}  // namespace

extern "C" {

NLS_API uint32_t lxmopen(const void* buffer, uint32_t length, CharCursor* cursor,
                         const CharsetHandle* handle, NlsContext* ctx, uint32_t mode) {
  return openCursor(buffer, length, cursor, handle, ctx, mode, false);
}

NLS_API uint32_t lxmcpen(const void* buffer, uint32_t length, CharCursor* cursor,
                         const CharsetHandle* handle, NlsContext* ctx) {
  return openCursor(buffer, length, cursor, handle, ctx, 0, false);
}

NLS_API uint32_t lxmvopen(const void* buffer, uint32_t length, CharCursor* cursor,
                          const CharsetHandle* handle, NlsContext* ctx, uint32_t mode,
                          uint32_t initialShiftState) {
  return openCursor(buffer, length, cursor, handle, ctx, mode, initialShiftState != 0);
}

NLS_API uint32_t lxmfwdx(CharCursor* cursor, NlsContext*) {
  uint32_t shiftBytes;
  const uint32_t width = stepCursor(cursor, nullptr, &shiftBytes);
  return width + shiftBytes;
}

NLS_API uint32_t lxmfwtx(CharCursor* cursor, const uint16_t* leadByteTable) {
  uint32_t shiftBytes;
  return stepCursor(cursor, leadByteTable, &shiftBytes);
}

// The code of the current character: the big-endian value of its bytes,
// which is also the UTF-16 value (a pair as high << 16 | low) in the UTF-16
// set.  A truncated character gives the value of the bytes that are there.
NLS_API uint32_t lxmc2wx(const CharCursor* cursor, NlsContext*) {
  if (cursorAtEnd(cursor)) return 0;
  if (cursor->singleByte) return *cursor->current;
  const SetInfo set = cursorSet(cursor);
  const Scan s = cursorScan(cursor);
  uint32_t w = widthAt(set, s);
  if (w > s.left()) w = s.left();
  if (w > 4) w = 4;
  return bigEndianValue(s.p, w);
}

// Whether the current character is the invariant character with that ASCII
// code, as the set encodes it.  The blank (0x20) also matches the
// ideographic space, the double-byte blank of the Asian sets.
NLS_API int32_t lxmctex(const CharCursor* cursor, uint32_t invariantChar, NlsContext*) {
  if (cursorAtEnd(cursor)) return 0;
  const SetInfo set = cursorSet(cursor);
  const Scan s = cursorScan(cursor);
  const Decoded d = decodeChar(set.def, s.p, s.left(), s.shifted);
  if (d.codePoint == kNoCodePoint || d.width > s.left()) return 0;
  if (d.codePoint == invariantChar) return 1;
  return (invariantChar == 0x20 && d.codePoint == 0x3000) ? 1 : 0;
}

// Byte equality of the two current characters: same width (a one-byte
// character never equals a shifted one) and same bytes.  A truncated
// character equals nothing.
NLS_API int32_t lxmbteqx(const CharCursor* a, const CharCursor* b, const uint16_t* leadByteTable) {
  if (cursorAtEnd(a) || cursorAtEnd(b)) return 0;
  const SetInfo setA = cursorSet(a);
  const SetInfo setB = cursorSet(b);
  const Scan sa = cursorScan(a);
  const Scan sb = cursorScan(b);
  const uint32_t wa = widthAt(setA, leadByteTable != nullptr ? leadByteTable : setA.table, sa);
  const uint32_t wb = widthAt(setB, leadByteTable != nullptr ? leadByteTable : setB.table, sb);
  if (wa != wb || wa > sa.left() || wb > sb.left()) return 0;
  return std::memcmp(sa.p, sb.p, wa) == 0 ? 1 : 0;
}

}  // extern "C"
