// Case conversion of the core: the byte-for-byte table mapping (lxsCnvSimple)
// and the full Unicode case mapping for every set of the catalogue
// (lxsCnvCase).
//
// The full mapping walks the source one character at a time: decode, map
// through ICU in the root locale, encode back, and stage the bytes with the
// shift bytes they need before committing them whole to the destination.  The
// only context-sensitive mapping of the root locale, the final sigma, is
// decided here from a running "preceded by a cased letter" state and a look
// ahead into the source, so no chunking of the text can change a result.
// Fast paths: single-byte sets through the definition's byte tables wherever
// those are exact, and ASCII runs of ASCII-compatible sets by arithmetic.
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

inline bool hasSpecialCasing(uint32_t codePoint) {
  if (codePoint < 0xDF) return false;
  for (const CodeRange& range : kSpecialCasing) {
    if (codePoint < range.first) return false;
    if (codePoint <= range.last) return true;
  }
  return false;
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
inline CaseAction initcapAction(uint32_t codePoint, bool& inWord) {
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

enum class CodecKind : uint8_t { SingleByte, Utf8, Utf16, Other };

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
        outEnd_(dst + capacity) {
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
      default:
        kind_ = CodecKind::Other;
        break;
    }
    asciiRuns_ = kind_ != CodecKind::Utf16 && !set.shiftSensitive &&
                 (set.def->definitionFlags & CSD_ASCII_COMPATIBLE) != 0;
  }

  // Converts the whole source; returns the bytes written.
  uint32_t run() {
    if (kind_ == CodecKind::SingleByte && mode_ != CaseMode::Initcap) tableRun();
    while (!truncated_) {
      if (set_.shiftSensitive) settleInput();
      if (p_ >= end_) break;
      if (asciiRuns_ && *p_ < 0x80) {
        asciiRun();
      } else if (!convertOne()) {
        truncated_ = true;
      } else if (kind_ == CodecKind::SingleByte && mode_ != CaseMode::Initcap) {
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

  // ASCII bytes of an ASCII-compatible set, by arithmetic.
  void asciiRun() {
    const uint32_t room = static_cast<uint32_t>(outEnd_ - out_);
    if (room == 0) {
      truncated_ = true;
      return;
    }
    const uint8_t* limit =
        p_ + (static_cast<uint32_t>(end_ - p_) < room ? static_cast<uint32_t>(end_ - p_) : room);
    const uint8_t* p = p_;
    uint8_t* out = out_;
    switch (mode_) {
      case CaseMode::Upper:
        for (; p < limit && *p < 0x80; ++p) *out++ = asciiUpper(*p);
        break;
      case CaseMode::Lower: {
        bool cased = precededByCased_;
        for (; p < limit && *p < 0x80; ++p) {
          const uint8_t c = kAsciiClasses[*p];
          cased = (c & kAsciiCaseIgnorable) ? cased : (c & kAsciiLetter) != 0;
          *out++ = asciiLower(*p);
        }
        precededByCased_ = cased;
        break;
      }
      case CaseMode::Initcap: {
        bool inWord = inWord_;
        bool cased = precededByCased_;
        for (; p < limit && *p < 0x80; ++p) {
          const uint8_t c = kAsciiClasses[*p];
          cased = (c & kAsciiCaseIgnorable) ? cased : (c & kAsciiLetter) != 0;
          *out++ = (c & kAsciiLetter) && !inWord ? asciiUpper(*p) : asciiLower(*p);
          inWord = (c & (kAsciiLetter | kAsciiDigit)) != 0;
        }
        inWord_ = inWord;
        precededByCased_ = cased;
        break;
      }
    }
    p_ = p;
    out_ = out;
    if (p == limit && p < end_ && *p < 0x80) truncated_ = true;
  }

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
      case CodecKind::Utf16: {
        if (left < 2) return Decoded{2, kNoCodePoint};
        const uint32_t unit = (uint32_t{p[0]} << 8) | p[1];
        if (!U16_IS_SURROGATE(unit)) return Decoded{2, unit};
        if (U16_IS_SURROGATE_LEAD(unit) && left >= 4) {
          const uint32_t trail = (uint32_t{p[2]} << 8) | p[3];
          if (U16_IS_TRAIL(trail)) return Decoded{4, U16_GET_SUPPLEMENTARY(unit, trail)};
        }
        return Decoded{2, kNoCodePoint};
      }
      case CodecKind::Utf8: {
        // Well-formed sequences inline; the codec judges the rest.
        int32_t i = 0;
        UChar32 c;
        U8_NEXT(p, i, static_cast<int32_t>(left < 4 ? left : 4), c);
        if (c >= 0) return Decoded{static_cast<uint32_t>(i), static_cast<uint32_t>(c)};
        break;
      }
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
  bool sigmaIsFinal(const uint8_t* after, bool shiftedAfter) const {
    if (!precededByCasedLetter()) return false;
    Scan s{after, end_, shiftedAfter};
    for (;;) {
      settle(set_, s);
      if (s.atEnd()) return true;
      const Decoded d = decodeAt(s.p, s.shifted);
      if (d.codePoint == kNoCodePoint || d.width == 0 || d.width > s.left()) return true;
      if (!isCaseIgnorable(d.codePoint)) return !isCased(d.codePoint);
      s.p += d.width;
    }
  }

  // Single-byte sets are scanned backwards on demand (their fast paths keep
  // no state); the others keep the running state.
  bool precededByCasedLetter() const {
    if (kind_ != CodecKind::SingleByte) return precededByCased_;
    for (const uint8_t* p = p_; p > start_;) {
      const uint32_t u = set_.def->toUnicode[*--p];
      if (u == 0xFFFD) return false;
      if (!isCaseIgnorable(u)) return isCased(u);
    }
    return false;
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
    Stage stage{{}, 0, outShifted_};
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
      precededByCased_ = false;
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
      Stage stage{{}, 0, outShifted_};
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
    if (mode_ != CaseMode::Upper && kind_ != CodecKind::SingleByte && !isCaseIgnorable(codePoint))
      precededByCased_ = isCased(codePoint);
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
  bool precededByCased_ = false;  // the last character not case-ignorable was cased
  bool inWord_ = false;           // INITCAP: inside a run of letters and digits
  bool truncated_ = false;
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
  bool inWord = false;
  for (uint32_t i = 0; i < length; ++i) {
    const uint8_t b = src[i];
    switch (byteWordClass(def, singleByteSet, b)) {
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
