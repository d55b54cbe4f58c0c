// Linguistic matching: equality of text under the handle's collation, the
// leftmost match, matches anchored at either end, and the cut of characters
// that weigh nothing.
//
// A match covers whole units, starts on a grapheme-cluster boundary with a
// unit that carries weight (a pattern that weighs nothing: with one that
// weighs nothing), ends on one, and is the longest from its start: after the
// pattern's weights are used up, units that weigh nothing still belong to it.
#include <cstring>
#include <type_traits>

#include "lxk/lxk.h"
#include "lxk/nls.h"
#include "nlscore/handles.h"
#include "nlscore/linguistic_match.h"
#include "nlscore/linguistic_scan.h"
#include "nlscore/units.h"

namespace nls::ling {
namespace {

constexpr int64_t kNoMatch = -1;

// Shorter texts are searched unit by unit: building the byte filter would
// cost more than it saves.
constexpr uint32_t kFilteredSearchLength = 64;

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

  // End of the longest match at the text's start, which must start with a
  // unit that can begin the pattern.
  int64_t atStart(bool shifted) const {
    UnitReader<Decode> reader(text_);
    uint32_t pos = 0;
    bool state = shifted;
    Unit u;
    if (!reader.read(pos, state, u) || !canStart(u.weights, pattern_)) return kNoMatch;
    return longestAt(0, shifted);
  }

  // The leftmost match in the text.
  bool first(bool shifted, uint32_t* start, uint32_t* length) const {
    return scan(shifted, false, start, length);
  }

  // The match that ends at the text's end (trailing shift bytes aside).
  // Where the text can be read backward, the search starts near the end.
  bool atEnd(bool shifted, uint32_t* start, uint32_t* length) const {
    if constexpr (Decode::kStepsBack) {
      uint8_t before = kOther;
      const uint32_t from = startBound(&before);
      return scan(shifted, true, start, length, from, before);
    }
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

  // From a unit start; before it a unit of class lastClass, unless from is 0.
  bool scan(bool shifted, bool anchoredAtEnd, uint32_t* start, uint32_t* length, uint32_t from = 0,
            uint8_t lastClass = kOther) const {
    UnitReader<Decode> reader(text_);
    uint32_t pos = from;
    bool atFirst = from == 0;
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

  // A unit start before which no match that ends at the end can start, and
  // the class of the code point before it.  Walking back from the end, a
  // match can hold only as many code points that weigh as three times the
  // pattern's weights (a contraction of up to three code points may weigh
  // once); the bound then moves back to a code point that no unit before it
  // can take in: not attached to what precedes, no contraction starter among
  // the two code points before.
  uint32_t startBound(uint8_t* before) const {
    const WeightTable& table = text_.table();
    const Decode& decode = text_.decoding();
    const uint8_t* const t = text_.text();
    const uint32_t n = text_.length();
    const bool ai = pattern_.accentInsensitive;
    const uint64_t limit =
        3u * (uint64_t{pattern_.primaries.size()} + pattern_.secondaries.size()) + 3u;
    struct Seen {
      uint8_t cls;
      bool special;
      bool weighs;
    };
    auto look = [&](uint32_t at) {
      const Decoded d = decode(t + at, n - at, false);
      if (d.codePoint == kNoCodePoint) return Seen{kControl, false, true};
      if (d.codePoint >= 0x10000) return Seen{WeightTable::graphemeClass(d.codePoint), false, true};
      const WeightEntry& e = table.bmp(d.codePoint);
      return Seen{static_cast<uint8_t>(e.traits & kClassMask), (e.traits & kSpecial) != 0,
                  !weighsNothing(table.weightsOf(e), ai)};
    };
    uint32_t pos = n;
    uint64_t weighing = 0;
    while (pos > 0 && weighing <= limit) {
      pos = decode.stepBack(t, n, pos);
      weighing += look(pos).weighs;
    }
    while (pos > 0) {
      const uint32_t p1 = decode.stepBack(t, n, pos);
      const Seen here = look(pos), prev = look(p1);
      const bool twoBackSpecial = p1 > 0 && look(decode.stepBack(t, n, p1)).special;
      if (!attaches(here.cls) && !prev.special && !twoBackSpecial) {
        *before = prev.cls;
        return pos;
      }
      pos = p1;
    }
    return 0;
  }

  bool reachesEnd(uint32_t end) const {
    bool shifted = false;
    text_.settle(end, shifted);
    return end >= text_.length();
  }
};

// The BMP code points that can start a match of the pattern: those whose
// first primary is the pattern's, contraction starters whose contraction
// begins with it, and under CI those without primaries whose first secondary
// is the pattern's.  Supplementary code points are not named.  False when
// the pattern gives no first primary to look for; *tooMany when there are
// more than kNamedStarters.
constexpr uint32_t kNamedStarters = 64;

bool namedStarters(const Pattern& pattern, const WeightTable& table, uint32_t* codePoints,
                   uint32_t* named, bool* tooMany) {
  if (pattern.primaries.size() == 0) return false;
  const uint32_t p0 = pattern.primaries.data()[0];
  if ((p0 & 0xFF000000u) == kOpaquePrimary) return false;
  auto add = [&](const WeightTable::Range& r) {
    for (const uint16_t* cp = r.first; cp < r.last; ++cp) {
      if (*named == kNamedStarters) {
        *tooMany = true;
        return;
      }
      codePoints[(*named)++] = *cp;
    }
  };
  add(table.byFirstPrimary(p0));
  add(table.contractionStartersByFirstPrimary(p0));
  if (!pattern.accentInsensitive && pattern.secondaries.size() > 0)
    add(table.secondaryOnlyByFirst(pattern.secondaries.data()[0]));
  return true;
}

// Leftmost search in UTF-8 text.  A byte filter passes the characters that
// can start a match; a candidate that is ASCII with ASCII after it is
// compared on the table entries directly, anything else goes to the general
// matcher.
class Utf8Search {
 public:
  Utf8Search(const Matcher<Utf8Decoding>& matcher, UnitReader<Utf8Decoding> reader,
             const Pattern& pattern, const WeightTable& table)
      : matcher_(matcher), reader_(reader), pattern_(pattern), table_(table) {}

  // Builds the filter; false when the pattern gives none (no primaries, or
  // bytes that are no character first).
  bool prepare() {
    uint32_t codePoints[kNamedStarters];
    uint32_t named = 0;
    bool tooMany = false;
    if (!namedStarters(pattern_, table_, codePoints, &named, &tooMany)) return false;
    // Up to four characters are named by their bytes; more fall back to
    // their ASCII members and every lead byte.
    std::memset(leadPasses_, 0, sizeof leadPasses_);
    for (uint32_t b = 0xF0; b < 0x100; ++b) leadPasses_[b] = true;
    uint32_t ascii = 0;
    for (uint32_t k = 0; k < named; ++k) ascii += codePoints[k] < 0x80;
    const bool byBytes = !tooMany && named <= 4;
    if (!byBytes) {
      filter_.leadFloor = (tooMany || ascii > 4) ? 0x00 : 0xC0;
      leadFilter_ = true;
    }
    for (uint32_t k = 0; k < named; ++k) {
      uint8_t bytes[4];
      const uint32_t width = encodeUtf8Value(codePoints[k], bytes);
      leadPasses_[bytes[0]] = true;
      if ((!byBytes && width > 1) || filter_.anchorCount == 4) continue;
      filter_.anchors[filter_.anchorCount++] = {bytes[0], bytes[width - 1],
                                                static_cast<uint8_t>(width - 1)};
      if (width - 1 > filter_.reach) filter_.reach = width - 1;
    }
    // An ASCII first character gives exactly the first primary, so the next
    // unit must bring the second (or weigh nothing, or not be ASCII).
    if (pattern_.primaries.size() > 1) {
      const WeightTable::Range next = table_.byFirstPrimary(pattern_.primaries.data()[1]);
      uint32_t count = 0;
      for (const uint16_t* cp = next.first; cp < next.last; ++cp) count += *cp < 0x80;
      bool single = true;  // every one-byte anchor weighs one primary
      for (uint32_t a = 0; a < filter_.anchorCount; ++a)
        if (filter_.anchors[a].lastOffset == 0)
          single &= !(table_.bmp(filter_.anchors[a].first).traits & kPooled) &&
                    table_.bmp(filter_.anchors[a].first).primaryCount == 1;
      if (count <= 4 && single) {
        filter_.follow.any = false;
        for (const uint16_t* cp = next.first; cp < next.last; ++cp)
          if (*cp < 0x80) filter_.follow.bytes[filter_.follow.count++] = static_cast<uint8_t>(*cp);
      }
    }
    if (tooMany) leadFilter_ = false;  // every byte passes; the candidates decide
    return true;
  }

  bool first(uint32_t* start, uint32_t* length) {
    const uint8_t* const t = reader_.text();
    const uint32_t n = reader_.length();
    return scanStarts(t, 0, n, filter_, [&](uint32_t i) {
      const int64_t end = matchAt(t, n, i);
      if (end == kNoMatch) return false;
      *start = i;
      *length = static_cast<uint32_t>(end) - i;
      return true;
    });
  }

 private:
  static constexpr int64_t kUndecided = -2;

  const Matcher<Utf8Decoding>& matcher_;
  UnitReader<Utf8Decoding> reader_;
  const Pattern& pattern_;
  const WeightTable& table_;
  StartFilter filter_;
  bool leadFilter_ = false;
  bool leadPasses_[256];

  // The grapheme class of the unit that ends at i (> 0), and whether it
  // swallows i: a contraction may run on past a character start.
  bool unitBefore(const uint8_t* t, uint32_t i, uint8_t* cls) {
    uint32_t q = i - 1;
    for (uint32_t k = 0; k < 3 && q > 0 && lxk::isUtf8Continuation(t[q]); ++k) --q;
    *cls = kControl;  // bytes that are no character
    if (lxk::isUtf8Continuation(t[q])) return false;
    if (t[q] < 0x80) {
      const WeightEntry& e = table_.bmp(t[q]);
      *cls = e.traits & kClassMask;
      if (!(e.traits & kSpecial)) return false;
    }
    Unit u;
    bool shifted = false;
    uint32_t pos = q;
    if (!reader_.read(pos, shifted, u) || u.end < i) return false;
    *cls = u.lastClass;
    return u.end > i;
  }

  // End of the longest match at i, kNoMatch when none starts there.  An
  // ASCII candidate is first compared on its own, the common rejection.
  int64_t matchAt(const uint8_t* t, uint32_t n, uint32_t i) {
    const uint8_t b = t[i];
    int64_t end = kUndecided;
    if (b < 0x80) {
      end = asciiMatchAt(t, n, i);
      if (end == kNoMatch) return kNoMatch;
    } else if (lxk::isUtf8Continuation(b) || (leadFilter_ && !leadPasses_[b])) {
      return kNoMatch;
    }
    uint8_t before = kOther;
    if (i > 0 && unitBefore(t, i, &before)) return kNoMatch;
    Unit u;
    bool shifted = false;
    uint32_t pos = i;
    reader_.read(pos, shifted, u);
    if (!canStart(u.weights, pattern_)) return kNoMatch;
    if (i > 0 && !isGraphemeBoundary(before, u.firstClass)) return kNoMatch;
    return end != kUndecided ? end : matcher_.longestAt(i, false);
  }

  // The match at i over ASCII text, on the table entries; kUndecided when a
  // byte needs the general matcher (non-ASCII, controls, contractions).
  int64_t asciiMatchAt(const uint8_t* t, uint32_t n, uint32_t i) const {
    const bool ai = pattern_.accentInsensitive;
    const uint32_t* const pp = pattern_.primaries.data();
    const uint32_t* const ps = pattern_.secondaries.data();
    const uint32_t np = pattern_.primaries.size(), ns = pattern_.secondaries.size();
    uint32_t pi = 0, si = 0;
    for (uint32_t j = i;; ++j) {
      const bool complete = pi == np && si == ns;
      if (j == n) return complete ? n : kNoMatch;
      const uint8_t c = t[j];
      if (c >= 0x80) return kUndecided;
      const WeightEntry& e = table_.bmp(c);
      if ((e.traits & (kSpecial | kPooled)) != 0 || e.primaryCount == 0) return kUndecided;
      if (complete) return (e.traits & kClassMask) == kLf ? kUndecided : j;
      if (pi == np || pp[pi] != e.primary) return kNoMatch;
      ++pi;
      if (!ai && e.secondaryCount != 0) {
        if (si == ns || ps[si] != e.secondary) return kNoMatch;
        ++si;
      }
    }
  }
};

// Leftmost search in UTF-16 text: a unit filter passes the characters that
// can start a match, the general matcher decides.
class Utf16Search {
 public:
  Utf16Search(const Matcher<Utf16Decoding>& matcher, UnitReader<Utf16Decoding> reader,
              const Pattern& pattern, const WeightTable& table)
      : matcher_(matcher), reader_(reader), pattern_(pattern), table_(table) {}

  // Builds the filter; false when it would pass most units.
  bool prepare() {
    uint32_t codePoints[kNamedStarters];
    uint32_t named = 0;
    bool tooMany = false;
    if (!namedStarters(pattern_, table_, codePoints, &named, &tooMany) || tooMany) return false;
    filter_.fromAscii = named > 4;
    for (uint32_t k = 0; k < named; ++k) {
      if (filter_.fromAscii && codePoints[k] >= 0x80) continue;
      if (filter_.count == 4) return false;
      filter_.units[filter_.count++] = static_cast<uint16_t>(codePoints[k]);
    }
    return true;
  }

  bool first(uint32_t* start, uint32_t* length) {
    const uint8_t* const t = reader_.text();
    return scanUtf16Starts(t, reader_.length(), filter_, [&](uint32_t i) {
      const int64_t end = matchAt(t, i);
      if (end == kNoMatch) return false;
      *start = i;
      *length = static_cast<uint32_t>(end) - i;
      return true;
    });
  }

 private:
  const Matcher<Utf16Decoding>& matcher_;
  UnitReader<Utf16Decoding> reader_;
  const Pattern& pattern_;
  const WeightTable& table_;
  Utf16StartFilter filter_;

  int64_t matchAt(const uint8_t* t, uint32_t i) {
    const uint32_t n = reader_.length();
    bool shifted = false;
    Unit u;
    uint8_t before = kOther;
    if (i > 0) {
      // The unit before, read forward: a pair or a segment may take in i.
      uint32_t pos = reader_.decoding().stepBack(t, n, i);
      if (!reader_.read(pos, shifted, u) || u.end > i) return kNoMatch;
      before = u.lastClass;
    }
    uint32_t pos = i;
    reader_.read(pos, shifted, u);
    if (!canStart(u.weights, pattern_)) return kNoMatch;
    if (i > 0 && !isGraphemeBoundary(before, u.firstClass)) return kNoMatch;
    return matcher_.longestAt(i, false);
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
    if constexpr (std::is_same_v<Decode, Utf8Decoding>) {
      if (anchor == Anchor::None && text.length >= kFilteredSearchLength) {
        Utf8Search search(matcher, textReader, weights, *table);
        if (search.prepare()) return report(search.first(&start, &length));
      }
    } else if constexpr (std::is_same_v<Decode, Utf16Decoding>) {
      if (anchor == Anchor::None && text.length >= kFilteredSearchLength) {
        Utf16Search search(matcher, textReader, weights, *table);
        if (search.prepare()) return report(search.first(&start, &length));
      }
    }
    switch (anchor) {
      case Anchor::Start: {
        const int64_t end = matcher.atStart(text.shifted);
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
