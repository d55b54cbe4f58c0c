// Replacement of every occurrence of a search string (lxsRepStr).
//
// Occurrences are found left to right without overlap at character starts:
// by exact search (nlscore/search.h), or under the handle's collation
// through the linguistic matcher when the options ask for it.  The output
// is the longest whole-character prefix of the full result that fits:
// sets without shift states copy the pieces with memcpy and cut the piece
// that overflows back to whole characters; shift-sensitive sets copy each
// piece through cursors in the mode it starts in, so that runs are merged
// and the output is closed in single-byte mode inside the capacity.
#include <cstddef>
#include <cstring>

#include "lxk/lxk.h"
#include "lxk/nls.h"
#include "nlscore/handles.h"
#include "nlscore/search.h"
#include "nlscore/units.h"

namespace nls {

namespace {

constexpr uint32_t kUnlimited = 0xFFFFFFFFu;

// Where the next occurrence is: the match's start and, after it, the
// position and mode that the text goes on from.
struct Occurrence {
  Scan start;
  Scan end;
};

// The output, either plain bytes or a write cursor of a shift-sensitive set.
class Writer {
 public:
  Writer(const SetInfo& set, uint8_t* dst, uint32_t capacity, const CharsetHandle* handle,
         NlsContext* ctx)
      : set_(set), dst_(dst), capacity_(capacity), handle_(handle), ctx_(ctx) {
    if (set.shiftSensitive) lxmopen(dst, capacity, &out_, handle, ctx, 1);
  }

  // Writes the text of [from.p, to) read in from's mode; false when it did
  // not fit whole (what fits of it is written, whole characters only).
  bool put(const Scan& from, const uint8_t* to) {
    if (from.p >= to) return true;
    const uint32_t n = static_cast<uint32_t>(to - from.p);
    if (!set_.shiftSensitive) {
      const uint32_t room = capacity_ - used_;
      const uint32_t take =
          n <= room ? n : static_cast<uint32_t>(wholeCharEnd(set_, from.p, from.p + room) - from.p);
      if (take != 0) std::memcpy(dst_ + used_, from.p, take);
      used_ += take;
      complete_ = from.p + take;
      return take == n;
    }
    CharCursor piece;
    const uint32_t lead = lxmvopen(from.p, n, &piece, handle_, ctx_, 0, from.shifted ? 1u : 0u);
    lxoCpStr(&out_, kUnlimited, &piece, n - lead, OPT_STANDARD, ctx_);
    complete_ = piece.current;
    return piece.current >= to;
  }

  // The source bytes whose output was written whole, given where the text
  // of the last piece began in the source.
  const uint8_t* complete() const { return complete_; }

  // Closes a shifted run (the cursor copies kept a byte for it) and returns
  // the bytes written.
  uint32_t finish() {
    if (!set_.shiftSensitive) return used_;
    if (out_.shiftState) {
      *out_.current++ = set_.shiftIn;
      out_.shiftState = 0;
    }
    return static_cast<uint32_t>(out_.current - dst_);
  }

 private:
  const SetInfo& set_;
  uint8_t* dst_;
  uint32_t capacity_;
  const CharsetHandle* handle_;
  NlsContext* ctx_;
  CharCursor out_{};
  uint32_t used_ = 0;
  const uint8_t* complete_ = nullptr;
};

// The first character start at or after target reached from s, never past
// the end, with the mode in force there: shift bytes on the way, right
// before target included, are taken as they come.
Scan walkTo(const SetInfo& set, Scan s, const uint8_t* target) {
  while (s.p < target && !s.atEnd()) {
    if (set.shiftSensitive && (*s.p == set.shiftOut || *s.p == set.shiftIn)) {
      s.shifted = *s.p++ == set.shiftOut;
      continue;
    }
    uint32_t w = widthAt(set, s);
    if (w > s.left()) w = 1;
    s.p += w;
  }
  return s;
}

// The next occurrence from text (at rest) under the handle's collation,
// from and to character starts of the walk.
bool nextLinguistic(const SetInfo& set, Scan text, const uint8_t* search, uint32_t searchLength,
                    const CharsetHandle* handle, NlsContext* ctx, Occurrence* found) {
  while (!text.atEnd()) {
    uint32_t matchStart = 0, matchLength = 0;
    int32_t matched;
    if (set.shiftSensitive) {
      CharCursor t, p;
      lxmvopen(text.p, text.left(), &t, handle, ctx, 0, text.shifted ? 1u : 0u);
      const uint32_t lead = lxmopen(search, searchLength, &p, handle, ctx, 0);
      matched = lxpoLinMatch(&t, text.left(), &p, searchLength - lead, &matchStart, &matchLength,
                             LING_MATCH, handle, ctx);
    } else {
      matched = lxpLinMatch(text.p, text.left(), search, searchLength, &matchStart, &matchLength,
                            LING_MATCH, handle, ctx);
    }
    if (!matched || matchStart > text.left() || matchLength > text.left() - matchStart)
      return false;
    const Scan start = walkTo(set, text, text.p + matchStart);
    const Scan end = walkTo(set, start, text.p + matchStart + matchLength);
    if (end.p > start.p) {
      found->start = start;
      found->end = end;
      return true;
    }
    // Nothing to replace here (a match of no bytes, or one inside a
    // character of the walk): go on after the character at the match.
    text = start;
    settle(set, text);
    if (text.atEnd()) return false;
    uint32_t w = widthAt(set, text);
    if (w > text.left()) w = 1;
    text.p += w;
    settle(set, text);
  }
  return false;
}

}  // namespace

}  // namespace nls

using namespace nls;

extern "C" {

NLS_API uint32_t lxsRepStr(void* dst, uint32_t capacity, const void* src, uint32_t length,
                           const void* search, uint32_t searchLength, const void* replacement,
                           uint32_t replacementLength, uint32_t options,
                           const CharsetHandle* handle, NlsContext* ctx) {
  if (dst == nullptr) capacity = 0;
  if (src == nullptr) length = 0;
  if (search == nullptr) searchLength = 0;
  if (replacement == nullptr) replacementLength = 0;
  const SetInfo set = setInfo(handle, definitionFor(handle, ctx));
  const auto* s = static_cast<const uint8_t*>(src);
  const auto* with = static_cast<const uint8_t*>(replacement);
  const auto* pattern = static_cast<const uint8_t*>(search);
  const bool linguistic =
      (options & LING_MATCH) != 0 && collationOf(handle) != kCollationBinary && searchLength != 0;

  Writer out(set, static_cast<uint8_t*>(dst), capacity, handle, ctx);
  Scan text{s, s + length, false};
  settle(set, text);
  Scan pat{pattern, pattern + searchLength, false};
  settle(set, pat);
  const Scan withText{with, with + replacementLength, false};

  // Source pieces up to each occurrence, and the replacement after each.
  bool fits = true;
  const uint8_t* complete = s + length;
  while (fits && !text.atEnd() && !pat.atEnd()) {
    Occurrence o;
    if (linguistic) {
      if (!nextLinguistic(set, text, pattern, searchLength, handle, ctx, &o)) break;
    } else {
      o.start = text;
      if (searchAtCharStarts(set, o.start, text.end, pat, &o.end) == nullptr) break;
    }
    if (!out.put(text, o.start.p)) {
      complete = out.complete();
      fits = false;
    } else if (!out.put(withText, withText.end)) {
      complete = o.start.p;
      fits = false;
    }
    text = o.end;
    settle(set, text);
  }
  if (fits && !out.put(text, text.end)) complete = out.complete();
  ctx->lastByteCount = static_cast<uint32_t>(complete - s);
  return out.finish();
}

}  // extern "C"
