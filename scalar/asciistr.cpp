// ASCIISTR: a string as pure ASCII.  ASCII characters other than the
// backslash are copied; every other character, and the backslash, becomes
// '\' and the four uppercase hexadecimal digits of each of its UTF-16 units.
// The source is in the handle's set, or in AL16UTF16 or UTF8 when named.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/frame.h"
#include "frame/kernels.h"
#include "lxk/lxk.h"
#include "lxk/nls.h"

namespace {

using namespace lxk;

constexpr uint8_t kBackslash = 0x5C;
constexpr uint32_t kEscapeBytes = 5;

// The output with its room; every write checks the room first.
struct EscapeWriter {
  uint8_t* out;
  uint32_t capacity;
  uint32_t written = 0;

  bool put(uint8_t b) {
    if (written == capacity) return false;
    out[written++] = b;
    return true;
  }
  bool escape(uint32_t unit) {
    if (capacity - written < kEscapeBytes) return false;
    static constexpr char kDigits[] = "0123456789ABCDEF";
    uint8_t* o = out + written;
    o[0] = kBackslash;
    o[1] = static_cast<uint8_t>(kDigits[(unit >> 12) & 0xF]);
    o[2] = static_cast<uint8_t>(kDigits[(unit >> 8) & 0xF]);
    o[3] = static_cast<uint8_t>(kDigits[(unit >> 4) & 0xF]);
    o[4] = static_cast<uint8_t>(kDigits[unit & 0xF]);
    written += kEscapeBytes;
    return true;
  }
  // Copies the ASCII run of bytes at p that holds no backslash, as far as it
  // fits; false when it was cut.
  bool run(const uint8_t* p, uint32_t n) {
    const uint32_t room = capacity - written;
    const uint32_t take = n < room ? n : room;
    if (take < 16) {
      for (uint32_t i = 0; i < take; ++i) out[written + i] = p[i];
    } else {
      std::memcpy(out + written, p, take);
    }
    written += take;
    return take == n;
  }
};

enum class Stop { End, Full, NoUtf16 };

// The length of the run of copyable ASCII bytes at p (no byte of 0x80 or
// more, no backslash): short runs, the common case between other
// characters, byte by byte; longer ones through the scanning kernel.
inline uint32_t plainRun(const uint8_t* p, uint32_t n) {
  constexpr uint32_t kInline = 16;
  const uint32_t head = n < kInline ? n : kInline;
  for (uint32_t i = 0; i < head; ++i)
    if (p[i] >= 0x80 || p[i] == kBackslash) return i;
  return head + (n > head ? scanKernels().asciiRunUntil(p + head, n - head, kBackslash) : 0);
}

// AL16UTF16 source: two bytes a unit; a last odd byte is ignored.
Stop utf16Source(EscapeWriter& w, const uint8_t* s, uint32_t length) {
  for (uint32_t at = 0; at + 2 <= length; at += 2) {
    const uint32_t unit = static_cast<uint32_t>(s[at] << 8 | s[at + 1]);
    if (unit < 0x80 && unit != kBackslash) {
      if (!w.put(static_cast<uint8_t>(unit))) return Stop::Full;
    } else if (!w.escape(unit)) {
      return Stop::Full;
    }
  }
  return Stop::End;
}

// One character that is not copied as it is: its units from the core, each
// escaped.  An ASCII character of a set that does not hold ASCII at the
// ASCII codes (EBCDIC sets) is written by its ASCII code.
Stop escapeThroughCore(EscapeWriter& w, const uint8_t* p, uint32_t width,
                       const CharsetDefinition* def, NlsContext* ctx) {
  uint16_t units[2];
  const uint32_t n = lxgt2u(units, 2, p, def, width, 0, ctx);
  if (n == 0) return Stop::NoUtf16;
  if (n == 1 && units[0] < 0x80 && units[0] != kBackslash)
    return w.put(static_cast<uint8_t>(units[0])) ? Stop::End : Stop::Full;
  for (uint32_t i = 0; i < n; ++i)
    if (!w.escape(units[i])) return Stop::Full;
  return Stop::End;
}

// Single-byte sets: the code of a byte is its toUnicode entry; a byte the
// set does not map goes to the core, which decides.  Runs of ASCII bytes
// are copied whole where the set holds ASCII at the ASCII codes.
Stop singleByteSource(EscapeWriter& w, const uint8_t* s, uint32_t length,
                      const CharsetDefinition* def, NlsContext* ctx) {
  const bool asciiRuns = (def->definitionFlags & CSD_ASCII_COMPATIBLE) != 0;
  for (uint32_t at = 0; at < length;) {
    if (asciiRuns) {
      const uint32_t run = plainRun(s + at, length - at);
      if (!w.run(s + at, run)) return Stop::Full;
      at += run;
      if (at == length) break;
    }
    const uint32_t code = def->toUnicode[s[at]];
    if (code < 0x80 && code != kBackslash) {
      if (!w.put(static_cast<uint8_t>(code))) return Stop::Full;
    } else if (code != 0xFFFD) {
      if (!w.escape(code)) return Stop::Full;
    } else {
      const Stop stop = escapeThroughCore(w, s + at, 1, def, ctx);
      if (stop != Stop::End) return stop;
    }
    ++at;
  }
  return Stop::End;
}

// ASCII and well-formed two- and three-byte characters (no surrogates) of a
// UTF-8 form, with the output position in locals (a store through a byte
// pointer would otherwise make the compiler reload the writer's fields).
// Returns where it stopped: the end, or what the general steps take.
uint32_t quickUtf8(EscapeWriter& w, const uint8_t* s, uint32_t at, uint32_t length) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  uint8_t* o = w.out + w.written;
  uint8_t* const end = w.out + w.capacity;
  while (at < length) {
    const uint32_t b = s[at];
    uint32_t code;
    if (b < 0x80) {
      if (b == kBackslash || o == end) break;
      *o++ = static_cast<uint8_t>(b);
      ++at;
      continue;
    }
    if (b >= 0xC2 && b <= 0xDF && length - at >= 2 && (s[at + 1] & 0xC0) == 0x80) {
      code = (b & 0x1F) << 6 | (s[at + 1] & 0x3F);
      at += 2;
    } else if (b >= 0xE0 && b <= 0xEF && length - at >= 3 && (s[at + 1] & 0xC0) == 0x80 &&
               (s[at + 2] & 0xC0) == 0x80) {
      code = (b & 0x0F) << 12 | (s[at + 1] & 0x3F) << 6 | (s[at + 2] & 0x3F);
      if (code < 0x800 || (code & 0xF800) == 0xD800) break;
      at += 3;
    } else {
      break;
    }
    if (end - o < static_cast<ptrdiff_t>(kEscapeBytes)) {
      at -= code < 0x800 ? 2 : 3;
      break;
    }
    o[0] = kBackslash;
    o[1] = static_cast<uint8_t>(kDigits[code >> 12]);
    o[2] = static_cast<uint8_t>(kDigits[(code >> 8) & 0xF]);
    o[3] = static_cast<uint8_t>(kDigits[(code >> 4) & 0xF]);
    o[4] = static_cast<uint8_t>(kDigits[code & 0xF]);
    o += kEscapeBytes;
  }
  w.written = static_cast<uint32_t>(o - w.out);
  return at;
}

// UTF-8 forms: widths from the lead-byte table; well-formed sequences are
// decoded here, anything else goes to the core.  In UTF8 a three-byte
// surrogate form is a unit of its own.
Stop utf8Source(EscapeWriter& w, const uint8_t* s, uint32_t length, const uint16_t* table,
                const CharsetDefinition* def, NlsContext* ctx) {
  const bool surrogateForms = !isUtf8(def);
  for (uint32_t at = 0; at < length;) {
    at = quickUtf8(w, s, at, length);
    if (at == length) break;
    const uint32_t run = plainRun(s + at, length - at);
    if (!w.run(s + at, run)) return Stop::Full;
    at += run;
    if (at == length) break;
    const uint8_t* p = s + at;
    const uint32_t width = leadWidth(table, *p);
    if (width > length - at) break;
    if (width == 1 && *p < 0x80) {
      if (!w.escape(*p)) return Stop::Full;  // the backslash
      ++at;
      continue;
    }
    uint32_t code = 0xFFFFFFFFu;
    if (width == 2 && (p[0] & 0xE0) == 0xC0 && (p[1] & 0xC0) == 0x80) {
      code = (p[0] & 0x1Fu) << 6 | (p[1] & 0x3Fu);
      if (code < 0x80) code = 0xFFFFFFFFu;
    } else if (width == 3 && (p[0] & 0xF0) == 0xE0 && (p[1] & 0xC0) == 0x80 &&
               (p[2] & 0xC0) == 0x80) {
      code = (p[0] & 0x0Fu) << 12 | (p[1] & 0x3Fu) << 6 | (p[2] & 0x3Fu);
      if (code < 0x800 || (!surrogateForms && code - 0xD800u < 0x800u)) code = 0xFFFFFFFFu;
    }
    if (code != 0xFFFFFFFFu) {
      if (!w.escape(code)) return Stop::Full;
    } else {
      const Stop stop = escapeThroughCore(w, p, width, def, ctx);
      if (stop != Stop::End) return stop;
    }
    at += width;
  }
  return Stop::End;
}

// Every other set: a read cursor, stepped inline by lead-byte widths and by
// the core inside shifted runs and in GB18030.
Stop cursorSource(EscapeWriter& w, const uint8_t* s, uint32_t length, const CharsetHandle* handle,
                  const CharsetDefinition* def, NlsContext* ctx) {
  const uint16_t* table = leadTableInForce(handle, def);
  CharCursor c;
  lxmopen(s, length, &c, handle, ctx, 0);
  const bool coreSteps = c.shiftSensitive || (handle->flags & CSH_GB18030);
  const bool asciiBased = (def->definitionFlags & CSD_ASCII) != 0;
  while (!atEnd(c)) {
    const uint32_t width = charWidth(c, table);
    if (width > bytesLeft(c)) break;
    const uint8_t* p = c.current;
    if (asciiBased && width == 1 && *p < 0x80 && *p != kBackslash && isSingleByteChar(c, table)) {
      if (!w.put(*p)) return Stop::Full;
    } else {
      const Stop stop = escapeThroughCore(w, p, width, def, ctx);
      if (stop != Stop::End) return stop;
    }
    if (coreSteps)
      lxmfwtx(&c, table);
    else
      c.current += width;
  }
  return Stop::End;
}

// The handle to walk the source with: the caller's when it already stands
// for the source set, else a local copy switched to it.
const CharsetHandle* sourceHandle(uint32_t charsetId, const CharsetHandle* handle,
                                  CharsetHandle* local, NlsContext* ctx) {
  const void* globalArea = ctx->definitions->definitions;
  int32_t error = 0;
  uint32_t internal = lxpe2i(charsetId, globalArea, 2, &error, 0);
  if (error != 0) internal = handle->fallbackDefinitionIndex;
  if (internal == handle->definitionIndex) return handle;
  std::memcpy(local, handle, sizeof *local);
  lxpcset(lxpe2i(charsetId, globalArea, 2, nullptr, 0), local, ctx);
  return local;
}

}  // namespace

extern "C" LXK_API uint32_t lxkAsciistr(void* dst, uint32_t capacity, const void* src,
                                        uint32_t srcLength, int32_t charsetId, uint32_t* result,
                                        const CharsetHandle* handle, NlsContext* ctx) {
  if (dst == nullptr) {
    ctx->status = NLS_STATUS_TRUNCATED;
    return 0;
  }
  uint8_t* out = static_cast<uint8_t*>(dst);
  // The zero byte stored first: an empty result still reads as a string.
  if (capacity >= 1) out[0] = 0;
  if (src == nullptr) return 0;

  uint32_t id = static_cast<uint32_t>(charsetId);
  if (charsetId == 0) {
    id = lxhcsn(handle, ctx);
  } else if (charsetId != CSID_AL16UTF16 && charsetId != CSID_UTF8) {
    if (result) *result = LXK_RESULT_BAD_CHARSET;
    ctx->status = NLS_STATUS_UNSUPPORTED_CHARSET;
    return 0;
  }
  const CharsetDefinition* def = lxhci2h(id, ctx);
  if (def == nullptr) {
    ctx->status = NLS_STATUS_UNSUPPORTED_CHARSET;
    return 0;
  }

  const auto* s = static_cast<const uint8_t*>(src);
  EscapeWriter w{out, capacity};
  Stop stop;
  if (id == CSID_AL16UTF16) {
    stop = utf16Source(w, s, srcLength);
  } else {
    CharsetHandle local;
    const CharsetHandle* h = sourceHandle(id, handle, &local, ctx);
    const CharsetDefinition* walked = definitionOf(h, ctx);
    if (h->flags & CSH_SINGLE_BYTE)
      stop = singleByteSource(w, s, srcLength, def, ctx);
    else if ((h->flags & CSH_UTF16) == 0 && (h->flags & CSH_SHIFT_SENSITIVE) == 0 &&
             (isUtf8(walked) || (walked->definitionFlags & CSD_UTF8_VARIANT)))
      stop = utf8Source(w, s, srcLength, leadTableInForce(h, walked), def, ctx);
    else
      stop = cursorSource(w, s, srcLength, h, def, ctx);
  }
  if (stop == Stop::Full) ctx->status = NLS_STATUS_TRUNCATED;
  if (stop == Stop::NoUtf16) ctx->status = NLS_STATUS_UNSUPPORTED_CHARSET;
  return w.written;
}
