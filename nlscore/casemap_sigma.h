// The final-sigma rule over one source text: a capital sigma lowers to the
// final form when a cased letter precedes it and none follows it,
// case-ignorable characters skipped on both sides.  Both sides are read from
// the source itself, so no chunking of the conversion can change a result.
#pragma once

#include <cstdint>

#include "nlscore/casemap_codec.h"
#include "nlscore/casemap_unicode.h"
#include "nlscore/units.h"

namespace nls::casemap {

class FinalSigma {
 public:
  // asciiBytes: the set reads bytes below 0x80 as ASCII characters.
  FinalSigma(const SetInfo& set, const CaseCodec& codec, const uint8_t* start, const uint8_t* end,
             bool asciiBytes)
      : set_(set),
        codec_(codec),
        start_(start),
        end_(end),
        asciiBytes_(asciiBytes),
        casedKnownAt_(start) {}

  // Whether the capital sigma that starts at `at` and ends at `after` (in
  // the shift state shiftedAfter) is final.
  bool isFinal(const uint8_t* at, const uint8_t* after, bool shiftedAfter) {
    return precededByCasedLetter(at) && !followedByCasedLetter(after, shiftedAfter);
  }

 private:
  // Whether the first character from s that is not case-ignorable is a
  // cased letter; the end and a malformed character count as uncased.
  bool followedByCasedLetter(const uint8_t* after, bool shiftedAfter) const {
    Scan s{after, end_, shiftedAfter};
    for (;;) {
      settle(set_, s);
      if (s.atEnd()) return false;
      const Decoded d = codec_.decode(s.p, s.left(), s.shifted);
      if (d.codePoint == kNoCodePoint || d.width == 0 || d.width > s.left()) return false;
      const SigmaContext context = sigmaContext(d.codePoint);
      if (context != SigmaContext::Ignorable) return context == SigmaContext::Cased;
      s.p += d.width;
    }
  }

  // Whether the last character before `at` that is not case-ignorable is a
  // cased letter, with no malformed character after it.  Only a capital
  // sigma asks, so the state is brought up to date here, reading forward
  // from where it was last known: each byte is read at most once more.
  // Single-byte sets are read backwards instead.
  bool precededByCasedLetter(const uint8_t* at) {
    if (codec_.kind() == CodecKind::SingleByte) {
      for (const uint8_t* p = at; p > start_;) {
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
      if (s.p >= at) break;
      if (asciiBytes_ && *s.p < 0x80) {
        const uint8_t c = kAsciiClasses[*s.p++];
        if (!(c & kAsciiCaseIgnorable)) cased = (c & kAsciiLetter) != 0;
        continue;
      }
      // Read as the conversion reads it.
      const Decoded d = codec_.decode(s.p, s.left(), s.shifted);
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

  const SetInfo& set_;
  const CaseCodec& codec_;
  const uint8_t* const start_;
  const uint8_t* const end_;
  const bool asciiBytes_;
  // Known up to a position (at rest there): whether the last character
  // before it that is not case-ignorable was cased.
  const uint8_t* casedKnownAt_;
  bool casedKnownShifted_ = false;
  bool casedKnown_ = false;
};

}  // namespace nls::casemap
