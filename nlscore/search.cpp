// Exact search of a pattern at character starts (lxoSchPat).
//
// Sets without shift states compare bytes: a candidate comes from a byte
// search (memmem) and is kept when it is a
// character start of the cursor's walk, which lxk::lastBoundaryBefore finds
// by looking back from the candidate to the last boundary already known.
// Where a pattern's bytes equal the text's at a character start, its
// characters have the text's lead bytes and so the text's widths: the
// characters align.  Shift-sensitive sets are walked a character at a
// time, pattern and text compared character by character with their modes,
// the shift bytes between characters left out.
#include "nlscore/search.h"

#include <cstddef>
#include <cstring>

#include "frame/unit_rules.h"
#include "lxk/nls.h"
#include "nlscore/units.h"

namespace nls {

namespace {

// Whether the text at t (at rest) holds the pattern's characters one by one,
// each in the same mode with the same bytes, the last ending by limit.  On
// a match *end gets the position after the last character and its mode.
bool shiftedMatchAt(const SetInfo& set, Scan t, const uint8_t* limit, Scan pat, Scan* end) {
  while (!pat.atEnd()) {
    if (t.atEnd() || t.shifted != pat.shifted) return false;
    const uint32_t w = widthAt(set, pat);
    const uint32_t n = w < pat.left() ? w : pat.left();  // a cut last character: its bytes
    if (limit - t.p < static_cast<ptrdiff_t>(n) || std::memcmp(t.p, pat.p, n) != 0) return false;
    t.p += n;
    pat.p += n;
    *end = t;
    settle(set, t);
    settle(set, pat);
  }
  return true;
}

// The cursor's walk with its four-byte rule chosen at compile time.
template <bool kFourByteRule>
bool isCharStart(const uint16_t* table, const uint8_t*& known, const uint8_t* q,
                 const uint8_t* end) {
  for (;;) {
    const uint8_t* b = lxk::lastBoundaryBefore<kFourByteRule>(table, known, q);
    known = b;
    if (b == q) return true;
    // A character cut by the end of the buffer is stepped over one byte at a
    // time, so the walk goes on from the byte after its start.
    const uint32_t left = static_cast<uint32_t>(end - b);
    if (lxk::tableWidth<kFourByteRule>(table, b, left) <= left) return false;
    known = b + 1;
  }
}

}  // namespace

const uint8_t* findBytes(const uint8_t* p, const uint8_t* end, const uint8_t* pattern,
                         uint32_t patternLength) {
  if (patternLength == 0) return p;
  if (end - p < static_cast<ptrdiff_t>(patternLength)) return nullptr;
  return static_cast<const uint8_t*>(
      memmem(p, static_cast<size_t>(end - p), pattern, patternLength));
}

const uint8_t* searchAtCharStarts(const SetInfo& set, Scan& text, const uint8_t* limit,
                                  const Scan& pattern, Scan* matchEnd) {
  Scan end = text;
  if (set.shiftSensitive) {
    while (text.p < limit) {
      if (shiftedMatchAt(set, text, limit, pattern, &end)) {
        if (matchEnd) *matchEnd = end;
        return text.p;
      }
      uint32_t w = widthAt(set, text);
      if (w > text.left()) w = 1;
      text.p += w;
      settle(set, text);
    }
    if (!pattern.atEnd() || text.p != limit) return nullptr;
    if (matchEnd) *matchEnd = text;
    return text.p;
  }
  const uint8_t* const from = text.p;
  const uint32_t patternLength = pattern.left();
  const uint8_t* known = from;
  for (const uint8_t* q = from;;) {
    q = findBytes(q, limit, pattern.p, patternLength);
    if (q == nullptr) return nullptr;
    const bool start =
        set.singleByte || q == known ||
        (set.gb18030 && !set.leadByteWidth ? isCharStart<true>(set.table, known, q, text.end)
                                           : isCharStart<false>(set.table, known, q, text.end));
    if (start) {
      text.p = q;
      if (matchEnd) *matchEnd = Scan{q + patternLength, text.end, false};
      return q;
    }
    ++q;
  }
}

}  // namespace nls

using namespace nls;

extern "C" {

NLS_API int32_t lxoSchPat(CharCursor* cursor, uint32_t length, CharCursor* pattern,
                          uint32_t patternLength, uint32_t /*options*/, NlsContext* /*ctx*/) {
  const SetInfo set = cursorSet(cursor);
  Scan text = cursorScan(cursor);
  if (text.p > text.end) text.p = text.end;
  const uint32_t left = text.left();
  const uint8_t* const limit = text.p + (length < left ? length : left);

  Scan pat = cursorScan(pattern);
  if (pat.p > pat.end) pat.p = pat.end;
  if (patternLength < pat.left()) pat.end = pat.p + patternLength;

  settle(set, pat);
  const uint8_t* const from = text.p;
  settle(set, text);
  if (searchAtCharStarts(set, text, limit, pat, nullptr) == nullptr) return -1;
  storeScan(cursor, text);
  return static_cast<int32_t>(text.p - from);
}

}  // extern "C"
