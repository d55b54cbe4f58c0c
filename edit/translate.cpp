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
  uint32_t used = 0;
  for (uint32_t i = 0; i < c.srcLength; ++i) {
    if (used == c.capacity) {
      c.ctx->status = NLS_STATUS_TRUNCATED;
      break;
    }
    const uint32_t m = map[c.src[i]];
    c.dst[used] = static_cast<uint8_t>(m);
    used += (m >> 8) ^ 1u;
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
constexpr uint32_t kKeptToOffsets = 256;

template <typename Unit>
uint32_t inlinePath(const TranslateCall& c) {
  const CharsetView& v = c.v;
  // Offsets of the first to-list characters; later ones are walked to.
  uint32_t toOffset[kKeptToOffsets + 1];
  uint32_t toCount = 0;
  for (ListWalk<Unit> t(v, c.to, c.toLength); t.width != 0; t.next()) {
    if (toCount <= kKeptToOffsets) toOffset[toCount] = static_cast<uint32_t>(t.p - c.to);
    ++toCount;
  }
  // The index of the first one-byte from-list character with each byte,
  // and which bytes lead a wider one.
  uint32_t oneByteIndex[256];
  bool leadsWide[256] = {};
  for (uint32_t& k : oneByteIndex) k = kNoMatch;
  uint32_t k = 0;
  for (ListWalk<Unit> f(v, c.from, c.fromLength); f.width != 0; f.next(), ++k) {
    if (f.width == 1) {
      if (oneByteIndex[*f.p] == kNoMatch) oneByteIndex[*f.p] = k;
    } else {
      leadsWide[*f.p] = true;
    }
  }
  auto wideIndex = [&](const uint8_t* q, uint32_t w) {
    uint32_t index = 0;
    for (ListWalk<Unit> f(v, c.from, c.fromLength); f.width != 0; f.next(), ++index)
      if (f.width == w && std::memcmp(f.p, q, w) == 0) return index;
    return kNoMatch;
  };
  auto toChar = [&](uint32_t index, uint32_t* w) -> const uint8_t* {
    if (index < kKeptToOffsets) {
      ListWalk<Unit> t(v, c.to + toOffset[index], c.toLength - toOffset[index]);
      *w = t.width;
      return t.p;
    }
    ListWalk<Unit> t(v, c.to + toOffset[kKeptToOffsets], c.toLength - toOffset[kKeptToOffsets]);
    for (uint32_t i = kKeptToOffsets; i < index; ++i) t.next();
    *w = t.width;
    return t.p;
  };

  const uint8_t* p = c.src;
  const uint8_t* const end = c.src + c.srcLength;
  uint32_t used = 0;
  while (p < end) {
    const uint32_t left = static_cast<uint32_t>(end - p);
    const uint32_t w = Unit::width(v, p, left);
    if (w > left) break;  // a character cut by the end is not translated
    const uint32_t index = w == 1 ? oneByteIndex[*p] : leadsWide[*p] ? wideIndex(p, w) : kNoMatch;
    const uint8_t* out = p;
    uint32_t outWidth = w;
    if (index != kNoMatch) {
      if (index >= toCount) {
        p += w;
        continue;
      }
      out = toChar(index, &outWidth);
    }
    if (outWidth > c.capacity - used) {
      c.ctx->status = NLS_STATUS_TRUNCATED;
      break;
    }
    if (outWidth == 1)
      c.dst[used] = *out;
    else
      std::memcpy(c.dst + used, out, outWidth);
    used += outWidth;
    p += w;
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
    const uint32_t n = lxsCpStr(dst, capacity, src, srcLength, OPT_STANDARD, handle, ctx);
    if (n < srcLength) ctx->status = NLS_STATUS_TRUNCATED;
    return n;
  }
  if (to == nullptr) toLength = 0;
  const TranslateCall c{static_cast<uint8_t*>(dst),
                        capacity,
                        static_cast<const uint8_t*>(src),
                        srcLength,
                        static_cast<const uint8_t*>(from),
                        fromLength,
                        static_cast<const uint8_t*>(to),
                        toLength,
                        viewOf(handle, ctx),
                        ctx};
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
