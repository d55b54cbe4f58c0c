// TRANSLATE by collation: at each source position the from-list's
// characters are tried in order with the core's matcher; the first that
// matches wins and the source moves past what it matched (which may be
// longer or shorter than the from-list character).  A match that covers no
// byte counts as none.
#include <algorithm>
#include <cstring>

#include "edit/translate.h"
#include "frame/frame.h"
#include "lxk/lxk.h"

namespace lxk {
namespace {

constexpr uint32_t kAtStart = 0;

// Single-byte sets: candidates are bytes; a full output stops the call
// without a report.
uint32_t singleByteSets(const TranslateCall& c) {
  uint32_t used = 0, matchStart = 0, matchLength = 0;
  for (uint32_t at = 0; at < c.srcLength;) {
    if (used >= c.capacity) return used;
    const uint32_t left = c.srcLength - at;
    uint32_t k = 0;
    while (k < c.fromLength && !(lxpLinDirMatch(c.src + at, left, c.from + k, 1, &matchStart,
                                                &matchLength, kAtStart, c.v.handle, c.ctx) &&
                                 matchLength != 0))
      ++k;
    if (k == c.fromLength) {
      c.dst[used++] = c.src[at++];
      continue;
    }
    if (k < c.toLength) c.dst[used++] = c.to[k];
    at += std::min(matchLength, left);
  }
  return used;
}

// Sets without shift states: widths by the definition's own lead-byte
// table, or the core's rule for GB18030.
uint32_t multibyteSets(const TranslateCall& c) {
  const CharsetDefinition* def = c.v.def;
  const bool gb18030 = def->charsetId == CSID_GB18030;
  auto widthAt = [&](const uint8_t* p, uint32_t left) -> uint32_t {
    return gb18030 ? lxcgbgwt2(def, p, left) & 0xFFFFu : leadWidth(baseLeadTable(def), *p);
  };
  // The k-th whole character of the to-list, or null.
  auto toChar = [&](uint32_t k, uint32_t* width) -> const uint8_t* {
    uint32_t at = 0;
    for (;;) {
      if (at >= c.toLength) return nullptr;
      const uint32_t w = widthAt(c.to + at, c.toLength - at);
      if (w == 0 || w > c.toLength - at) return nullptr;
      if (k-- == 0) {
        *width = w;
        return c.to + at;
      }
      at += w;
    }
  };
  uint32_t used = 0, matchStart = 0, matchLength = 0;
  for (uint32_t at = 0; at < c.srcLength;) {
    const uint32_t left = c.srcLength - at;
    uint32_t k = 0;
    bool matched = false;
    for (uint32_t f = 0; f < c.fromLength; ++k) {
      const uint32_t w = widthAt(c.from + f, c.fromLength - f);
      if (w == 0 || w > c.fromLength - f) break;  // a character cut by the end is not tried
      if (lxpLinDirMatch(c.src + at, left, c.from + f, w, &matchStart, &matchLength, kAtStart,
                         c.v.handle, c.ctx) &&
          matchLength != 0) {
        matched = true;
        break;
      }
      f += w;
    }
    const uint8_t* out = c.src + at;
    uint32_t width = std::max(widthAt(out, left), 1u);
    if (matched) {
      at += std::min(matchLength, left);
      out = toChar(k, &width);
      if (out == nullptr) continue;
    } else {
      if (width > left) break;  // a character cut by the end is dropped
      at += width;
    }
    if (width > c.capacity - used) {
      c.ctx->status = NLS_STATUS_TRUNCATED;
      return used;
    }
    std::memcpy(c.dst + used, out, width);
    used += width;
  }
  return used;
}

// Shift-sensitive sets: cursors read each list in its shift state; the
// output switches runs with shift bytes, merges runs that meet, and keeps
// room for the byte that closes the run it ends in.
uint32_t shiftSensitiveSets(const TranslateCall& c) {
  const CharsetHandle* h = c.v.handle;
  NlsContext* const ctx = c.ctx;
  uint32_t used = 0, matchStart = 0, matchLength = 0;
  bool outShifted = false;
  auto emit = [&](const uint8_t* bytes, uint32_t width, bool shifted) {
    const uint32_t need = width + (shifted != outShifted ? 1u : 0u) + (shifted ? 1u : 0u);
    if (need > c.capacity - used) return false;
    if (shifted != outShifted) c.dst[used++] = shifted ? h->shiftOutByte : h->shiftInByte;
    outShifted = shifted;
    std::memcpy(c.dst + used, bytes, width);
    used += width;
    return true;
  };
  CharCursor source;
  lxmcpen(c.src, c.srcLength, &source, h, ctx);
  while (!atEnd(source)) {
    const uint32_t left = bytesLeft(source);
    CharCursor from;
    lxmcpen(c.from, c.fromLength, &from, h, ctx);
    uint32_t k = 0;
    bool matched = false;
    for (; !atEnd(from); ++k) {
      const uint32_t w = charWidth(from, c.v.table);
      if (w > bytesLeft(from)) break;
      if (lxpoLinDirMatch(&source, left, &from, w, &matchStart, &matchLength, kAtStart, h, ctx) &&
          matchLength != 0) {
        matched = true;
        break;
      }
      if (lxmfwdx(&from, ctx) == 0) break;
    }
    bool fits = true;
    if (matched) {
      CharCursor to;
      lxmcpen(c.to, c.toLength, &to, h, ctx);
      for (uint32_t j = 0; j < k && !atEnd(to); ++j) lxmfwdx(&to, ctx);
      if (!atEnd(to) && charWidth(to, c.v.table) <= bytesLeft(to))
        fits = emit(to.current, charWidth(to, c.v.table), to.shiftState != 0);
      if (fits) {
        // Past the matched bytes, at least one character.
        const uint8_t* const target = source.current + std::min(matchLength, left);
        do {
          if (lxmfwdx(&source, ctx) == 0) break;
        } while (source.current < target && !atEnd(source));
      }
    } else {
      const uint32_t w = charWidth(source, c.v.table);
      if (w > left) break;  // a character cut by the end is dropped
      fits = emit(source.current, w, source.shiftState != 0);
      if (fits) lxmfwdx(&source, ctx);
    }
    if (!fits) {
      ctx->status = NLS_STATUS_TRUNCATED;
      break;
    }
  }
  if (outShifted) c.dst[used++] = h->shiftInByte;
  if (used < c.capacity) c.dst[used] = 0;  // a terminator callers may rely on, not counted
  return used;
}

}  // namespace

uint32_t linguisticTranslate(const TranslateCall& c) {
  if (c.v.flags & CSH_SINGLE_BYTE) return singleByteSets(c);
  if (c.v.flags & CSH_SHIFT_SENSITIVE) return shiftSensitiveSets(c);
  return multibyteSets(c);
}

}  // namespace lxk
