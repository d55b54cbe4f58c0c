// Text of any set decoded into the units the regular-expression engine
// searches, with the map back to the source bytes.
#include <unicode/uchar.h>
#include <unicode/unorm2.h>

#include "nlscore/codec.h"
#include "nlscore/regex_engine.h"

namespace nls::regex {
namespace {

constexpr uint32_t kReplacement = 0xFFFD;

template <class Unit>
uint32_t encodeUnits(uint32_t c, Unit* out);

template <>
uint32_t encodeUnits<uint8_t>(uint32_t c, uint8_t* out) {
  return encodeUtf8Value(c, out);
}

template <>
uint32_t encodeUnits<uint16_t>(uint32_t c, uint16_t* out) {
  if (c < 0x10000) {
    out[0] = static_cast<uint16_t>(c);
    return 1;
  }
  c -= 0x10000;
  out[0] = static_cast<uint16_t>(0xD800 | (c >> 10));
  out[1] = static_cast<uint16_t>(0xDC00 | (c & 0x3FF));
  return 2;
}

// The base letters of a character: its canonical decomposition without
// combining marks.  Returns the number of code points written to out (room
// for 8); a character that is all marks folds to nothing.
uint32_t foldAccents(uint32_t c, uint32_t* out) {
  if (c < 0xC0) {
    out[0] = c;
    return 1;
  }
  UErrorCode error = U_ZERO_ERROR;
  const UNormalizer2* nfd = unorm2_getNFDInstance(&error);
  UChar buffer[32];
  const int32_t length =
      U_SUCCESS(error) ? unorm2_getDecomposition(nfd, static_cast<UChar32>(c), buffer, 32, &error)
                       : -1;
  if (length < 0 || U_FAILURE(error)) {
    if (u_getCombiningClass(static_cast<UChar32>(c)) != 0 ||
        u_charType(static_cast<UChar32>(c)) == U_NON_SPACING_MARK)
      return 0;
    out[0] = c;
    return 1;
  }
  uint32_t n = 0;
  for (int32_t i = 0; i < length && n < 8;) {
    UChar32 d;
    U16_NEXT(buffer, i, length, d);
    if (u_getCombiningClass(d) == 0 && u_charType(d) != U_NON_SPACING_MARK)
      out[n++] = static_cast<uint32_t>(d);
  }
  return n;
}

// The character at s (at rest, not at the end): its code point, or
// U+FFFD for malformed bytes; width 0 when it is cut by the end.
Decoded decodeOne(const SetInfo& set, const Scan& s) {
  const uint32_t width = widthAt(set, s);
  if (width > s.left()) return {0, kReplacement};
  Decoded d = decodeChar(set.def, s.p, s.left(), s.shifted);
  if (d.width == 0 || d.width > s.left()) d.width = width;
  if (d.codePoint == kNoCodePoint || isSurrogateValue(d.codePoint)) d.codePoint = kReplacement;
  return d;
}

}  // namespace

template <class Unit>
bool appendCodePoint(uint32_t c, ScratchVec<Unit>& out) {
  Unit units[4];
  return out.append(units, encodeUnits<Unit>(c, units));
}

template <class Unit>
uint32_t convertText(const SetInfo& set, bool accentFold, const uint8_t* src, uint32_t from,
                     uint32_t to, bool final, bool& shifted, uint32_t mapBase,
                     Converted<Unit>& out) {
  Scan s{src + from, src + to, shifted};
  const bool trackShift = set.shiftSensitive;
  // Most text takes about a unit per byte; push grows the rest.
  const uint32_t hint = to - from + 8u;
  if (!out.units.reserve(out.units.size() + hint) || !out.map.reserve(out.map.size() + hint))
    return UINT32_MAX;
  for (;;) {
    const Scan before = s;
    settle(set, s);
    if (s.atEnd()) break;
    Decoded d = decodeOne(set, s);
    if (d.width == 0) {
      if (!final) {
        s = before;  // wait for the rest of the character
        break;
      }
      d.width = s.left();
    }
    const uint32_t at = static_cast<uint32_t>(s.p - src) + mapBase;
    uint32_t points[8];
    uint32_t count = 1;
    points[0] = d.codePoint;
    if (accentFold) count = foldAccents(d.codePoint, points);
    for (uint32_t i = 0; i < count; ++i) {
      Unit units[4];
      const uint32_t n = encodeUnits<Unit>(points[i], units);
      for (uint32_t k = 0; k < n; ++k)
        if (!out.units.push(units[k]) || !out.map.push(at) ||
            (trackShift && !out.shifted.push(s.shifted ? 1 : 0)))
          return UINT32_MAX;
    }
    s.p += d.width;
  }
  shifted = s.shifted;
  return static_cast<uint32_t>(s.p - src);
}

bool decodeToCodePoints(const SetInfo& set, bool accentFold, const uint8_t* p, uint32_t length,
                        ScratchVec<uint32_t>& out) {
  Scan s{p, p + length, false};
  for (;;) {
    settle(set, s);
    if (s.atEnd()) return true;
    Decoded d = decodeOne(set, s);
    if (d.width == 0) d.width = s.left();
    uint32_t points[8];
    uint32_t count = 1;
    points[0] = d.codePoint;
    if (accentFold) count = foldAccents(d.codePoint, points);
    if (!out.append(points, count)) return false;
    s.p += d.width;
  }
}

template uint32_t convertText<uint8_t>(const SetInfo&, bool, const uint8_t*, uint32_t, uint32_t,
                                       bool, bool&, uint32_t, Converted<uint8_t>&);
template uint32_t convertText<uint16_t>(const SetInfo&, bool, const uint8_t*, uint32_t, uint32_t,
                                        bool, bool&, uint32_t, Converted<uint16_t>&);
template bool appendCodePoint<uint8_t>(uint32_t, ScratchVec<uint8_t>&);
template bool appendCodePoint<uint16_t>(uint32_t, ScratchVec<uint16_t>&);

}  // namespace nls::regex
