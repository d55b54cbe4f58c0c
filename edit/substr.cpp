// SUBSTR: the part of a string at a position and of a length counted in
// bytes, characters, UCS-2 code units, code points or complete characters.
// With a destination the part is copied (cut silently to whole characters
// that fit); without one the result points into the source.
//
// Malformed input never makes a path read outside the source: the byte paths
// cut by the lead-byte rules, the lead-byte path ends at a character that
// runs past the end (nothing is selected when that happens before the start),
// and the cursor paths select nothing when the core reports invalid data.
#include <cstring>

#include "frame/frame.h"
#include "frame/unit_policies.h"
#include "lxk/lxk.h"

namespace lxk {
namespace {

struct Result {
  const uint8_t* pointer;
  uint32_t length;
};

inline uint32_t minU32(uint32_t a, uint32_t b) { return a < b ? a : b; }

// ---- Byte mode -----------------------------------------------------------------

// Copies a slice; short ones without a call, by overlapping word moves.
inline void copySlice(uint8_t* dst, const uint8_t* src, uint32_t n) {
  if (n >= 8 && n <= 16) {
    uint64_t head, tail;
    std::memcpy(&head, src, 8);
    std::memcpy(&tail, src + n - 8, 8);
    std::memcpy(dst, &head, 8);
    std::memcpy(dst + n - 8, &tail, 8);
  } else if (n >= 4 && n < 8) {
    uint32_t head, tail;
    std::memcpy(&head, src, 4);
    std::memcpy(&tail, src + n - 4, 4);
    std::memcpy(dst, &head, 4);
    std::memcpy(dst + n - 4, &tail, 4);
  } else if (n < 4) {
    for (uint32_t i = 0; i < n; ++i) dst[i] = src[i];
  } else {
    std::memcpy(dst, src, n);
  }
}

// A byte range cut at whole characters: blanks for the bytes of a character
// cut at the front, the whole characters, blanks for the bytes of one cut at
// the back.
struct ByteCut {
  uint32_t front;
  const uint8_t* whole;
  uint32_t wholeLength;
  uint32_t back;
};

// Writes count blanks; short runs without a call.
inline void fillBlanks(uint8_t* dst, uint32_t count, uint8_t blank) {
  if (count >= 4 && count <= 8) {
    const uint32_t word = blank * 0x01010101u;
    std::memcpy(dst, &word, 4);
    std::memcpy(dst + count - 4, &word, 4);
  } else if (count < 4) {
    for (uint32_t i = 0; i < count; ++i) dst[i] = blank;
  } else {
    std::memset(dst, blank, count);
  }
}

// Writes the pieces of a cut in order while they fit the capacity: blanks
// one by one, the whole characters as far as wholeWithin(room) allows.  The
// blank is asked of the core only when one is written.
template <typename WholeWithin>
uint32_t emitCut(uint8_t* dst, uint32_t capacity, const ByteCut& cut, bool fill,
                 WholeWithin wholeWithin, const CharsetHandle* handle, NlsContext* ctx) {
  const uint32_t front = fill ? minU32(cut.front, capacity) : 0u;
  const uint32_t back = fill ? cut.back : 0u;
  uint8_t blank = 0;
  if (front + back != 0) blank = singleByteBlank(handle, ctx);
  fillBlanks(dst, front, blank);
  uint32_t used = front;
  if (fill && front < cut.front) return used;
  const uint32_t room = capacity - used;
  if (cut.wholeLength > room) {
    const uint32_t fits = wholeWithin(room);
    copySlice(dst + used, cut.whole, fits);
    return used + fits;
  }
  copySlice(dst + used, cut.whole, cut.wholeLength);
  used += cut.wholeLength;
  const uint32_t tail = minU32(back, capacity - used);
  fillBlanks(dst + used, tail, blank);
  return used + tail;
}

// UTF-8 from an offset of at least 3: continuation bytes at the front belong
// to a cut character; the whole characters end where the UTF-8 bits say.
uint32_t cutUtf8Bytes(uint8_t* dst, uint32_t capacity, const uint8_t* p, uint32_t n, bool fill,
                      const CharsetHandle* handle, NlsContext* ctx) {
  const uint8_t* const end = p + n;
  const uint8_t* lead = p;
  while (lead < end && !isUtf8Lead(*lead)) ++lead;
  const uint8_t* wholeEnd = utf8WholeCharEnd(lead, end);
  const ByteCut cut{static_cast<uint32_t>(lead - p), lead, static_cast<uint32_t>(wholeEnd - lead),
                    static_cast<uint32_t>(end - wholeEnd)};
  return emitCut(
      dst, capacity, cut, fill,
      [lead](uint32_t room) {
        return static_cast<uint32_t>(utf8WholeCharEnd(lead, lead + room) - lead);
      },
      handle, ctx);
}

// Other multibyte sets (and UTF-8 near the start): character boundaries as a
// walk by table widths from the start of the source meets them.
template <bool kGb18030>
uint32_t cutMultibyteBytes(uint8_t* dst, uint32_t capacity, const uint8_t* src, uint32_t srcLength,
                           uint32_t s, uint32_t n, bool fill, const uint16_t* table,
                           const CharsetHandle* handle, NlsContext* ctx) {
  const uint8_t* const first = src + s;
  // The first character boundary at or after s.
  const uint8_t* p = lastBoundaryBefore<kGb18030>(table, src, first);
  if (p < first) p += tableWidth<kGb18030>(table, p, static_cast<uint32_t>(src + srcLength - p));
  const uint32_t front = minU32(static_cast<uint32_t>(p - first), n);
  const uint32_t rest = n - front;
  const uint8_t* const whole = first + front;
  const uint32_t wholeLength =
      rest == 0
          ? 0u
          : static_cast<uint32_t>(lastBoundaryBefore<kGb18030>(table, whole, whole + rest) - whole);
  const ByteCut cut{front, whole, wholeLength, rest - wholeLength};
  return emitCut(
      dst, capacity, cut, fill,
      [&](uint32_t room) {
        return static_cast<uint32_t>(lastBoundaryBefore<kGb18030>(table, whole, whole + room) -
                                     whole);
      },
      handle, ctx);
}

// Byte units over a multibyte set that is neither shift-sensitive nor
// AL16UTF16: the range [s, s + n) may cut characters.
[[gnu::noinline]] Result byteCut(uint8_t* dst, uint32_t capacity, const uint8_t* src,
                                 uint32_t srcLength, uint32_t s, uint32_t n, uint32_t options,
                                 const CharsetHandle* handle, NlsContext* ctx) {
  // The cuts below write blanks, so they need a destination.
  if (dst == nullptr) return {src, 0};
  const CharsetView v = viewOf(handle, ctx);
  const bool fill = (options & OPT_NO_BLANK_FILL) == 0;
  if (v.kind == CharsetClass::Utf8 && s >= 3)
    return {dst, cutUtf8Bytes(dst, capacity, src + s, n, fill, handle, ctx)};
  const uint16_t* table = v.table;
  if (v.flags & CSH_GB18030)
    return {dst,
            cutMultibyteBytes<true>(dst, capacity, src, srcLength, s, n, fill, table, handle, ctx)};
  return {dst,
          cutMultibyteBytes<false>(dst, capacity, src, srcLength, s, n, fill, table, handle, ctx)};
}

// ---- Character mode ------------------------------------------------------------

// The paths of character mode, tried in this order: AL16UTF16 by its id
// (code units by arithmetic, other units through the cursor path), then
// shift-sensitive sets, then code points or complete characters of any
// UTF-8 form through the cursor path, then UCS-2 units over sets with
// supplementary characters, and every other case by lead-byte widths.
enum class CharacterPath : uint8_t { Utf16Units, ShiftSensitive, Cursor, Ucs2Units, LeadTable };

inline CharacterPath characterPath(const CharsetView& v, uint32_t options) {
  const bool unitsByCore = (options & (OPT_UCS4_UNITS | OPT_COMPLETE_CHARS)) != 0;
  if (v.def->charsetId == CSID_AL16UTF16)
    return unitsByCore ? CharacterPath::Cursor : CharacterPath::Utf16Units;
  if (v.flags & CSH_SHIFT_SENSITIVE) return CharacterPath::ShiftSensitive;
  if (unitsByCore && isAnyUtf8(v.def)) return CharacterPath::Cursor;
  if ((v.def->definitionFlags & CSD_SUPPLEMENTARY_MAP) && (options & OPT_UCS2_UNITS))
    return CharacterPath::Ucs2Units;
  return CharacterPath::LeadTable;
}

// Shift-sensitive sets: cursor stepping to the start, then a character-wise
// copy that closes an open shifted run.
Result shiftSensitivePath(uint8_t* dst, uint32_t capacity, const uint8_t* src, uint32_t srcLength,
                          int64_t position, int64_t length, uint32_t options, const CharsetView& v,
                          NlsContext* ctx) {
  const int64_t count = lxsCntChar(src, srcLength, OPT_STANDARD | OPT_UCS2_UNITS, v.handle, ctx);
  if (position < 0) position += 1 + count;
  if (position < 1 || position > count) return {dst != nullptr ? dst : src, 0};
  if (length > count - position + 1) length = count - position + 1;

  CharCursor reader;
  lxmopen(src, srcLength, &reader, v.handle, ctx, 0);
  for (int64_t i = 1; i < position && !atEnd(reader); ++i) fastAdvance(reader, v.table);

  if (dst == nullptr) {
    const uint8_t* start = reader.current;
    const uint32_t bytes =
        lxoSkip(&reader, static_cast<uint32_t>(length), options | OPT_STANDARD, ctx);
    return {start, bytes};
  }
  CharCursor writer;
  lxmopen(dst, capacity, &writer, v.handle, ctx, 1);
  for (int64_t i = 0; i < length; ++i) {
    const uint32_t written =
        lxoCpChar(&writer, capacity, &reader, 0xFFFFFFFFu, OPT_CURSOR_COPY, ctx);
    if (written == 0) break;
  }
  uint32_t used = static_cast<uint32_t>(writer.current - dst);
  if (writer.shiftState && used < capacity) used += closeShiftedRun(writer);
  return {dst, used};
}

// Code points or complete characters in UTF-8 forms and AL16UTF16: the
// core's unit skips.  s is the 0-based start unit.
Result cursorPath(uint8_t* dst, uint32_t capacity, const uint8_t* src, uint32_t srcLength,
                  int64_t s, int64_t length, int64_t count, uint32_t options, const CharsetView& v,
                  NlsContext* ctx) {
  const uint32_t unitOptions = options | OPT_STANDARD;
  if (count < 0) count = lxsCntChar(src, srcLength, unitOptions, v.handle, ctx);
  CharCursor reader;
  lxmopen(src, srcLength, &reader, v.handle, ctx, 0);
  if (s > 0) {
    const uint32_t skipped = lxoSkip(&reader, static_cast<uint32_t>(s), unitOptions, ctx);
    if (skipped == 0 && ctx->status == NLS_STATUS_INVALID_DATA)
      return {dst != nullptr ? dst : src, 0};
  }
  if (length > count - s) length = count - s;
  if (length < 1) return {dst != nullptr ? dst : src, 0};
  const uint8_t* start = reader.current;
  const uint32_t bytes = lxoSkip(&reader, static_cast<uint32_t>(length), unitOptions, ctx);
  if (dst == nullptr) return {start, bytes};
  return {dst, lxsCpStr(dst, capacity, start, bytes, OPT_STANDARD, v.handle, ctx)};
}

// AL16UTF16 in UCS-2 code units: two bytes each, pure arithmetic.  A
// negative position counts units from the end, the unit it is applied in.
Result utf16UnitPath(uint8_t* dst, uint32_t capacity, const uint8_t* src, uint32_t srcLength,
                     int64_t position, int64_t length) {
  const int64_t units = srcLength / 2;
  if (position < 0) position += units + 1;
  const int64_t s = position - 1;
  if (s < 0 || s >= units) return {dst != nullptr ? dst : src, 0};
  uint32_t n = static_cast<uint32_t>(length < units - s ? length : units - s);
  if (dst == nullptr) return {src + 2 * s, 2 * n};
  n = minU32(n, capacity / 2);
  std::memcpy(dst, src + 2 * s, 2 * n);
  return {dst, 2 * n};
}

// UCS-2 units over a set with supplementary characters: each character
// counts one unit, or two when it lies outside the basic plane; a character
// half inside the range is left out.
Result ucs2UnitPath(uint8_t* dst, uint32_t capacity, const uint8_t* src, uint32_t srcLength,
                    int64_t position, int64_t length, const CharsetView& v, NlsContext* ctx) {
  const CharsetDefinition* def = v.def;
  const uint16_t* table = baseLeadTable(def);
  const bool gb18030 = def->charsetId == CSID_GB18030;
  const bool utf8 = v.kind == CharsetClass::Utf8;
  const uint8_t* const end = src + srcLength;
  const uint8_t* p = src;
  const uint8_t* first = nullptr;
  int64_t unitsSeen = 0;
  int64_t unitsTaken = 0;
  uint32_t bytesTaken = 0;
  while (p < end) {
    const uint32_t left = static_cast<uint32_t>(end - p);
    const uint32_t w = gb18030 ? (lxcgbgwt2(def, p, left) & 0xFFFFu) : leadWidth(table, *p);
    if (w == 0 || w > left) break;
    // A four-byte UTF-8 sequence is the only supplementary form in UTF-8.
    const uint32_t units =
        utf8 ? (w == 4 ? 2u : 1u) : lxsCntChar(p, w, OPT_CHAR_UNIT_COUNT, v.handle, ctx);
    unitsSeen += units;
    const bool startsInRange = unitsSeen > position || (unitsSeen == position && units == 1);
    if (startsInRange) {
      if (unitsTaken + units > length) break;
      if (dst != nullptr && bytesTaken + w > capacity) break;
      if (first == nullptr) first = p;
      unitsTaken += units;
      bytesTaken += w;
    }
    p += w;
  }
  if (first == nullptr) return {dst != nullptr ? dst : src, 0};
  if (dst == nullptr) return {first, bytesTaken};
  std::memcpy(dst, first, bytesTaken);
  return {dst, bytesTaken};
}

// Characters by lead-byte widths, stepped by the class's unit policy: skip
// to the 0-based start s, then take whole characters that fit the source
// and the capacity.
template <typename Unit>
Result leadTablePath(uint8_t* dst, uint32_t capacity, const uint8_t* src, uint32_t srcLength,
                     uint32_t s, int32_t length, const CharsetView& v) {
  const uint8_t* const end = src + srcLength;
  const uint8_t* p = src;
  if (s > 0) {
    uint32_t skipped = 0;
    p = stepUnits<Unit>(v, p, end, s, &skipped);
    if (skipped < s) return {dst != nullptr ? dst : src, 0};
  }
  const uint32_t left = static_cast<uint32_t>(end - p);
  if (left == 0) return {dst != nullptr ? dst : src, 0};

  if constexpr (std::is_same_v<Unit, Utf8Char>) {
    if (static_cast<uint32_t>(length) >= srcLength) {
      // The rest of the string: only the end needs whole characters.
      if (dst == nullptr) return {p, static_cast<uint32_t>(utf8WholeCharEnd(p, end) - p)};
      const uint32_t room = minU32(left, capacity);
      const uint32_t n = static_cast<uint32_t>(utf8WholeCharEnd(p, p + room) - p);
      std::memcpy(dst, p, n);
      return {dst, n};
    }
  }

  const uint8_t* limit = (dst != nullptr && capacity < left) ? p + capacity : end;
  uint32_t taken = 0;
  const uint8_t* stop = stepUnits<Unit>(v, p, limit, static_cast<uint32_t>(length), &taken);
  const uint32_t n = static_cast<uint32_t>(stop - p);
  if (dst == nullptr) return {p, n};
  std::memcpy(dst, p, n);
  return {dst, n};
}

[[gnu::noinline]] Result characterMode(uint8_t* dst, uint32_t capacity, const uint8_t* src,
                                       uint32_t srcLength, int64_t position, int32_t length,
                                       uint32_t options, const CharsetHandle* handle,
                                       NlsContext* ctx) {
  const CharsetView v = viewOf(handle, ctx);
  const Result empty{dst != nullptr ? dst : src, 0};
  const CharacterPath path = characterPath(v, options);
  if (path == CharacterPath::Utf16Units)
    return utf16UnitPath(dst, capacity, src, srcLength, position, length);
  if (path == CharacterPath::ShiftSensitive)
    return shiftSensitivePath(dst, capacity, src, srcLength, position, length, options, v, ctx);

  int64_t count = -1;  // counted only where needed
  if (position < 0) {
    if (path == CharacterPath::LeadTable && (options & OPT_UNIT_MASK) == 0) {
      // Characters by the same walk that positions them: no call into the core.
      uint32_t characters = 0;
      withCharPolicy(v, [&](auto unit) {
        stepUnits<decltype(unit)>(v, src, src + srcLength, 0xFFFFFFFFu, &characters);
      });
      count = characters;
    } else {
      count = lxsCntChar(src, srcLength, options | OPT_STANDARD, handle, ctx);
    }
    position += 1 + count;
    if (position < 1) return empty;
  }
  const int64_t s = position - 1;
  switch (path) {
    case CharacterPath::Cursor:
      return cursorPath(dst, capacity, src, srcLength, s, length, count, options, v, ctx);
    case CharacterPath::Ucs2Units:
      return ucs2UnitPath(dst, capacity, src, srcLength, position, length, v, ctx);
    default:
      break;
  }
  if (s >= srcLength) return empty;  // more characters than bytes: past the end
  return withCharPolicy(v, [&](auto unit) {
    return leadTablePath<decltype(unit)>(dst, capacity, src, srcLength, static_cast<uint32_t>(s),
                                         length, v);
  });
}

}  // namespace
}  // namespace lxk

extern "C" LXK_API const uint8_t* lxkSubstr(uint32_t* resultLength, void* dst, uint32_t capacity,
                                            const void* src, uint32_t srcLength, int32_t position,
                                            int32_t length, uint32_t options, uint32_t* resultWord,
                                            const CharsetHandle* handle, NlsContext* ctx) {
  using namespace lxk;
  if (resultWord != nullptr) *resultWord = LXK_RESULT_COMPLETE;
  uint8_t* out = static_cast<uint8_t*>(dst);
  const uint8_t* in = static_cast<const uint8_t*>(src);
  *resultLength = 0;
  if (in == nullptr || srcLength == 0 || (out != nullptr && capacity == 0)) return out;
  if (length < 1) return out != nullptr ? out : in;
  const uint32_t flags = handle->flags;
  Result r;
  if (((options & (OPT_BYTE_UNITS | OPT_RAW_BYTES)) | (flags & CSH_SINGLE_BYTE)) != 0) {
    // Byte mode: positions and lengths are bytes.
    uint32_t s = static_cast<uint32_t>(position) - 1u;
    if (position <= 0) {
      const int64_t start = position == 0 ? 1 : int64_t{position} + srcLength + 1;
      if (start < 1) return out != nullptr ? out : in;
      s = static_cast<uint32_t>(start - 1);
    }
    if (s >= srcLength) return out != nullptr ? out : in;
    uint32_t n = minU32(static_cast<uint32_t>(length), srcLength - s);
    const uint8_t* from = in + s;
    uint32_t room = capacity;
    // Plain slices: a bound computation and one copy, or none.  AL16UTF16
    // starts at the next unit and keeps whole units.
    if (!((flags & (CSH_SINGLE_BYTE | CSH_SHIFT_SENSITIVE)) || (options & OPT_RAW_BYTES))) {
      if (!((flags & CSH_UTF16) && definitionOf(handle, ctx)->charsetId == CSID_AL16UTF16)) {
        r = byteCut(out, capacity, in, srcLength, s, n, options, handle, ctx);
        *resultLength = r.length;
        return r.pointer;
      }
      const uint32_t odd = s & 1u;
      n = (n - odd) & ~1u;
      if (n == 0) return out != nullptr ? out : in;
      from += odd;
      room &= ~1u;
    }
    if (out == nullptr) {
      *resultLength = n;
      return from;
    }
    n = minU32(n, room);
    copySlice(out, from, n);
    *resultLength = n;
    return out;
  } else {
    r = characterMode(out, capacity, in, srcLength, position == 0 ? 1 : position, length, options,
                      handle, ctx);
  }
  *resultLength = r.length;
  return r.pointer;
}
