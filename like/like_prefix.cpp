// The fixed prefix of a LIKE pattern and the pattern's class: one pass over
// the pattern, written once over a small description of how each class of
// set reads its characters, its wildcards and its escape.
#include <algorithm>
#include <cstring>

#include "frame/frame.h"
#include "like/like_text.h"

namespace lxk {
namespace like {
namespace {

// A character of the pattern as the prefix pass sees it.
struct PatternChar {
  const uint8_t* p;
  uint32_t w;
  uint8_t mode;
  bool percent;
  bool underscore;
  bool escape;
};

enum class PrefixPath : uint8_t { SingleByte, Utf16, Utf8, Shift, LeadByte };

// How one class of set reads the pattern.
struct PrefixReader {
  PrefixPath path;
  const uint8_t* begin;
  const uint8_t* end;
  const uint8_t* lastStart;  // characters starting after it are not looked at
  const CharsetHandle* handle;
  const uint16_t* table;
  NlsContext* ctx;
  const uint8_t* escape;  // null when no escape is in use
  uint32_t escapeLength;
  uint8_t percent, underscore;  // one-byte wildcards
  uint8_t percentSeq[8], underscoreSeq[8];
  uint32_t percentSeqLength = 0, underscoreSeqLength = 0;
  ShiftReader shift;  // the shift path only
  CharCursor cursor;  // the shift path only

  bool equalsSeq(const PatternChar& c, const uint8_t* seq, uint32_t n) const {
    return n > 1 && c.w == n && std::memcmp(c.p, seq, n) == 0;
  }

  // The character at at; false when none starts there.
  bool read(Pos& at, PatternChar& c) {
    if (path == PrefixPath::Shift) {
      Char ch;
      if (shift.read(at, ch) != Read::Char) return false;
      c = {ch.p, ch.w, ch.mode, false, false, false};
      const bool single = ch.mode == 0 && ch.w == 1;
      if (single && escape != nullptr && *ch.p == escape[0]) {
        c.escape = true;
        return true;
      }
      c.percent = single && *ch.p == 0x25;
      c.underscore = single && *ch.p == 0x5F;
      if (!c.percent && !c.underscore) {
        cursor.current = const_cast<uint8_t*>(ch.p);
        cursor.shiftState = ch.mode;
        c.percent = lxmctex(&cursor, 0x25, ctx) != 0;
        c.underscore = !c.percent && lxmctex(&cursor, 0x5F, ctx) != 0;
      }
      return true;
    }
    if (at.p > lastStart || at.p >= end) return false;
    const uint32_t left = static_cast<uint32_t>(end - at.p);
    uint32_t w = 1;
    if (path == PrefixPath::Utf16)
      w = handle->maxCharWidth;
    else if (path != PrefixPath::SingleByte)
      w = leadWidth(table, *at.p);
    if (w > left) w = left;
    c = {at.p, w, 0, false, false, false};
    at.p += w;
    if (escape != nullptr) {
      const uint32_t n = path == PrefixPath::SingleByte ? 1u
                         : path == PrefixPath::Utf16    ? 2u
                                                        : escapeLength;
      if ((path == PrefixPath::Utf16 ? w >= 2 : w == n) && std::memcmp(c.p, escape, n) == 0) {
        c.escape = true;
        return true;
      }
    }
    if (path == PrefixPath::Utf16) {
      c.percent = w >= 2 && c.p[0] == 0 && c.p[1] == 0x25;
      c.underscore = w >= 2 && c.p[0] == 0 && c.p[1] == 0x5F;
    } else {
      c.percent = (w == 1 && *c.p == percent) || equalsSeq(c, percentSeq, percentSeqLength);
      c.underscore =
          (w == 1 && *c.p == underscore) || equalsSeq(c, underscoreSeq, underscoreSeqLength);
    }
    return true;
  }
};

// The prefix written so far; shift-sensitive output opens and closes its
// shifted runs as the characters copied need.
struct PrefixWriter {
  uint8_t* out;
  uint32_t bytes = 0;
  uint32_t chars = 0;
  uint8_t mode = 0;
  const CharsetHandle* handle;
  bool shiftSensitive;

  void append(const PatternChar& c) {
    if (shiftSensitive && c.mode != mode) {
      out[bytes++] = c.mode ? handle->shiftOutByte : handle->shiftInByte;
      mode = c.mode;
    }
    std::memcpy(out + bytes, c.p, c.w);
    bytes += c.w;
    ++chars;
  }
};

uint32_t refuse(uint32_t* likeStatus, uint32_t status) {
  if (likeStatus != nullptr) *likeStatus = status;
  return 0;
}

int32_t classify(uint32_t wildcardBytes, uint32_t patternLength, uint32_t prefixLength,
                 uint32_t throughFirst, bool firstIsPercent, uint8_t* patternClass);

int32_t analyse(PrefixReader& r, uint8_t* prefix, uint32_t patternLength, uint32_t* prefixLength,
                uint32_t* prefixChars, uint8_t* patternClass, uint32_t* likeStatus,
                uint32_t openedBytes) {
  const bool single = r.path == PrefixPath::SingleByte;
  const bool cursor = r.path == PrefixPath::Shift;
  PrefixWriter w{prefix, 0, 0, 0, r.handle, cursor};
  Pos at{r.begin, 0};
  PatternChar c, d;
  bool wildcard = false, firstIsPercent = false;
  uint32_t wildcardBytes = 0, throughFirst = patternLength;
  while (r.read(at, c)) {
    if (c.escape) {
      if (!r.read(at, d) || !(d.percent || d.underscore || d.escape))
        return refuse(likeStatus, single || cursor ? LIKE_STATUS_BAD_ESCAPE_CHAR
                                                   : LIKE_STATUS_BAD_ESCAPE_SEQUENCE);
      w.append(d);
      continue;
    }
    if (c.percent || c.underscore) {
      wildcard = true;
      firstIsPercent = c.percent;
      wildcardBytes = c.w + (cursor ? openedBytes : 0u);
      throughFirst = static_cast<uint32_t>(at.p - r.begin);
      break;
    }
    w.append(c);
  }
  uint32_t bytes = w.bytes;
  if (cursor && w.mode != 0) {
    prefix[w.bytes] = r.handle->shiftInByte;
    if (!wildcard) ++bytes;
  }
  *prefixLength = bytes;
  *prefixChars = r.path == PrefixPath::Utf16 ? bytes / r.handle->maxCharWidth : w.chars;
  if (single) *prefixChars = bytes;
  if (wildcard) {
    while (r.read(at, c)) {
      if (c.escape) {
        if (!r.read(at, d) || !(d.percent || d.underscore || d.escape))
          return refuse(likeStatus,
                        single ? LIKE_STATUS_BAD_ESCAPE_CHAR : LIKE_STATUS_BAD_ESCAPE_SEQUENCE);
        continue;
      }
      if (c.percent || c.underscore) wildcardBytes += c.w;
    }
  }
  return classify(wildcardBytes, patternLength, *prefixLength, throughFirst, firstIsPercent,
                  patternClass);
}

int32_t classify(uint32_t wildcardBytes, uint32_t patternLength, uint32_t prefixLength,
                 uint32_t throughFirst, bool firstIsPercent, uint8_t* patternClass) {
  uint8_t cls;
  if (wildcardBytes == 0)
    cls = LIKE_PREFIX_NO_WILDCARD;
  else if (wildcardBytes == patternLength)
    cls = LIKE_PREFIX_ONLY_WILDCARDS;
  else if (prefixLength == 0)
    cls = LIKE_PREFIX_EMPTY;
  else if (throughFirst < patternLength)
    cls = LIKE_PREFIX_MORE_AFTER_WILDCARD;
  else if (!firstIsPercent)
    cls = LIKE_PREFIX_ONE_TRAILING_WILDCARD | LIKE_PREFIX_TRAILING_UNDERSCORE;
  else
    cls = LIKE_PREFIX_ONE_TRAILING_WILDCARD | LIKE_PREFIX_TRAILING_PERCENT;
  *patternClass = cls;
  return (cls & (LIKE_PREFIX_NO_WILDCARD | LIKE_PREFIX_TRAILING_PERCENT)) ? 1 : 0;
}

// Whether every byte is below 0x80: then no byte announces a character
// over the next, whatever the rest of the table says.
bool asciiOnly(const uint8_t* p, const uint8_t* end) {
  uint64_t high = 0;
  for (; end - p >= 8; p += 8) {
    uint64_t w;
    std::memcpy(&w, p, 8);
    high |= w;
  }
  for (; p < end; ++p) high |= *p;
  return (high & 0x8080808080808080ull) == 0;
}

// Characters of a run that starts at a character: its bytes when they are
// all ASCII, else by the lead-byte widths, a character cut by the end one.
uint32_t charsIn(const uint16_t* table, const uint8_t* p, const uint8_t* end) {
  if (asciiOnly(p, end)) return static_cast<uint32_t>(end - p);
  uint32_t n = 0;
  for (const uint8_t* q = p; q < end; ++n)
    q += std::min<uint32_t>(leadWidth(table, *q), static_cast<uint32_t>(end - q));
  return n;
}

// UTF-8 and single-byte patterns whose escape is a byte below 0x80, with a
// table that steps as the UTF-8 bits say: the first wildcard or escape is
// found with memchr, and it is a character of the walk when no byte before
// it announces a character over it.  Returns -1 when that cannot be told
// this way (the byte-by-byte pass decides then).
int32_t analyseByChunks(const PrefixReader& r, uint8_t* prefix, uint32_t patternLength,
                        uint32_t* prefixLength, uint32_t* prefixChars, uint8_t* patternClass) {
  const bool single = r.path == PrefixPath::SingleByte;
  const uint8_t* const begin = r.begin;
  const uint8_t* const end = r.end;
  const uint8_t* const examinedEnd = r.lastStart + 1 < end ? r.lastStart + 1 : end;
  const uint8_t pct = r.percent, und = r.underscore;
  const int32_t esc = r.escape != nullptr ? r.escape[0] : -1;
  const auto find = [](const uint8_t* from, const uint8_t* to, int32_t b) {
    if (b < 0 || from >= to) return to;
    const void* hit = std::memchr(from, b, static_cast<size_t>(to - from));
    return hit != nullptr ? static_cast<const uint8_t*>(hit) : to;
  };
  const auto isSpecial = [&](uint8_t b) {
    return b == pct || b == und || static_cast<int32_t>(b) == esc;
  };
  uint32_t out = 0, chars = 0;
  const uint8_t* p = begin;
  const uint8_t* h;
  const uint8_t *pctAt = nullptr, *undAt = nullptr, *escAt = nullptr;
  for (;;) {
    // The first '%', the first '_' before it and the first escape before
    // that; a place found in an earlier round still holds while it lies
    // at or after p, and the searches bounded by it with it.
    bool again = pctAt == nullptr || pctAt < p;
    if (again) pctAt = find(p, examinedEnd, pct);
    again = again || undAt < p;
    if (again) undAt = find(p, pctAt, und);
    if (again || escAt < p) escAt = find(p, undAt, esc);
    h = escAt;
    if (!single && h < end && utf8Announced(p, h)) return -1;
    // Without a wildcard or escape, up to the end of the last character
    // examined, which must be a character of the walk.
    const uint8_t* copyEnd = h;
    if (h >= examinedEnd) {
      if (p >= end || p > r.lastStart) {
        copyEnd = p;
      } else if (single) {
        copyEnd = end;
      } else {
        if (utf8Announced(p, r.lastStart)) return -1;
        const uint32_t w = leadWidth(r.table, *r.lastStart);
        copyEnd = r.lastStart + std::min<uint32_t>(w, static_cast<uint32_t>(end - r.lastStart));
      }
    }
    std::memcpy(prefix + out, p, static_cast<size_t>(copyEnd - p));
    out += static_cast<uint32_t>(copyEnd - p);
    chars += single ? static_cast<uint32_t>(copyEnd - p) : charsIn(r.table, p, copyEnd);
    if (h >= examinedEnd) break;
    if (static_cast<int32_t>(*h) != esc) break;
    // An escape: the next byte must be a wildcard or the escape itself.
    if (h + 1 >= examinedEnd || !isSpecial(h[1])) return -1;
    prefix[out++] = h[1];
    ++chars;
    p = h + 2;
  }
  *prefixLength = out;
  *prefixChars = chars;
  if (h >= examinedEnd) return classify(0, patternLength, out, patternLength, false, patternClass);
  // The rest: plain ASCII without escapes is counted here.
  uint32_t wildcards = 0, high = 0, escapes = 0;
  for (const uint8_t* q = h; q < end; ++q) {
    wildcards += (*q == pct) | (*q == und);
    high |= *q & 0x80u;
    escapes += static_cast<int32_t>(*q) == esc;
  }
  if ((high && !single) || escapes != 0 || end != examinedEnd) return -1;
  return classify(wildcards, patternLength, out, static_cast<uint32_t>(h + 1 - begin), *h == pct,
                  patternClass);
}

// The byte-coded paths whose wildcards and escape are single bytes: the same
// pass with the tests inline, one byte compared per character.
int32_t analyseBytes(const PrefixReader& r, uint8_t* prefix, uint32_t patternLength,
                     uint32_t* prefixLength, uint32_t* prefixChars, uint8_t* patternClass,
                     uint32_t* likeStatus) {
  const bool single = r.path == PrefixPath::SingleByte;
  const int32_t esc = r.escape != nullptr ? r.escape[0] : -1;
  const uint8_t pct = r.percent, und = r.underscore;
  const uint8_t* p = r.begin;
  const uint8_t* const end = r.end;
  const uint8_t* const last = r.lastStart;
  const uint16_t* const table = r.table;
  // Locals throughout: stores into the prefix may alias anything reached
  // through a pointer.
  const auto widthAt = [single, table, end](const uint8_t* q) {
    const uint32_t w = single ? 1u : leadWidth(table, *q);
    const uint32_t left = static_cast<uint32_t>(end - q);
    return w < left ? w : left;
  };
  const auto examined = [end, last](const uint8_t* q) { return q < end && q <= last; };
  const auto special = [&widthAt, pct, und, esc](const uint8_t* q) {
    return widthAt(q) == 1 && (*q == pct || *q == und || *q == esc);
  };
  const uint32_t badHere = single ? LIKE_STATUS_BAD_ESCAPE_CHAR : LIKE_STATUS_BAD_ESCAPE_SEQUENCE;
  uint32_t out = 0, chars = 0, wildcardBytes = 0, throughFirst = patternLength;
  bool firstIsPercent = false;
  while (examined(p)) {
    const uint32_t w = widthAt(p);
    if (w == 1 && static_cast<int32_t>(*p) == esc) {
      ++p;
      if (!examined(p) || !special(p)) return static_cast<int32_t>(refuse(likeStatus, badHere));
      prefix[out++] = *p++;
      ++chars;
      continue;
    }
    if (w == 1 && (*p == pct || *p == und)) {
      firstIsPercent = *p == pct;
      wildcardBytes = 1;
      throughFirst = static_cast<uint32_t>(++p - r.begin);
      break;
    }
    for (uint32_t i = 0; i < w; ++i) prefix[out++] = p[i];
    p += w;
    ++chars;
  }
  *prefixLength = out;
  *prefixChars = single ? out : chars;
  if (wildcardBytes != 0) {
    while (examined(p)) {
      const uint32_t w = widthAt(p);
      if (w == 1 && static_cast<int32_t>(*p) == esc) {
        ++p;
        if (!examined(p) || !special(p)) return static_cast<int32_t>(refuse(likeStatus, badHere));
      } else if (w == 1 && (*p == pct || *p == und)) {
        ++wildcardBytes;
      }
      p += w;
    }
  }
  return classify(wildcardBytes, patternLength, out, throughFirst, firstIsPercent, patternClass);
}

// The start of the last character: by widths from the start in lead-byte
// sets, back to a lead byte in UTF-8.
const uint8_t* lastCharStart(PrefixPath path, const uint16_t* table, const uint8_t* begin,
                             const uint8_t* end, uint32_t width) {
  if (begin == end) return begin;
  switch (path) {
    case PrefixPath::Utf16:
      return end - width;
    case PrefixPath::Utf8:
      return backToUtf8Lead(begin, end - 1);
    case PrefixPath::LeadByte: {
      const uint8_t* p = begin;
      for (const uint8_t* q = begin; q < end; q += leadWidth(table, *q)) p = q;
      return p;
    }
    default:
      return end - 1;
  }
}

}  // namespace
}  // namespace like
}  // namespace lxk

using namespace lxk;
using namespace lxk::like;

extern "C" LXK_API int32_t lxkLikPatPref(const void* pattern, uint32_t patternLength,
                                         const void* escape, uint32_t escapeLength, uint8_t* prefix,
                                         uint32_t /*reserved*/, uint32_t* prefixLength,
                                         uint32_t* prefixChars, uint8_t* patternClass,
                                         uint32_t* likeStatus, const CharsetHandle* handle,
                                         NlsContext* ctx) {
  if (prefix == nullptr)
    return static_cast<int32_t>(refuse(likeStatus, LIKE_STATUS_BAD_ESCAPE_CHAR));
  uint32_t lengthSink, charsSink;
  uint8_t classSink;
  if (prefixLength == nullptr) prefixLength = &lengthSink;
  if (prefixChars == nullptr) prefixChars = &charsSink;
  if (patternClass == nullptr) patternClass = &classSink;
  *patternClass = 0;
  *prefixLength = 0;
  *prefixChars = 0;
  if (pattern == nullptr) patternLength = 0;

  const CharsetDefinition* def = definitionOf(handle, ctx);
  const uint32_t flags = handle->flags;
  PrefixPath path = PrefixPath::LeadByte;
  if (flags & CSH_SINGLE_BYTE)
    path = PrefixPath::SingleByte;
  else if (flags & CSH_UTF16)
    path = PrefixPath::Utf16;
  else if (def->definitionFlags & CSD_UTF8)
    path = PrefixPath::Utf8;
  else if (flags & CSH_SHIFT_SENSITIVE)
    path = PrefixPath::Shift;

  const auto* esc = static_cast<const uint8_t*>(escape);
  if (esc != nullptr) {
    bool usable;
    if (path == PrefixPath::SingleByte)
      usable = escapeLength == 1;
    else if (path == PrefixPath::Utf16)
      usable = escapeLength == handle->maxCharWidth && escapeLength >= 2;
    else
      usable = escapeLength != 0 && ((escapeLength == 1 && path != PrefixPath::Shift &&
                                      leadWidth(leadTableInForce(handle, def), esc[0]) == 1) ||
                                     lxsCntChar(esc, escapeLength, OPT_STANDARD, handle, ctx) == 1);
    if (!usable) return static_cast<int32_t>(refuse(likeStatus, LIKE_STATUS_BAD_ESCAPE_CHAR));
  }

  const auto* begin = static_cast<const uint8_t*>(pattern);
  // UTF-16: a last unit cut short is not looked at.
  const uint8_t* end =
      begin +
      (path == PrefixPath::Utf16 && patternLength < handle->maxCharWidth ? 0u : patternLength);
  PrefixReader r;
  r.path = path;
  r.begin = begin;
  r.end = end;
  r.handle = handle;
  r.table = leadTableInForce(handle, def);
  r.ctx = ctx;
  r.escape = escapeLength != 0 ? esc : nullptr;
  r.escapeLength = escapeLength;
  r.lastStart = lastCharStart(path, r.table, begin, end, handle->maxCharWidth);
  const bool ascii = path != PrefixPath::SingleByte || (flags & CSH_ASCII_BASED);
  r.percent = ascii ? 0x25 : 0x6C;
  r.underscore = ascii ? 0x5F : 0x6D;
  uint32_t opened = 0;
  if (path == PrefixPath::LeadByte) {
    if (def->charsetId == CSID_UTFE) {
      static constexpr uint8_t kPercent[] = {0xDD, 0x73, 0x67, 0x46};
      static constexpr uint8_t kUnderscore[] = {0xDD, 0x73, 0x68, 0x73};
      r.percent = 0x6C;
      r.underscore = 0x6D;
      std::memcpy(r.percentSeq, kPercent, 4);
      std::memcpy(r.underscoreSeq, kUnderscore, 4);
      r.percentSeqLength = r.underscoreSeqLength = 4;
    } else {
      r.percentSeqLength = lxcss2m(def, r.percentSeq, 0x25) & 0xFFFFu;
      r.underscoreSeqLength = lxcss2m(def, r.underscoreSeq, 0x5F) & 0xFFFFu;
      if (r.percentSeqLength > sizeof r.percentSeq) r.percentSeqLength = 0;
      if (r.underscoreSeqLength > sizeof r.underscoreSeq) r.underscoreSeqLength = 0;
    }
  } else if (path == PrefixPath::Shift) {
    r.shift =
        ShiftReader{begin, end, handle->shiftInByte, handle->shiftOutByte, handle->maxCharWidth};
    opened = lxmopen(begin, patternLength, &r.cursor, handle, ctx, 0);
  }
  const bool byteCoded =
      path == PrefixPath::SingleByte || path == PrefixPath::Utf8 ||
      (path == PrefixPath::LeadByte && r.percentSeqLength <= 1 && r.underscoreSeqLength <= 1);
  if (byteCoded && (r.escape == nullptr || escapeLength == 1)) {
    if (path == PrefixPath::SingleByte ||
        (path == PrefixPath::Utf8 && (r.escape == nullptr || r.escape[0] < 0x80) &&
         (asciiOnly(begin, end) || utf8TableMatchesKernels(r.table, 4)))) {
      const int32_t decided =
          analyseByChunks(r, prefix, patternLength, prefixLength, prefixChars, patternClass);
      if (decided >= 0) return decided;
    }
    return analyseBytes(r, prefix, patternLength, prefixLength, prefixChars, patternClass,
                        likeStatus);
  }
  return analyse(r, prefix, patternLength, prefixLength, prefixChars, patternClass, likeStatus,
                 opened);
}
