// Linguistic matching: equality of text under the handle's collation, the
// leftmost match, matches anchored at either end, and the cut of characters
// that weigh nothing.
//
// A match covers whole units, starts on a grapheme-cluster boundary with a
// unit that carries weight (anchored matches start where they are told), ends
// on one, and is the longest from its start: after the pattern's weights are
// used up, units that weigh nothing still belong to it.
#include <cstring>

#include "lxk/lxk.h"
#include "lxk/nls.h"
#include "nlscore/handles.h"
#include "nlscore/linguistic_match.h"
#include "nlscore/units.h"

namespace nls::ling {
namespace {

constexpr int64_t kNoMatch = -1;

// The pattern's weights at the strength; secondaries only when compared.
struct Pattern {
  WeightStream primaries;
  WeightStream secondaries;
  bool accentInsensitive = false;

  bool weightless() const { return primaries.size() == 0 && secondaries.size() == 0; }
};

inline bool weighsNothing(const Weights& w, bool accentInsensitive) {
  return w.primaryCount == 0 && (accentInsensitive || w.secondaryCount == 0);
}

// Whether a unit can be the first of a match: its first weights are the
// pattern's (a necessary condition only).
inline bool canStart(const Weights& w, const Pattern& pattern) {
  const bool ai = pattern.accentInsensitive;
  if (weighsNothing(w, ai)) return pattern.weightless();
  if (pattern.primaries.size() > 0) {
    if (w.primaryCount > 0) return w.primaries[0] == pattern.primaries.data()[0];
    return !ai && w.secondaryCount > 0 && pattern.secondaries.size() > 0 &&
           w.secondaries[0] == pattern.secondaries.data()[0];
  }
  if (pattern.weightless()) return false;
  return w.primaryCount == 0 && w.secondaries[0] == pattern.secondaries.data()[0];
}

// One linguistic operation over a text in one kind of set.
template <class Decode>
class Matcher {
 public:
  Matcher(UnitReader<Decode> text, const Pattern& pattern) : text_(text), pattern_(pattern) {}

  // End of the longest match that starts at pos, kNoMatch when none.
  int64_t longestAt(uint32_t pos, bool shifted) const {
    UnitReader<Decode> reader(text_);
    const bool ai = pattern_.accentInsensitive;
    const uint32_t* const pp = pattern_.primaries.data();
    const uint32_t* const ps = pattern_.secondaries.data();
    const uint32_t np = pattern_.primaries.size(), ns = pattern_.secondaries.size();
    uint32_t pi = 0, si = 0, lastEnd = pos;
    int64_t best = kNoMatch;
    bool any = false;
    uint8_t lastClass = kOther;
    Unit u;
    while (reader.read(pos, shifted, u)) {
      const bool complete = pi == np && si == ns;
      if (any && complete && isGraphemeBoundary(lastClass, u.firstClass)) best = lastEnd;
      if (u.cutEnd != 0 && !complete && completes(u.cutWeights, pi, si)) best = u.cutEnd;
      const Weights& w = u.weights;
      if (!weighsNothing(w, ai)) {
        if (complete || w.primaryCount > np - pi) return best;
        if (std::memcmp(w.primaries, pp + pi, w.primaryCount * sizeof(uint32_t)) != 0) return best;
        pi += w.primaryCount;
        if (!ai) {
          if (w.secondaryCount > ns - si ||
              std::memcmp(w.secondaries, ps + si, w.secondaryCount * sizeof(uint32_t)) != 0)
            return best;
          si += w.secondaryCount;
        }
      }
      any = true;
      lastClass = u.lastClass;
      pos = lastEnd = u.end;
    }
    if (any && pi == np && si == ns) best = lastEnd;
    return best;
  }

  // The leftmost match in the text.
  bool first(bool shifted, uint32_t* start, uint32_t* length) const {
    return scan(shifted, false, start, length);
  }

  // The match that ends at the text's end (trailing shift bytes aside).
  bool atEnd(bool shifted, uint32_t* start, uint32_t* length) const {
    return scan(shifted, true, start, length);
  }

 private:
  UnitReader<Decode> text_;
  const Pattern& pattern_;

  // Whether weights w, read with pi primaries and si secondaries of the
  // pattern behind, are exactly the rest of the pattern.
  bool completes(const Weights& w, uint32_t pi, uint32_t si) const {
    const uint32_t np = pattern_.primaries.size(), ns = pattern_.secondaries.size();
    if (w.primaryCount != np - pi ||
        std::memcmp(w.primaries, pattern_.primaries.data() + pi, w.primaryCount * 4) != 0)
      return false;
    if (pattern_.accentInsensitive) return true;
    return w.secondaryCount == ns - si &&
           std::memcmp(w.secondaries, pattern_.secondaries.data() + si, w.secondaryCount * 4) == 0;
  }

  bool scan(bool shifted, bool anchoredAtEnd, uint32_t* start, uint32_t* length) const {
    UnitReader<Decode> reader(text_);
    uint32_t pos = 0;
    bool atFirst = true;
    uint8_t lastClass = kOther;
    Unit u;
    while (reader.read(pos, shifted, u)) {
      if ((atFirst || isGraphemeBoundary(lastClass, u.firstClass)) &&
          canStart(u.weights, pattern_)) {
        const int64_t end = longestAt(u.start, shifted);
        if (end != kNoMatch && (!anchoredAtEnd || reachesEnd(static_cast<uint32_t>(end)))) {
          *start = u.start;
          *length = (anchoredAtEnd ? text_.length() : static_cast<uint32_t>(end)) - u.start;
          return true;
        }
      }
      atFirst = false;
      lastClass = u.lastClass;
      pos = u.end;
    }
    return false;
  }

  bool reachesEnd(uint32_t end) const {
    bool shifted = false;
    text_.settle(end, shifted);
    return end >= text_.length();
  }
};

enum class Strength : uint8_t { Binary, Secondary, Primary };

Strength strengthOf(const CharsetHandle* handle) {
  switch (collationOf(handle)) {
    case kCollationCaseInsensitive:
      return Strength::Secondary;
    case kCollationAccentInsensitive:
      return Strength::Primary;
    default:
      return Strength::Binary;
  }
}

// Runs f with the decoding of the set.
template <class F>
auto withDecoding(const CharsetDefinition* def, F&& f) {
  switch (encodingOf(def)) {
    case Encoding::Utf8:
      return f(Utf8Decoding{def->baseLeadByteTable});
    case Encoding::Utf16Be:
      return f(Utf16Decoding{});
    case Encoding::SingleByte:
      return f(SingleByteDecoding{def});
    default:
      return f(AnyDecoding{def});
  }
}

ShiftBytes shiftBytesOf(const CharsetHandle* handle) {
  return {(handle->flags & CSH_SHIFT_SENSITIVE) != 0, handle->shiftInByte, handle->shiftOutByte};
}

// A text or pattern as the operations receive it.
struct Operand {
  const uint8_t* bytes;
  uint32_t length;
  bool shifted;  // initial shift state
};

// The pattern's weights, read unit by unit.
template <class Decode>
void weighPattern(UnitReader<Decode> reader, bool shifted, Pattern& pattern) {
  uint32_t pos = 0;
  Unit u;
  while (reader.read(pos, shifted, u)) {
    pattern.primaries.append(u.weights.primaries, u.weights.primaryCount);
    if (!pattern.accentInsensitive)
      pattern.secondaries.append(u.weights.secondaries, u.weights.secondaryCount);
    pos = u.end;
  }
}

enum class Anchor : uint8_t { None, Start, End };

// Binary handles: byte equality at character starts.
template <class Decode>
bool binaryMatch(UnitReader<Decode> reader, const Operand& text, const Operand& pattern,
                 Anchor anchor, uint32_t* start, uint32_t* length) {
  auto equalAt = [&](uint32_t at) {
    return text.length - at >= pattern.length &&
           std::memcmp(text.bytes + at, pattern.bytes, pattern.length) == 0;
  };
  if (anchor == Anchor::Start) {
    if (!equalAt(0)) return false;
    *start = 0;
    *length = pattern.length;
    return true;
  }
  uint32_t pos = 0;
  bool shifted = text.shifted;
  Unit u;
  while (reader.read(pos, shifted, u)) {
    const bool found =
        anchor == Anchor::End ? u.start + pattern.length == text.length : equalAt(u.start);
    if (found && equalAt(u.start)) {
      *start = u.start;
      *length = pattern.length;
      return true;
    }
    pos = u.end;
  }
  return false;
}

// The operations' common body: a match of pattern in text, anywhere or
// anchored, under the handle's collation.
int32_t match(const Operand& text, const Operand& pattern, Anchor anchor, uint32_t* matchStart,
              uint32_t* matchLength, const CharsetHandle* handle, const NlsContext* ctx) {
  uint32_t start = 0, length = 0;
  auto report = [&](bool found) {
    if (matchStart != nullptr) *matchStart = found ? start : 0;
    if (matchLength != nullptr) *matchLength = found ? length : 0;
    return found ? 1 : 0;
  };
  if (pattern.length == 0 || text.length == 0 || text.bytes == nullptr || pattern.bytes == nullptr)
    return report(false);
  const WeightTable* table = WeightTable::get();
  if (table == nullptr) return report(false);
  const CharsetDefinition* def = definitionFor(handle, ctx);
  const Strength strength = strengthOf(handle);
  CollatorSession session(*table);
  const ShiftBytes shift = shiftBytesOf(handle);
  return withDecoding(def, [&](auto decode) {
    using Decode = decltype(decode);
    UnitReader<Decode> textReader(text.bytes, text.length, decode, shift, *table, session);
    if (strength == Strength::Binary)
      return report(binaryMatch(textReader, text, pattern, anchor, &start, &length));
    Pattern weights;
    weights.accentInsensitive = strength == Strength::Primary;
    weighPattern(UnitReader<Decode>(pattern.bytes, pattern.length, decode, shift, *table, session),
                 pattern.shifted, weights);
    const Matcher<Decode> matcher(textReader, weights);
    switch (anchor) {
      case Anchor::Start: {
        const int64_t end = matcher.longestAt(0, text.shifted);
        if (end == kNoMatch) return report(false);
        length = static_cast<uint32_t>(end);
        return report(true);
      }
      case Anchor::End:
        return report(matcher.atEnd(text.shifted, &start, &length));
      default:
        return report(matcher.first(text.shifted, &start, &length));
    }
  });
}

// The offsets of what remains once units that weigh nothing are cut from
// both ends; marks that attach to a kept unit stay with it, and in a
// shift-sensitive set a kept shifted run keeps its shift bytes.
template <class Decode>
bool trimWeightless(UnitReader<Decode> reader, bool accentInsensitive, ShiftBytes shift,
                    uint32_t* first, uint32_t* end) {
  uint32_t pos = 0, runStart = 0;
  bool shifted = false, found = false, endsShifted = false;
  uint8_t lastClass = kOther;
  Unit u;
  for (;;) {
    const uint32_t before = pos;
    reader.settle(pos, shifted);
    if (pos > before && shifted) runStart = pos - 1;
    if (!reader.read(pos, shifted, u)) break;
    const bool attached = found && *end == u.start && !isGraphemeBoundary(lastClass, u.firstClass);
    if (!weighsNothing(u.weights, accentInsensitive)) {
      if (!found) *first = shifted ? runStart : u.start;
      found = true;
      *end = u.end;
      endsShifted = shifted;
    } else if (attached) {
      *end = u.end;
    }
    lastClass = u.lastClass;
    pos = u.end;
  }
  if (found && endsShifted) {
    const auto* closing = static_cast<const uint8_t*>(
        std::memchr(reader.text() + *end, shift.shiftIn, reader.length() - *end));
    if (closing != nullptr) *end = static_cast<uint32_t>(closing - reader.text()) + 1;
  }
  return found;
}

}  // namespace
}  // namespace nls::ling

using namespace nls;
using namespace nls::ling;

extern "C" {

NLS_API int32_t lxpLinMatch(const void* str, uint32_t length, const void* pattern,
                            uint32_t patternLength, uint32_t* matchStart, uint32_t* matchLength,
                            uint32_t /*options*/, const CharsetHandle* handle, NlsContext* ctx) {
  return match({static_cast<const uint8_t*>(str), length, false},
               {static_cast<const uint8_t*>(pattern), patternLength, false}, Anchor::None,
               matchStart, matchLength, handle, ctx);
}

NLS_API int32_t lxpLinDirMatch(const void* str, uint32_t length, const void* pattern,
                               uint32_t patternLength, uint32_t* matchStart, uint32_t* matchLength,
                               uint32_t direction, const CharsetHandle* handle, NlsContext* ctx) {
  return match({static_cast<const uint8_t*>(str), length, false},
               {static_cast<const uint8_t*>(pattern), patternLength, false},
               direction == 1 ? Anchor::End : Anchor::Start, matchStart, matchLength, handle, ctx);
}

NLS_API int32_t lxpoLinMatch(CharCursor* str, uint32_t length, CharCursor* pattern,
                             uint32_t patternLength, uint32_t* matchStart, uint32_t* matchLength,
                             uint32_t /*options*/, const CharsetHandle* handle, NlsContext* ctx) {
  return match({str->current, length, str->shiftState != 0},
               {pattern->current, patternLength, pattern->shiftState != 0}, Anchor::None,
               matchStart, matchLength, handle, ctx);
}

NLS_API int32_t lxpoLinDirMatch(CharCursor* str, uint32_t length, CharCursor* pattern,
                                uint32_t patternLength, uint32_t* matchStart, uint32_t* matchLength,
                                uint32_t flags, const CharsetHandle* handle, NlsContext* ctx) {
  return match({str->current, length, str->shiftState != 0},
               {pattern->current, patternLength, pattern->shiftState != 0},
               (flags & LING_AT_END) ? Anchor::End : Anchor::Start, matchStart, matchLength, handle,
               ctx);
}

NLS_API int32_t lxpLinTrimPunc(const void* str, uint32_t length, uint32_t /*mode*/,
                               uint32_t* firstOffset, uint32_t* lastOffset,
                               const CharsetHandle* handle, NlsContext* ctx) {
  uint32_t first = length, end = length;
  bool found = false;
  const auto* bytes = static_cast<const uint8_t*>(str);
  const Strength strength = strengthOf(handle);
  const WeightTable* table = length > 0 && bytes != nullptr ? WeightTable::get() : nullptr;
  if (strength == Strength::Binary || table == nullptr) {
    found = length > 0;
    first = found ? 0 : length;
  } else {
    CollatorSession session(*table);
    const ShiftBytes shift = shiftBytesOf(handle);
    found = withDecoding(definitionFor(handle, ctx), [&](auto decode) {
      UnitReader<decltype(decode)> reader(bytes, length, decode, shift, *table, session);
      return trimWeightless(reader, strength == Strength::Primary, shift, &first, &end);
    });
    if (!found) first = end = length;
  }
  if (firstOffset != nullptr) *firstOffset = first;
  if (lastOffset != nullptr) *lastOffset = end - 1;
  return found ? 1 : 0;
}

}  // extern "C"
