// Collation weights per code point for linguistic matching, taken once from
// ICU's root collator and kept in immutable tables.
//
// Two texts are equal at a strength exactly when, level by level, their
// sequences of non-zero weights are equal: primaries for accent-insensitive
// matching, primaries and secondaries for case-insensitive matching.  So a
// code point is reduced to its primary weights and its secondary weights,
// kept as two streams, and text is compared by walking both streams.
//
// The BMP is tabulated on first use; supplementary code points and
// contraction segments are asked of the collator when met.
#pragma once

#include <unicode/ucol.h>
#include <unicode/ucoleitr.h>

#include <cstdint>

namespace nls::ling {

// Grapheme-cluster break classes, as far as boundaries need them.
enum GraphemeClass : uint8_t {
  kOther,
  kControl,
  kCr,
  kLf,
  kExtend,
  kZwj,
  kSpacingMark,
  kPrepend,
  kHangulL,
  kHangulV,
  kHangulT,
  kHangulLv,
  kHangulLvt,
  kRegional,
  kPictographic,
};

// No grapheme-cluster boundary between two code points of these classes
// (UAX #29 without the parity of regional indicators and without looking
// further back than one code point for emoji sequences).
inline bool isGraphemeBoundary(uint8_t before, uint8_t after) {
  if (before == kCr && after == kLf) return false;
  if (before <= kLf && before >= kControl) return true;
  if (after <= kLf && after >= kControl) return true;
  switch (before) {
    case kHangulL:
      if (after == kHangulL || after == kHangulV || after == kHangulLv || after == kHangulLvt)
        return false;
      break;
    case kHangulLv:
    case kHangulV:
      if (after == kHangulV || after == kHangulT) return false;
      break;
    case kHangulLvt:
    case kHangulT:
      if (after == kHangulT) return false;
      break;
    case kPrepend:
      return false;
    case kRegional:
      if (after == kRegional) return false;
      break;
    case kZwj:
      if (after == kPictographic) return false;
      break;
    default:
      break;
  }
  return !(after == kExtend || after == kZwj || after == kSpacingMark);
}

// Classes that attach to the code point before them.
inline bool attaches(uint8_t cls) { return cls == kExtend || cls == kZwj || cls == kSpacingMark; }

// Trait bits beside the grapheme class.
constexpr uint8_t kClassMask = 0x0F;
constexpr uint8_t kSpecial = 0x10;  // starts a contraction or a prefix context
constexpr uint8_t kPooled = 0x20;   // weights in the pool, not in the entry

// The weights of one BMP code point.  A code point with at most one primary
// and one secondary keeps them here; others keep them in the pool at
// poolIndex (primaries, then secondaries).
struct WeightEntry {
  uint32_t primary;
  uint32_t secondary;
  uint32_t poolIndex;
  uint8_t primaryCount;
  uint8_t secondaryCount;
  uint8_t traits;
  uint8_t reserved;
};

// Weights of a code point or a segment, pointing into a table or a scratch.
struct Weights {
  const uint32_t* primaries;
  const uint32_t* secondaries;
  uint32_t primaryCount;
  uint32_t secondaryCount;
};

// An opaque unit (bytes that are no character) is compared by its bytes:
// each byte becomes a weight that no collation element has.
constexpr uint32_t kOpaquePrimary = 0x01000000u;
constexpr uint32_t kOpaqueSecondary = 0x00010000u;

class WeightTable {
 public:
  // The table, built on the first call (thread-safe); null when ICU's
  // collator cannot be opened.
  static const WeightTable* get();

  const WeightEntry& bmp(uint32_t cp) const { return entries_[cp]; }
  const uint32_t* pool() const { return pool_; }
  const UCollator* collator() const { return collator_; }

  Weights weightsOf(const WeightEntry& e) const {
    if (e.traits & kPooled)
      return {pool_ + e.poolIndex, pool_ + e.poolIndex + e.primaryCount, e.primaryCount,
              e.secondaryCount};
    return {&e.primary, &e.secondary, e.primaryCount, e.secondaryCount};
  }

  // BMP code points whose first primary is p; those without primaries whose
  // first secondary is s; starters of contractions whose first primary is p.
  struct Range {
    const uint16_t* first;
    const uint16_t* last;
    uint32_t size() const { return static_cast<uint32_t>(last - first); }
  };
  Range byFirstPrimary(uint32_t p) const;
  Range secondaryOnlyByFirst(uint32_t s) const;
  Range contractionStartersByFirstPrimary(uint32_t p) const;

  // Grapheme class of any code point.
  static uint8_t graphemeClass(uint32_t cp);

  // The contractions (and prefix contexts) that start with a code point:
  // code points after the first, longest first.
  struct Contraction {
    uint32_t starter;
    uint32_t offset;  // into contractionCodePoints
    uint32_t length;  // code points after the starter
  };
  struct Contractions {
    const Contraction* first;
    const Contraction* last;
    const uint32_t* codePoints;
  };
  Contractions contractionsOf(uint32_t starter) const;

 private:
  WeightTable() = default;
  bool build();

  UCollator* collator_ = nullptr;
  WeightEntry* entries_ = nullptr;  // 0x10000 entries
  uint32_t* pool_ = nullptr;
  // BMP code points with primaries, sorted by (first primary, code point).
  uint16_t* primaryOrder_ = nullptr;
  uint32_t primaryOrderCount_ = 0;
  // BMP code points without primaries but with secondaries, by first secondary.
  uint16_t* secondaryOrder_ = nullptr;
  uint32_t secondaryOrderCount_ = 0;
  // {first primary, starter} of every contraction, sorted.
  struct StarterKey {
    uint32_t primary;
    uint16_t starter;
  };
  StarterKey* starterKeys_ = nullptr;
  uint32_t starterKeyCount_ = 0;
  uint16_t* starterOrder_ = nullptr;  // the starters of starterKeys_, same order
  Contraction* contractions_ = nullptr;
  uint32_t contractionCount_ = 0;
  uint32_t* contractionCodePoints_ = nullptr;
};

// The weights of a UTF-16 string through the collator, split into the two
// streams; capacity per stream, counts past it are cut.  Returns false when
// the collator fails.
bool collatorWeights(UCollationElements* elements, const UChar* text, int32_t length,
                     uint32_t* primaries, uint32_t* primaryCount, uint32_t* secondaries,
                     uint32_t* secondaryCount, uint32_t capacity);

}  // namespace nls::ling
