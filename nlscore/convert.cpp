// Conversion between the sets and Unicode: the validity scanners and the
// one-character converters of the conversion test, the GB18030 width rule,
// the one-character and run converters of ASCIISTR and UNISTR, set-to-set
// conversion for the engine, and the byte-wise replacement of single-byte
// text.
//
// Code values cross this interface in one convention: a code of the basic
// plane as itself, a supplementary character as its surrogate pair packed in
// 32 bits (high surrogate in the upper half).  The Unicode forms are decoded
// and encoded here directly; every other set goes through the codec.
#include <unicode/unorm2.h>
#include <unicode/utf16.h>

#include <cstring>
#include <vector>

#include "frame/unit_rules.h"
#include "lxk/lxk.h"
#include "lxk/nls.h"
#include "lxk/nlsenv.h"
#include "nlscore/catalogue.h"
#include "nlscore/codec.h"
#include "nlscore/definition_private.h"

namespace {

using namespace nls;

constexpr uint32_t kNoValue = 0xFFFD;  // what the set-to-Unicode converters return

inline uint32_t orNoValue(uint32_t packed) { return packed == kNoCodePoint ? kNoValue : packed; }

inline bool isHighSurrogate(uint32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
inline bool isLowSurrogate(uint32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

inline uint32_t packScalar(uint32_t c) {
  if (c < 0x10000) return c;
  const uint32_t v = c - 0x10000;
  return (0xD800u + (v >> 10)) << 16 | (0xDC00u + (v & 0x3FFu));
}

inline uint32_t pairScalar(uint32_t high, uint32_t low) {
  return 0x10000u + ((high - 0xD800u) << 10) + (low - 0xDC00u);
}

// A packed code back to a scalar value; a 16-bit code (a lone surrogate
// included) stays as it is.  False for a 32-bit value that is not a pair.
inline bool unpackCode(uint32_t code, uint32_t* scalar) {
  if (code <= 0xFFFF) {
    *scalar = code;
    return true;
  }
  const uint32_t high = code >> 16, low = code & 0xFFFF;
  if (!isHighSurrogate(high) || !isLowSurrogate(low)) return false;
  *scalar = pairScalar(high, low);
  return true;
}

// ---- UTF-8 forms -------------------------------------------------------------------
// Sequences are read by the codec's utf8SequenceValue, written by its
// encodeUtf8Value.

// Three-byte forms of a high and a low surrogate: the supplementary
// character of the UTF8 set, 6 bytes.
inline bool isSurrogatePairForm(const uint8_t* p) {
  return lxk::isUtf8SurrogatePair(p) && lxk::isUtf8Continuation(p[2]) &&
         lxk::isUtf8Continuation(p[5]);
}

// ---- UTF-16 forms ----------------------------------------------------------------------

inline uint32_t unitAt(const uint8_t* p, bool bigEndian) {
  return bigEndian ? static_cast<uint32_t>(p[0] << 8 | p[1])
                   : static_cast<uint32_t>(p[1] << 8 | p[0]);
}

inline void putUnit(uint8_t* out, uint32_t unit, bool bigEndian) {
  out[bigEndian ? 0 : 1] = static_cast<uint8_t>(unit >> 8);
  out[bigEndian ? 1 : 0] = static_cast<uint8_t>(unit);
}

// Packed value of a two- or four-byte UTF-16 character; kNoCodePoint for a
// lone surrogate or any other width.
uint32_t utf16ToPacked(const uint8_t* p, uint32_t width, bool bigEndian) {
  if (width == 2) {
    const uint32_t u = unitAt(p, bigEndian);
    return isSurrogateValue(u) ? kNoCodePoint : u;
  }
  if (width == 4) {
    const uint32_t high = unitAt(p, bigEndian), low = unitAt(p + 2, bigEndian);
    if (isHighSurrogate(high) && isLowSurrogate(low)) return high << 16 | low;
  }
  return kNoCodePoint;
}

// Any 16-bit code is two bytes; a packed pair four.
uint32_t packedToUtf16(uint32_t code, uint8_t* out, bool bigEndian) {
  uint32_t scalar;
  if (!unpackCode(code, &scalar)) return 0;
  if (code <= 0xFFFF) {
    putUnit(out, code, bigEndian);
    return 2;
  }
  putUnit(out, code >> 16, bigEndian);
  putUnit(out + 2, code & 0xFFFF, bigEndian);
  return 4;
}

// ---- Every other set: the codec -----------------------------------------------------

// Packed value of the width-byte character at p.  In a shift-sensitive set a
// character wider than one byte lies inside a shifted run.
uint32_t codecToPacked(const CharsetDefinition* def, const uint8_t* p, uint32_t width) {
  if (def == nullptr || width == 0) return kNoCodePoint;
  const bool shifted = (def->definitionFlags & CSD_SHIFT_SENSITIVE) != 0 && width > 1;
  const Decoded d = decodeChar(def, p, width, shifted);
  if (d.codePoint == kNoCodePoint || d.width != width) return kNoCodePoint;
  return packScalar(d.codePoint);
}

// The set's bytes of a packed code, without shift bytes; 0 when it has none.
uint32_t packedToCodec(const CharsetDefinition* def, uint32_t code, void* out) {
  uint32_t scalar;
  if (def == nullptr || !unpackCode(code, &scalar)) return 0;
  uint8_t bytes[8];
  const uint32_t n = encodeChar(def, scalar, bytes, nullptr);
  std::memcpy(out, bytes, n);
  return n;
}

// ---- Runs between sets ------------------------------------------------------------------

// The bytes of the target's replacement character.
uint32_t replacementBytes(const CharsetDefinition* def, uint8_t* out, bool* doubleByte) {
  *doubleByte = false;
  switch (encodingOf(def)) {
    case Encoding::Utf8:
    case Encoding::Cesu8:
    case Encoding::UtfEbcdic:
    case Encoding::Utf16Be:
    case Encoding::Utf16Le:
      return encodeChar(def, 0xFFFD, out, doubleByte);
    default:
      break;
  }
  uint32_t code = def->replacementChar;
  if (code == 0) code = def->replacementByte != 0 ? def->replacementByte : 0x3F;
  const uint32_t n = lxk::codeSize(code, false);
  for (uint32_t i = 0; i < n; ++i) out[i] = static_cast<uint8_t>(code >> (8 * (n - 1 - i)));
  *doubleByte = (def->definitionFlags & CSD_SHIFT_SENSITIVE) != 0 && n == 2;
  return n;
}

struct RunOutcome {
  uint32_t written = 0;
  uint32_t chars = 0;
  bool outputCut = false;
  bool truncatedSource = false;  // the source ends inside a character
};

// Converts src into the target, character by character.  Malformed and
// unmappable characters become the target's replacement character.  A
// shift-sensitive target gets its shift bytes, and room for the closing
// shift-in is kept at every step so that a cut output still ends in
// single-byte mode.  A source that ends inside a character stops the run
// (stopAtTruncated) or ends it with one replacement character.
RunOutcome convertRun(const CharsetDefinition* to, uint8_t* out, uint32_t room,
                      const CharsetDefinition* from, const uint8_t* src, uint32_t length,
                      bool stopAtTruncated) {
  RunOutcome r;
  const bool shiftedSource = (from->definitionFlags & CSD_SHIFT_SENSITIVE) != 0;
  const bool shiftedTarget = (to->definitionFlags & CSD_SHIFT_SENSITIVE) != 0;
  // ASCII bytes copy through unchanged between two ASCII-compatible sets.
  const uint32_t asciiFlags = CSD_ASCII_COMPATIBLE | CSD_SHIFT_SENSITIVE;
  const bool asciiThrough = (from->definitionFlags & asciiFlags) == CSD_ASCII_COMPATIBLE &&
                            (to->definitionFlags & asciiFlags) == CSD_ASCII_COMPATIBLE;
  bool sourceShifted = false, targetShifted = false;
  uint32_t at = 0;
  while (at < length) {
    if (asciiThrough && src[at] < 0x80) {
      if (r.written == room) {
        r.outputCut = true;
        return r;
      }
      out[r.written++] = src[at++];
      ++r.chars;
      continue;
    }
    if (shiftedSource && (src[at] == from->shiftOutCode || src[at] == from->shiftInCode)) {
      sourceShifted = src[at++] == from->shiftOutCode;
      continue;
    }
    Decoded d = decodeChar(from, src + at, length - at, sourceShifted);
    if (d.width > length - at) {
      if (stopAtTruncated) {
        r.truncatedSource = true;
        break;
      }
      d = Decoded{length - at, kNoCodePoint};
    }
    uint8_t bytes[8];
    bool doubleByte = false;
    uint32_t n = 0;
    if (d.codePoint != kNoCodePoint) n = encodeChar(to, d.codePoint, bytes, &doubleByte);
    if (n == 0) n = replacementBytes(to, bytes, &doubleByte);
    const uint32_t shiftByte = shiftedTarget && doubleByte != targetShifted ? 1 : 0;
    const uint32_t closing = shiftedTarget && doubleByte ? 1 : 0;
    if (shiftByte + n + closing > room - r.written) {
      r.outputCut = true;
      break;
    }
    if (shiftByte) {
      out[r.written++] = doubleByte ? to->shiftOutCode : to->shiftInCode;
      targetShifted = doubleByte;
    }
    std::memcpy(out + r.written, bytes, n);
    r.written += n;
    ++r.chars;
    at += d.width;
  }
  if (targetShifted) out[r.written++] = to->shiftInCode;  // room was kept for it
  return r;
}

}  // namespace

extern "C" {

// ---- Validity scanners -----------------------------------------------------------------

// UTF8: one- to three-byte forms of the basic plane; a supplementary
// character is a high and a low surrogate form, 6 bytes, whether the caller
// asks for width 6 or 3.  Lone surrogates and four-byte forms are invalid.
NLS_API uint32_t lxcsVldUTF8(const void* p, uint32_t width, uint32_t bytesLeft) {
  const auto* b = static_cast<const uint8_t*>(p);
  if (width == 0 || width > bytesLeft) return 0;
  if (width == 6) return isSurrogatePairForm(b) ? 6 : 0;
  if (width > 3) return 0;
  const uint32_t c = utf8SequenceValue(b, width);
  if (c == kNoCodePoint) return 0;
  if (!isSurrogateValue(c)) return width;
  return (isHighSurrogate(c) && bytesLeft >= 6 && isSurrogatePairForm(b)) ? 6 : 0;
}

NLS_API uint32_t lxcsVldAL32UTF8(const void* p, uint32_t width) {
  const uint32_t c = utf8SequenceValue(static_cast<const uint8_t*>(p), width);
  return (c == kNoCodePoint || isSurrogateValue(c)) ? 0 : width;
}

NLS_API uint32_t lxcsVldAL16UTF16(const void* p, uint32_t width) {
  return utf16ToPacked(static_cast<const uint8_t*>(p), width, true) == kNoCodePoint ? 0 : width;
}

// ---- Set to Unicode --------------------------------------------------------------------

NLS_API uint32_t lxcsm2uUTF8(const CharsetDefinition* /*def*/, const void* p, uint32_t width) {
  const auto* b = static_cast<const uint8_t*>(p);
  if (width == 6)
    return isSurrogatePairForm(b) ? utf8SequenceValue(b, 3) << 16 | utf8SequenceValue(b + 3, 3)
                                  : kNoValue;
  if (width > 3) return kNoValue;
  const uint32_t c = utf8SequenceValue(b, width);
  return (c == kNoCodePoint || isSurrogateValue(c)) ? kNoValue : c;
}

NLS_API uint32_t lxcsm2uAL32UTF8(const CharsetDefinition* /*def*/, const void* p, uint32_t width) {
  const uint32_t c = utf8SequenceValue(static_cast<const uint8_t*>(p), width);
  return (c == kNoCodePoint || isSurrogateValue(c)) ? kNoValue : packScalar(c);
}

NLS_API uint32_t lxcsm2uAL16UTF16(const CharsetDefinition* /*def*/, const void* p, uint32_t width) {
  return orNoValue(utf16ToPacked(static_cast<const uint8_t*>(p), width, true));
}

NLS_API uint32_t lxcsm2uAL16UTF16LE(const CharsetDefinition* /*def*/, const void* p,
                                    uint32_t width) {
  return orNoValue(utf16ToPacked(static_cast<const uint8_t*>(p), width, false));
}

NLS_API uint32_t lxcsm2uUTFE(const CharsetDefinition* def, const void* p, uint32_t width) {
  return orNoValue(codecToPacked(def, static_cast<const uint8_t*>(p), width));
}

NLS_API uint32_t lxcsm2uUTF32(const CharsetDefinition* def, const void* p, uint32_t width) {
  return orNoValue(codecToPacked(def, static_cast<const uint8_t*>(p), width));
}

NLS_API uint32_t lxcsm2uGB18030(const CharsetDefinition* def, const void* p, uint32_t width) {
  return orNoValue(codecToPacked(def, static_cast<const uint8_t*>(p), width));
}

NLS_API uint32_t lxcsm2ux(const CharsetDefinition* def, const void* p, uint32_t width) {
  return orNoValue(codecToPacked(def, static_cast<const uint8_t*>(p), width));
}

// ---- Unicode to set --------------------------------------------------------------------
// Each converts the one code it is given (count 0 converts nothing).

NLS_API uint32_t lxcsu2mUTF8(const CharsetDefinition* /*def*/, void* out, uint32_t code,
                             uint32_t count, NlsContext* /*ctx*/) {
  uint32_t scalar;
  if (count == 0 || !unpackCode(code, &scalar) || (code <= 0xFFFF && isSurrogateValue(code)))
    return 0;
  auto* o = static_cast<uint8_t*>(out);
  if (scalar < 0x10000) return encodeUtf8Value(scalar, o);
  encodeUtf8Value(code >> 16, o);
  encodeUtf8Value(code & 0xFFFF, o + 3);
  return 6;
}

NLS_API uint32_t lxcsu2mAL32UTF8(const CharsetDefinition* /*def*/, void* out, uint32_t code,
                                 uint32_t count, NlsContext* /*ctx*/) {
  uint32_t scalar;
  if (count == 0 || !unpackCode(code, &scalar) || isSurrogateValue(scalar)) return 0;
  return encodeUtf8Value(scalar, static_cast<uint8_t*>(out));
}

NLS_API uint32_t lxcsu2mAL16UTF16(const CharsetDefinition* /*def*/, void* out, uint32_t code,
                                  uint32_t count, NlsContext* /*ctx*/) {
  return count == 0 ? 0 : packedToUtf16(code, static_cast<uint8_t*>(out), true);
}

NLS_API uint32_t lxcsu2mAL16UTF16LE(const CharsetDefinition* /*def*/, void* out, uint32_t code,
                                    uint32_t count, NlsContext* /*ctx*/) {
  return count == 0 ? 0 : packedToUtf16(code, static_cast<uint8_t*>(out), false);
}

NLS_API uint32_t lxcsu2mUTFE(const CharsetDefinition* def, void* out, uint32_t code, uint32_t count,
                             NlsContext* /*ctx*/) {
  return count == 0 ? 0 : packedToCodec(def, code, out);
}

NLS_API uint32_t lxcsu2mUTF32(const CharsetDefinition* def, void* out, uint32_t code,
                              uint32_t count, NlsContext* /*ctx*/) {
  return count == 0 ? 0 : packedToCodec(def, code, out);
}

NLS_API uint32_t lxcsu2mGB18030(const CharsetDefinition* def, void* out, uint32_t code,
                                uint32_t count, NlsContext* /*ctx*/) {
  return count == 0 ? 0 : packedToCodec(def, code, out);
}

NLS_API uint32_t lxcsu2mx(const CharsetDefinition* def, void* out, uint32_t code, uint32_t count,
                          NlsContext* /*ctx*/) {
  return count == 0 ? 0 : packedToCodec(def, code, out);
}

// ---- GB18030 widths and invariant characters ---------------------------------------------

// Width of the GB18030 character at p by the set's structure: 1 below 0x81
// and for 0xFF, else 2, or 4 when the byte after the lead is a digit.  The
// width may exceed the bytes left (the caller compares); 0 when none are.
NLS_API uint32_t lxcgbgwt2(const CharsetDefinition* /*def*/, const void* p, uint32_t bytesLeft) {
  if (bytesLeft == 0) return 0;
  const auto* b = static_cast<const uint8_t*>(p);
  if (b[0] < 0x81 || b[0] == 0xFF) return 1;
  return lxk::gb18030Width(2, b, bytesLeft);
}

NLS_API uint32_t lxcgbgwt(const CharsetDefinition* def, const void* p, uint32_t bytesLeft,
                          uint32_t /*flags*/) {
  return lxcgbgwt2(def, p, bytesLeft);
}

NLS_API uint32_t lxcss2m(const CharsetDefinition* def, void* buffer, uint32_t invariantCode) {
  if (def == nullptr || buffer == nullptr) return 0;
  uint8_t bytes[8];
  const uint32_t n = encodeChar(def, invariantCode, bytes, nullptr);
  std::memcpy(buffer, bytes, n);
  return n & 0xFFFFu;
}

// ---- Composition ---------------------------------------------------------------------------

// The composed (NFC) form of input in its own set.  Callers give no capacity:
// the output is never longer than the input or 32 bytes, whichever is more.
// Text that is not whole valid characters, or whose composed form would be
// longer than that, is written as it is, so it equals only itself.
NLS_API uint32_t lxcsCompose(const CharsetDefinition* def, void* out32, const void* input,
                             uint32_t inputLength, NlsContext* /*ctx*/) {
  if (out32 == nullptr || input == nullptr || inputLength == 0) return 0;
  auto* out = static_cast<uint8_t*>(out32);
  const auto* in = static_cast<const uint8_t*>(input);
  const uint32_t limit = inputLength > 32 ? inputLength : 32;
  auto asItIs = [&] {
    std::memmove(out, in, inputLength);
    return inputLength;
  };
  if (def == nullptr || (def->definitionFlags & CSD_SHIFT_SENSITIVE)) return asItIs();

  // Decoded into UTF-16; a character takes at most two units.
  UChar small[128];
  std::vector<UChar> large;
  UChar* units = small;
  const uint32_t unitRoom = 2 * inputLength;
  if (unitRoom > sizeof small / sizeof small[0]) {
    large.resize(unitRoom);
    units = large.data();
  }
  int32_t count = 0;
  for (uint32_t at = 0; at < inputLength;) {
    const Decoded d = decodeChar(def, in + at, inputLength - at, false);
    if (d.codePoint == kNoCodePoint || d.width > inputLength - at) return asItIs();
    U16_APPEND_UNSAFE(units, count, static_cast<UChar32>(d.codePoint));
    at += d.width;
  }
  UErrorCode err = U_ZERO_ERROR;
  const UNormalizer2* nfc = unorm2_getNFCInstance(&err);
  if (U_FAILURE(err) || unorm2_isNormalized(nfc, units, count, &err)) return asItIs();

  // NFC grows a text at most three times; a form that still overflows is
  // written as it is.
  UChar composedSmall[3 * 128];
  UChar* composed = composedSmall;
  int32_t composedRoom = static_cast<int32_t>(sizeof composedSmall / sizeof composedSmall[0]);
  std::vector<UChar> composedLarge;
  if (3 * count > composedRoom) {
    composedLarge.resize(3 * static_cast<size_t>(count));
    composed = composedLarge.data();
    composedRoom = 3 * count;
  }
  err = U_ZERO_ERROR;
  const int32_t composedCount = unorm2_normalize(nfc, units, count, composed, composedRoom, &err);
  if (U_FAILURE(err)) return asItIs();

  uint8_t encoded[32 + 8];
  std::vector<uint8_t> encodedLarge;
  uint8_t* buffer = encoded;
  if (limit > 32) {
    encodedLarge.resize(limit + 8);
    buffer = encodedLarge.data();
  }
  uint32_t written = 0;
  for (int32_t i = 0; i < composedCount;) {
    UChar32 c;
    U16_NEXT_UNSAFE(composed, i, c);
    const uint32_t n = encodeChar(def, static_cast<uint32_t>(c), buffer + written, nullptr);
    if (n == 0 || written + n > limit) return asItIs();
    written += n;
  }
  std::memcpy(out, buffer, written);
  return written;
}

// ---- ASCIISTR and UNISTR ------------------------------------------------------------------

// One character of the source set into UTF-16 units.  In a shift-sensitive
// set the character may come with the shift byte in front of it; a character
// of two bytes lies inside a shifted run.
NLS_API uint32_t lxgt2u(uint16_t* units, uint32_t maxUnits, const void* charBytes,
                        const CharsetDefinition* source, uint32_t width, uint32_t /*flags*/,
                        NlsContext* /*ctx*/) {
  if (units == nullptr || charBytes == nullptr || source == nullptr || width == 0) return 0;
  const auto* p = static_cast<const uint8_t*>(charBytes);
  if (source->definitionFlags & CSD_SHIFT_SENSITIVE) {
    while (width > 0 && (*p == source->shiftOutCode || *p == source->shiftInCode)) {
      ++p;
      --width;
    }
    if (width == 0) return 0;
  }
  // UTF8 writes a supplementary character as two three-byte surrogate forms;
  // walked one character at a time, each half is its own unit.
  if (encodingOf(source) == Encoding::Cesu8 && width == 3) {
    const uint32_t c = utf8SequenceValue(p, 3);
    if (c != kNoCodePoint && isSurrogateValue(c)) {
      if (maxUnits < 1) return 0;
      units[0] = static_cast<uint16_t>(c);
      return 1;
    }
  }
  const uint32_t packed = codecToPacked(source, p, width);
  if (packed == kNoCodePoint) return 0;
  if (packed <= 0xFFFF) {
    if (maxUnits < 1) return 0;
    units[0] = static_cast<uint16_t>(packed);
    return 1;
  }
  if (maxUnits < 2) return 0;
  units[0] = static_cast<uint16_t>(packed >> 16);
  units[1] = static_cast<uint16_t>(packed);
  return 2;
}

NLS_API uint32_t lxgcnv(void* out, const CharsetDefinition* target, uint32_t room, const void* src,
                        const CharsetDefinition* source, uint32_t length, NlsContext* ctx) {
  if (target == nullptr || source == nullptr || src == nullptr || length == 0) {
    if (ctx) ctx->convertedChars = 0;
    return 0;
  }
  if (out == nullptr) room = 0;
  const RunOutcome r = convertRun(target, static_cast<uint8_t*>(out), room, source,
                                  static_cast<const uint8_t*>(src), length, false);
  if (ctx) {
    ctx->convertedChars = r.chars;
    if (r.outputCut) ctx->status = NLS_STATUS_TRUNCATED;
  }
  return r.written;
}

// The units, packed first-in-the-upper-half when count is 2, each as its
// one- to three-byte form; a surrogate gets the three-byte form of its value.
NLS_API uint32_t lxgucs2utf(void* out, uint32_t room, uint32_t unit, uint32_t count,
                            int32_t* overflow) {
  if (overflow) *overflow = 0;
  if (count == 0 || count > 2 || (count == 1 && unit > 0xFFFF)) return 0;
  uint8_t bytes[6];
  uint32_t n = 0;
  if (count == 2) n = encodeUtf8Value(unit >> 16, bytes);
  n += encodeUtf8Value(unit & 0xFFFF, bytes + n);
  if (out == nullptr || n > room) {
    if (overflow) *overflow = 1;
    return 0;
  }
  std::memcpy(out, bytes, n);
  return n;
}

// ---- Set to set, for the engine -------------------------------------------------------------

NLS_API int32_t nlsConvert(NlsContext* /*ctx*/, const char* toCharset, uint8_t* dst,
                           uint32_t capacity, const char* fromCharset, const uint8_t* src,
                           uint32_t length) {
  const int32_t toIndex = catalogueFind(toCharset), fromIndex = catalogueFind(fromCharset);
  if (toIndex < 0 || fromIndex < 0 || (src == nullptr && length != 0)) return -1;
  if (dst == nullptr) capacity = 0;
  if (length == 0) return 0;
  const RunOutcome r = convertRun(catalogueDefinitions()[toIndex], dst, capacity,
                                  catalogueDefinitions()[fromIndex], src, length, true);
  if (r.outputCut || r.truncatedSource) return -1;
  return static_cast<int32_t>(r.written);
}

}  // extern "C"
