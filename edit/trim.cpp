// TRIM, LTRIM, RTRIM: trim-set characters removed from either end, the rest
// copied into the destination or pointed at inside the source.
//
// Paths by class, in this order: linguistic comparison in force; byte-mapped
// sets (bytes); fixed-width sets (units of maxCharWidth bytes);
// shift-sensitive sets (cursors); every other set by its character policy
// (lead-byte widths, GB18030's four-byte rule included).  Each path keeps
// its own cut and truncation report, stated at its output.
#include "edit/trim.h"

#include <algorithm>
#include <cstring>

#include "frame/frame.h"
#include "frame/unit_policies.h"
#include "lxk/lxk.h"

namespace lxk {
namespace {

struct Span {
  const uint8_t* begin;
  const uint8_t* end;
  uint32_t length() const { return static_cast<uint32_t>(end - begin); }
};

inline void reportCut(const TrimCall& c, bool contextAlways) {
  if (c.outStatus != nullptr) *c.outStatus = NLS_STATUS_TRUNCATED;
  if (c.outStatus != nullptr || contextAlways) c.ctx->status = NLS_STATUS_TRUNCATED;
}

inline const uint8_t* pointInto(const TrimCall& c, Span s) {
  *c.outLength = s.length();
  return s.begin;
}

inline const uint8_t* copyOut(const TrimCall& c, const uint8_t* from, uint32_t n) {
  if (n != 0) std::memcpy(c.dst, from, n);
  *c.outLength = n;
  return c.dst;
}

// Whole characters of [p, p + room) for the copies that cut by the table:
// AL16UTF16 keeps surrogate pairs whole by its table, every other set steps
// by its class's policy.
uint32_t wholeWithin(const CharsetView& v, const uint8_t* p, uint32_t room) {
  uint32_t stepped = 0;
  if (v.kind == CharsetClass::Utf16)
    return static_cast<uint32_t>(stepUnits<LeadByteChar>(v, p, p + room, ~0u, &stepped) - p);
  return withCharPolicy(v, [&](auto unit) {
    return static_cast<uint32_t>(stepUnits<decltype(unit)>(v, p, p + room, ~0u, &stepped) - p);
  });
}

// ---- No trim -------------------------------------------------------------------

const uint8_t* noTrimCopy(const TrimCall& c) {
  if (c.dst == nullptr || c.capacity == 0) return pointInto(c, {c.src, c.src + c.srcLength});
  if (c.srcLength <= c.capacity) return copyOut(c, c.src, c.srcLength);
  uint32_t n;
  if (c.v.flags & CSH_SHIFT_SENSITIVE) {
    n = lxsCpStr(c.dst, c.capacity, c.src, c.srcLength, OPT_STANDARD, c.v.handle, c.ctx);
    *c.outLength = n;
  } else {
    copyOut(c, c.src, wholeWithin(c.v, c.src, c.capacity));
  }
  reportCut(c, true);
  return c.dst;
}

// ---- Byte-mapped sets ------------------------------------------------------------

const uint8_t* bytePath(const TrimCall& c) {
  const uint8_t* p = c.src;
  const uint8_t* e = c.src + c.srcLength;
  if (c.setLength == 1) {
    const uint8_t t = c.set[0];
    if (c.leading)
      while (p < e && *p == t) ++p;
    if (c.trailing)
      while (e > p && e[-1] == t) --e;
  } else {
    bool member[256] = {};
    for (uint32_t i = 0; i < c.setLength; ++i) member[c.set[i]] = true;
    if (c.leading)
      while (p < e && member[*p]) ++p;
    if (c.trailing)
      while (e > p && member[e[-1]]) --e;
  }
  if (c.dst == nullptr) return pointInto(c, {p, e});
  uint32_t n = static_cast<uint32_t>(e - p);
  if (n > c.capacity) {
    n = c.capacity;
    reportCut(c, false);
  }
  return copyOut(c, p, n);
}

// ---- Fixed-width sets ------------------------------------------------------------

const uint8_t* fixedWidthPath(const TrimCall& c) {
  const uint32_t w = c.v.handle->maxCharWidth != 0 ? c.v.handle->maxCharWidth : 1u;
  const uint32_t units = c.setLength / w;
  auto inSet = [&](const uint8_t* q) {
    for (uint32_t u = 0; u < units; ++u)
      if (std::memcmp(q, c.set + u * w, w) == 0) return true;
    return false;
  };
  const uint8_t* p = c.src;
  const uint8_t* e = c.src + c.srcLength;
  // The end first, then the start of what is left.
  if (c.trailing)
    while (static_cast<uint32_t>(e - p) >= w && inSet(e - w)) e -= w;
  if (c.leading)
    while (static_cast<uint32_t>(e - p) >= w && inSet(p)) p += w;
  if (c.dst == nullptr || c.capacity == 0) return pointInto(c, {p, e});
  uint32_t n = static_cast<uint32_t>(e - p);
  if (n > c.capacity) {
    reportCut(c, true);
    n = c.capacity - c.capacity % w;
  }
  return copyOut(c, p, n);
}

// ---- Sets without shift states: widths by the class's policy ---------------------

template <typename Unit>
constexpr bool kFourByteRule = std::is_same_v<Unit, Gb18030Char>;

// A trim set split into its characters once per call, so that a character of
// the text is compared with each without stepping through the set again.
// Sets of more than kMaxChars characters are stepped through instead.
template <typename Unit>
struct TrimSetChars {
  static constexpr uint32_t kMaxChars = 8;
  uint32_t count = 0;
  bool prepared = false;
  uint8_t offset[kMaxChars];
  uint8_t width[kMaxChars];
  const TrimCall& c;

  explicit TrimSetChars(const TrimCall& call) : c(call) {
    if (c.setLength == 1 || c.setLength > 255) return;
    for (uint32_t i = 0; i < c.setLength;) {
      const uint32_t left = c.setLength - i;
      const uint32_t w = Unit::width(c.v, c.set + i, left);
      if (w > left) break;
      if (count == kMaxChars) return;
      offset[count] = static_cast<uint8_t>(i);
      width[count] = static_cast<uint8_t>(w);
      ++count;
      i += w;
    }
    prepared = true;
  }

  // Whether the character of width w at q is a trim character: a one-byte
  // set matches a one-byte character with its byte; a longer set has a
  // character of the same width and bytes.
  [[gnu::always_inline]] bool has(const uint8_t* q, uint32_t w) const {
    if (c.setLength == 1) return w == 1 && *q == c.set[0];
    if (prepared) {
      for (uint32_t k = 0; k < count; ++k)
        if (width[k] == w && sameBytes(c.set + offset[k], q, w)) return true;
      return false;
    }
    for (uint32_t i = 0; i < c.setLength;) {
      const uint32_t left = c.setLength - i;
      const uint32_t sw = Unit::width(c.v, c.set + i, left);
      if (sw > left) break;
      if (sw == w && sameBytes(c.set + i, q, w)) return true;
      i += sw;
    }
    return false;
  }

  // Characters are a few bytes: compared in place, without a call.
  [[gnu::always_inline]] static bool sameBytes(const uint8_t* a, const uint8_t* b, uint32_t w) {
    uint32_t k = 0;
    while (k < w && a[k] == b[k]) ++k;
    return k == w;
  }
};

// The end of the trailing pass over [p, e): just after the last character
// that is not a trim character, as a walk from p meets the characters; a
// character cut by e stops the walk.  The walk is taken in segments from the
// end backwards, each starting at a boundary that the bytes before it prove
// (resyncPoint), so that only the trailing trim characters and a few bytes
// before them are read.
template <typename Unit>
const uint8_t* trailingEnd(const TrimCall& c, const TrimSetChars<Unit>& set, const uint8_t* p,
                           const uint8_t* e) {
  const uint16_t* table = c.v.table;
  // A one-byte set trims only one-byte characters equal to its byte: when
  // the last byte differs and surely ends a character, that character is
  // whole and kept, and nothing is trimmed.
  if (c.setLength == 1 && e > p && e[-1] != c.set[0] &&
      surelyEndsCharacter<kFourByteRule<Unit>>(table, p, e - 1))
    return e;
  for (const uint8_t* segmentEnd = e; segmentEnd > p;) {
    const uint8_t* q = resyncPoint<kFourByteRule<Unit>>(table, p, segmentEnd - 1);
    const uint8_t* const segmentStart = q;
    const uint8_t* keep = nullptr;
    while (q < segmentEnd) {
      const uint32_t w = Unit::width(c.v, q, static_cast<uint32_t>(e - q));
      if (w > static_cast<uint32_t>(segmentEnd - q)) break;  // cut by the end of the text
      if (!set.has(q, w)) keep = q + w;
      q += w;
    }
    if (keep != nullptr) return keep;
    segmentEnd = segmentStart;
  }
  return p;
}

template <typename Unit>
const uint8_t* leadBytePath(const TrimCall& c) {
  const TrimSetChars<Unit> set(c);
  const uint8_t* p = c.src;
  const uint8_t* const e = c.src + c.srcLength;
  if (c.leading) {
    while (p < e) {
      const uint32_t left = static_cast<uint32_t>(e - p);
      const uint32_t w = Unit::width(c.v, p, left);
      if (w > left || !set.has(p, w)) break;
      p += w;
    }
  }
  const uint8_t* end = c.trailing ? trailingEnd<Unit>(c, set, p, e) : e;
  if (c.dst == nullptr || c.capacity == 0) return pointInto(c, {p, end});
  uint32_t n = static_cast<uint32_t>(end - p);
  if (n > c.capacity) {
    uint32_t stepped = 0;
    n = static_cast<uint32_t>(stepUnits<Unit>(c.v, p, p + c.capacity, ~0u, &stepped) - p);
    if (c.outStatus != nullptr) reportCut(c, false);
  }
  return copyOut(c, p, n);
}

// ---- Shift-sensitive sets: cursors -----------------------------------------------

// Whether a cursor's current character is one byte: a single-byte set, a
// shift-sensitive cursor outside a run, or a one-byte lead.
inline bool currentIsSingle(const CharCursor& k, const CharsetView& v) {
  if (k.singleByte) return true;
  if (v.flags & CSH_UTF16_CODES) return false;
  return isSingleByteChar(k, v.table);
}

const uint8_t* shiftSensitivePath(const TrimCall& c) {
  const CharsetView& v = c.v;
  NlsContext* const ctx = c.ctx;
  const uint32_t unitOptions = OPT_STANDARD | OPT_UCS2_UNITS;
  const uint32_t n = lxsCntChar(c.src, c.srcLength, unitOptions, v.handle, ctx);
  const uint32_t m = lxsCntChar(c.set, c.setLength, unitOptions, v.handle, ctx);
  const uint8_t blank = (c.options & TRIM_BLANK_CLASS) ? singleByteBlank(v.handle, ctx) : 0;
  const bool blankRule = (c.options & TRIM_BLANK_CLASS) && c.setLength == 1 && c.set[0] == blank;

  CharCursor setCursor;
  auto isTrim = [&](const CharCursor& s) {
    if (atEnd(s)) return false;
    const bool single = currentIsSingle(s, v);
    // The core names invariant characters by their ASCII codes.
    if (blankRule) return single ? *s.current == blank : lxmctex(&s, 0x20, ctx) != 0;
    lxmopen(c.set, c.setLength, &setCursor, v.handle, ctx, 0);
    for (uint32_t k = 0; k < m && !atEnd(setCursor); ++k) {
      if (single) {
        if (currentIsSingle(setCursor, v) && *setCursor.current == *s.current) return true;
      } else if (lxmbteqx(&s, &setCursor, v.table)) {
        return true;
      }
      advance(setCursor, ctx);
    }
    return false;
  };

  CharCursor source;
  lxmopen(c.src, c.srcLength, &source, v.handle, ctx, 0);
  uint32_t remaining = n;
  if (c.leading)
    while (remaining != 0 && isTrim(source)) {
      advance(source, ctx);
      --remaining;
    }
  uint32_t length = lxoCntByte(&source, bytesLeft(source), remaining, OPT_STANDARD, ctx);

  if (c.trailing && length != 0) {
    // Walk the rest forward in the shift state the leading pass left, and
    // keep the end of the last character that is not a trim character.
    CharCursor walk;
    lxmvopen(source.current, length, &walk, v.handle, ctx, 0, source.shiftState ? 1u : 0u);
    uint32_t keep = 0;
    while (!atEnd(walk)) {
      const uint8_t* const at = walk.current;
      // A double-byte character cut by the end keeps only its bytes.
      const uint32_t w = std::min(charWidth(walk, v.table), bytesLeft(walk));
      const bool trim = isTrim(walk);
      if (lxmfwdx(&walk, ctx) == 0) break;
      if (!trim) keep = static_cast<uint32_t>(at + w - source.current);
    }
    length = keep;
  }

  if (c.dst == nullptr) return pointInto(c, {source.current, source.current + length});
  CharCursor writer;
  uint32_t used = lxmopen(c.dst, c.capacity, &writer, v.handle, ctx, 1);
  used += lxoCpStr(&writer, c.capacity, &source, length, OPT_STANDARD, ctx);
  if (used < c.capacity) used += closeShiftedRun(writer);
  *c.outLength = used;
  return c.dst;
}

// A caller's trim set as the entry takes it: the bytes of its whole
// characters (up to one cut by the end) and its number of characters, a
// supplementary one counting once.  Single-byte sets and UTF-8 are measured
// inline, where the core's count walks the same characters (in UTF-8 every
// character of the lead-byte walk is one code point, valid or not).
struct SetMeasure {
  uint32_t bytes;
  uint32_t codePoints;
};

SetMeasure measureSet(const CharsetView& v, const uint8_t* set, uint32_t length, NlsContext* ctx) {
  if (v.kind == CharsetClass::SingleByte) return {length, length};
  if (v.kind == CharsetClass::Utf8) {
    uint32_t at = 0, chars = 0;
    while (at < length && leadWidth(v.table, set[at]) <= length - at) {
      at += leadWidth(v.table, set[at]);
      ++chars;
    }
    return {at, chars};
  }
  const uint32_t units = lxsCntChar(set, length, OPT_STANDARD | OPT_UCS2_UNITS, v.handle, ctx);
  const uint32_t bytes = ctx->lastByteCount;
  // Two UCS-2 units may be one supplementary character.
  const uint32_t codePoints =
      units == 2 ? lxsCntChar(set, length, OPT_STANDARD | OPT_UCS4_UNITS, v.handle, ctx) : units;
  return {bytes, codePoints};
}

// ---- The entry's quick paths ------------------------------------------------------
//
// Trimming that needs none of the general path's set-up, taken from the
// entry: a byte-mapped set, or UTF-8, with a trim set of a few characters.
// Each trims whole characters from either end; the UTF-8 ones take a
// character at the end only where the bytes before it prove that a walk
// from the start meets it, and give the call back to the general path where
// they do not, or where the result would be cut.

// Bytes compared with a set of a few bytes: a byte-mapped set, or UTF-8
// with a set of ASCII bytes (such a byte is a character wherever a walk
// meets it).  utf8Table is null for a byte-mapped set.
struct TrimBytes {
  uint64_t bits[4] = {0, 0, 0, 0};
  const uint16_t* utf8Table;

  TrimBytes(const uint8_t* set, uint32_t length, const uint16_t* table) : utf8Table(table) {
    for (uint32_t i = 0; i < length; ++i) bits[set[i] >> 6] |= uint64_t{1} << (set[i] & 63);
  }

  bool has(uint8_t b) const { return (bits[b >> 6] >> (b & 63)) & 1; }
  uint32_t trimmedAt(const uint8_t* p, const uint8_t*) const { return has(*p) ? 1u : 0u; }
  // The width of a trim character just before e; 0 for a character kept;
  // -1 when the end of the character before e is not proven.
  int32_t trimmedBefore(const uint8_t* p, const uint8_t* e) const {
    if (has(e[-1])) return 1;
    if (utf8Table != nullptr && !surelyEndsCharacter<false>(utf8Table, p, e - 1)) return -1;
    return 0;
  }
};

// UTF-8 characters compared with a set of at most kMaxChars characters,
// each as its bytes and width in one key.
struct TrimUtf8Chars {
  static constexpr uint32_t kMaxChars = 8;
  uint64_t keys[kMaxChars];
  uint32_t count = 0;
  const uint16_t* table;

  static uint64_t keyOf(const uint8_t* q, uint32_t w) {
    uint64_t key = uint64_t{w} << 32 | q[0];
    for (uint32_t k = 1; k < w; ++k) key |= uint64_t{q[k]} << (8 * k);
    return key;
  }
  // The set's characters by the table's widths, up to one cut by its end;
  // false when there are more than kMaxChars or none.
  bool prepare(const uint8_t* set, uint32_t length) {
    for (uint32_t at = 0; at < length;) {
      const uint32_t w = leadWidth(table, set[at]);
      if (w > length - at) break;
      if (count == kMaxChars || w > 4) return false;
      keys[count++] = keyOf(set + at, w);
      at += w;
    }
    return count != 0;
  }
  bool has(const uint8_t* q, uint32_t w) const {
    const uint64_t key = keyOf(q, w);
    for (uint32_t i = 0; i < count; ++i)
      if (keys[i] == key) return true;
    return false;
  }
  uint32_t trimmedAt(const uint8_t* p, const uint8_t* e) const {
    const uint32_t w = *p < 0x80 ? 1u : leadWidth(table, *p);
    return w <= static_cast<uint32_t>(e - p) && has(p, w) ? w : 0u;
  }
  int32_t trimmedBefore(const uint8_t* p, const uint8_t* e) const {
    const uint8_t* q = e - 1;
    while (q > p && (*q & 0xC0) == 0x80 && e - q < 4) --q;
    const uint32_t w = static_cast<uint32_t>(e - q);
    if (leadWidth(table, *q) != w || (q > p && !surelyEndsCharacter<false>(table, p, q - 1)))
      return -1;
    return has(q, w) ? static_cast<int32_t>(w) : 0;
  }
};

// Short results, the common case, are copied by two overlapping moves
// without a call.
[[gnu::always_inline]] inline void copySmallOrLarge(uint8_t* to, const uint8_t* from, uint32_t n) {
  const auto move = [&](auto word) {
    using Word = decltype(word);
    Word head, tail;
    std::memcpy(&head, from, sizeof(Word));
    std::memcpy(&tail, from + n - sizeof(Word), sizeof(Word));
    std::memcpy(to, &head, sizeof(Word));
    std::memcpy(to + n - sizeof(Word), &tail, sizeof(Word));
  };
  struct Block16 {
    uint64_t half[2];
  };
  if (n > 32) {
    std::memcpy(to, from, n);
  } else if (n >= 16) {
    move(Block16{});
  } else if (n >= 8) {
    move(uint64_t{});
  } else if (n >= 4) {
    move(uint32_t{});
  } else {
    for (uint32_t i = 0; i < n; ++i) to[i] = from[i];
  }
}

// *taken is false when the general path must decide.  pointWhenNoRoom: a
// capacity of 0 points into the source, as a null destination does.
template <typename Chars>
[[gnu::always_inline]] inline const uint8_t* quickTrim(uint32_t* outLength, uint8_t* dst,
                                                       uint32_t capacity, const uint8_t* src,
                                                       uint32_t srcLength, const Chars& chars,
                                                       bool leading, bool trailing,
                                                       bool pointWhenNoRoom, bool* taken) {
  const uint8_t* p = src;
  const uint8_t* e = src + srcLength;
  if (leading)
    while (p < e) {
      const uint32_t w = chars.trimmedAt(p, e);
      if (w == 0) break;
      p += w;
    }
  if (trailing)
    while (e > p) {
      const int32_t w = chars.trimmedBefore(p, e);
      if (w < 0) return nullptr;
      if (w == 0) break;
      e -= w;
    }
  const uint32_t n = static_cast<uint32_t>(e - p);
  if (dst == nullptr || (capacity == 0 && pointWhenNoRoom)) {
    *taken = true;
    *outLength = n;
    return p;
  }
  if (n > capacity) return nullptr;
  *taken = true;
  copySmallOrLarge(dst, p, n);
  *outLength = n;
  return dst;
}

const uint8_t* binaryTrim(const TrimCall& c) {
  if (c.v.flags & CSH_SIMPLE_CASE) return bytePath(c);
  if (c.v.flags & CSH_FIXED_WIDTH) return fixedWidthPath(c);
  if (c.v.flags & CSH_SHIFT_SENSITIVE) return shiftSensitivePath(c);
  if (c.v.kind == CharsetClass::SingleByte || c.v.kind == CharsetClass::Utf16)
    return leadBytePath<LeadByteChar>(c);
  return withCharPolicy(c.v, [&](auto unit) { return leadBytePath<decltype(unit)>(c); });
}

// Every trim the entry's quick paths do not take; kept out of line so
// that the entry stays a small function.
[[gnu::noinline]] const uint8_t* trimInGeneral(uint32_t* outLength, void* dst, uint32_t dstCapacity,
                                               const void* src, uint32_t srcLength,
                                               const void* trimSet, uint32_t trimSetLength,
                                               uint32_t options, uint32_t* outStatus,
                                               const CharsetHandle* handle, NlsContext* ctx,
                                               bool leading, bool trailing) {
  const CharsetView v = viewOf(handle, ctx);
  // Field by field: a braced initialiser of the whole record makes the
  // compiler clear it with a string store first, a third of a short call.
  TrimCall c;
  c.outLength = outLength;
  c.dst = static_cast<uint8_t*>(dst);
  c.capacity = dstCapacity;
  c.src = static_cast<const uint8_t*>(src);
  c.srcLength = srcLength;
  c.set = nullptr;
  c.setLength = 0;
  c.leading = leading;
  c.trailing = trailing;
  c.options = options;
  c.outStatus = outStatus;
  c.v = v;
  c.ctx = ctx;
  uint8_t defaultSet[6] = {};
  if (trimSet == nullptr || trimSetLength == 0) {
    defaultSet[0] = singleByteBlank(handle, ctx);
    c.set = defaultSet;
    c.setLength = 1;
    if ((c.v.flags & (CSH_FIXED_WIDTH | CSH_SIMPLE_CASE)) == CSH_FIXED_WIDTH) {
      // The set's own blank, as long as the bytes before its first zero.
      lxhlinfo(handle, LXH_ITEM_BLANK, defaultSet, sizeof defaultSet, ctx);
      c.setLength = static_cast<uint32_t>(strnlen(reinterpret_cast<const char*>(defaultSet), 6));
    }
  } else {
    c.set = static_cast<const uint8_t*>(trimSet);
    const SetMeasure set = measureSet(c.v, c.set, trimSetLength, ctx);
    if ((options & TRIM_SINGLE) && set.codePoints > 1) {
      if (outStatus != nullptr) *outStatus = TRIM_STATUS_NOT_SINGLE;
      return nullptr;
    }
    c.setLength = set.bytes < trimSetLength ? set.bytes : trimSetLength;
    if (c.setLength == 0) return noTrimCopy(c);
  }
  if (linguisticInForce(handle)) return linguisticTrim(c);
  return binaryTrim(c);
}

}  // namespace
}  // namespace lxk

extern "C" LXK_API const uint8_t* lxkTrim(uint32_t* outLength, void* dst, uint32_t dstCapacity,
                                          const void* src, uint32_t srcLength, const void* trimSet,
                                          uint32_t trimSetLength, uint32_t options,
                                          uint32_t* outStatus, const CharsetHandle* handle,
                                          NlsContext* ctx) {
  using namespace lxk;
  if (outStatus != nullptr) *outStatus = NLS_STATUS_OK;
  ctx->status = NLS_STATUS_OK;
  *outLength = 0;
  if (src == nullptr || srcLength == 0) return nullptr;
  if (!(options & (TRIM_LEADING | TRIM_TRAILING))) options &= ~TRIM_BLANK_CLASS;
  const bool leading = options == TRIM_SINGLE || (options & TRIM_LEADING);
  const bool trailing = options == TRIM_SINGLE || (options & TRIM_TRAILING);
  // Byte-mapped sets are known from the handle's flags alone, before the
  // definition is looked up.
  const bool quickSet = trimSet != nullptr && trimSetLength != 0 &&
                        (trimSetLength == 1 || !(options & TRIM_SINGLE)) &&
                        !linguisticInForce(handle);
  const auto* set = static_cast<const uint8_t*>(trimSet);
  auto* out = static_cast<uint8_t*>(dst);
  const auto* text = static_cast<const uint8_t*>(src);
  bool taken = false;
  const uint8_t* result = nullptr;
  if (handle->flags & CSH_SIMPLE_CASE) {
    if (quickSet && trimSetLength <= 8) {
      const TrimBytes bytes(set, trimSetLength, nullptr);
      result = quickTrim(outLength, out, dstCapacity, text, srcLength, bytes, leading, trailing,
                         false, &taken);
      if (taken) return result;
    }
  } else if (quickSet) {
    const CharsetView v = viewOf(handle, ctx);
    if (v.kind == CharsetClass::Utf8) {
      uint8_t any = 0;
      for (uint32_t i = 0; i < trimSetLength && i < 8; ++i) any |= set[i];
      if (trimSetLength <= 8 && any < 0x80) {
        const TrimBytes bytes(set, trimSetLength, v.table);
        result = quickTrim(outLength, out, dstCapacity, text, srcLength, bytes, leading, trailing,
                           true, &taken);
      } else {
        TrimUtf8Chars chars;
        chars.table = v.table;
        if (chars.prepare(set, trimSetLength))
          result = quickTrim(outLength, out, dstCapacity, text, srcLength, chars, leading, trailing,
                             true, &taken);
      }
      if (taken) return result;
    }
  }
  return trimInGeneral(outLength, dst, dstCapacity, src, srcLength, trimSet, trimSetLength, options,
                       outStatus, handle, ctx, leading, trailing);
}
