// What the case mapping of the core knows of Unicode: the ASCII classes,
// the code points with special casing, the caseless scripts, the contexts of
// the final-sigma rule, INITCAP's word classes, and the simple and full
// mappings of one character.
#pragma once

#include <unicode/uchar.h>
#include <unicode/umachine.h>

#include <array>
#include <cstdint>
#include <iterator>

namespace nls::casemap {

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
inline constexpr std::array<uint8_t, 128> kAsciiClasses = makeAsciiClasses();

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
inline constexpr CodeRange kSpecialCasing[] = {
    {0x00DF, 0x00DF}, {0x0130, 0x0130}, {0x0149, 0x0149}, {0x01F0, 0x01F0}, {0x0345, 0x0345},
    {0x0390, 0x0390}, {0x03A3, 0x03A3}, {0x03B0, 0x03B0}, {0x0587, 0x0587}, {0x1E96, 0x1E9A},
    {0x1F50, 0x1F50}, {0x1F52, 0x1F52}, {0x1F54, 0x1F54}, {0x1F56, 0x1F56}, {0x1F80, 0x1FAF},
    {0x1FB2, 0x1FB4}, {0x1FB6, 0x1FB7}, {0x1FBC, 0x1FBC}, {0x1FC2, 0x1FC4}, {0x1FC6, 0x1FC7},
    {0x1FCC, 0x1FCC}, {0x1FD2, 0x1FD3}, {0x1FD6, 0x1FD7}, {0x1FE2, 0x1FE4}, {0x1FE6, 0x1FE7},
    {0x1FF2, 0x1FF4}, {0x1FF6, 0x1FF7}, {0x1FFC, 0x1FFC}, {0xFB00, 0xFB06}, {0xFB13, 0xFB17},
};

[[gnu::noinline]] inline bool inSpecialCasingTable(uint32_t codePoint) {
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
inline constexpr std::array<uint64_t, kSpecialCasingBitsEnd / 64> kSpecialCasingBits =
    makeSpecialCasingBits();

// The first code point of the table at or above kSpecialCasingBitsEnd.
constexpr uint32_t specialCasingAboveBits() {
  for (const CodeRange& range : kSpecialCasing)
    if (range.last >= kSpecialCasingBitsEnd)
      return range.first > kSpecialCasingBitsEnd ? range.first : kSpecialCasingBitsEnd;
  return 0x110000;
}
inline constexpr uint32_t kSpecialCasingAboveBits = specialCasingAboveBits();
inline constexpr uint32_t kSpecialCasingLast = kSpecialCasing[std::size(kSpecialCasing) - 1].last;

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

// ---- One character's mapping ----------------------------------------------------

constexpr uint32_t kMappedCapacity = 8;  // UTF-16 units of one character's mapping

// The simple mapping of a character without special casing; inWord carries
// INITCAP's word state.
template <CaseMode kMode>
[[gnu::always_inline]] inline uint32_t simpleMapping(uint32_t codePoint, bool& inWord) {
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

// The full mapping of one character in the root locale into mapped
// (kMappedCapacity units); returns its length in UTF-16 units, 0 when ICU
// fails (the character is then kept).  A capital sigma to lower is the
// caller's: whether it is final depends on the text around it.
uint32_t fullMapping(uint32_t codePoint, CaseAction action, UChar* mapped);

}  // namespace nls::casemap
