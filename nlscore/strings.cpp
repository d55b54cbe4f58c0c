// String operations of the core over cursors (lxo) and plain buffers (lxs):
// writing a character by its code, copying whole characters, skipping and
// counting in every length unit, and cutting a byte range back to whole
// characters.
//
// Writers in shift-sensitive sets merge shift states: a run that the output
// is already in is continued and a shift-out byte never follows a shift-in
// byte directly.  Cursor copies (lxoCpChar, lxoCpStr) and lxsCpStr write a
// double-byte character only when one byte is left after it, so the run can
// always be closed.  Two writers fill the capacity instead and leave the
// closing to the caller: lxoCpToOp, whose caller steps back one character
// when the closing byte does not fit and reports the loss, and
// single-character writes with OPT_CURSOR_WRITE_CODE.
#include <cstring>

#include "frame/unit_rules.h"
#include "lxk/lxk.h"
#include "lxk/nls.h"
#include "nlscore/units.h"

namespace {

using namespace nls;

constexpr uint32_t kUnlimited = 0xFFFFFFFFu;

inline uint32_t minOf(uint32_t a, uint32_t b) { return a < b ? a : b; }

inline const uint8_t* limitedEnd(const uint8_t* p, const uint8_t* end, uint32_t limit) {
  const uint32_t left = p < end ? static_cast<uint32_t>(end - p) : 0u;
  return p + minOf(left, limit);
}

// Copies whole characters from s (at rest) while they end within srcLimit,
// at most maxChars of them, into the write cursor within room bytes.  Both
// positions advance over what was copied; returns the bytes written.
uint32_t copyCharacters(const SetInfo& set, CharCursor* dst, uint32_t room, Scan& s,
                        const uint8_t* srcLimit, uint32_t maxChars, bool reserveClose) {
  uint8_t* const outStart = dst->current;
  if (!set.shiftSensitive) {
    const uint8_t* limit = limitedEnd(s.p, srcLimit, room);
    const uint8_t* stop;
    if (maxChars == kUnlimited) {
      stop = wholeCharEnd(set, s.p, limit);
    } else {
      Scan bounded{s.p, limit, false};
      walkUnits(set, bounded, maxChars, UnitKind::Chars);
      stop = bounded.p;
    }
    const uint32_t n = static_cast<uint32_t>(stop - s.p);
    if (n != 0) std::memcpy(outStart, s.p, n);
    dst->current += n;
    s.p = stop;
    return n;
  }

  uint8_t* out = outStart;
  uint8_t* const outEnd = outStart + room;
  bool outShifted = dst->shiftState != 0;
  for (uint32_t copied = 0; copied < maxChars && s.p < srcLimit; ++copied) {
    const uint32_t w = widthAt(set, s);
    if (w > static_cast<uint32_t>(srcLimit - s.p)) break;  // incomplete
    const bool switchMode = s.shifted != outShifted;
    const uint32_t need = w + (switchMode ? 1u : 0u) + ((s.shifted && reserveClose) ? 1u : 0u);
    if (need > static_cast<uint32_t>(outEnd - out)) break;
    if (switchMode) {
      *out++ = s.shifted ? set.shiftOut : set.shiftIn;
      outShifted = s.shifted;
    }
    std::memcpy(out, s.p, w);
    out += w;
    s.p += w;
    settle(set, s);
  }
  dst->current = out;
  dst->shiftState = outShifted ? 1 : 0;
  return static_cast<uint32_t>(out - outStart);
}

inline Walk walkBuffer(const SetInfo& set, const uint8_t* p, uint32_t length, uint32_t unitLimit,
                       uint32_t options, uint32_t* leading) {
  Scan s{p, p + length, false};
  *leading = settle(set, s);
  return walkUnits(set, s, unitLimit, unitKind(options, set));
}

}  // namespace

extern "C" {

NLS_API uint32_t lxoWriWChar(CharCursor* cursor, uint32_t code, uint32_t options, NlsContext*) {
  const SetInfo set = cursorSet(cursor);
  const uint32_t size = lxk::codeSize(code, (set.flags & CSH_UTF16_CODES) != 0);
  const bool doubleByte = set.shiftSensitive && size > 1;
  const bool shifted = cursor->shiftState != 0;
  const bool switchMode = set.shiftSensitive && doubleByte != shifted;
  const bool reserveClose = doubleByte && !(options & OPT_CURSOR_WRITE_CODE);
  const uint32_t need = size + (switchMode ? 1u : 0u) + (reserveClose ? 1u : 0u);
  if (need > writeRoom(cursor)) return 0;

  uint8_t* out = cursor->current;
  if (switchMode) *out++ = doubleByte ? set.shiftOut : set.shiftIn;
  for (uint32_t i = 0; i < size; ++i) *out++ = static_cast<uint8_t>(code >> (8u * (size - 1u - i)));
  const uint32_t written = static_cast<uint32_t>(out - cursor->current);
  cursor->current = out;
  if (set.shiftSensitive) cursor->shiftState = doubleByte ? 1 : 0;
  return written;
}

NLS_API uint32_t lxoCpChar(CharCursor* dst, uint32_t capacity, CharCursor* src, uint32_t srcLimit,
                           uint32_t options, NlsContext*) {
  const SetInfo set = cursorSet(src);
  Scan s = cursorScan(src);
  if (s.atEnd()) return 0;
  const uint32_t room = minOf(capacity, writeRoom(dst));
  const bool reserveClose = !(options & OPT_CURSOR_WRITE_CODE);
  const uint32_t written =
      copyCharacters(set, dst, room, s, limitedEnd(s.p, s.end, srcLimit), 1, reserveClose);
  storeScan(src, s);
  return written;
}

NLS_API uint32_t lxoCpStr(CharCursor* dst, uint32_t capacity, CharCursor* src, uint32_t srcBytes,
                          uint32_t, NlsContext*) {
  const SetInfo set = cursorSet(src);
  Scan s = cursorScan(src);
  if (s.atEnd()) return 0;
  const uint32_t room = minOf(capacity, writeRoom(dst));
  const uint32_t written =
      copyCharacters(set, dst, room, s, limitedEnd(s.p, s.end, srcBytes), kUnlimited, true);
  storeScan(src, s);
  return written;
}

NLS_API uint32_t lxoCpToOp(CharCursor* dst, uint32_t capacity, const void* src, uint32_t srcBytes,
                           uint32_t, NlsContext*) {
  if (src == nullptr || srcBytes == 0) return 0;
  const SetInfo set = cursorSet(dst);
  const uint8_t* p = static_cast<const uint8_t*>(src);
  Scan s{p, p + srcBytes, false};
  settle(set, s);
  const uint32_t room = minOf(capacity, writeRoom(dst));
  return copyCharacters(set, dst, room, s, s.end, kUnlimited, false);
}

// Skips count units.  Meeting a character that is incomplete or does not
// decode leaves the cursor where it was, returns 0 and reports invalid data.
NLS_API uint32_t lxoSkip(CharCursor* cursor, uint32_t count, uint32_t options, NlsContext* ctx) {
  const SetInfo set = cursorSet(cursor);
  Scan s = cursorScan(cursor);
  if (s.atEnd()) return 0;
  if (options & OPT_BYTE_UNITS) {
    // A byte count: the whole characters that lie within it.
    Scan bounded{s.p, limitedEnd(s.p, s.end, count), s.shifted};
    const Walk walk = walkUnits(set, bounded, kUnlimited, UnitKind::Chars);
    if (walk.incomplete && bounded.end == s.end) {
      ctx->status = NLS_STATUS_INVALID_DATA;
      return 0;
    }
    storeScan(cursor, bounded);
    return walk.bytes;
  }
  const Walk walk = walkUnits(set, s, count, unitKind(options, set));
  if (walk.incomplete || walk.invalid) {
    ctx->status = NLS_STATUS_INVALID_DATA;
    return 0;
  }
  storeScan(cursor, s);
  return walk.bytes;
}

NLS_API uint32_t lxoCntChar(CharCursor* cursor, uint32_t byteCount, uint32_t options, NlsContext*) {
  const SetInfo set = cursorSet(cursor);
  Scan s = cursorScan(cursor);
  if (s.atEnd()) return 0;
  s.end = limitedEnd(s.p, s.end, byteCount);
  return walkUnits(set, s, kUnlimited, unitKind(options, set)).units;
}

NLS_API uint32_t lxoCntByte(CharCursor* cursor, uint32_t byteLimit, uint32_t charCount,
                            uint32_t options, NlsContext*) {
  const SetInfo set = cursorSet(cursor);
  Scan s = cursorScan(cursor);
  if (s.atEnd()) return 0;
  s.end = limitedEnd(s.p, s.end, byteLimit);
  return walkUnits(set, s, charCount, unitKind(options, set)).bytes;
}

// Counts units.  A character cut off by the end is not counted; with UCS-2
// units under OPT_STANDARD the bytes counted go to lastByteCount.
NLS_API uint32_t lxsCntChar(const void* str, uint32_t length, uint32_t options,
                            const CharsetHandle* handle, NlsContext* ctx) {
  if (str == nullptr) length = 0;
  const SetInfo set = setInfo(handle, definitionFor(handle, ctx));
  const uint8_t* p = static_cast<const uint8_t*>(str);
  if (options & OPT_CHAR_UNIT_COUNT) return charUnitCount(set, p, p + length);
  if (set.singleByte && !(options & OPT_COMPLETE_CHARS)) {
    if ((options & (OPT_STANDARD | OPT_UCS2_UNITS)) == (OPT_STANDARD | OPT_UCS2_UNITS))
      ctx->lastByteCount = length;
    return length;
  }
  uint32_t leading;
  const Walk walk = walkBuffer(set, p, length, kUnlimited, options, &leading);
  if ((options & (OPT_STANDARD | OPT_UCS2_UNITS)) == (OPT_STANDARD | OPT_UCS2_UNITS))
    ctx->lastByteCount = leading + walk.bytes;
  return walk.units;
}

NLS_API uint32_t lxsCntByte(const void* str, uint32_t length, uint32_t charCount, uint32_t options,
                            const CharsetHandle* handle, NlsContext* ctx) {
  if (str == nullptr) return 0;
  const SetInfo set = setInfo(handle, definitionFor(handle, ctx));
  uint32_t leading;
  const Walk walk =
      walkBuffer(set, static_cast<const uint8_t*>(str), length, charCount, options, &leading);
  return leading + walk.bytes;
}

// Whole characters of the source that fit the capacity; a shift-sensitive
// copy is closed in single-byte mode inside the capacity.
NLS_API uint32_t lxsCpStr(void* dst, uint32_t capacity, const void* src, uint32_t length, uint32_t,
                          const CharsetHandle* handle, NlsContext* ctx) {
  if (dst == nullptr || src == nullptr || capacity == 0 || length == 0) return 0;
  const SetInfo set = setInfo(handle, definitionFor(handle, ctx));
  const uint8_t* p = static_cast<const uint8_t*>(src);
  CharCursor out;
  lxmopen(dst, capacity, &out, handle, ctx, 1);
  Scan s{p, p + length, false};
  settle(set, s);
  uint32_t written = copyCharacters(set, &out, capacity, s, s.end, kUnlimited, true);
  if (out.shiftSensitive && out.shiftState && written < capacity) {
    *out.current++ = set.shiftIn;
    out.shiftState = 0;
    ++written;
  }
  return written;
}

NLS_API const uint8_t* lxptmult(const void* str, uint32_t length, const CharsetHandle* handle,
                                NlsContext* ctx) {
  const uint8_t* p = static_cast<const uint8_t*>(str);
  if (p == nullptr || length == 0) return p;
  const SetInfo set = setInfo(handle, definitionFor(handle, ctx));
  return wholeCharEnd(set, p, p + length);
}

// UTF-8 by the lead-byte bits alone (lxk::utf8WholeCharEnd): only the last
// character can be cut; a byte that cannot lead counts as complete.
NLS_API const uint8_t* lxptmutf8(const uint8_t* start, const uint8_t* end) {
  if (start == nullptr || end <= start) return start;
  return lxk::utf8WholeCharEnd(start, end);
}

}  // extern "C"
