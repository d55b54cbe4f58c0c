// How LIKE reads source and pattern: readers that cut a text into the
// characters of one length semantics, and the family traits that tell which
// pattern characters are wildcards and which is the escape.
//
// A reader over a unit policy of the frame reads characters the bytes tell
// (bytes, UTF-16 units and code points, characters by lead byte, UTF-8
// characters and code points); the shift reader follows the shift state of
// a stateful set; the complete-character reader asks the core where a
// complete character ends.  A character cut by the end of its text is read
// as the bytes that are left, so nothing past a buffer is ever read.
#pragma once

#include <cstdint>
#include <cstring>

#include "frame/charset_view.h"
#include "frame/unit_policies.h"

namespace lxk {
namespace like {

// The per-character steps are small and run once per character: inlined
// into the matchers whatever the compiler's estimate.
#define LXK_LIKE_INLINE [[gnu::always_inline]] inline

// A point in a text: the byte, and for stateful sets whether it lies inside
// a shifted run.
struct Pos {
  const uint8_t* p;
  uint8_t shifted;
};

// One character as read: its first byte (after any shift bytes), its width
// and its shift mode.
struct Char {
  const uint8_t* p;
  uint32_t w;
  uint8_t mode;
};

enum class Read : uint8_t { Char, End, Bad };

LXK_LIKE_INLINE bool sameBytes(const Char& a, const Char& b) {
  if (a.w != b.w || a.mode != b.mode) return false;
  return a.w == 1 ? *a.p == *b.p : std::memcmp(a.p, b.p, a.w) == 0;
}

// ---- Characters the bytes tell ----------------------------------------------------

template <typename Unit>
struct PolicyReader {
  static constexpr bool kSearchable = true;
  const CharsetView* v;
  const uint8_t* begin;
  const uint8_t* end;
  // UTF-8: whether the table steps as the bits say, asked once per call.
  mutable int8_t bitsStep = -1;

  bool tableStepsByBits() const {
    if (bitsStep < 0) bitsStep = utf8TableMatchesKernels(v->table, 4) ? 1 : 0;
    return bitsStep != 0;
  }

  Pos start() const { return {begin, 0}; }

  LXK_LIKE_INLINE Read read(Pos& at, Char& c) const {
    if (at.p >= end) return Read::End;
    const uint32_t left = static_cast<uint32_t>(end - at.p);
    uint32_t w = Unit::width(*v, at.p, left);
    if (w > left) w = left;
    c = {at.p, w, 0};
    at.p += w;
    return Read::Char;
  }

  // The point from which exactly k characters remain, none before from.
  bool lastChars(Pos from, uint32_t k, Pos& out) const {
    if constexpr (std::is_same_v<Unit, ByteUnit>) {
      if (static_cast<uint32_t>(end - from.p) < k) return false;
      out = {end - k, 0};
      return true;
    } else if constexpr (std::is_same_v<Unit, Utf16Unit>) {
      if (((end - from.p) & 1) == 0) {
        if (static_cast<uint32_t>(end - from.p) < 2 * k) return false;
        out = {end - 2 * k, 0};
        return true;
      }
      return countedLastChars(from, k, out);
    } else {
      if constexpr (std::is_same_v<Unit, Utf8Char>) {
        // Back k lead bytes from the end; kept when that point is a
        // character start of every walk and the walk from it takes k.
        if (tableStepsByBits()) {
          const uint8_t* q = end;
          uint32_t i = 0;
          for (; i < k && q > from.p; ++i) q = backToUtf8Lead(from.p, q - 1);
          if (i == k && !utf8Announced(from.p, q)) {
            uint32_t n = 0;
            const uint8_t* r = q;
            for (; r < end && n <= k; ++n) r += leadWidth(v->table, *r);
            if (n == k && r == end) {
              out = {q, 0};
              return true;
            }
          }
        }
      }
      return countedLastChars(from, k, out);
    }
  }

  // By counting: the characters from `from`, then all but k of them stepped.
  bool countedLastChars(Pos from, uint32_t k, Pos& out) const {
    const uint32_t n = unitsStartingIn<Unit>(*v, from.p, end);
    if (n < k) return false;
    uint32_t stepped = 0;
    out = {stepUnitsWithin<Unit>(*v, from.p, end, end, n - k, &stepped), 0};
    return true;
  }

  // Whether a character of the walk from walker starts at h (h >= walker);
  // the walker moves up to h.
  bool boundary(Pos& walker, const uint8_t* h) const {
    if constexpr (std::is_same_v<Unit, ByteUnit>) {
      return true;
    } else if constexpr (std::is_same_v<Unit, Utf16Unit>) {
      return ((h - walker.p) & 1) == 0;
    } else {
      if constexpr (std::is_same_v<Unit, Utf8Char>) {
        // A byte that no byte before it announces a character over is a
        // boundary of every walk, where the table steps as the bits say.
        if (tableStepsByBits() && isUtf8Lead(*h) && !utf8Announced(walker.p, h)) {
          walker.p = h;
          return true;
        }
      }
      uint32_t stepped = 0;
      walker.p = stepUnitsWithin<Unit>(*v, walker.p, h, end, 0xFFFFFFFFu, &stepped);
      return walker.p == h;
    }
  }

  LXK_LIKE_INLINE bool same(const Char& a, const Char& b) const { return sameBytes(a, b); }
};

// ---- Characters of a stateful set -------------------------------------------------

// Shift-out opens a run of maxCharWidth-byte characters, shift-in closes
// it; the shift bytes themselves are no characters.
struct ShiftReader {
  static constexpr bool kSearchable = false;
  const uint8_t* begin;
  const uint8_t* end;
  uint8_t shiftIn;
  uint8_t shiftOut;
  uint8_t wide;

  Pos start() const { return {begin, 0}; }

  void settle(Pos& at) const {
    for (; at.p < end; ++at.p) {
      if (*at.p == shiftOut)
        at.shifted = 1;
      else if (*at.p == shiftIn)
        at.shifted = 0;
      else
        break;
    }
  }

  Read read(Pos& at, Char& c) const {
    settle(at);
    if (at.p >= end) return Read::End;
    const uint32_t left = static_cast<uint32_t>(end - at.p);
    uint32_t w = at.shifted ? wide : 1u;
    if (w > left) w = left;
    c = {at.p, w, at.shifted};
    at.p += w;
    return Read::Char;
  }

  // The point n bytes on from at, with the shift state those bytes leave.
  Pos advanceBytes(Pos at, uint32_t n) const {
    const uint8_t* q = at.p + n;
    for (const uint8_t* b = q; b > at.p;) {
      --b;
      if (*b == shiftOut) return {q, 1};
      if (*b == shiftIn) return {q, 0};
    }
    return {q, at.shifted};
  }

  bool lastChars(Pos from, uint32_t k, Pos& out) const {
    uint32_t n = 0;
    Char c;
    for (Pos at = from; read(at, c) == Read::Char;) ++n;
    if (n < k) return false;
    out = from;
    for (uint32_t i = 0; i < n - k; ++i) read(out, c);
    return true;
  }

  bool boundary(Pos&, const uint8_t*) const { return false; }
  bool same(const Char& a, const Char& b) const { return sameBytes(a, b); }
};

// ---- Complete characters ------------------------------------------------------------

// Where a complete character ends is the core's to say (lxoSkip on a
// cursor); two are equal when their bytes or their composed forms are.
struct CompleteReader {
  static constexpr bool kSearchable = false;
  const uint8_t* begin;
  const uint8_t* end;
  const CharsetHandle* handle;
  const CharsetDefinition* def;
  NlsContext* ctx;

  Pos start() const { return {begin, 0}; }

  Read read(Pos& at, Char& c) const {
    if (at.p >= end) return Read::End;
    const uint32_t left = static_cast<uint32_t>(end - at.p);
    CharCursor cursor;
    lxmopen(at.p, left, &cursor, handle, ctx, 0);
    const uint8_t* const before = cursor.current;
    if (lxoSkip(&cursor, 1, OPT_COMPLETE_CHARS, ctx) == 0) return Read::Bad;
    uint32_t w =
        static_cast<uint32_t>(cursor.current - before) + static_cast<uint32_t>(before - at.p);
    if (w == 0 || w > left) w = left;
    c = {at.p, w, 0};
    at.p += w;
    return Read::Char;
  }

  bool lastChars(Pos from, uint32_t k, Pos& out) const {
    uint32_t n = 0;
    Char c;
    Pos at = from;
    for (Read r; (r = read(at, c)) != Read::End; ++n)
      if (r == Read::Bad) return false;
    if (n < k) return false;
    out = from;
    for (uint32_t i = 0; i < n - k; ++i) read(out, c);
    return true;
  }

  bool boundary(Pos&, const uint8_t*) const { return false; }

  // Composed forms fit the 32-byte buffers when the characters do.
  bool same(const Char& a, const Char& b) const {
    if (sameBytes(a, b)) return true;
    if (a.w > 32 || b.w > 32) return false;
    uint8_t ca[32], cb[32];
    const uint32_t na = lxcsCompose(def, ca, a.p, a.w, ctx) & 0xFFFFu;
    const uint32_t nb = lxcsCompose(def, cb, b.p, b.w, ctx) & 0xFFFFu;
    return na == nb && na <= 32 && std::memcmp(ca, cb, na) == 0;
  }
};

// ---- Family traits --------------------------------------------------------------------

// How a family reads the escape argument.
enum class EscapeRule : uint8_t {
  FirstByte,       // its first byte, whatever its length
  FirstUnit,       // its first two bytes (UTF-16 units)
  OneByte,         // only a one-byte argument
  WholeCodePoint,  // the whole argument, a UTF-16 unit or pair
  WholeCharacter,  // the whole argument, one complete character
};

// Which bytes are the wildcards.
enum class WildcardRule : uint8_t {
  AsciiBytes,  // one-byte characters 0x25 and 0x5F
  SetBytes,    // the same, 0x6C and 0x6D in UTF-EBCDIC
  Units,       // the UTF-16 units 0x0025 and 0x005F
};

struct FamilyTraits {
  EscapeRule escape;
  WildcardRule wildcards;
  bool utf16Checks;         // width checks and an odd pattern length refused
  bool brokenPatternIsBad;  // pattern data the core rejects is a bad sequence
};

constexpr FamilyTraits kBytesFamily{EscapeRule::FirstByte, WildcardRule::AsciiBytes, false, false};
constexpr FamilyTraits kUtf16Family{EscapeRule::FirstUnit, WildcardRule::Units, true, false};
constexpr FamilyTraits kUtf16CodePointFamily{EscapeRule::WholeCodePoint, WildcardRule::Units, false,
                                             false};
constexpr FamilyTraits kLeadByteFamily{EscapeRule::FirstByte, WildcardRule::SetBytes, false, false};
constexpr FamilyTraits kShiftFamily{EscapeRule::FirstByte, WildcardRule::AsciiBytes, false, false};
constexpr FamilyTraits kUtf8Family{EscapeRule::OneByte, WildcardRule::SetBytes, false, false};
constexpr FamilyTraits kUtf8CompleteFamily{EscapeRule::WholeCharacter, WildcardRule::SetBytes,
                                           false, false};
constexpr FamilyTraits kUtf16CompleteFamily{EscapeRule::WholeCharacter, WildcardRule::Units, false,
                                            true};

// The escape in force for one call.
struct Escape {
  const uint8_t* p = nullptr;
  uint32_t n = 0;
  bool active = false;
};

// The pattern's special characters for one call.
struct Specials {
  Escape escape;
  uint8_t percent;
  uint8_t underscore;
  bool units;

  LXK_LIKE_INLINE bool isWildcard(const Char& c, uint8_t code) const {
    return units ? (c.w == 2 && c.p[0] == 0 && c.p[1] == code)
                 : (c.w == 1 && c.mode == 0 && *c.p == code);
  }
  LXK_LIKE_INLINE bool isPercent(const Char& c) const { return isWildcard(c, percent); }
  LXK_LIKE_INLINE bool isUnderscore(const Char& c) const { return isWildcard(c, underscore); }
  LXK_LIKE_INLINE bool isEscape(const Char& c) const {
    return escape.active && c.w == escape.n && c.mode == 0 &&
           std::memcmp(c.p, escape.p, escape.n) == 0;
  }
};

// Reads the escape argument by the family's rule and fixes the wildcards.
// Returns a status code, 0 when the argument is usable or not checked.
LXK_LIKE_INLINE uint32_t specialsFor(const FamilyTraits& f, const CharsetDefinition* def,
                                     const uint8_t* escape, uint32_t escapeLength, bool check,
                                     Specials& out) {
  const bool utfe = f.wildcards == WildcardRule::SetBytes && def->charsetId == CSID_UTFE;
  out.percent = utfe ? 0x6C : 0x25;
  out.underscore = utfe ? 0x6D : 0x5F;
  out.units = f.wildcards == WildcardRule::Units;
  out.escape = {};
  if (escape == nullptr || escapeLength == 0) return 0;
  const uint32_t bad = check ? LIKE_STATUS_BAD_ESCAPE_CHAR : 0u;
  switch (f.escape) {
    case EscapeRule::FirstByte:
      out.escape = {escape, 1, true};
      return 0;
    case EscapeRule::FirstUnit:
      if (escapeLength < 2) return bad;
      out.escape = {escape, 2, true};
      return 0;
    case EscapeRule::OneByte:
      if (escapeLength != 1) return bad;
      out.escape = {escape, 1, true};
      return 0;
    case EscapeRule::WholeCodePoint: {
      const bool pair =
          escapeLength >= 4 && isHighSurrogateByte(escape[0]) && isLowSurrogateByte(escape[2]);
      const bool lone = isHighSurrogateByte(escape[0]) || isLowSurrogateByte(escape[0]);
      if (escapeLength == 1 || (lone && !pair)) return bad;
      out.escape = {escape, escapeLength, true};
      return 0;
    }
    case EscapeRule::WholeCharacter:
      if (!out.units && escapeLength >= 3 && escape[0] == 0xED && (escape[1] & 0xE0) == 0xA0 &&
          !(escapeLength >= 6 && isUtf8SurrogatePair(escape)))
        return bad;
      out.escape = {escape, escapeLength, true};
      return 0;
  }
  return 0;
}

}  // namespace like
}  // namespace lxk
