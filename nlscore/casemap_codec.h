// How the case mapping reads and writes one character of a set: by set
// class, inline where the direct path needs it (UTF-8, AL16UTF16, one-byte
// characters of single-byte and lead-byte sets), through the codec for the
// rest.
#pragma once

#include <cstdint>

#include "lxk/nls.h"
#include "nlscore/codec.h"
#include "nlscore/definition_private.h"

namespace nls::casemap {

// LeadByte: widths from the lead byte, one-byte characters from toUnicode.
enum class CodecKind : uint8_t { SingleByte, Utf8, Utf16, LeadByte, Other };

inline CodecKind codecKindOf(const CharsetDefinition* def) {
  switch (encodingOf(def)) {
    case Encoding::SingleByte:
      return CodecKind::SingleByte;
    case Encoding::Utf8:
      return CodecKind::Utf8;
    case Encoding::Utf16Be:
      return CodecKind::Utf16;
    case Encoding::LeadByte:
      return CodecKind::LeadByte;
    default:
      return CodecKind::Other;
  }
}

class CaseCodec {
 public:
  explicit CaseCodec(const CharsetDefinition* def) : def_(def), kind_(codecKindOf(def)) {}

  CodecKind kind() const { return kind_; }

  // The character at p (left > 0 bytes) of a set of class kKind, read as the
  // codec reads it outside shifted runs.
  template <CodecKind kKind>
  [[gnu::always_inline]] Decoded decodeAs(const uint8_t* p, uint32_t left) const {
    if constexpr (kKind == CodecKind::Utf8) {
      return decodeUtf8(def_->baseLeadByteTable, p, left);
    } else if constexpr (kKind == CodecKind::Utf16) {
      // A lone surrogate is one unit of its own, copied as it is.
      if (left < 2) return Decoded{2, kNoCodePoint};
      const uint32_t unit = (uint32_t{p[0]} << 8) | p[1];
      if (!isSurrogateValue(unit)) return Decoded{2, unit};
      if (lxk::utf16CodePointWidth(p, left) == 4 && lxk::isLowSurrogateByte(p[2])) {
        const uint32_t trail = (uint32_t{p[2]} << 8) | p[3];
        return Decoded{4, 0x10000u + ((unit - 0xD800u) << 10) + (trail - 0xDC00u)};
      }
      return Decoded{2, kNoCodePoint};
    } else if constexpr (kKind == CodecKind::SingleByte) {
      return oneByte(*p);
    } else if constexpr (kKind == CodecKind::LeadByte) {
      if (lxk::trailingBytes(def_->baseLeadByteTable, *p) == 0) return oneByte(*p);
      return decodeChar(def_, p, left, false);
    } else {
      return decodeChar(def_, p, left, false);
    }
  }

  // The character at p (left > 0 bytes) of any set; shifted: inside a
  // double-byte run.
  Decoded decode(const uint8_t* p, uint32_t left, bool shifted) const {
    switch (kind_) {
      case CodecKind::SingleByte:
        return decodeAs<CodecKind::SingleByte>(p, left);
      case CodecKind::Utf8:
        return decodeAs<CodecKind::Utf8>(p, left);
      case CodecKind::Utf16:
        return decodeAs<CodecKind::Utf16>(p, left);
      case CodecKind::LeadByte:
      case CodecKind::Other:
        break;
    }
    return decodeChar(def_, p, left, shifted);
  }

  // Bytes of one code point for a set of class kKind (out: room for 8); 0
  // when the set has no form for it.  Not for shift-sensitive sets.
  template <CodecKind kKind>
  [[gnu::always_inline]] uint32_t encodeAs(uint32_t codePoint, uint8_t* out) {
    if constexpr (kKind == CodecKind::Utf8) {
      return encodeUtf8Value(codePoint, out);
    } else if constexpr (kKind == CodecKind::Utf16) {
      return encodeUtf16Be(codePoint, out);
    } else {
      if (codePoint >= 0x80) return encodeChar(def_, codePoint, out, nullptr);
      // ASCII letters are most of what changes; their bytes are remembered.
      const uint64_t bit = uint64_t{1} << (codePoint & 63);
      uint64_t& known = asciiKnown_[codePoint >> 6];
      if (known & bit) {
        out[0] = asciiBytes_[codePoint];
        return 1;
      }
      const uint32_t n = encodeChar(def_, codePoint, out, nullptr);
      if (n == 1) {
        asciiBytes_[codePoint] = out[0];
        known |= bit;
      }
      return n;
    }
  }

  // Bytes of one code point of any set (out: room for 8), without shift
  // bytes; 0 when the set has no form for it.  *doubleByte tells whether the
  // bytes belong inside a shifted run.
  uint32_t encode(uint32_t codePoint, uint8_t* out, bool* doubleByte) const {
    *doubleByte = false;
    if (kind_ == CodecKind::Utf16) return encodeUtf16Be(codePoint, out);
    if (kind_ == CodecKind::Utf8) return encodeUtf8Value(codePoint, out);
    return encodeChar(def_, codePoint, out, doubleByte);
  }

 private:
  Decoded oneByte(uint8_t b) const {
    const uint32_t u = def_->toUnicode[b];
    return Decoded{1, u == 0xFFFD ? kNoCodePoint : u};
  }

  static uint32_t encodeUtf16Be(uint32_t codePoint, uint8_t* out) {
    if (codePoint <= 0xFFFF) {
      out[0] = static_cast<uint8_t>(codePoint >> 8);
      out[1] = static_cast<uint8_t>(codePoint);
      return 2;
    }
    const uint32_t v = codePoint - 0x10000;
    const uint32_t lead = 0xD800u | v >> 10;
    const uint32_t trail = 0xDC00u | (v & 0x3FFu);
    out[0] = static_cast<uint8_t>(lead >> 8);
    out[1] = static_cast<uint8_t>(lead);
    out[2] = static_cast<uint8_t>(trail >> 8);
    out[3] = static_cast<uint8_t>(trail);
    return 4;
  }

  const CharsetDefinition* def_;
  CodecKind kind_;
  // LeadByte and Other sets: the bytes of the ASCII code points met so far.
  uint64_t asciiKnown_[2] = {0, 0};
  uint8_t asciiBytes_[128];
};

}  // namespace nls::casemap
