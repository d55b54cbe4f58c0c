// Case conversion of the core: the byte-for-byte table mapping (lxsCnvSimple)
// and the full Unicode case mapping for every set of the catalogue
// (lxsCnvCase).
//
// The full mapping walks the source one character at a time: decode, map
// through ICU in the root locale, encode back, and stage the bytes with the
// shift bytes they need before committing them whole to the destination.  The
// only context-sensitive mapping of the root locale, the final sigma, is
// decided here from a "preceded by a cased letter" state, brought up to date
// only when a capital sigma is met, and a look ahead into the source, so no
// chunking of the text can change a result.
// Fast paths: single-byte sets through the definition's byte tables wherever
// those are exact; ASCII runs of ASCII-compatible sets by arithmetic; and in
// sets without shift states a direct path for characters whose full mapping
// is their simple one, written straight to the destination, with caseless
// letters (kana, CJK, Hangul) and unchanged characters copied in runs.
//
// No allocation: ICU's case mapping of a few UTF-16 units into a stack buffer
// allocates nothing, and titlecasing gets a break iterator that lives on the
// stack.
#include <unicode/brkiter.h>
#include <unicode/casemap.h>
#include <unicode/uchar.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include "lxk/lxk.h"
#include "lxk/nls.h"
#include "nlscore/codec.h"
#include "nlscore/definition_private.h"
#include "nlscore/units.h"

namespace {

using namespace nls;

enum class CaseMode : uint8_t { Upper, Lower, Initcap };

// What one character becomes.
enum class CaseAction : uint8_t { Upper, Lower, Title };

constexpr uint32_t kCapitalSigma = 0x03A3;
constexpr uint32_t kSmallSigma = 0x03C3;
constexpr uint32_t kFinalSigma = 0x03C2;

// ---- ASCII ------------------------------------------------------------------

constexpr uint8_t kAsciiLetter = 1;
constexpr uint8_t kAsciiDigit = 2;
constexpr uint8_t kAsciiCaseIgnorable = 4;  // Unicode Case_Ignorable

constexpr std::array<uint8_t, 128> makeAsciiClasses() {
  std::array<uint8_t, 128> classes{};
  for (int c = 'A'; c <= 'Z'; ++c) classes[c] = kAsciiLetter;
  for (int c = 'a'; c <= 'z'; ++c) classes[c] = kAsciiLetter;
  for (int c = '0'; c <= '9'; ++c) classes[c] = kAsciiDigit;
  for (int c : {'\'', '.', ':', '^', '`'}) classes[c] = kAsciiCaseIgnorable;
  return classes;
}
constexpr std::array<uint8_t, 128> kAsciiClasses = makeAsciiClasses();

inline uint8_t asciiUpper(uint8_t b) {
  return static_cast<uint8_t>(b - (static_cast<uint8_t>(b - 'a') < 26u ? 0x20 : 0));
}
inline uint8_t asciiLower(uint8_t b) {
  return static_cast<uint8_t>(b + (static_cast<uint8_t>(b - 'A') < 26u ? 0x20 : 0));
}

// ---- Unicode properties -----------------------------------------------------

// Code points whose full case mapping (root locale: upper, lower or title)
// is not their simple one-to-one mapping, or depends on context (capital
// sigma).  Everywhere else the simple mappings, and the byte tables built
// from them, are exact.
struct CodeRange {
  uint32_t first;
  uint32_t last;
};
constexpr CodeRange kSpecialCasing[] = {
    {0x00DF, 0x00DF}, {0x0130, 0x0130}, {0x0149, 0x0149}, {0x01F0, 0x01F0}, {0x0345, 0x0345},
    {0x0390, 0x0390}, {0x03A3, 0x03A3}, {0x03B0, 0x03B0}, {0x0587, 0x0587}, {0x1E96, 0x1E9A},
    {0x1F50, 0x1F50}, {0x1F52, 0x1F52}, {0x1F54, 0x1F54}, {0x1F56, 0x1F56}, {0x1F80, 0x1FAF},
    {0x1FB2, 0x1FB4}, {0x1FB6, 0x1FB7}, {0x1FBC, 0x1FBC}, {0x1FC2, 0x1FC4}, {0x1FC6, 0x1FC7},
    {0x1FCC, 0x1FCC}, {0x1FD2, 0x1FD3}, {0x1FD6, 0x1FD7}, {0x1FE2, 0x1FE4}, {0x1FE6, 0x1FE7},
    {0x1FF2, 0x1FF4}, {0x1FF6, 0x1FF7}, {0x1FFC, 0x1FFC}, {0xFB00, 0xFB06}, {0xFB13, 0xFB17},
};

[[gnu::noinline]] bool inSpecialCasingTable(uint32_t codePoint) {
  for (const CodeRange& range : kSpecialCasing) {
    if (codePoint < range.first) return false;
    if (codePoint <= range.last) return true;
  }
  return false;
}

// Below kSpecialCasingBitsEnd the table is also kept as a bitmap, so the
// alphabetic scripts are told by one lookup.
constexpr uint32_t kSpecialCasingBitsEnd = 0x2000;

constexpr std::array<uint64_t, kSpecialCasingBitsEnd / 64> makeSpecialCasingBits() {
  std::array<uint64_t, kSpecialCasingBitsEnd / 64> bits{};
  for (const CodeRange& range : kSpecialCasing)
    for (uint32_t c = range.first; c <= range.last && c < kSpecialCasingBitsEnd; ++c)
      bits[c / 64] |= uint64_t{1} << (c % 64);
  return bits;
}
constexpr std::array<uint64_t, kSpecialCasingBitsEnd / 64> kSpecialCasingBits =
    makeSpecialCasingBits();

// The first code point of the table at or above kSpecialCasingBitsEnd.
constexpr uint32_t specialCasingAboveBits() {
  for (const CodeRange& range : kSpecialCasing)
    if (range.last >= kSpecialCasingBitsEnd)
      return range.first > kSpecialCasingBitsEnd ? range.first : kSpecialCasingBitsEnd;
  return 0x110000;
}
constexpr uint32_t kSpecialCasingAboveBits = specialCasingAboveBits();
constexpr uint32_t kSpecialCasingLast = kSpecialCasing[std::size(kSpecialCasing) - 1].last;

[[gnu::always_inline]] inline bool hasSpecialCasing(uint32_t codePoint) {
  if (codePoint < kSpecialCasingBitsEnd)
    return (kSpecialCasingBits[codePoint / 64] >> (codePoint % 64)) & 1u;
  if (codePoint < kSpecialCasingAboveBits || codePoint > kSpecialCasingLast) return false;
  return inSpecialCasingTable(codePoint);
}

// Whole blocks of letters (general category Lo) without case, neither cased
// nor case-ignorable, assigned since Unicode 11 or earlier: kana, CJK
// ideographs (extension A and unified) and Hangul syllables.  Text in these
// scripts is passed through without asking ICU.
[[gnu::always_inline]] inline bool isCaselessLetter(uint32_t codePoint) {
  if (codePoint < 0x3041 || codePoint > 0xD7A3) return false;
  return codePoint - 0x4E00u <= 0x9FEFu - 0x4E00u || codePoint - 0xAC00u <= 0xD7A3u - 0xAC00u ||
         codePoint - 0x3041u <= 0x3096u - 0x3041u || codePoint - 0x30A1u <= 0x30FAu - 0x30A1u ||
         codePoint - 0x3400u <= 0x4DB5u - 0x3400u;
}

inline uint32_t categoryMask(uint32_t codePoint) {
  return U_GET_GC_MASK(static_cast<UChar32>(codePoint));
}

inline bool isCaseIgnorable(uint32_t codePoint) {
  if (codePoint < 0x80) return (kAsciiClasses[codePoint] & kAsciiCaseIgnorable) != 0;
  return u_hasBinaryProperty(static_cast<UChar32>(codePoint), UCHAR_CASE_IGNORABLE) != 0;
}

inline bool isCased(uint32_t codePoint) {
  if (codePoint < 0x80) return (kAsciiClasses[codePoint] & kAsciiLetter) != 0;
  return u_hasBinaryProperty(static_cast<UChar32>(codePoint), UCHAR_CASED) != 0;
}

// What a character is to the final-sigma rule.  By the definitions of the
// properties, cased letters (Lu, Ll, Lt) are cased and not case-ignorable,
// and Mn, Me, Cf, Lm and Sk are case-ignorable, so the general category
// alone tells most characters; the rest ask for both properties.
enum class SigmaContext : uint8_t { Ignorable, Cased, Uncased };

inline SigmaContext sigmaContext(uint32_t codePoint) {
  if (codePoint < 0x80) {
    const uint8_t c = kAsciiClasses[codePoint];
    return (c & kAsciiCaseIgnorable) ? SigmaContext::Ignorable
           : (c & kAsciiLetter)      ? SigmaContext::Cased
                                     : SigmaContext::Uncased;
  }
  if (isCaselessLetter(codePoint)) return SigmaContext::Uncased;
  const uint32_t mask = categoryMask(codePoint);
  if (mask & (U_GC_LU_MASK | U_GC_LL_MASK | U_GC_LT_MASK)) return SigmaContext::Cased;
  if (mask & (U_GC_MN_MASK | U_GC_ME_MASK | U_GC_CF_MASK | U_GC_LM_MASK | U_GC_SK_MASK))
    return SigmaContext::Ignorable;
  if (isCaseIgnorable(codePoint)) return SigmaContext::Ignorable;
  return isCased(codePoint) ? SigmaContext::Cased : SigmaContext::Uncased;
}

// Word classes of INITCAP: letters and digits make words; combining marks
// continue a word without starting one.
enum class WordClass : uint8_t { Other, Letter, Digit, Mark };

inline WordClass wordClass(uint32_t codePoint) {
  if (codePoint < 0x80) {
    const uint8_t c = kAsciiClasses[codePoint];
    return (c & kAsciiLetter) ? WordClass::Letter
                              : ((c & kAsciiDigit) ? WordClass::Digit : WordClass::Other);
  }
  const uint32_t mask = categoryMask(codePoint);
  if (mask & U_GC_L_MASK) return WordClass::Letter;
  if (mask & U_GC_ND_MASK) return WordClass::Digit;
  if (mask & U_GC_M_MASK) return WordClass::Mark;
  return WordClass::Other;
}

// INITCAP's decision for one character; inWord carries the word state.
[[gnu::always_inline]] inline CaseAction initcapAction(uint32_t codePoint, bool& inWord) {
  switch (wordClass(codePoint)) {
    case WordClass::Letter: {
      const bool first = !inWord;
      inWord = true;
      return first ? CaseAction::Title : CaseAction::Lower;
    }
    case WordClass::Digit:
      inWord = true;
      return CaseAction::Lower;
    case WordClass::Mark:
      return CaseAction::Lower;
    default:
      inWord = false;
      return CaseAction::Lower;
  }
}

// ---- Titlecasing without an allocated break iterator -------------------------

// A break iterator over one character: the text is a single segment, so
// ICU's titlecasing gives the character's full titlecase mapping.  Only
// setText, first and next are used by the titlecasing; the rest never runs.
class SingleSegmentBreaks final : public icu::BreakIterator {
 public:
  bool operator==(const icu::BreakIterator& other) const override { return this == &other; }
  icu::BreakIterator* clone() const override { return nullptr; }
  UClassID getDynamicClassID() const override {
    static const char kClassId = 0;
    return const_cast<char*>(&kClassId);
  }
  icu::CharacterIterator& getText() const override { std::abort(); }
  UText* getUText(UText*, UErrorCode& status) const override {
    status = U_UNSUPPORTED_ERROR;
    return nullptr;
  }
  void setText(const icu::UnicodeString& text) override {
    length_ = text.length();
    position_ = 0;
  }
  void setText(UText*, UErrorCode& status) override { status = U_UNSUPPORTED_ERROR; }
  void adoptText(icu::CharacterIterator* it) override { delete it; }
  int32_t first() override { return position_ = 0; }
  int32_t last() override { return position_ = length_; }
  int32_t previous() override { return position_ == 0 ? UBRK_DONE : (position_ = 0); }
  int32_t next() override { return position_ == length_ ? UBRK_DONE : (position_ = length_); }
  int32_t current() const override { return position_; }
  int32_t following(int32_t offset) override {
    return offset < length_ ? (position_ = length_) : UBRK_DONE;
  }
  int32_t preceding(int32_t offset) override { return offset > 0 ? (position_ = 0) : UBRK_DONE; }
  UBool isBoundary(int32_t offset) override { return offset == 0 || offset == length_; }
  int32_t next(int32_t n) override {
    while (n-- > 0 && next() != UBRK_DONE) {
    }
    return position_;
  }
  icu::BreakIterator* createBufferClone(void*, int32_t&, UErrorCode& status) override {
    status = U_UNSUPPORTED_ERROR;
    return nullptr;
  }
  icu::BreakIterator& refreshInputText(UText*, UErrorCode& status) override {
    status = U_UNSUPPORTED_ERROR;
    return *this;
  }

 private:
  int32_t length_ = 0;
  int32_t position_ = 0;
};

// ---- Reading and writing the set's characters ---------------------------------

// LeadByte: widths from the lead byte, one-byte characters from toUnicode.
enum class CodecKind : uint8_t { SingleByte, Utf8, Utf16, LeadByte, Other };

constexpr uint32_t kMappedCapacity = 8;  // UTF-16 units of one character's mapping
constexpr uint32_t kStageCapacity = 64;  // bytes of one character's output

// One character's output with the shift bytes it needs, built against the
// destination's shift state and committed whole or not at all.
struct Stage {
  uint8_t bytes[kStageCapacity];
  uint32_t length;
  bool shifted;
};

class CaseConverter {
 public:
  CaseConverter(const SetInfo& set, CaseMode mode, const uint8_t* src, uint32_t length,
                uint8_t* dst, uint32_t capacity)
      : set_(set),
        mode_(mode),
        p_(src),
        start_(src),
        end_(src + length),
        outStart_(dst),
        out_(dst),
        outEnd_(dst + capacity),
        casedKnownAt_(src) {
    switch (encodingOf(set.def)) {
      case Encoding::SingleByte:
        kind_ = CodecKind::SingleByte;
        break;
      case Encoding::Utf8:
        kind_ = CodecKind::Utf8;
        break;
      case Encoding::Utf16Be:
        kind_ = CodecKind::Utf16;
        break;
      case Encoding::LeadByte:
        kind_ = CodecKind::LeadByte;
        break;
      default:
        kind_ = CodecKind::Other;
        break;
    }
    asciiRuns_ = kind_ != CodecKind::Utf16 && !set.shiftSensitive &&
                 (set.def->definitionFlags & CSD_ASCII_COMPATIBLE) != 0;
  }

  // Converts the whole source; returns the bytes written.
  uint32_t run() {
    const bool byTables = kind_ == CodecKind::SingleByte && mode_ != CaseMode::Initcap;
    // Single-byte INITCAP stays on the character path: ASCII runs by
    // arithmetic make it faster there than the direct path's decoding.
    const bool direct = !set_.shiftSensitive && kind_ != CodecKind::SingleByte;
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
    if (outShifted_) *out_++ = set_.shiftIn;  // room was kept for it
    return static_cast<uint32_t>(out_ - outStart_);
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
    const uint32_t room = static_cast<uint32_t>(outEnd_ - out_);
    const uint32_t left = static_cast<uint32_t>(end_ - p_);
    const uint32_t n = left < room ? left : room;
    uint32_t i = 0;
    for (; i < n; ++i) {
      const uint8_t b = p_[i];
      if (hasSpecialCasing(toUnicode[b])) break;
      out_[i] = table[b];
    }
    p_ += i;
    out_ += i;
    if (i == n && p_ < end_) truncated_ = true;
  }

  // Maps ASCII characters from p while they last, up to limit; returns
  // where it stopped.  kUnit is 1 for bytes, 2 for UTF-16 units.
  template <CaseMode kMode, uint32_t kUnit = 1>
  [[gnu::always_inline]] static const uint8_t* mapAscii(const uint8_t* p, const uint8_t* limit,
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

  // ASCII bytes of an ASCII-compatible set, by arithmetic.
  void asciiRun() {
    const uint32_t room = static_cast<uint32_t>(outEnd_ - out_);
    if (room == 0) {
      truncated_ = true;
      return;
    }
    const uint8_t* limit =
        p_ + (static_cast<uint32_t>(end_ - p_) < room ? static_cast<uint32_t>(end_ - p_) : room);
    switch (mode_) {
      case CaseMode::Upper:
        p_ = mapAscii<CaseMode::Upper>(p_, limit, out_, inWord_);
        break;
      case CaseMode::Lower:
        p_ = mapAscii<CaseMode::Lower>(p_, limit, out_, inWord_);
        break;
      case CaseMode::Initcap:
        p_ = mapAscii<CaseMode::Initcap>(p_, limit, out_, inWord_);
        break;
    }
    if (p_ == limit && p_ < end_ && *p_ < 0x80) truncated_ = true;
  }

  // ---- The direct path: sets without shift states ----

  // Copies [from, to) to out (which may be null when nothing is copied);
  // returns the end of the copy.
  [[gnu::always_inline]] static uint8_t* copyBytes(uint8_t* out, const uint8_t* from,
                                                   const uint8_t* to) {
    const size_t n = static_cast<size_t>(to - from);
    if (n != 0) std::memcpy(out, from, n);
    return out + n;
  }

  // The character at p (left > 0 bytes); kNoCodePoint when the slow path
  // must judge it.
  template <CodecKind kKind>
  [[gnu::always_inline]] Decoded decodeDirect(const uint8_t* p, uint32_t left) const {
    if constexpr (kKind == CodecKind::Utf8) {
      // Well-formed sequences only; the codec judges the rest.
      const uint32_t lead = p[0];
      if (lead < 0x80) return Decoded{1, lead};
      if (lead >= 0xE0 && lead < 0xF0) {
        if (left >= 3 && U8_IS_VALID_LEAD3_AND_T1(lead, p[1]) && U8_IS_TRAIL(p[2]))
          return Decoded{3, (lead & 0x0Fu) << 12 | (p[1] & 0x3Fu) << 6 | (p[2] & 0x3Fu)};
      } else if (lead >= 0xC2 && lead < 0xE0) {
        if (left >= 2 && U8_IS_TRAIL(p[1])) return Decoded{2, (lead & 0x1Fu) << 6 | (p[1] & 0x3Fu)};
      } else if (lead >= 0xF0 && lead <= 0xF4) {
        if (left >= 4 && U8_IS_VALID_LEAD4_AND_T1(lead, p[1]) && U8_IS_TRAIL(p[2]) &&
            U8_IS_TRAIL(p[3]))
          return Decoded{4, (lead & 0x07u) << 18 | (p[1] & 0x3Fu) << 12 | (p[2] & 0x3Fu) << 6 |
                                (p[3] & 0x3Fu)};
      }
      return Decoded{1, kNoCodePoint};
    } else if constexpr (kKind == CodecKind::Utf16) {
      if (left < 2) return Decoded{2, kNoCodePoint};
      const uint32_t unit = (uint32_t{p[0]} << 8) | p[1];
      if (!U16_IS_SURROGATE(unit)) return Decoded{2, unit};
      if (U16_IS_SURROGATE_LEAD(unit) && left >= 4) {
        const uint32_t trail = (uint32_t{p[2]} << 8) | p[3];
        if (U16_IS_TRAIL(trail)) return Decoded{4, static_cast<uint32_t>(U16_GET_SUPPLEMENTARY(unit, trail))};
      }
      return Decoded{2, kNoCodePoint};
    } else if constexpr (kKind == CodecKind::SingleByte) {
      const uint32_t u = set_.def->toUnicode[*p];
      return Decoded{1, u == 0xFFFD ? kNoCodePoint : u};
    } else if constexpr (kKind == CodecKind::LeadByte) {
      if ((set_.def->baseLeadByteTable[*p] & 3u) == 0) {
        const uint32_t u = set_.def->toUnicode[*p];
        return Decoded{1, u == 0xFFFD ? kNoCodePoint : u};
      }
      return decodeChar(set_.def, p, left, false);
    } else {
      return decodeChar(set_.def, p, left, false);
    }
  }

  // Bytes of one code point (out: room for 8); 0 when the set has no form
  // for it.
  template <CodecKind kKind>
  [[gnu::always_inline]] uint32_t encodeDirect(uint32_t codePoint, uint8_t* out) {
    if constexpr (kKind == CodecKind::Utf8) {
      uint32_t n = 0;
      U8_APPEND_UNSAFE(out, n, codePoint);
      return n;
    } else if constexpr (kKind == CodecKind::Utf16) {
      bool doubleByte;
      return encode(codePoint, out, &doubleByte);
    } else {
      if (codePoint >= 0x80) return encodeChar(set_.def, codePoint, out, nullptr);
      // ASCII letters are most of what changes; their bytes are remembered.
      const uint64_t bit = uint64_t{1} << (codePoint & 63);
      uint64_t& known = asciiKnown_[codePoint >> 6];
      if (known & bit) {
        out[0] = asciiBytes_[codePoint];
        return 1;
      }
      const uint32_t n = encodeChar(set_.def, codePoint, out, nullptr);
      if (n == 1) {
        asciiBytes_[codePoint] = out[0];
        known |= bit;
      }
      return n;
    }
  }

  // The simple mapping of a character without special casing; inWord
  // carries INITCAP's word state.
  template <CaseMode kMode>
  [[gnu::always_inline]] static uint32_t simpleMapping(uint32_t codePoint, bool& inWord) {
    const UChar32 c = static_cast<UChar32>(codePoint);
    if constexpr (kMode == CaseMode::Upper) {
      return codePoint < 0x80 ? asciiUpper(static_cast<uint8_t>(codePoint))
                              : static_cast<uint32_t>(u_toupper(c));
    } else if constexpr (kMode == CaseMode::Lower) {
      return codePoint < 0x80 ? asciiLower(static_cast<uint8_t>(codePoint))
                              : static_cast<uint32_t>(u_tolower(c));
    } else {
      const CaseAction action = initcapAction(codePoint, inWord);
      if (codePoint < 0x80) {
        const uint8_t b = static_cast<uint8_t>(codePoint);
        return action == CaseAction::Lower ? asciiLower(b) : asciiUpper(b);
      }
      return static_cast<uint32_t>(action == CaseAction::Lower ? u_tolower(c) : u_totitle(c));
    }
  }

  // Converts characters whose full mapping is their simple one, straight
  // into the destination; unchanged bytes go out in runs.  Stops at the end
  // or before a character for convertOne: malformed, special casing
  // (capital sigma included) or not fitting.
  template <CodecKind kKind, CaseMode kMode>
  [[gnu::noinline]] void directRunOf() {
    const uint8_t* p = p_;
    const uint8_t* unchanged = p;  // [unchanged, p) is still to be copied
    uint8_t* out = out_;
    bool inWord = inWord_;
    const bool asciiRuns = asciiRuns_;
    while (p < end_) {
      const uint32_t room = static_cast<uint32_t>(outEnd_ - out);
      const uint32_t left = static_cast<uint32_t>(end_ - p);
      constexpr uint32_t kUnit = kKind == CodecKind::Utf16 ? 2 : 1;
      if (kKind == CodecKind::Utf16 ? left >= 2 && p[0] == 0 && p[1] < 0x80
                                    : asciiRuns && *p < 0x80) {
        out = copyBytes(out, unchanged, p);
        const uint32_t roomLeft = static_cast<uint32_t>(outEnd_ - out);
        const uint8_t* const from = p;
        p = mapAscii<kMode, kUnit>(p, p + (left < roomLeft ? left : roomLeft), out, inWord);
        unchanged = p;
        if (p == from) break;
        continue;
      }
      const Decoded d = decodeDirect<kKind>(p, left);
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
      const uint32_t n = mapped == d.codePoint ? 0 : encodeDirect<kKind>(mapped, encoded);
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
    out_ = copyBytes(out, unchanged, p);
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
    switch (kind_) {
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

  Decoded decodeAt(const uint8_t* p, bool shifted) const {
    const uint32_t left = static_cast<uint32_t>(end_ - p);
    switch (kind_) {
      case CodecKind::SingleByte: {
        const uint32_t u = set_.def->toUnicode[*p];
        return Decoded{1, u == 0xFFFD ? kNoCodePoint : u};
      }
      case CodecKind::Utf16:
        return decodeDirect<CodecKind::Utf16>(p, left);
      case CodecKind::Utf8: {
        // Well-formed sequences inline; the codec judges the rest.
        const Decoded d = decodeDirect<CodecKind::Utf8>(p, left);
        if (d.codePoint != kNoCodePoint) return d;
        break;
      }
      case CodecKind::LeadByte:
      case CodecKind::Other:
        break;
    }
    return decodeChar(set_.def, p, left, shifted);
  }

  // Bytes of one code point; 0 when the set has no form for it.
  uint32_t encode(uint32_t codePoint, uint8_t* out, bool* doubleByte) const {
    if (kind_ == CodecKind::Utf16) {
      *doubleByte = false;
      if (codePoint <= 0xFFFF) {
        out[0] = static_cast<uint8_t>(codePoint >> 8);
        out[1] = static_cast<uint8_t>(codePoint);
        return 2;
      }
      const uint32_t lead = U16_LEAD(codePoint);
      const uint32_t trail = U16_TRAIL(codePoint);
      out[0] = static_cast<uint8_t>(lead >> 8);
      out[1] = static_cast<uint8_t>(lead);
      out[2] = static_cast<uint8_t>(trail >> 8);
      out[3] = static_cast<uint8_t>(trail);
      return 4;
    }
    *doubleByte = false;
    if (kind_ == CodecKind::Utf8) {
      uint32_t n = 0;
      U8_APPEND_UNSAFE(out, n, codePoint);
      return n;
    }
    return encodeChar(set_.def, codePoint, out, doubleByte);
  }

  // Whether the cased letters around a capital sigma make it final: preceded
  // by a cased letter and not followed by one, case-ignorable characters
  // skipped on both sides.
  bool sigmaIsFinal(const uint8_t* after, bool shiftedAfter) {
    if (!precededByCasedLetter()) return false;
    Scan s{after, end_, shiftedAfter};
    for (;;) {
      settle(set_, s);
      if (s.atEnd()) return true;
      const Decoded d = decodeAt(s.p, s.shifted);
      if (d.codePoint == kNoCodePoint || d.width == 0 || d.width > s.left()) return true;
      const SigmaContext context = sigmaContext(d.codePoint);
      if (context != SigmaContext::Ignorable) return context == SigmaContext::Uncased;
      s.p += d.width;
    }
  }

  // Whether the last character before p_ that is not case-ignorable is a
  // cased letter, with no malformed character after it.  Only a capital
  // sigma asks, so the state is brought up to date here, reading forward
  // from where it was last known: each byte is read at most once more.
  // Single-byte sets are read backwards instead.
  bool precededByCasedLetter() {
    if (kind_ == CodecKind::SingleByte) {
      for (const uint8_t* p = p_; p > start_;) {
        const uint32_t u = set_.def->toUnicode[*--p];
        if (u == 0xFFFD) return false;
        const SigmaContext context = sigmaContext(u);
        if (context != SigmaContext::Ignorable) return context == SigmaContext::Cased;
      }
      return false;
    }
    Scan s{casedKnownAt_, end_, casedKnownShifted_};
    bool cased = casedKnown_;
    for (;;) {
      settle(set_, s);
      if (s.p >= p_) break;
      if (asciiRuns_ && *s.p < 0x80) {
        // ASCII by the table (the set reads these bytes as ASCII).
        const uint8_t c = kAsciiClasses[*s.p++];
        if (!(c & kAsciiCaseIgnorable)) cased = (c & kAsciiLetter) != 0;
        continue;
      }
      // Read as convertOne reads it.
      const Decoded d = decodeAt(s.p, s.shifted);
      const uint32_t decodedWidth = d.width != 0 ? d.width : 1u;
      if (d.codePoint == kNoCodePoint || decodedWidth > s.left()) {
        cased = false;
      } else {
        const SigmaContext context = sigmaContext(d.codePoint);
        if (context != SigmaContext::Ignorable) cased = context == SigmaContext::Cased;
      }
      s.p += decodedWidth < s.left() ? decodedWidth : s.left();
    }
    casedKnownAt_ = s.p;
    casedKnownShifted_ = s.shifted;
    casedKnown_ = cased;
    return cased;
  }

  // The full mapping of one character into mapped; returns its length in
  // UTF-16 units, 0 when ICU fails (the character is then kept).
  uint32_t mapCharacter(uint32_t codePoint, CaseAction action, const uint8_t* after,
                        bool shiftedAfter, UChar* mapped) {
    if (codePoint < 0x80) {
      const uint8_t b = static_cast<uint8_t>(codePoint);
      mapped[0] = action == CaseAction::Lower ? asciiLower(b) : asciiUpper(b);
      return 1;
    }
    if (codePoint == kCapitalSigma && action == CaseAction::Lower) {
      mapped[0] = static_cast<UChar>(sigmaIsFinal(after, shiftedAfter) ? kFinalSigma : kSmallSigma);
      return 1;
    }
    if (!hasSpecialCasing(codePoint)) {
      // Here the full mapping is the simple one-to-one mapping.
      const UChar32 c = static_cast<UChar32>(codePoint);
      const UChar32 simple = action == CaseAction::Upper   ? u_toupper(c)
                             : action == CaseAction::Lower ? u_tolower(c)
                                                           : u_totitle(c);
      uint32_t n = 0;
      U16_APPEND_UNSAFE(mapped, n, simple);
      return n;
    }
    UChar source[2];
    int32_t sourceLength = 0;
    U16_APPEND_UNSAFE(source, sourceLength, codePoint);
    UErrorCode status = U_ZERO_ERROR;
    int32_t n = 0;
    switch (action) {
      case CaseAction::Upper:
        n = icu::CaseMap::toUpper("", 0, source, sourceLength, mapped, kMappedCapacity, nullptr,
                                  status);
        break;
      case CaseAction::Lower:
        n = icu::CaseMap::toLower("", 0, source, sourceLength, mapped, kMappedCapacity, nullptr,
                                  status);
        break;
      case CaseAction::Title: {
        SingleSegmentBreaks breaks;
        n = icu::CaseMap::toTitle("", U_TITLECASE_NO_BREAK_ADJUSTMENT, &breaks, source,
                                  sourceLength, mapped, kMappedCapacity, nullptr, status);
        break;
      }
    }
    return U_FAILURE(status) || n <= 0 ? 0u : static_cast<uint32_t>(n);
  }

  // Appends one encoded character to the stage, opening or closing a shifted
  // run as its bytes require.
  static void stageBytes(Stage& stage, const uint8_t* bytes, uint32_t n, bool doubleByte,
                         const SetInfo& set) {
    if (set.shiftSensitive && doubleByte != stage.shifted) {
      stage.bytes[stage.length++] = doubleByte ? set.shiftOut : set.shiftIn;
      stage.shifted = doubleByte;
    }
    std::memcpy(stage.bytes + stage.length, bytes, n);
    stage.length += n;
  }

  // Writes the stage if it fits with room for a closing shift-in byte.
  bool commit(const Stage& stage) {
    const uint32_t room = static_cast<uint32_t>(outEnd_ - out_);
    if (stage.length + (stage.shifted ? 1u : 0u) > room) return false;
    std::memcpy(out_, stage.bytes, stage.length);
    out_ += stage.length;
    outShifted_ = stage.shifted;
    return true;
  }

  // Copies a character's own bytes, in the shift state they were read in.
  bool commitOriginal(const uint8_t* bytes, uint32_t n, bool shifted) {
    if (n > kStageCapacity - 1) {
      // Only undecodable runs can be this long; they go out in pieces.
      for (uint32_t done = 0; done < n;) {
        const uint32_t piece = n - done < kStageCapacity - 1 ? n - done : kStageCapacity - 1;
        if (!commitOriginal(bytes + done, piece, shifted)) return false;
        done += piece;
      }
      return true;
    }
    if (!set_.shiftSensitive) {
      // No shift bytes to add: straight to the destination.
      if (n > static_cast<uint32_t>(outEnd_ - out_)) return false;
      std::memcpy(out_, bytes, n);
      out_ += n;
      return true;
    }
    Stage stage;
    stage.length = 0;
    stage.shifted = outShifted_;
    stageBytes(stage, bytes, n, shifted, set_);
    return commit(stage);
  }

  // Converts the character at p_ (at rest, not at the end).  Returns false
  // when its output does not fit.
  bool convertOne() {
    const uint8_t* const from = p_;
    const bool shifted = inShifted_;
    const uint32_t left = static_cast<uint32_t>(end_ - from);
    const Decoded d = decodeAt(from, shifted);
    const uint32_t decodedWidth = d.width != 0 ? d.width : 1u;
    const uint32_t width = decodedWidth < left ? decodedWidth : left;
    const uint8_t* const after = from + width;

    if (d.codePoint == kNoCodePoint || decodedWidth > left) {
      if (!commitOriginal(from, width, shifted)) return false;
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
    const uint32_t mappedLength = mapCharacter(codePoint, action, after, shifted, mapped);

    bool keep = mappedLength == 0;
    if (!keep) {
      UChar32 first;
      uint32_t i = 0;
      U16_NEXT_UNSAFE(mapped, i, first);
      keep = i == mappedLength && static_cast<uint32_t>(first) == codePoint;
    }
    bool written;
    if (keep) {
      written = commitOriginal(from, width, shifted);
    } else {
      Stage stage;
      stage.length = 0;
      stage.shifted = outShifted_;
      bool encodable = true;
      for (uint32_t i = 0; i < mappedLength && encodable;) {
        UChar32 c;
        U16_NEXT_UNSAFE(mapped, i, c);
        uint8_t encoded[8];
        bool doubleByte = false;
        const uint32_t n = encode(static_cast<uint32_t>(c), encoded, &doubleByte);
        if (n == 0 || stage.length + n + 2 > kStageCapacity) {
          encodable = false;
        } else {
          stageBytes(stage, encoded, n, doubleByte, set_);
        }
      }
      // A mapping the set cannot hold leaves the character as it was.
      written = encodable ? commit(stage) : commitOriginal(from, width, shifted);
    }
    if (!written) return false;

    p_ = after;
    inWord_ = inWord;
    return true;
  }

  const SetInfo set_;
  const CaseMode mode_;
  CodecKind kind_ = CodecKind::Other;
  bool asciiRuns_ = false;
  const uint8_t* p_;
  const uint8_t* const start_;
  const uint8_t* const end_;
  bool inShifted_ = false;
  uint8_t* const outStart_;
  uint8_t* out_;
  uint8_t* const outEnd_;
  bool outShifted_ = false;
  bool inWord_ = false;  // INITCAP: inside a run of letters and digits
  bool truncated_ = false;
  // The final-sigma state, known up to a position (at rest there): whether
  // the last character before it that is not case-ignorable was cased.
  const uint8_t* casedKnownAt_;
  bool casedKnownShifted_ = false;
  bool casedKnown_ = false;
  // LeadByte and Other sets: the bytes of the ASCII code points met so far.
  uint64_t asciiKnown_[2] = {0, 0};
  uint8_t asciiBytes_[128];
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
