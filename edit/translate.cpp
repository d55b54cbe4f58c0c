// TRANSLATE: each source character found in the from-list becomes the
// to-list character at the same index, or is deleted when the to-list is
// shorter; the first occurrence in the from-list decides.
//
// Paths: linguistic comparison in force; byte-mapped sets by bytes (a
// direct search for short calls, 256-entry tables for longer ones); the
// UTF-8 forms inline by their character policy; every other multibyte set
// through cursors.  The inline path gives what the cursor path gives: the
// source's characters are those of the lead-byte walk up to a character cut
// by the end, and two characters are equal when their widths and bytes are.
#include "edit/translate.h"

#include <cstring>

#include "frame/frame.h"
#include "frame/unit_policies.h"
#include "lxk/lxk.h"

namespace lxk {
namespace {

constexpr uint32_t kTablePathProduct = 300;

// ---- Byte-mapped sets ------------------------------------------------------------

uint32_t byteSearchPath(const TranslateCall& c) {
  uint32_t used = 0;
  for (uint32_t i = 0; i < c.srcLength; ++i) {
    if (used == c.capacity) {
      c.ctx->status = NLS_STATUS_TRUNCATED;
      break;
    }
    const uint8_t b = c.src[i];
    const void* hit = std::memchr(c.from, b, c.fromLength);
    if (hit == nullptr) {
      c.dst[used++] = b;
    } else {
      const uint32_t k = static_cast<uint32_t>(static_cast<const uint8_t*>(hit) - c.from);
      if (k < c.toLength) c.dst[used++] = c.to[k];
    }
  }
  return used;
}

uint32_t byteTablePath(const TranslateCall& c) {
  // Bits 0-7 the replacement, bit 8 set when the byte is deleted.
  uint16_t map[256];
  bool decided[256] = {};
  for (uint32_t b = 0; b < 256; ++b) map[b] = static_cast<uint16_t>(b);
  bool deletes = false;
  for (uint32_t k = 0; k < c.fromLength; ++k) {
    const uint8_t b = c.from[k];
    if (decided[b]) continue;
    decided[b] = true;
    map[b] = k < c.toLength ? c.to[k] : 0x100u;
    deletes |= k >= c.toLength;
  }
  if (!deletes) {
    // One byte out for every byte in.
    const uint32_t n = c.srcLength < c.capacity ? c.srcLength : c.capacity;
    for (uint32_t i = 0; i < n; ++i) c.dst[i] = static_cast<uint8_t>(map[c.src[i]]);
    if (n < c.srcLength) c.ctx->status = NLS_STATUS_TRUNCATED;
    return n;
  }
  // At most one byte out per byte in: a chunk as long as the room left
  // needs no capacity test inside.
  uint32_t used = 0, i = 0;
  while (i < c.srcLength) {
    const uint32_t room = c.capacity - used;
    if (room == 0) {
      c.ctx->status = NLS_STATUS_TRUNCATED;
      break;
    }
    const uint32_t chunkEnd = c.srcLength - i < room ? c.srcLength : i + room;
    for (; i < chunkEnd; ++i) {
      const uint32_t m = map[c.src[i]];
      c.dst[used] = static_cast<uint8_t>(m);
      used += (m >> 8) ^ 1u;
    }
  }
  return used;
}

// ---- UTF-8 forms inline ---------------------------------------------------------

// The characters of a list by the policy's widths, up to one cut by the end.
template <typename Unit>
struct ListWalk {
  const CharsetView& v;
  const uint8_t* p;
  const uint8_t* end;
  uint32_t width = 0;  // of the current character; 0 at the end
  ListWalk(const CharsetView& view, const uint8_t* list, uint32_t length)
      : v(view), p(list), end(list + length) {
    measure();
  }
  void measure() {
    const uint32_t left = static_cast<uint32_t>(end - p);
    width = left == 0 ? 0 : Unit::width(v, p, left);
    if (width > left) width = 0;
  }
  void next() {
    p += width;
    measure();
  }
};

constexpr uint32_t kNoMatch = 0xFFFFFFFFu;
// Characters of the lists kept in local tables; longer lists are walked.
constexpr uint32_t kKeptChars = 64;

// The bytes of a character of at most four bytes and its width, as one key.
inline uint64_t charKey(const uint8_t* p, uint32_t w) {
  uint64_t key = w;
  for (uint32_t i = 0; i < w; ++i) key = key << 8 | p[i];
  return key;
}

template <typename Unit>
uint32_t inlinePath(const TranslateCall& c) {
  const CharsetView& v = c.v;
  // The first to-list characters; the k-th beyond them is walked to.
  const uint8_t* toChar[kKeptChars];
  uint32_t toWidth[kKeptChars];
  uint32_t toCount = 0;
  for (ListWalk<Unit> t(v, c.to, c.toLength); t.width != 0; t.next(), ++toCount)
    if (toCount < kKeptChars) {
      toChar[toCount] = t.p;
      toWidth[toCount] = t.width;
    }
  // One-byte characters map through a table: bits 0-7 the byte written,
  // kDeleted for none, kWide when the replacement is wider (its index in
  // wideTarget).
  // The wider from-list characters are kept with their indexes in order.
  constexpr uint32_t kDeleted = 0x100, kWide = 0x200, kDecided = 0x400;
  uint32_t byteMap[256];
  uint32_t wideTarget[256];  // read only where byteMap says kWide
  for (uint32_t b = 0; b < 256; ++b) byteMap[b] = b;
  bool leadsWide[256] = {};
  uint64_t wideKey[kKeptChars];
  uint32_t wideIndex[kKeptChars];
  uint32_t wideCount = 0;
  bool wideOverflow = false;
  uint32_t index = 0;
  for (ListWalk<Unit> f(v, c.from, c.fromLength); f.width != 0; f.next(), ++index) {
    if (f.width == 1) {
      uint32_t& m = byteMap[*f.p];
      if (m & kDecided) continue;  // the first occurrence decides
      if (index >= toCount) {
        m = kDeleted;
      } else if (index < kKeptChars && toWidth[index] == 1) {
        m = *toChar[index];
      } else {
        m = kWide;
        wideTarget[*f.p] = index;
      }
      m |= kDecided;
      continue;
    }
    leadsWide[*f.p] = true;
    if (wideCount == kKeptChars) {
      wideOverflow = true;
      continue;
    }
    wideKey[wideCount] = charKey(f.p, f.width);
    wideIndex[wideCount++] = index;
  }
  auto findWide = [&](const uint8_t* q, uint32_t w) {
    const uint64_t key = charKey(q, w);
    for (uint32_t i = 0; i < wideCount; ++i)
      if (wideKey[i] == key) return wideIndex[i];
    if (wideOverflow) {
      uint32_t k = 0;
      for (ListWalk<Unit> f(v, c.from, c.fromLength); f.width != 0; f.next(), ++k)
        if (f.width == w && std::memcmp(f.p, q, w) == 0) return k;
    }
    return kNoMatch;
  };
  auto mapped = [&](uint32_t k, uint32_t* w) -> const uint8_t* {
    if (k < kKeptChars) {
      *w = toWidth[k];
      return toChar[k];
    }
    ListWalk<Unit> t(v, toChar[kKeptChars - 1],
                     static_cast<uint32_t>(c.to + c.toLength - toChar[kKeptChars - 1]));
    for (uint32_t i = kKeptChars - 1; i < k; ++i) t.next();
    *w = t.width;
    return t.p;
  };

  // Locals: the byte stores below may alias anything reached through c.
  const CharsetView view = v;
  const uint8_t* p = c.src;
  const uint8_t* const end = c.src + c.srcLength;
  uint8_t* const out = c.dst;
  const uint32_t capacity = c.capacity;
  uint32_t used = 0;
  while (p < end) {
    const uint32_t left = static_cast<uint32_t>(end - p);
    const uint32_t w = Unit::width(view, p, left);
    if (w == 1 && !(byteMap[*p] & kWide)) {
      const uint32_t m = byteMap[*p++] & ~kDecided;
      if (m == kDeleted) continue;
      if (used == capacity) {
        c.ctx->status = NLS_STATUS_TRUNCATED;
        break;
      }
      out[used++] = static_cast<uint8_t>(m);
      continue;
    }
    if (w > left) break;  // a character cut by the end is not translated
    const uint32_t k = w == 1 ? wideTarget[*p] : leadsWide[*p] ? findWide(p, w) : kNoMatch;
    const uint8_t* from = p;
    uint32_t outWidth = w;
    p += w;
    if (k != kNoMatch) {
      if (k >= toCount) continue;
      from = mapped(k, &outWidth);
    }
    if (outWidth > capacity - used) {
      c.ctx->status = NLS_STATUS_TRUNCATED;
      break;
    }
    for (uint32_t i = 0; i < outWidth; ++i) out[used + i] = from[i];
    used += outWidth;
  }
  return used;
}

// ---- Other multibyte sets: cursors -----------------------------------------------

inline bool currentIsSingle(const CharCursor& k, const CharsetView& v) {
  if (k.singleByte) return true;
  return isSingleByteChar(k, v.table);
}

uint32_t cursorPath(const TranslateCall& c) {
  const CharsetView& v = c.v;
  NlsContext* const ctx = c.ctx;
  const uint32_t countOptions =
      OPT_STANDARD | (v.def->charsetId == CSID_UTF8 ? OPT_UCS2_UNITS : OPT_UCS4_UNITS);
  const uint32_t toCount = lxsCntChar(c.to, c.toLength, countOptions, v.handle, ctx);
  const uint32_t fromCount = lxsCntChar(c.from, c.fromLength, countOptions, v.handle, ctx);
  const uint32_t srcCount = lxsCntChar(c.src, c.srcLength, countOptions, v.handle, ctx);
  const bool utf16Codes = (v.flags & CSH_UTF16_CODES) != 0;

  CharCursor reader, writer;
  lxmopen(c.src, c.srcLength, &reader, v.handle, ctx, 0);
  lxmopen(c.dst, c.capacity, &writer, v.handle, ctx, 1);
  for (uint32_t i = 0; i < srcCount && !atEnd(reader); ++i) {
    CharCursor from;
    lxmopen(c.from, c.fromLength, &from, v.handle, ctx, 0);
    const bool sourceSingle = currentIsSingle(reader, v);
    uint32_t k = 0;
    for (; k < fromCount && !atEnd(from); ++k) {
      const bool equal = (utf16Codes || !currentIsSingle(from, v))
                             ? lxmbteqx(&from, &reader, v.table) != 0
                             : sourceSingle && *from.current == *reader.current;
      if (equal) break;
      fastAdvance(from, v.table);
    }
    const bool matched = k < fromCount && !atEnd(from);
    uint32_t written = 1;
    if (!matched) {
      written = lxoCpChar(&writer, c.capacity, &reader, 0xFFFFFFFFu, OPT_CURSOR_COPY, ctx);
    } else {
      if (k < toCount) {
        CharCursor to;
        lxmopen(c.to, c.toLength, &to, v.handle, ctx, 0);
        for (uint32_t j = 0; j < k && !atEnd(to); ++j) fastAdvance(to, v.table);
        written = lxoCpChar(&writer, c.capacity, &to, 0xFFFFFFFFu, OPT_CURSOR_COPY, ctx);
      }
      if (written != 0) fastAdvance(reader, v.table);
    }
    if (written == 0) {
      ctx->status = NLS_STATUS_TRUNCATED;
      break;
    }
  }
  // The copies leave room for the byte that closes a run.
  closeShiftedRun(writer);
  return static_cast<uint32_t>(writer.current - c.dst);
}

}  // namespace
}  // namespace lxk

extern "C" LXK_API uint32_t lxkTranslate(void* dst, uint32_t capacity, const void* src,
                                         uint32_t srcLength, const void* from, uint32_t fromLength,
                                         const void* to, uint32_t toLength,
                                         const CharsetHandle* handle, NlsContext* ctx) {
  using namespace lxk;
  ctx->status = NLS_STATUS_OK;
  if (src == nullptr || srcLength == 0) return 0;
  if (dst == nullptr) capacity = 0;
  if (from == nullptr || fromLength == 0) {
    // A copy is cut when the capacity held it back, not when the source
    // ends inside a character (a copy may add a byte that closes a run).
    const uint32_t n = lxsCpStr(dst, capacity, src, srcLength, OPT_STANDARD, handle, ctx);
    if (n < srcLength && capacity <= srcLength) ctx->status = NLS_STATUS_TRUNCATED;
    return n;
  }
  if (to == nullptr) toLength = 0;
  // Field by field: a braced initialiser of the whole record makes the
  // compiler clear it with a string store first.
  TranslateCall c;
  c.dst = static_cast<uint8_t*>(dst);
  c.capacity = capacity;
  c.src = static_cast<const uint8_t*>(src);
  c.srcLength = srcLength;
  c.from = static_cast<const uint8_t*>(from);
  c.fromLength = fromLength;
  c.to = static_cast<const uint8_t*>(to);
  c.toLength = toLength;
  c.v = viewOf(handle, ctx);
  c.ctx = ctx;
  if (linguisticInForce(handle)) return linguisticTranslate(c);
  if (c.v.flags & CSH_SIMPLE_CASE)
    return srcLength * fromLength < kTablePathProduct ? byteSearchPath(c) : byteTablePath(c);
  switch (c.v.kind) {
    case CharsetClass::Utf8:
      return inlinePath<Utf8Char>(c);
    case CharsetClass::Utf8Variant:
      return inlinePath<Utf8VariantChar>(c);
    default:
      return cursorPath(c);
  }
}
