// Unit policies: what one unit of a length semantics is in one class of
// character set, as small types that search, count and match algorithms
// take as template parameters.  Each says how wide the unit at a point is
// (given the bytes left before the end of its text; a unit cut by the end
// is wider than that) and may offer a bulk step over long text.  An
// algorithm is written once over a policy and instantiated per class.
//
// Units that the bytes alone cannot tell (complete characters, code points
// outside the UTF forms, characters of shift-sensitive sets) are stepped by
// the core through a cursor (lxoSkip, lxmfwtx), not by a policy here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "frame/charset_view.h"
#include "frame/kernels.h"
#include "frame/unit_rules.h"
#include "frame/units.h"

namespace lxk {

// One byte: single-byte sets and raw bytes.
struct ByteUnit {
  static uint32_t width(const CharsetView&, const uint8_t*, uint32_t) { return 1; }
};

// One UTF-16 code unit of two bytes.
struct Utf16Unit {
  static uint32_t width(const CharsetView&, const uint8_t*, uint32_t) { return 2; }
};

// One UTF-16 code point: a surrogate pair is one.
struct Utf16CodePoint {
  static uint32_t width(const CharsetView&, const uint8_t* p, uint32_t left) {
    return utf16CodePointWidth(p, left);
  }
};

// One UTF-8 code point: a four-byte sequence or a six-byte surrogate pair is one.
struct Utf8CodePoint {
  static uint32_t width(const CharsetView& v, const uint8_t* p, uint32_t left) {
    return utf8CodePointWidth(p, left, v.table);
  }
};

// One character by the lead-byte table in force, the four-byte rule aside.
struct LeadByteChar {
  static uint32_t width(const CharsetView& v, const uint8_t* p, uint32_t) {
    return leadWidth(v.table, *p);
  }
};

// One GB18030 character: the lead-byte table and the four-byte rule.
struct Gb18030Char {
  static uint32_t width(const CharsetView& v, const uint8_t* p, uint32_t left) {
    return tableWidth<true>(v.table, p, left);
  }
};

// One character of a UTF-8 form by its lead byte; the bulk step counts the
// lead bytes of well-formed text.  kMaxWidth is 4 for the form with
// four-byte characters and 3 for the form that writes surrogates.
template <uint32_t kWidest>
struct Utf8FormChar {
  static constexpr uint32_t kMaxWidth = kWidest;
  static uint32_t width(const CharsetView& v, const uint8_t* p, uint32_t) {
    return leadWidth(v.table, *p);
  }
};
using Utf8Char = Utf8FormChar<4>;
using Utf8VariantChar = Utf8FormChar<3>;

// ---- Forward steps over whole units -------------------------------------------

namespace detail {

// Bulk stepping pays off from this many units on.
constexpr uint32_t kBulkMinimum = 64;
// Scalar steps taken before bulk stepping is tried again after a refusal.
constexpr uint32_t kScalarBurst = 16;

// How a walk may speed up over long text, decided once per walk and only
// when the walk is long.
struct BulkAids {
  bool known = false;
  uint32_t utf8Width = 0;     // a UTF-8 kernel steps like the table: its maxWidth
  bool doubleByte = false;    // the double-byte kernel steps like the table
  bool fourByteRule = false;  // GB18030: it does so only where no digit follows a lead
  bool asciiSingle = false;   // runs of bytes below 0x80 are one-byte characters
  DoubleByteLeads leads{};
};

template <typename Unit>
inline void prepareBulk(const CharsetView& v, BulkAids& aids) {
  aids.known = true;
  if constexpr (std::is_same_v<Unit, Utf8Char> || std::is_same_v<Unit, Utf8VariantChar>) {
    if (utf8TableMatchesKernels(v.table, Unit::kMaxWidth)) {
      aids.utf8Width = Unit::kMaxWidth;
      return;
    }
  }
  if constexpr (std::is_same_v<Unit, LeadByteChar> || std::is_same_v<Unit, Gb18030Char>) {
    aids.doubleByte = doubleByteLeadsOf(v.table, &aids.leads);
    aids.fourByteRule = std::is_same_v<Unit, Gb18030Char>;
    if (aids.doubleByte) return;
  }
  aids.asciiSingle = asciiBytesAreSingle(v.table);
}

// Whether a byte of [p, end) is an ASCII digit, the second byte of a GB18030
// four-byte character.
inline bool holdsDigit(const uint8_t* p, const uint8_t* end) {
  // Eight bytes a word: of the low seven bits t of each byte, t + 0x50 sets
  // the top bit from 0x30 on and t + 0x46 from 0x3A on; a digit's own top
  // bit is clear.
  constexpr uint64_t kLow7 = 0x7F7F7F7F7F7F7F7Full, kTop = 0x8080808080808080ull;
  uint64_t digits = 0;
  for (; end - p >= 8; p += 8) {
    uint64_t x;
    __builtin_memcpy(&x, p, 8);
    const uint64_t t = x & kLow7;
    digits |= (t + 0x5050505050505050ull) & ~(t + 0x4646464646464646ull) & ~x & kTop;
  }
  for (; p < end; ++p) digits |= static_cast<uint8_t>(*p - 0x30u) <= 9u;
  return digits != 0;
}

// GB18030 text is stepped as double-byte text a block at a time; a block in
// which a digit could make a character four bytes is refused.
constexpr uint32_t kFourByteBlock = 512;

// One bulk step from the boundary p; returns p when it could not move.  The
// kernels are exact to the limit, so a kernel step leaves nothing to the
// caller but the stop.
inline const uint8_t* bulkStep(const BulkAids& aids, const uint8_t* p, const uint8_t* limit,
                               uint32_t maxUnits, uint32_t* done) {
  uint32_t stepped = 0;
  if (aids.fourByteRule) {
    const uint8_t* blockEnd = limit - p > kFourByteBlock ? p + kFourByteBlock : limit;
    const uint8_t* q = kernels().doubleByteForward(p, blockEnd, maxUnits, aids.leads, &stepped);
    if (holdsDigit(p, q)) return p;
    *done += stepped;
    return q;
  }
  if (aids.utf8Width != 0)
    p = kernels().utf8Forward(p, limit, maxUnits, aids.utf8Width, &stepped);
  else if (aids.doubleByte)
    p = kernels().doubleByteForward(p, limit, maxUnits, aids.leads, &stepped);
  else if (aids.asciiSingle)
    p += stepped = asciiRunLength(p, limit, maxUnits);
  *done += stepped;
  return p;
}

template <typename Unit>
constexpr bool kHasBulk = std::is_same_v<Unit, Utf8Char> || std::is_same_v<Unit, Utf8VariantChar> ||
                          std::is_same_v<Unit, LeadByteChar> || std::is_same_v<Unit, Gb18030Char>;

}  // namespace detail

// Steps over up to count whole units of [p, limit) from the boundary p; a
// unit that runs past limit is not stepped over.  Returns the position
// reached and stores the units passed.
template <typename Unit>
const uint8_t* stepUnits(const CharsetView& v, const uint8_t* p, const uint8_t* limit,
                         uint32_t count, uint32_t* stepped) {
  uint32_t done = 0;
  [[maybe_unused]] detail::BulkAids aids;
  while (done < count && p < limit) {
    if constexpr (detail::kHasBulk<Unit>) {
      if (count - done >= detail::kBulkMinimum &&
          limit - p >= static_cast<ptrdiff_t>(detail::kBulkMinimum)) {
        if (!aids.known) detail::prepareBulk<Unit>(v, aids);
        const uint8_t* before = p;
        p = detail::bulkStep(aids, p, limit, count - done, &done);
        if (p != before) continue;
      }
    }
    // A short burst of single steps, then bulk stepping is tried again.
    for (uint32_t burst = 0; burst < detail::kScalarBurst && done < count && p < limit; ++burst) {
      const uint32_t left = static_cast<uint32_t>(limit - p);
      const uint32_t w = Unit::width(v, p, left);
      if (w > left) {
        *stepped = done;
        return p;
      }
      // Constant steps for the common widths: the next position is known
      // once the branch is predicted, without waiting for the table load.
      if (w == 1)
        p += 1;
      else if (w == 2)
        p += 2;
      else
        p += w;
      ++done;
    }
  }
  *stepped = done;
  return p;
}

// ---- Steps judged against the end of the text ---------------------------------

namespace detail {
// Policies whose width at a point depends on the bytes beyond the next few:
// a code point may be a pair, so its width is judged against the text's end.
inline bool supplementaryLeadsAreFourWide(const uint16_t* table) {
  uint32_t narrow = 0;
  for (uint32_t b = 0xF0; b <= 0xF4; ++b) narrow |= leadWidth(table, static_cast<uint8_t>(b)) ^ 4u;
  return narrow == 0;
}

template <typename Unit>
constexpr bool kWidthNeedsEnd =
    std::is_same_v<Unit, Utf8CodePoint> || std::is_same_v<Unit, Utf16CodePoint>;
}  // namespace detail

// Steps over up to count whole units from the boundary p, each judged with
// the bytes left before end, and stops before a unit that would pass limit
// (limit <= end).  Returns the position reached and stores the units passed.
// With limit a byte of the text, the position reached is limit exactly when
// a unit of the walk from p starts there.
template <typename Unit>
const uint8_t* stepUnitsWithin(const CharsetView& v, const uint8_t* p, const uint8_t* limit,
                               const uint8_t* end, uint32_t count, uint32_t* stepped) {
  if constexpr (std::is_same_v<Unit, ByteUnit> || std::is_same_v<Unit, Utf16Unit>) {
    constexpr uint32_t kWidth = std::is_same_v<Unit, ByteUnit> ? 1u : 2u;
    const uint32_t room = static_cast<uint32_t>(limit - p) / kWidth;
    *stepped = count < room ? count : room;
    return p + *stepped * kWidth;
  } else if constexpr (detail::kWidthNeedsEnd<Unit>) {
    if constexpr (std::is_same_v<Unit, Utf8CodePoint>) {
      // Only an ED byte can start a surrogate pair, and where the table
      // makes F0..F4 four bytes wide a supplementary character is one
      // character by the table: without an ED byte the code points are the
      // characters, and the character walk has bulk steps.
      if (v.kind == CharsetClass::Utf8 && detail::supplementaryLeadsAreFourWide(v.table) &&
          std::memchr(p, 0xED, static_cast<size_t>(limit - p)) == nullptr)
        return stepUnits<Utf8Char>(v, p, limit, count, stepped);
    }
    uint32_t done = 0;
    while (done < count && p < limit) {
      const uint32_t w = Unit::width(v, p, static_cast<uint32_t>(end - p));
      if (w > static_cast<uint32_t>(limit - p)) break;
      p += w;
      ++done;
    }
    *stepped = done;
    return p;
  } else {
    // The other widths read at most the byte after the lead, and a unit
    // judged short of limit is wider than what is left before it either way.
    (void)end;
    return stepUnits<Unit>(v, p, limit, count, stepped);
  }
}

// Units that start in [p, end): the whole ones and a last one cut by the end.
template <typename Unit>
uint32_t unitsStartingIn(const CharsetView& v, const uint8_t* p, const uint8_t* end) {
  uint32_t n = 0;
  const uint8_t* q = stepUnitsWithin<Unit>(v, p, end, end, 0xFFFFFFFFu, &n);
  return n + (q < end ? 1u : 0u);
}

// Runs f with the character policy of a set without shift states: the
// lead-byte walk of its class.  UTF-16 sets step in code units here.
template <typename F>
decltype(auto) withCharPolicy(const CharsetView& v, F&& f) {
  switch (v.kind) {
    case CharsetClass::Utf8:
      return f(Utf8Char{});
    case CharsetClass::Utf8Variant:
      return f(Utf8VariantChar{});
    case CharsetClass::Gb18030:
      return f(Gb18030Char{});
    case CharsetClass::SingleByte:
      return f(ByteUnit{});
    case CharsetClass::Utf16:
      return f(Utf16Unit{});
    default:
      return f(LeadByteChar{});
  }
}

}  // namespace lxk
