// UNISTR: a string of the source set into a Unicode target set (AL16UTF16,
// UTF8, or the destination handle's set), with '\' and four hexadecimal
// digits standing for the UTF-16 unit they name and '\\' for a backslash.
// Runs between escapes are converted whole by the core; ASCII stretches of
// them are written here.
#include <cstdint>
#include <cstring>

#include "frame/frame.h"
#include "frame/kernels.h"
#include "lxk/lxk.h"
#include "lxk/nls.h"

namespace {

using namespace lxk;

constexpr uint8_t kBackslash = 0x5C;
constexpr uint32_t kHexOptions = 0x808;

enum class Outcome { Done, Full, BadEscape };

// The target set and the output.
struct UnitWriter {
  uint8_t* out;
  uint32_t capacity;
  const CharsetDefinition* target;
  const CharsetDefinition* utf16;  // the AL16UTF16 definition, for other targets
  NlsContext* ctx;
  uint32_t targetId;
  bool asciiTarget;  // ASCII bytes are themselves in the target
  uint32_t written = 0;
  uint32_t chars = 0;
  uint32_t pendingHigh = 0;  // other targets: a high surrogate not yet written

  uint32_t room() const { return capacity - written; }

  // One UTF-16 unit: AL16UTF16 inline, the other forms below.
  bool unitFast(uint32_t u) {
    if (targetId != CSID_AL16UTF16 || room() < 2) return unit(u);
    out[written] = static_cast<uint8_t>(u >> 8);
    out[written + 1] = static_cast<uint8_t>(u);
    written += 2;
    ++chars;
    return true;
  }

  // One UTF-16 unit in the target's form.
  bool unit(uint32_t u) {
    if (targetId == CSID_AL16UTF16) {
      if (room() < 2) return false;
      out[written] = static_cast<uint8_t>(u >> 8);
      out[written + 1] = static_cast<uint8_t>(u);
      written += 2;
    } else if (targetId == CSID_UTF8) {
      int32_t overflow = 0;
      const uint32_t n = lxgucs2utf(out + written, room(), u, 1, &overflow);
      if (overflow != 0 || n == 0) return false;
      written += n;
    } else {
      // Other targets: a high surrogate waits for the unit after it, so
      // that a pair of escapes becomes one character.
      if (pendingHigh != 0) {
        const bool low = (u & 0xFC00) == 0xDC00;
        const uint32_t high = pendingHigh;
        pendingHigh = 0;
        if (low) return converted(high << 16 | u, 4);
        if (!converted(high, 2)) return false;
      }
      if ((u & 0xFC00) == 0xD800) {
        pendingHigh = u;
        return true;
      }
      return converted(u, 2);
    }
    ++chars;
    return true;
  }

  // Units (one, or a pair packed high first) converted from AL16UTF16 into
  // any other target as one character.
  bool converted(uint32_t units, uint32_t bytes) {
    uint8_t in[4];
    for (uint32_t i = 0; i < bytes; ++i)
      in[i] = static_cast<uint8_t>(units >> (8 * (bytes - 1 - i)));
    const int32_t before = ctx->status;
    const uint32_t n = lxgcnv(out + written, target, room(), in, utf16, bytes, ctx);
    const bool cut = ctx->status == NLS_STATUS_TRUNCATED || n == 0;
    ctx->status = before;
    if (cut) return false;
    written += n;
    ++chars;
    return true;
  }

  // A high surrogate still waiting is written alone.
  bool flush() {
    if (pendingHigh == 0) return true;
    const uint32_t high = pendingHigh;
    pendingHigh = 0;
    return converted(high, 2);
  }

  // n ASCII bytes (of an ASCII-compatible source) written as they are or as
  // UTF-16 units; false when they do not all fit (the part that fits is
  // written).
  bool ascii(const uint8_t* p, uint32_t n) {
    if (pendingHigh != 0 && !flush()) return false;
    if (targetId == CSID_AL16UTF16) {
      const uint32_t take = n < room() / 2 ? n : room() / 2;
      uint8_t* o = out + written;
      for (uint32_t i = 0; i < take; ++i) {
        o[2 * i] = 0;
        o[2 * i + 1] = p[i];
      }
      written += 2 * take;
      chars += take;
      return take == n;
    }
    const uint32_t take = n < room() ? n : room();
    std::memcpy(out + written, p, take);
    written += take;
    chars += take;
    return take == n;
  }

  // A run of source characters through the core.
  bool run(const uint8_t* p, uint32_t n, const CharsetDefinition* source) {
    if (!flush()) return false;
    if (n == 0) return true;
    ctx->status = NLS_STATUS_OK;
    written += lxgcnv(out + written, target, room(), p, source, n, ctx);
    chars += ctx->convertedChars;
    return ctx->status != NLS_STATUS_TRUNCATED;
  }
};

// ASCII and well-formed escapes of an ASCII-compatible source into
// AL16UTF16, with the output position in locals (a store through a byte
// pointer would otherwise make the compiler reload the writer's fields).
// Returns where it stopped: the end, or what the general steps take.
uint32_t quickUtf16(UnitWriter& w, const uint8_t* s, uint32_t at, uint32_t length,
                    const uint8_t* digits) {
  if (w.pendingHigh != 0) return at;
  uint8_t* o = w.out + w.written;
  uint8_t* const end = w.out + w.capacity;
  uint32_t chars = w.chars;
  while (at < length && end - o >= 2) {
    const uint32_t b = s[at];
    uint32_t unit;
    if (b < 0x80 && b != kBackslash) {
      unit = b;
      at += 1;
    } else if (b == kBackslash && length - at >= 5) {
      const uint32_t d0 = digits[s[at + 1]], d1 = digits[s[at + 2]];
      const uint32_t d2 = digits[s[at + 3]], d3 = digits[s[at + 4]];
      if ((d0 | d1 | d2 | d3) > 0xF) break;
      unit = d0 << 12 | d1 << 8 | d2 << 4 | d3;
      at += 5;
    } else {
      break;
    }
    o[0] = static_cast<uint8_t>(unit >> 8);
    o[1] = static_cast<uint8_t>(unit);
    o += 2;
    ++chars;
  }
  w.written = static_cast<uint32_t>(o - w.out);
  w.chars = chars;
  return at;
}

// Byte path (single-byte and UTF-8 sources): '\' is the byte 0x5C.
Outcome bytePath(UnitWriter& w, const uint8_t* s, uint32_t length, const uint8_t* digits,
                 const CharsetDefinition* source) {
  const bool asciiRuns = w.asciiTarget && (source->definitionFlags & CSD_ASCII_COMPATIBLE);
  const bool quick = asciiRuns && w.targetId == CSID_AL16UTF16;
  uint32_t at = 0;
  while (at < length) {
    if (quick) {
      at = quickUtf16(w, s, at, length, digits);
      if (at == length) break;
    }
    if (s[at] == kBackslash) {
      if (at + 1 == length) return Outcome::BadEscape;
      if (s[at + 1] == kBackslash) {
        if (!w.unit(kBackslash)) return Outcome::Full;
        at += 2;
        continue;
      }
      if (length - at - 1 < 4) return Outcome::BadEscape;
      // The digits' values come from the table that validated them.
      uint32_t unit = 0;
      for (uint32_t i = 1; i <= 4; ++i) {
        const uint32_t d = digits[s[at + i]];
        if (d == 0xFF) return Outcome::BadEscape;
        unit = unit << 4 | d;
      }
      if (!w.unitFast(unit)) return Outcome::Full;
      at += 5;
      continue;
    }
    // The next backslash: near ones byte by byte, far ones by memchr.
    uint32_t end = at + 1;
    while (end < length && s[end] != kBackslash && end - at < 16) ++end;
    if (end < length && s[end] != kBackslash) {
      const void* next = std::memchr(s + end, kBackslash, length - end);
      end = next ? static_cast<uint32_t>(static_cast<const uint8_t*>(next) - s) : length;
    }
    while (at < end) {
      if (asciiRuns) {
        uint32_t n = 0;
        while (at + n < end && s[at + n] < 0x80 && n < 16) ++n;
        if (n == 16 && at + n < end) n += scanKernels().firstNonAscii(s + at + n, end - at - n);
        if (!w.ascii(s + at, n)) return Outcome::Full;
        at += n;
        if (at == end) break;
      }
      // Up to the next ASCII byte, or the whole run when ASCII is not
      // written here; UTF-8 continuation bytes are never ASCII, so the run
      // ends on a character boundary.
      uint32_t stop = end;
      if (asciiRuns) {
        stop = at + 1;
        while (stop < end && s[stop] >= 0x80) ++stop;
      }
      if (!w.run(s + at, stop - at, source)) return Outcome::Full;
      at = stop;
    }
  }
  return Outcome::Done;
}

// UTF-16 path: units are byte pairs; '\' is the unit 0x005C and digits are
// read from the low bytes.
Outcome utf16Path(UnitWriter& w, const uint8_t* s, uint32_t length, const CharsetHandle* handle,
                  const CharsetDefinition* source, NlsContext* ctx) {
  const uint8_t* digits = lxppCodeHexToIntASCIITbl;
  auto isBackslash = [&](uint32_t at) { return s[at] == 0 && s[at + 1] == kBackslash; };
  uint32_t at = 0;
  while (length - at >= 2) {
    if (isBackslash(at)) {
      if (length - at < 4) return Outcome::BadEscape;
      if (isBackslash(at + 2)) {
        if (!w.unit(kBackslash)) return Outcome::Full;
        at += 4;
        continue;
      }
      if (length - at - 2 < 8) return Outcome::BadEscape;
      for (uint32_t i = 0; i < 4; ++i)
        if (digits[s[at + 3 + 2 * i]] == 0xFF) return Outcome::BadEscape;
      if (!w.unit(lxsCnvNumStrToInt(s + at + 2, 8, kHexOptions, handle, ctx))) return Outcome::Full;
      at += 10;
      continue;
    }
    uint32_t end = at + 2;
    while (length - end >= 2 && !isBackslash(end)) end += 2;
    if (!w.run(s + at, end - at, source)) return Outcome::Full;
    at = end;
  }
  return Outcome::Done;
}

// Cursor path (other multibyte sets): '\' is a one-byte character 0x5C.  The
// search for the next backslash steps whole characters, so a trailing byte
// 0x5C of a double-byte character is never taken for one.  The source from
// the end of the last escape up to the next one (shift bytes included) is
// converted as one run.
Outcome cursorPath(UnitWriter& w, const uint8_t* s, uint32_t length, const uint8_t* digits,
                   const CharsetHandle* handle, const CharsetDefinition* source, NlsContext* ctx) {
  const CharsetDefinition* def = definitionOf(handle, ctx);
  const uint16_t* table = leadTableInForce(handle, def);
  const bool coreSteps = (handle->flags & CSH_SHIFT_SENSITIVE) || (handle->flags & CSH_GB18030);
  CharCursor c;
  lxmopen(s, length, &c, handle, ctx, 0);
  auto atBackslash = [&]() {
    if (*c.current != kBackslash) return false;
    if (c.singleByte) return true;
    if (c.shiftSensitive) return c.shiftState == 0;
    return !(handle->flags & CSH_UTF16_CODES) && (table[*c.current] & 3u) == 0;
  };
  auto step = [&]() {
    const uint32_t width = charWidth(c, table);
    if (coreSteps)
      lxmfwtx(&c, table);
    else
      c.current += width <= bytesLeft(c) ? width : bytesLeft(c);
  };
  // Moves the cursor over bytes it did not step itself, taking the shift
  // bytes that follow as a read cursor does.
  auto skipTo = [&](const uint8_t* p) {
    c.current = const_cast<uint8_t*>(p);
    while (c.shiftSensitive && !atEnd(c) &&
           (*c.current == handle->shiftOutByte || *c.current == handle->shiftInByte)) {
      c.shiftState = *c.current == handle->shiftOutByte;
      ++c.current;
    }
  };
  const uint8_t* pending = s;  // start of the source not yet converted
  auto flush = [&]() {
    const bool fits = w.run(pending, static_cast<uint32_t>(c.current - pending), source);
    pending = c.current;
    return fits;
  };
  while (!atEnd(c)) {
    if (!atBackslash()) {
      step();
      continue;
    }
    if (!flush()) return Outcome::Full;
    const uint32_t left = bytesLeft(c);
    if (left == 1) return Outcome::BadEscape;
    if (c.current[1] == kBackslash) {
      if (!w.unit(kBackslash)) return Outcome::Full;
      pending = c.current + 2;
      skipTo(pending);
      continue;
    }
    if (left - 1 < 4) return Outcome::BadEscape;
    for (uint32_t i = 1; i <= 4; ++i)
      if (digits[c.current[i]] == 0xFF) return Outcome::BadEscape;
    ++c.current;
    const uint32_t unit = lxoCnvNumStrToInt(&c, 4, kHexOptions, ctx);
    if (!w.unit(unit)) return Outcome::Full;
    pending = c.current;
    skipTo(pending);
  }
  c.current = const_cast<uint8_t*>(s + length);
  return flush() ? Outcome::Done : Outcome::Full;
}

}  // namespace

extern "C" LXK_API uint32_t lxkUnistr(void* dst, uint32_t capacity, const void* src,
                                      uint32_t srcLength, int32_t charsetId, uint32_t* result,
                                      const CharsetHandle* srcHandle,
                                      const CharsetHandle* dstHandle, NlsContext* ctx) {
  ctx->convertedChars = 0;
  const bool empty = src == nullptr || srcLength == 0;
  if (dst == nullptr || capacity == 0) {
    if (empty) {
      ctx->status = NLS_STATUS_OK;
    } else {
      ctx->status = NLS_STATUS_TRUNCATED;
      if (result) *result = LXK_RESULT_TRUNCATED;
    }
    return 0;
  }
  if (empty) {
    ctx->status = NLS_STATUS_OK;
    return 0;
  }
  uint32_t targetId = static_cast<uint32_t>(charsetId);
  if (charsetId == 0) {
    targetId = lxhcsn(dstHandle, ctx);
  } else if (charsetId != CSID_AL16UTF16 && charsetId != CSID_UTF8) {
    if (result) *result = LXK_RESULT_BAD_CHARSET;
    ctx->status = NLS_STATUS_UNSUPPORTED_CHARSET;
    return 0;
  }
  ctx->status = NLS_STATUS_OK;
  const CharsetDefinition* target = lxhci2h(targetId, ctx);
  const CharsetDefinition* source = lxhci2h(lxhcsn(srcHandle, ctx), ctx);
  if (target == nullptr || source == nullptr) {
    if (result) *result = LXK_RESULT_BAD_CHARSET;
    ctx->status = NLS_STATUS_UNSUPPORTED_CHARSET;
    return 0;
  }

  UnitWriter w{static_cast<uint8_t*>(dst),
               capacity,
               target,
               lxhci2h(CSID_AL16UTF16, ctx),
               ctx,
               targetId,
               targetId == CSID_AL16UTF16 || (target->definitionFlags & CSD_ASCII_COMPATIBLE &&
                                              !(target->definitionFlags & CSD_SHIFT_SENSITIVE))};

  const uint8_t* digits = (source->definitionFlags & CSD_ASCII) ? lxppCodeHexToIntASCIITbl
                          : source->charsetId == CSID_EBCDIC_SPECIAL_DIGITS
                              ? lxppCodeHexToIntEBCDICTblSpec
                              : lxppCodeHexToIntEBCDICTbl;
  const auto* s = static_cast<const uint8_t*>(src);
  const int16_t sourceId = source->charsetId;
  Outcome outcome;
  if ((srcHandle->flags & CSH_SINGLE_BYTE) || sourceId == CSID_AL32UTF8 ||
      (source->definitionFlags & CSD_ANY_UTF8) || sourceId == CSID_UTFE)
    outcome = bytePath(w, s, srcLength, digits, source);
  else if (srcHandle->flags & CSH_UTF16)
    outcome = utf16Path(w, s, srcLength, srcHandle, source, ctx);
  else
    outcome = cursorPath(w, s, srcLength, digits, srcHandle, source, ctx);

  if (outcome != Outcome::Full && !w.flush()) outcome = Outcome::Full;
  if (outcome == Outcome::Full) {
    ctx->status = NLS_STATUS_TRUNCATED;
    if (result) *result = LXK_RESULT_TRUNCATED;
  } else {
    ctx->status = NLS_STATUS_OK;
    if (outcome == Outcome::BadEscape && result) *result = LXK_RESULT_BAD_ESCAPE;
  }
  ctx->convertedChars = w.chars & 0xFFFFu;
  return w.written;
}
