// Case conversion of the core: the byte-for-byte table mapping (lxsCnvSimple)
// and the full Unicode case mapping for every set of the catalogue
// (lxsCnvCase).
//
// The full mapping walks the source one character at a time: decode, map
// through ICU in the root locale, encode back, and stage the bytes with the
// shift bytes they need before committing them whole to the destination.
// The converter composes the parts: the set's codec by class
// (casemap_codec.h), the final-sigma rule (casemap_sigma.h), the staged
// output (casemap_output.h) and one character's mapping (casemap_unicode.h).
// Fast paths: single-byte sets through the definition's byte tables wherever
// those are exact; ASCII runs of ASCII-compatible sets by arithmetic; and in
// sets without shift states a direct path for characters whose full mapping
// is their simple one, written straight to the destination, with caseless
// letters (kana, CJK, Hangul) and unchanged characters copied in runs.
#include <unicode/utf16.h>

#include <cstring>

#include "lxk/lxk.h"
#include "lxk/nls.h"
#include "nlscore/casemap_codec.h"
#include "nlscore/casemap_output.h"
#include "nlscore/casemap_sigma.h"
#include "nlscore/casemap_unicode.h"
#include "nlscore/codec.h"
#include "nlscore/definition_private.h"
#include "nlscore/units.h"

namespace {

using namespace nls;
using namespace nls::casemap;

// Maps ASCII characters from p while they last, up to limit; returns where
// it stopped.  kUnit is 1 for bytes, 2 for UTF-16 units.
template <CaseMode kMode, uint32_t kUnit = 1>
[[gnu::always_inline]] inline const uint8_t* mapAscii(const uint8_t* p, const uint8_t* limit,
                                                      uint8_t*& out, bool& inWord) {
  uint8_t* o = out;
  bool word = inWord;
  for (; static_cast<uint32_t>(limit - p) >= kUnit && (kUnit == 1 || p[0] == 0) &&
         p[kUnit - 1] < 0x80;
       p += kUnit, o += kUnit) {
    const uint8_t b = p[kUnit - 1];
    if constexpr (kUnit == 2) o[0] = 0;
    if constexpr (kMode == CaseMode::Upper) {
      o[kUnit - 1] = asciiUpper(b);
    } else if constexpr (kMode == CaseMode::Lower) {
      o[kUnit - 1] = asciiLower(b);
    } else {
      const uint8_t c = kAsciiClasses[b];
      o[kUnit - 1] = (c & kAsciiLetter) && !word ? asciiUpper(b) : asciiLower(b);
      word = (c & (kAsciiLetter | kAsciiDigit)) != 0;
    }
  }
  out = o;
  inWord = word;
  return p;
}

// Copies [from, to) to out (which may be null when nothing is copied);
// returns the end of the copy.
[[gnu::always_inline]] inline uint8_t* copyBytes(uint8_t* out, const uint8_t* from,
                                                 const uint8_t* to) {
  const size_t n = static_cast<size_t>(to - from);
  if (n != 0) std::memcpy(out, from, n);
  return out + n;
}

class CaseConverter {
 public:
  CaseConverter(const SetInfo& set, CaseMode mode, const uint8_t* src, uint32_t length,
                uint8_t* dst, uint32_t capacity)
      : set_(set),
        mode_(mode),
        codec_(set.def),
        asciiRuns_(codec_.kind() != CodecKind::Utf16 && !set.shiftSensitive &&
                   (set.def->definitionFlags & CSD_ASCII_COMPATIBLE) != 0),
        p_(src),
        end_(src + length),
        output_(set_, dst, capacity),
        sigma_(set_, codec_, src, end_, asciiRuns_) {}

  // Converts the whole source; returns the bytes written.
  uint32_t run() {
    const CodecKind kind = codec_.kind();
    const bool byTables = kind == CodecKind::SingleByte && mode_ != CaseMode::Initcap;
    // Single-byte INITCAP stays on the character path: ASCII runs by
    // arithmetic make it faster there than the direct path's decoding.
    const bool direct = !set_.shiftSensitive && kind != CodecKind::SingleByte;
    if (byTables) tableRun();
    while (!truncated_) {
      if (set_.shiftSensitive) settleInput();
      if (p_ >= end_) break;
      if (direct) {
        directRun();
        if (p_ >= end_) break;
      }
      if (asciiRuns_ && *p_ < 0x80) {
        asciiRun();
      } else if (!convertOne()) {
        truncated_ = true;
      } else if (byTables) {
        tableRun();
      }
    }
    return output_.close();
  }

  bool truncated() const { return truncated_; }

 private:
  // Single-byte sets: the byte tables hold the simple mappings, which are the
  // full ones except for the few characters with special casing.  Stops at
  // such a character, at the end, or when the destination is full.
  void tableRun() {
    const uint8_t* table =
        mode_ == CaseMode::Upper ? upperCaseTable(set_.def) : lowerCaseTable(set_.def);
    const uint16_t* toUnicode = set_.def->toUnicode;
    uint8_t* const out = output_.at;
    const uint32_t room = output_.room();
    const uint32_t left = static_cast<uint32_t>(end_ - p_);
    const uint32_t n = left < room ? left : room;
    uint32_t i = 0;
    for (; i < n; ++i) {
      const uint8_t b = p_[i];
      if (hasSpecialCasing(toUnicode[b])) break;
      out[i] = table[b];
    }
    p_ += i;
    output_.at += i;
    if (i == n && p_ < end_) truncated_ = true;
  }

  // ASCII bytes of an ASCII-compatible set, by arithmetic.
  void asciiRun() {
    const uint32_t room = output_.room();
    if (room == 0) {
      truncated_ = true;
      return;
    }
    const uint8_t* limit =
        p_ + (static_cast<uint32_t>(end_ - p_) < room ? static_cast<uint32_t>(end_ - p_) : room);
    switch (mode_) {
      case CaseMode::Upper:
        p_ = mapAscii<CaseMode::Upper>(p_, limit, output_.at, inWord_);
        break;
      case CaseMode::Lower:
        p_ = mapAscii<CaseMode::Lower>(p_, limit, output_.at, inWord_);
        break;
      case CaseMode::Initcap:
        p_ = mapAscii<CaseMode::Initcap>(p_, limit, output_.at, inWord_);
        break;
    }
    if (p_ == limit && p_ < end_ && *p_ < 0x80) truncated_ = true;
  }

  // ---- The direct path: sets without shift states ----

  // Converts characters whose full mapping is their simple one, straight
  // into the destination; unchanged bytes go out in runs.  Stops at the end
  // or before a character for convertOne: malformed, special casing
  // (capital sigma included) or not fitting.
  template <CodecKind kKind, CaseMode kMode>
  [[gnu::noinline]] void directRunOf() {
    const uint8_t* p = p_;
    const uint8_t* unchanged = p;  // [unchanged, p) is still to be copied
    uint8_t* out = output_.at;
    uint8_t* const outEnd = output_.end;
    bool inWord = inWord_;
    const bool asciiRuns = asciiRuns_;
    while (p < end_) {
      const uint32_t room = static_cast<uint32_t>(outEnd - out);
      const uint32_t left = static_cast<uint32_t>(end_ - p);
      constexpr uint32_t kUnit = kKind == CodecKind::Utf16 ? 2 : 1;
      if (kKind == CodecKind::Utf16 ? left >= 2 && p[0] == 0 && p[1] < 0x80
                                    : asciiRuns && *p < 0x80) {
        out = copyBytes(out, unchanged, p);
        const uint32_t roomLeft = static_cast<uint32_t>(outEnd - out);
        const uint8_t* const from = p;
        p = mapAscii<kMode, kUnit>(p, p + (left < roomLeft ? left : roomLeft), out, inWord);
        unchanged = p;
        if (p == from) break;
        continue;
      }
      const Decoded d = codec_.template decodeAs<kKind>(p, left);
      if (d.codePoint == kNoCodePoint || d.width == 0 || d.width > left) break;
      const uint32_t pending = static_cast<uint32_t>(p - unchanged);
      if (isCaselessLetter(d.codePoint)) {
        if (pending + d.width > room) break;
        p += d.width;
        if constexpr (kMode == CaseMode::Initcap) inWord = true;
        continue;
      }
      if (hasSpecialCasing(d.codePoint)) break;
      bool nextInWord = inWord;
      const uint32_t mapped = simpleMapping<kMode>(d.codePoint, nextInWord);
      uint8_t encoded[8];
      const uint32_t n =
          mapped == d.codePoint ? 0 : codec_.template encodeAs<kKind>(mapped, encoded);
      if (n == 0) {
        // Unchanged, or a mapping the set cannot hold: the bytes stay.
        if (pending + d.width > room) break;
      } else {
        if (pending + n > room) break;
        out = copyBytes(out, unchanged, p);
        for (uint32_t i = 0; i < n; ++i) *out++ = encoded[i];
        unchanged = p + d.width;
      }
      p += d.width;
      inWord = nextInWord;
    }
    output_.at = copyBytes(out, unchanged, p);
    p_ = p;
    inWord_ = inWord;
  }

  template <CodecKind kKind>
  void directRunIn() {
    switch (mode_) {
      case CaseMode::Upper:
        return directRunOf<kKind, CaseMode::Upper>();
      case CaseMode::Lower:
        return directRunOf<kKind, CaseMode::Lower>();
      case CaseMode::Initcap:
        return directRunOf<kKind, CaseMode::Initcap>();
    }
  }

  void directRun() {
    switch (codec_.kind()) {
      case CodecKind::SingleByte:
        return directRunIn<CodecKind::SingleByte>();
      case CodecKind::Utf8:
        return directRunIn<CodecKind::Utf8>();
      case CodecKind::Utf16:
        return directRunIn<CodecKind::Utf16>();
      case CodecKind::LeadByte:
        return directRunIn<CodecKind::LeadByte>();
      case CodecKind::Other:
        return directRunIn<CodecKind::Other>();
    }
  }

  // ---- The slow path: one character at a time, through a stage ----

  void settleInput() {
    Scan s{p_, end_, inShifted_};
    settle(set_, s);
    p_ = s.p;
    inShifted_ = s.shifted;
  }

  // Converts the character at p_ (at rest, not at the end).  Returns false
  // when its output does not fit.
  bool convertOne() {
    const uint8_t* const from = p_;
    const bool shifted = inShifted_;
    const uint32_t left = static_cast<uint32_t>(end_ - from);
    const Decoded d = codec_.decode(from, left, shifted);
    const uint32_t decodedWidth = d.width != 0 ? d.width : 1u;
    const uint32_t width = decodedWidth < left ? decodedWidth : left;
    const uint8_t* const after = from + width;

    if (d.codePoint == kNoCodePoint || decodedWidth > left) {
      if (!output_.commitOriginal(from, width, shifted)) return false;
      p_ = after;
      inWord_ = false;
      return true;
    }

    const uint32_t codePoint = d.codePoint;
    bool inWord = inWord_;
    CaseAction action = CaseAction::Upper;
    if (mode_ == CaseMode::Lower)
      action = CaseAction::Lower;
    else if (mode_ == CaseMode::Initcap)
      action = initcapAction(codePoint, inWord);

    UChar mapped[kMappedCapacity];
    uint32_t mappedLength;
    if (codePoint == kCapitalSigma && action == CaseAction::Lower) {
      mapped[0] =
          static_cast<UChar>(sigma_.isFinal(from, after, shifted) ? kFinalSigma : kSmallSigma);
      mappedLength = 1;
    } else {
      mappedLength = fullMapping(codePoint, action, mapped);
    }

    bool keep = mappedLength == 0;
    if (!keep) {
      UChar32 first;
      uint32_t i = 0;
      U16_NEXT_UNSAFE(mapped, i, first);
      keep = i == mappedLength && static_cast<uint32_t>(first) == codePoint;
    }
    bool written;
    if (keep) {
      written = output_.commitOriginal(from, width, shifted);
    } else {
      Stage stage = output_.stage();
      bool encodable = true;
      for (uint32_t i = 0; i < mappedLength && encodable;) {
        UChar32 c;
        U16_NEXT_UNSAFE(mapped, i, c);
        uint8_t encoded[8];
        bool doubleByte = false;
        const uint32_t n = codec_.encode(static_cast<uint32_t>(c), encoded, &doubleByte);
        if (n == 0 || !stage.fits(n)) {
          encodable = false;
        } else {
          stage.append(set_, encoded, n, doubleByte);
        }
      }
      // A mapping the set cannot hold leaves the character as it was.
      written = encodable ? output_.commit(stage) : output_.commitOriginal(from, width, shifted);
    }
    if (!written) return false;

    p_ = after;
    inWord_ = inWord;
    return true;
  }

  const SetInfo set_;
  const CaseMode mode_;
  CaseCodec codec_;
  const bool asciiRuns_;
  const uint8_t* p_;
  const uint8_t* const end_;
  bool inShifted_ = false;
  bool inWord_ = false;  // INITCAP: inside a run of letters and digits
  bool truncated_ = false;
  StagedOutput output_;
  FinalSigma sigma_;
};

// ---- The byte-for-byte mapping --------------------------------------------------

// Whether the byte is a letter, a digit or neither, for INITCAP by bytes.
inline WordClass byteWordClass(const CharsetDefinition* def, bool singleByteSet, uint8_t b) {
  if (b < 0x80 && (def->definitionFlags & CSD_ASCII_COMPATIBLE)) return wordClass(b);
  uint32_t codePoint;
  if (singleByteSet) {
    codePoint = def->toUnicode[b];
    if (codePoint == 0xFFFD) return WordClass::Other;
  } else {
    // Bytes of multibyte sets read as single bytes: only one-byte characters
    // can be letters.
    const Decoded d = decodeChar(def, &b, 1, false);
    if (d.codePoint == kNoCodePoint || d.width != 1) return WordClass::Other;
    codePoint = d.codePoint;
  }
  return wordClass(codePoint);
}

void initcapBytes(uint8_t* dst, const uint8_t* src, uint32_t length, const CharsetDefinition* def) {
  const uint8_t* upper = upperCaseTable(def);
  const uint8_t* lower = lowerCaseTable(def);
  const bool singleByteSet = encodingOf(def) == Encoding::SingleByte;
  // Each byte value's class is looked up once per call.
  WordClass classes[256];
  uint64_t known[4] = {0, 0, 0, 0};
  bool inWord = false;
  for (uint32_t i = 0; i < length; ++i) {
    const uint8_t b = src[i];
    const uint64_t bit = uint64_t{1} << (b & 63);
    if (!(known[b >> 6] & bit)) {
      classes[b] = byteWordClass(def, singleByteSet, b);
      known[b >> 6] |= bit;
    }
    switch (classes[b]) {
      case WordClass::Letter:
        dst[i] = inWord ? lower[b] : upper[b];
        inWord = true;
        break;
      case WordClass::Digit:
        dst[i] = lower[b];
        inWord = true;
        break;
      case WordClass::Mark:
        dst[i] = lower[b];
        break;
      case WordClass::Other:
        dst[i] = lower[b];
        inWord = false;
        break;
    }
  }
}

}  // namespace

extern "C" {

NLS_API uint32_t lxsCnvSimple(void* dst, const void* src, uint32_t length, uint32_t options,
                              const CharsetHandle* handle, NlsContext* ctx) {
  if (dst == nullptr || src == nullptr || length == 0) return 0;
  const CharsetDefinition* def = definitionFor(handle, ctx);
  uint8_t* out = static_cast<uint8_t*>(dst);
  const uint8_t* in = static_cast<const uint8_t*>(src);
  if (options & CASE_INITCAP) {
    initcapBytes(out, in, length, def);
    return length;
  }
  const uint8_t* table = (options & CASE_DIRECTION) ? upperCaseTable(def) : lowerCaseTable(def);
  for (uint32_t i = 0; i < length; ++i) out[i] = table[in[i]];
  return length;
}

NLS_API uint32_t lxsCnvCase(void* dst, uint32_t capacity, const void* src, uint32_t length,
                            uint32_t options, const CharsetHandle* handle, NlsContext* ctx) {
  if (src == nullptr) length = 0;
  if (dst == nullptr) capacity = 0;
  if (length == 0) return 0;
  const CaseMode mode = (options & CASE_INITCAP)     ? CaseMode::Initcap
                        : (options & CASE_DIRECTION) ? CaseMode::Lower
                                                     : CaseMode::Upper;
  const CharsetDefinition* def = definitionFor(handle, ctx);
  CaseConverter converter(setInfo(handle, def), mode, static_cast<const uint8_t*>(src), length,
                          static_cast<uint8_t*>(dst), capacity);
  const uint32_t written = converter.run();
  if (converter.truncated()) ctx->status = NLS_STATUS_TRUNCATED;
  return written;
}

}  // extern "C"
