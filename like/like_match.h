// The LIKE matchers, written once over a reader (what a character is) and a
// comparison (binary or under the handle's collation).
//
// Both first walk the whole pattern once: the escape check, the first and
// the last unescaped '%' and the characters after the last one.  Then:
//
// Binary: the characters before the first '%' match from the front, those
// after the last '%' the same number of characters at the source's end, and
// each segment between two '%' its leftmost place in what is left.  A
// segment consumes a fixed number of characters, so the leftmost place is
// always the right one and the scan never goes back before the latest '%':
// at most source x pattern steps.  A segment that starts with literal bytes
// is found with the search kernel and kept where a character starts there.
//
// Linguistic: literal runs (stretches of ordinary characters) go to the core
// whole and may match source text of another length, so the source advances
// by what the core reports.  Front runs are matched at the start, a last
// segment that is one run at the end, middle segments by the core's search
// followed by a check of the rest of the segment; a segment that fails at a
// place is tried again one character further on.
#pragma once

#include "frame/search_kernels.h"
#include "like/like_text.h"

namespace lxk {
namespace like {

enum class Kind : uint8_t { Literal, Escaped, Any, Percent, End, Dangling, Broken };

struct Element {
  Kind kind;
  Char ch;
};

// What the walk over the whole pattern found.
struct Shape {
  bool hasPercent = false;
  Pos afterFirstPercent{};
  Pos lastPercent{};  // where the last unescaped '%' starts
  Pos tail{};         // after it
  uint32_t tailChars = 0;
};

template <class Reader>
struct Pattern {
  const Reader& text;
  const Specials& sp;

  LXK_LIKE_INLINE Kind next(Pos& q, Element& e) const {
    Char c;
    const Read r = text.read(q, c);
    if (r == Read::End) return Kind::End;
    if (r == Read::Bad) return Kind::Broken;
    e.ch = c;
    if (sp.isEscape(c)) {
      const Read r2 = text.read(q, e.ch);
      if (r2 == Read::End) return Kind::Dangling;
      return r2 == Read::Bad ? Kind::Broken : Kind::Escaped;
    }
    if (sp.isPercent(c)) return Kind::Percent;
    if (sp.isUnderscore(c)) return Kind::Any;
    return Kind::Literal;
  }

  // A walk over the pattern from q with the shape found before q.  Returns a
  // status code, or 0 with *ok false when the pattern cannot match anything.
  uint32_t shapeFrom(Pos q, bool check, bool brokenIsBad, Shape& s, bool* ok) const {
    *ok = true;
    Element e;
    bool first = q.p == text.begin;
    for (;;) {
      const Pos at = q;
      const Kind k = next(q, e);
      if (k == Kind::End) return 0;
      if (k == Kind::Broken) {
        *ok = false;
        return brokenIsBad && !first ? LIKE_STATUS_BAD_ESCAPE_SEQUENCE : 0u;
      }
      if (k == Kind::Dangling) {
        *ok = false;
        return check ? LIKE_STATUS_BAD_ESCAPE_SEQUENCE : 0u;
      }
      if (k == Kind::Escaped && check && !sp.isPercent(e.ch) && !sp.isUnderscore(e.ch) &&
          !sp.isEscape(e.ch)) {
        *ok = false;
        return LIKE_STATUS_BAD_ESCAPE_SEQUENCE;
      }
      first = false;
      if (k == Kind::Percent) {
        if (!s.hasPercent) s.afterFirstPercent = q;
        s.hasPercent = true;
        s.lastPercent = at;
        s.tail = q;
        s.tailChars = 0;
      } else {
        ++s.tailChars;
      }
    }
  }
};

// ---- Binary ---------------------------------------------------------------------------

template <class Reader>
class BinaryMatch {
 public:
  BinaryMatch(const Reader& src, const Pattern<Reader>& pat) : src_(src), pat_(pat) {}

  // With known, the shape of the whole pattern is known; otherwise the part
  // after the first '%' is walked when the front phase reaches it.
  bool run(Shape shape, bool known) const {
    Pos s = src_.start();
    Pos q = pat_.text.start();
    Element e;
    for (;;) {
      const Pos at = q;
      const Kind k = pat_.next(q, e);
      if (k == Kind::End) {
        Char c;
        return src_.read(s, c) == Read::End;
      }
      if (k == Kind::Percent) {
        if (!known) {
          shape = {true, q, at, q, 0};
          bool ok = true;
          pat_.shapeFrom(q, false, false, shape, &ok);
          if (!ok) return false;
        }
        break;
      }
      if (!one(k, e, s, src_.end)) return false;
    }
    // The characters after the last '%' take as many at the source's end.
    Pos limit{src_.end, 0};
    if (shape.tailChars > 0) {
      if (!src_.lastChars(s, shape.tailChars, limit)) return false;
      Pos st = limit, qt = shape.tail;
      for (uint32_t i = 0; i < shape.tailChars; ++i)
        if (!one(pat_.next(qt, e), e, st, src_.end)) return false;
    }
    while (q.p < shape.lastPercent.p) {
      const Pos segment = q;
      if (pat_.next(q, e) == Kind::Percent) continue;
      if (!leftmost(segment, s, limit, &s, &q)) return false;
    }
    return true;
  }

 private:
  const Reader& src_;
  const Pattern<Reader>& pat_;

  // One pattern element against the source character at s, which must end
  // by limit.
  LXK_LIKE_INLINE bool one(Kind k, const Element& e, Pos& s, const uint8_t* limit) const {
    if (k != Kind::Literal && k != Kind::Escaped && k != Kind::Any) return false;
    Char c;
    if (src_.read(s, c) != Read::Char || s.p > limit) return false;
    return k == Kind::Any || src_.same(c, e.ch);
  }

  // The segment at q (up to the next '%') against the source at s.
  bool segmentAt(Pos q, Pos s, const Pos& limit, Pos* sOut, Pos* qOut) const {
    Element e;
    for (;;) {
      const Pos at = q;
      const Kind k = pat_.next(q, e);
      if (k == Kind::Percent || k == Kind::End) {
        *sOut = s;
        *qOut = at;
        return true;
      }
      if (!one(k, e, s, limit.p)) return false;
    }
  }

  // The leftmost place from s at which the segment at q matches before limit.
  bool leftmost(Pos q, Pos s, const Pos& limit, Pos* sOut, Pos* qOut) const {
    const uint8_t* needle = nullptr;
    uint32_t n = 0;
    if constexpr (Reader::kSearchable) {
      Pos r = q;
      Element e;
      Pos runEnd = q;
      while (pat_.next(r, e) == Kind::Literal) runEnd = r;
      needle = q.p;
      n = static_cast<uint32_t>(runEnd.p - q.p);
    }
    if (n == 0) {
      for (Pos at = s;;) {
        if (segmentAt(q, at, limit, sOut, qOut)) return true;
        Char c;
        if (src_.read(at, c) != Read::Char || at.p >= limit.p) return false;
      }
    }
    const SearchKernels& k = searchKernels();
    Pos walker = s;
    for (const uint8_t* from = s.p;;) {
      if (limit.p - from < static_cast<ptrdiff_t>(n)) return false;
      const uint8_t* h = k.find(from, limit.p, needle, n);
      if (h == nullptr) return false;
      if (src_.boundary(walker, h) && segmentAt(q, {h, 0}, limit, sOut, qOut)) return true;
      from = h + 1;
    }
  }
};

// ---- Linguistic -------------------------------------------------------------------------

// The core's linguistic operations over a reader's text.
struct LinguisticOps {
  const CharsetHandle* handle;
  NlsContext* ctx;
  bool escapedByCollation;

  // A run at the start (direction 0) or end (1) of [s, end): the bytes taken.
  template <class Reader>
  uint32_t atSide(const Reader& src, Pos s, const uint8_t* end, const Char& runFirst,
                  const uint8_t* runEnd, uint32_t direction) const {
    uint32_t start = 0, length = 0;
    const uint32_t textLength = static_cast<uint32_t>(end - s.p);
    const uint32_t runLength = static_cast<uint32_t>(runEnd - runFirst.p);
    if (textLength == 0) return 0;
    int32_t found;
    if constexpr (std::is_same_v<Reader, ShiftReader>) {
      CharCursor text, run;
      cursorAt(src, s, textLength, text);
      cursorAt(src, {runFirst.p, runFirst.mode}, runLength, run);
      found = lxpoLinDirMatch(&text, textLength, &run, runLength, &start, &length,
                              direction ? LING_AT_END : 0u, handle, ctx);
    } else {
      found = lxpLinDirMatch(s.p, textLength, runFirst.p, runLength, &start, &length, direction,
                             handle, ctx);
    }
    if (!found || length == 0) return 0;
    return direction ? textLength - start : length;
  }

  // The leftmost place in [s, end) where the run matches: its offset, or
  // -1 when there is none.
  template <class Reader>
  int64_t search(const Reader& src, Pos s, const uint8_t* end, const Char& runFirst,
                 const uint8_t* runEnd) const {
    uint32_t start = 0, length = 0;
    const uint32_t textLength = static_cast<uint32_t>(end - s.p);
    const uint32_t runLength = static_cast<uint32_t>(runEnd - runFirst.p);
    if (textLength == 0) return -1;
    int32_t found;
    if constexpr (std::is_same_v<Reader, ShiftReader>) {
      CharCursor text, run;
      cursorAt(src, s, textLength, text);
      cursorAt(src, {runFirst.p, runFirst.mode}, runLength, run);
      found =
          lxpoLinMatch(&text, textLength, &run, runLength, &start, &length, 0x10800u, handle, ctx);
    } else {
      found = lxpLinMatch(s.p, textLength, runFirst.p, runLength, &start, &length, 0x10800u, handle,
                          ctx);
    }
    return found ? static_cast<int64_t>(start) : -1;
  }

  // An escaped pattern character against one source character.
  template <class Reader>
  bool escapedEqual(const Reader& src, const Char& s, const Char& p) const {
    if (!escapedByCollation) return sameBytes(s, p);
    if constexpr (std::is_same_v<Reader, ShiftReader>) {
      CharCursor a, b;
      cursorAt(src, {s.p, s.mode}, s.w, a);
      cursorAt(src, {p.p, p.mode}, p.w, b);
      return lxoCmpStr(&a, s.w, &b, p.w, OPT_STANDARD, ctx) == 0;
    } else {
      if (lxsCmpStr(s.p, s.w, p.p, p.w, OPT_STANDARD, handle, ctx) == 0) return true;
      if constexpr (std::is_same_v<Reader, CompleteReader>) return src.same(s, p);
      return false;
    }
  }

 private:
  template <class Reader>
  void cursorAt(const Reader&, Pos at, uint32_t length, CharCursor& c) const {
    lxmopen(at.p, length, &c, handle, ctx, 0);
    c.current = const_cast<uint8_t*>(at.p);
    c.shiftState = at.shifted;
  }
};

template <class Reader>
class LinguisticMatch {
 public:
  LinguisticMatch(const Reader& src, const Pattern<Reader>& pat, const LinguisticOps& ops)
      : src_(src), pat_(pat), ops_(ops) {}

  bool run() const {
    Pos s = src_.start();
    Pos q = pat_.text.start();
    Element e;
    for (;;) {
      const Pos at = q;
      const Kind k = pat_.next(q, e);
      if (k == Kind::End) {
        Char c;
        return src_.read(s, c) == Read::End;
      }
      if (k == Kind::Percent) break;
      q = at;
      if (!step(q, s, nullptr)) return false;
    }
    // Segments after a '%': each at its leftmost place, the last one (not
    // followed by '%') where it ends the source.
    for (;;) {
      const Pos segment = q;
      const Kind k = pat_.next(q, e);
      if (k == Kind::End) return true;
      if (k == Kind::Percent) continue;
      if (!place(segment, s, &s, &q)) return false;
    }
  }

 private:
  const Reader& src_;
  const Pattern<Reader>& pat_;
  const LinguisticOps& ops_;

  Pos advanced(Pos s, uint32_t n) const {
    if constexpr (std::is_same_v<Reader, ShiftReader>)
      return src_.advanceBytes(s, n);
    else
      return {s.p + n, 0};
  }

  // The end of the literal run that starts with the element read from q.
  Pos runEnd(Pos q) const {
    Element e;
    Pos end = q;
    for (Pos r = q; pat_.next(r, e) == Kind::Literal;) end = r;
    return end;
  }

  // One element (a run, an escaped character or '_') at q against the
  // source at s; both advance.  Runs match at the start of [s, end).
  bool step(Pos& q, Pos& s, Kind* kind) const {
    Element e;
    const Kind k = pat_.next(q, e);
    if (kind != nullptr) *kind = k;
    Char c;
    switch (k) {
      case Kind::Any:
        return src_.read(s, c) == Read::Char;
      case Kind::Escaped:
        return src_.read(s, c) == Read::Char && ops_.escapedEqual(src_, c, e.ch);
      case Kind::Literal: {
        const Pos end = runEnd(q);
        const uint32_t taken = ops_.atSide(src_, s, src_.end, e.ch, end.p, 0);
        if (taken == 0) return runByCharacters(e.ch, end, s, q);
        s = advanced(s, taken);
        q = end;
        return true;
      }
      default:
        return false;
    }
  }

  // Complete characters: a run the core does not match may still match
  // character by character in composed form.
  bool runByCharacters(const Char& first, const Pos& end, Pos& s, Pos& q) const {
    if constexpr (std::is_same_v<Reader, CompleteReader>) {
      Pos at = s, r{first.p, 0};
      Char a, b;
      while (r.p < end.p) {
        if (pat_.text.read(r, b) != Read::Char || src_.read(at, a) != Read::Char ||
            !src_.same(a, b))
          return false;
      }
      s = at;
      q = end;
      return true;
    } else {
      (void)first, (void)end, (void)s, (void)q;
      return false;
    }
  }

  // The segment at q against the source at s; on success s and q move past
  // it and *last tells whether the pattern ends with it.
  bool segmentAt(Pos q, Pos s, Pos* sOut, Pos* qOut, bool* last) const {
    for (;;) {
      const Pos at = q;
      Element e;
      const Kind k = pat_.next(q, e);
      if (k == Kind::Percent || k == Kind::End) {
        *last = k == Kind::End;
        *sOut = s;
        *qOut = at;
        return true;
      }
      q = at;
      if (!step(q, s, nullptr)) return false;
    }
  }

  bool place(Pos q, Pos s, Pos* sOut, Pos* qOut) const {
    Element e;
    Pos r = q;
    const Kind first = pat_.next(r, e);
    const Pos firstRunEnd = first == Kind::Literal ? runEnd(r) : r;
    // A last segment that is one run: the core's match at the end.
    if (first == Kind::Literal) {
      Pos after = firstRunEnd;
      Element f;
      if (pat_.next(after, f) == Kind::End) {
        if (ops_.atSide(src_, s, src_.end, e.ch, firstRunEnd.p, 1) != 0) {
          *sOut = {src_.end, 0};
          *qOut = firstRunEnd;
          return true;
        }
        return runByCharactersSearch(q, s, sOut, qOut);
      }
    }
    for (Pos at = s;;) {
      if (first == Kind::Literal) {
        const int64_t offset = ops_.search(src_, at, src_.end, e.ch, firstRunEnd.p);
        if (offset < 0) return runByCharactersSearch(q, at, sOut, qOut);
        at = advanced(at, static_cast<uint32_t>(offset));
      }
      bool last = false;
      if (segmentAt(q, at, sOut, qOut, &last)) {
        Char c;
        Pos probe = *sOut;
        if (!last || src_.read(probe, c) == Read::End) return true;
      }
      Char c;
      if (src_.read(at, c) != Read::Char) return false;
    }
  }

  // Complete characters whose composed forms alone agree: the plain scan.
  bool runByCharactersSearch(Pos q, Pos s, Pos* sOut, Pos* qOut) const {
    if constexpr (std::is_same_v<Reader, CompleteReader>) {
      for (Pos at = s;;) {
        bool last = false;
        if (segmentAt(q, at, sOut, qOut, &last)) {
          Char c;
          Pos probe = *sOut;
          if (!last || src_.read(probe, c) == Read::End) return true;
        }
        Char c;
        if (src_.read(at, c) != Read::Char) return false;
      }
    } else {
      (void)q, (void)s, (void)sOut, (void)qOut;
      return false;
    }
  }
};

}  // namespace like
}  // namespace lxk
