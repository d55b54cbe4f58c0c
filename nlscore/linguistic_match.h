// Linguistic matching over a set's text: reading text as units with their
// collation weights, and the match at a point, written once over the
// decoding of each kind of set.
#pragma once

#include <unicode/utf16.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "lxk/nls.h"
#include "nlscore/codec.h"
#include "nlscore/linguistic_weights.h"

namespace nls::ling {

// Weights a unit may carry: a segment of code points or an opaque run.
constexpr uint32_t kMaxUnitWeights = 96;
constexpr int32_t kMaxSegmentUnits = 32;  // UTF-16 units of a segment

// Asks the collator for the weights of code points that the table does not
// hold or holds only alone (supplementary code points, contractions).  Opens
// its iterator on first use and closes it with the call.
class CollatorSession {
 public:
  explicit CollatorSession(const WeightTable& table) : table_(table) {}
  ~CollatorSession() {
    if (elements_ != nullptr) ucol_closeElements(elements_);
  }
  CollatorSession(const CollatorSession&) = delete;
  CollatorSession& operator=(const CollatorSession&) = delete;

  // Weights of the UTF-16 text into the two arrays (kMaxUnitWeights each).
  Weights weigh(const UChar* text, int32_t length, uint32_t* primaries, uint32_t* secondaries) {
    uint32_t np = 0, ns = 0;
    if (elements_ == nullptr) {
      UErrorCode status = U_ZERO_ERROR;
      elements_ = ucol_openElements(table_.collator(), nullptr, 0, &status);
      if (U_FAILURE(status)) elements_ = nullptr;
    }
    if (elements_ == nullptr || !collatorWeights(elements_, text, length, primaries, &np,
                                                 secondaries, &ns, kMaxUnitWeights))
      np = ns = 0;
    return {primaries, secondaries, np, ns};
  }

 private:
  const WeightTable& table_;
  UCollationElements* elements_ = nullptr;
};

// A character, a segment (a code point whose weights depend on the marks
// after it, with those marks) or an opaque run of bytes, with its weights.
struct Unit {
  uint32_t start;  // first byte, after any shift bytes
  uint32_t end;    // one past the last byte
  Weights weights;
  uint8_t firstClass;  // grapheme classes of its first and last code points
  uint8_t lastClass;
  // A contraction that goes on past a grapheme-cluster boundary (l with a
  // middle dot) may also be cut there: a match may end after its first code
  // point, which then weighs as it does alone.  0 when it cannot be cut.
  uint32_t cutEnd;
  Weights cutWeights;
};

// ---- Decoding per kind of set ------------------------------------------------

// Bytes that are no character take the lead byte and the continuation bytes
// after it, never a byte that could start a character: so every byte that is
// not a continuation byte starts a unit, which the byte filters rely on.
//
// The decodings of sets that can be read backward also give the start of the
// unit that ends at a unit start (stepBack), as reading forward would find it.
struct Utf8Decoding {
  static constexpr bool kStepsBack = true;
  const uint16_t* leadTable;
  Decoded operator()(const uint8_t* p, uint32_t available, bool) const {
    Decoded d = decodeUtf8(leadTable, p, available);
    if (d.codePoint == kNoCodePoint) {
      const uint32_t limit = d.width < available ? d.width : available;
      uint32_t width = 1;
      while (width < limit && lxk::isUtf8Continuation(p[width])) ++width;
      d.width = width;
    }
    return d;
  }
  uint32_t stepBack(const uint8_t* text, uint32_t length, uint32_t pos) const {
    uint32_t lead = pos - 1;
    for (uint32_t k = 0; k < 3 && lead > 0 && lxk::isUtf8Continuation(text[lead]); ++k) --lead;
    if (!lxk::isUtf8Continuation(text[lead]) &&
        lead + (*this)(text + lead, length - lead, false).width == pos)
      return lead;
    return pos - 1;  // a continuation byte on its own
  }
};

// A lone surrogate is a unit of its own, never taking the unit after it.
struct Utf16Decoding {
  static constexpr bool kStepsBack = true;
  Decoded operator()(const uint8_t* p, uint32_t available, bool) const {
    if (available < 2) return {1, kNoCodePoint};
    const uint32_t u = unitAt(p);
    if (u - 0xD800u > 0x7FFu) return {2, u};
    if (u > 0xDBFFu || available < 4) return {2, kNoCodePoint};
    const uint32_t low = unitAt(p + 2);
    if (low - 0xDC00u > 0x3FFu) return {2, kNoCodePoint};
    return {4, 0x10000 + ((u - 0xD800u) << 10) + (low - 0xDC00u)};
  }
  // Units run in pairs of bytes from the text's start; an odd last byte is a
  // unit of its own.
  uint32_t stepBack(const uint8_t* text, uint32_t, uint32_t pos) const {
    if (pos % 2 != 0 || pos < 2) return pos - 1;
    if (pos >= 4 && unitAt(text + pos - 2) - 0xDC00u <= 0x3FFu &&
        unitAt(text + pos - 4) - 0xD800u <= 0x3FFu)
      return pos - 4;
    return pos - 2;
  }
  static uint32_t unitAt(const uint8_t* p) { return static_cast<uint32_t>(p[0]) << 8 | p[1]; }
};

struct SingleByteDecoding {
  static constexpr bool kStepsBack = true;
  const CharsetDefinition* def;
  Decoded operator()(const uint8_t* p, uint32_t, bool) const {
    const uint32_t u = def->toUnicode[p[0]];
    return {1, u == 0xFFFD ? kNoCodePoint : u};
  }
  uint32_t stepBack(const uint8_t*, uint32_t, uint32_t pos) const { return pos - 1; }
};

struct AnyDecoding {
  static constexpr bool kStepsBack = false;
  const CharsetDefinition* def;
  Decoded operator()(const uint8_t* p, uint32_t available, bool shifted) const {
    return decodeChar(def, p, available, shifted);
  }
};

// Shift bytes of a shift-sensitive set; both zero-width otherwise.
struct ShiftBytes {
  bool sensitive;
  uint8_t shiftIn;
  uint8_t shiftOut;
};

// Reads a text unit by unit.  The weights of a unit stay valid until the
// next read.
template <class Decode>
class UnitReader {
 public:
  UnitReader(const uint8_t* text, uint32_t length, Decode decode, ShiftBytes shift,
             const WeightTable& table, CollatorSession& session)
      : text_(text),
        length_(length),
        decode_(decode),
        shift_(shift),
        table_(table),
        session_(session) {}

  // A reader of the same text with a scratch of its own.
  UnitReader(const UnitReader& other)
      : text_(other.text_),
        length_(other.length_),
        decode_(other.decode_),
        shift_(other.shift_),
        table_(other.table_),
        session_(other.session_) {}

  const uint8_t* text() const { return text_; }
  uint32_t length() const { return length_; }
  const Decode& decoding() const { return decode_; }
  const WeightTable& table() const { return table_; }

  // Passes the shift bytes at pos, updating the shift state.
  void settle(uint32_t& pos, bool& shifted) const {
    if (!shift_.sensitive) return;
    while (pos < length_) {
      const uint8_t b = text_[pos];
      if (b == shift_.shiftOut)
        shifted = true;
      else if (b == shift_.shiftIn)
        shifted = false;
      else
        break;
      ++pos;
    }
  }

  // The unit at pos (shift bytes passed first); false at the end.
  bool read(uint32_t& pos, bool& shifted, Unit& unit) {
    settle(pos, shifted);
    if (pos >= length_) return false;
    const uint32_t available = length_ - pos;
    const Decoded d = decode_(text_ + pos, available, shifted);
    unit.start = pos;
    unit.cutEnd = 0;
    if (d.codePoint == kNoCodePoint)
      return opaque(pos, d.width < available ? d.width : available, unit);
    unit.end = pos + d.width;
    if (d.codePoint < 0x10000) {
      const WeightEntry& e = table_.bmp(d.codePoint);
      if (!(e.traits & kSpecial)) {
        unit.weights = table_.weightsOf(e);
        unit.firstClass = unit.lastClass = e.traits & kClassMask;
        return true;
      }
    }
    return segment(d.codePoint, shifted, unit);
  }

 private:
  const uint8_t* text_;
  uint32_t length_;
  Decode decode_;
  ShiftBytes shift_;
  const WeightTable& table_;
  CollatorSession& session_;
  uint32_t primaries_[kMaxUnitWeights];
  uint32_t secondaries_[kMaxUnitWeights];

  static uint8_t classOf(const WeightTable& table, uint32_t cp) {
    return cp < 0x10000 ? table.bmp(cp).traits & kClassMask : WeightTable::graphemeClass(cp);
  }

  // Bytes that are no character: one unit, equal only to the same bytes.
  bool opaque(uint32_t pos, uint32_t width, Unit& unit) {
    unit.end = pos + width;
    for (uint32_t i = 0; i < width; ++i) {
      primaries_[i] = kOpaquePrimary | text_[pos + i];
      secondaries_[i] = kOpaqueSecondary | text_[pos + i];
    }
    unit.weights = {primaries_, secondaries_, width, width};
    unit.firstClass = unit.lastClass = kControl;
    return true;
  }

  // The code point at the unit's start decoded again past it; false at a
  // shift byte, the end or bytes that are no character.
  bool codePointAt(uint32_t pos, bool shifted, Decoded& d) const {
    if (pos >= length_) return false;
    const uint8_t b = text_[pos];
    if (shift_.sensitive && (b == shift_.shiftIn || b == shift_.shiftOut)) return false;
    d = decode_(text_ + pos, length_ - pos, shifted);
    return d.codePoint != kNoCodePoint && d.width <= length_ - pos;
  }

  // A code point the collator must weigh in context: a contraction that
  // starts with it, when the text holds one, and the marks that attach after
  // (so that contractions interrupted by marks are found too); or a
  // supplementary code point with its marks.
  bool segment(uint32_t cp, bool shifted, Unit& unit) {
    UChar utf16[kMaxSegmentUnits];
    int32_t n = 0;
    U16_APPEND_UNSAFE(utf16, n, cp);
    unit.firstClass = unit.lastClass = classOf(table_, cp);
    Decoded d;
    if (cp < 0x10000) {
      const WeightTable::Contractions cs = table_.contractionsOf(cp);
      for (const WeightTable::Contraction* c = cs.first; c < cs.last; ++c) {
        uint32_t at = unit.end, k = 0;
        while (k < c->length && codePointAt(at, shifted, d) &&
               d.codePoint == cs.codePoints[c->offset + k]) {
          at += d.width;
          ++k;
        }
        if (k < c->length || n + 2 * static_cast<int32_t>(k) > kMaxSegmentUnits - 2) continue;
        if (!attaches(classOf(table_, cs.codePoints[c->offset]))) {
          unit.cutEnd = unit.end;
          unit.cutWeights = table_.weightsOf(table_.bmp(cp));
        }
        for (k = 0; k < c->length; ++k) {
          const uint32_t next = cs.codePoints[c->offset + k];
          U16_APPEND_UNSAFE(utf16, n, next);
          unit.lastClass = classOf(table_, next);
        }
        unit.end = at;
        break;
      }
    }
    while (n <= kMaxSegmentUnits - 2 && codePointAt(unit.end, shifted, d)) {
      const uint8_t cls = classOf(table_, d.codePoint);
      if (!attaches(cls)) break;
      U16_APPEND_UNSAFE(utf16, n, d.codePoint);
      unit.lastClass = cls;
      unit.end += d.width;
    }
    unit.weights = session_.weigh(utf16, n, primaries_, secondaries_);
    return true;
  }
};

// A growable array of weights that lives on the stack up to its inline size.
class WeightStream {
 public:
  WeightStream() = default;
  WeightStream(const WeightStream&) = delete;
  WeightStream& operator=(const WeightStream&) = delete;

  void append(const uint32_t* w, uint32_t n) {
    if (size_ + n > kInline && heap_.empty()) heap_.assign(inline_, inline_ + size_);
    if (!heap_.empty() || size_ + n > kInline) {
      heap_.insert(heap_.end(), w, w + n);
    } else {
      std::memcpy(inline_ + size_, w, n * sizeof(uint32_t));
    }
    size_ += n;
  }
  const uint32_t* data() const { return heap_.empty() ? inline_ : heap_.data(); }
  uint32_t size() const { return size_; }

 private:
  static constexpr uint32_t kInline = 256;
  uint32_t inline_[kInline];
  std::vector<uint32_t> heap_;
  uint32_t size_ = 0;
};

}  // namespace nls::ling
