// The weight tables of linguistic matching, built once from ICU's root
// collator.
#include "nlscore/linguistic_weights.h"

#include <unicode/uchar.h>
#include <unicode/uset.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace nls::ling {

bool collatorWeights(UCollationElements* elements, const UChar* text, int32_t length,
                     uint32_t* primaries, uint32_t* primaryCount, uint32_t* secondaries,
                     uint32_t* secondaryCount, uint32_t capacity) {
  UErrorCode status = U_ZERO_ERROR;
  ucol_setText(elements, text, length, &status);
  uint32_t np = 0, ns = 0;
  // The iterator hands out each collation element as one or two 32-bit
  // halves: primary bits 31-16, secondary bits 15-8 of each half; a second
  // half carries the continuation marker 0xC0 in its low bits.
  uint32_t p = 0, s = 0;
  bool pending = false;
  auto flush = [&] {
    if (!pending) return;
    if (p != 0 && np < capacity) primaries[np++] = p;
    if (s != 0 && ns < capacity) secondaries[ns++] = s;
    pending = false;
  };
  for (;;) {
    const int32_t ce = ucol_next(elements, &status);
    if (U_FAILURE(status)) return false;
    if (ce == UCOL_NULLORDER) break;
    const auto half = static_cast<uint32_t>(ce);
    if (pending && (half & 0xC0u) == 0xC0u) {
      p |= half >> 16;
      s |= (half >> 8) & 0xFFu;
      continue;
    }
    flush();
    p = half & 0xFFFF0000u;
    s = half & 0xFF00u;
    pending = true;
  }
  flush();
  *primaryCount = np;
  *secondaryCount = ns;
  return true;
}

uint8_t WeightTable::graphemeClass(uint32_t cp) {
  const auto c = static_cast<UChar32>(cp);
  switch (u_getIntPropertyValue(c, UCHAR_GRAPHEME_CLUSTER_BREAK)) {
    case U_GCB_CONTROL:
      return kControl;
    case U_GCB_CR:
      return kCr;
    case U_GCB_LF:
      return kLf;
    case U_GCB_EXTEND:
      return kExtend;
    case U_GCB_ZWJ:
      return kZwj;
    case U_GCB_SPACING_MARK:
      return kSpacingMark;
    case U_GCB_PREPEND:
      return kPrepend;
    case U_GCB_L:
      return kHangulL;
    case U_GCB_V:
      return kHangulV;
    case U_GCB_T:
      return kHangulT;
    case U_GCB_LV:
      return kHangulLv;
    case U_GCB_LVT:
      return kHangulLvt;
    case U_GCB_REGIONAL_INDICATOR:
      return kRegional;
    default:
      return u_hasBinaryProperty(c, UCHAR_EXTENDED_PICTOGRAPHIC) ? kPictographic : kOther;
  }
}

const WeightTable* WeightTable::get() {
  static const WeightTable* const table = [] {
    auto* t = new WeightTable;
    if (!t->build()) {
      delete t;
      return static_cast<WeightTable*>(nullptr);
    }
    return t;
  }();
  return table;
}

WeightTable::Contractions WeightTable::contractionsOf(uint32_t starter) const {
  const Contraction* end = contractions_ + contractionCount_;
  const Contraction* lo =
      std::lower_bound(static_cast<const Contraction*>(contractions_), end, starter,
                       [](const Contraction& c, uint32_t s) { return c.starter < s; });
  const Contraction* hi = lo;
  while (hi < end && hi->starter == starter) ++hi;
  return {lo, hi, contractionCodePoints_};
}

namespace {

// The code points of [begin, end) whose key is value, the array sorted by key.
template <class Key>
WeightTable::Range equalRange(const uint16_t* begin, const uint16_t* end, uint32_t value, Key key) {
  const uint16_t* lo =
      std::lower_bound(begin, end, value, [&](uint16_t cp, uint32_t v) { return key(cp) < v; });
  const uint16_t* hi =
      std::upper_bound(lo, end, value, [&](uint32_t v, uint16_t cp) { return v < key(cp); });
  return {lo, hi};
}

}  // namespace

WeightTable::Range WeightTable::byFirstPrimary(uint32_t p) const {
  return equalRange(primaryOrder_, primaryOrder_ + primaryOrderCount_, p, [this](uint16_t cp) {
    const WeightEntry& e = entries_[cp];
    return (e.traits & kPooled) ? pool_[e.poolIndex] : e.primary;
  });
}

WeightTable::Range WeightTable::secondaryOnlyByFirst(uint32_t s) const {
  return equalRange(
      secondaryOrder_, secondaryOrder_ + secondaryOrderCount_, s, [this](uint16_t cp) {
        const WeightEntry& e = entries_[cp];
        return (e.traits & kPooled) ? pool_[e.poolIndex + e.primaryCount] : e.secondary;
      });
}

WeightTable::Range WeightTable::contractionStartersByFirstPrimary(uint32_t p) const {
  const StarterKey* end = starterKeys_ + starterKeyCount_;
  const StarterKey* lo =
      std::lower_bound(static_cast<const StarterKey*>(starterKeys_), end, p,
                       [](const StarterKey& k, uint32_t v) { return k.primary < v; });
  const StarterKey* hi = lo;
  while (hi < end && hi->primary == p) ++hi;
  return {starterOrder_ + (lo - starterKeys_), starterOrder_ + (hi - starterKeys_)};
}

bool WeightTable::build() {
  UErrorCode status = U_ZERO_ERROR;
  collator_ = ucol_open("", &status);
  if (U_FAILURE(status)) return false;
  UCollationElements* elements = ucol_openElements(collator_, nullptr, 0, &status);
  if (U_FAILURE(status)) return false;

  // Code points that start a contraction or a prefix context: their weights
  // depend on what follows, so matching asks the collator.
  std::vector<bool> special(0x10000, false);
  std::vector<Contraction> contractions;
  std::vector<uint32_t> codePoints;
  USet* set = uset_openEmpty();
  ucol_getContractionsAndExpansions(collator_, set, nullptr, true, &status);
  if (U_SUCCESS(status)) {
    UChar item[64];
    for (int32_t i = 0, n = uset_getItemCount(set); i < n; ++i) {
      UChar32 first = 0, last = 0;
      UErrorCode itemStatus = U_ZERO_ERROR;
      const int32_t length = uset_getItem(set, i, &first, &last, item, 64, &itemStatus);
      if (U_FAILURE(itemStatus) || length == 0) continue;
      int32_t k = 0;
      UChar32 starter;
      U16_NEXT(item, k, length, starter);
      if (starter < 0x10000) special[starter] = true;
      Contraction c{static_cast<uint32_t>(starter), static_cast<uint32_t>(codePoints.size()), 0};
      while (k < length) {
        UChar32 cp;
        U16_NEXT(item, k, length, cp);
        codePoints.push_back(static_cast<uint32_t>(cp));
        ++c.length;
      }
      contractions.push_back(c);
    }
  }
  uset_close(set);
  status = U_ZERO_ERROR;
  std::stable_sort(contractions.begin(), contractions.end(),
                   [](const Contraction& a, const Contraction& b) {
                     return a.starter != b.starter ? a.starter < b.starter : a.length > b.length;
                   });
  contractions_ = new Contraction[contractions.size() + 1];
  std::copy(contractions.begin(), contractions.end(), contractions_);
  contractionCount_ = static_cast<uint32_t>(contractions.size());
  contractionCodePoints_ = new uint32_t[codePoints.size() + 1];
  std::copy(codePoints.begin(), codePoints.end(), contractionCodePoints_);

  entries_ = new WeightEntry[0x10000]();
  std::vector<uint32_t> pool;
  constexpr uint32_t kCapacity = 64;
  uint32_t primaries[kCapacity], secondaries[kCapacity];
  for (uint32_t cp = 0; cp < 0x10000; ++cp) {
    WeightEntry& e = entries_[cp];
    e.traits = graphemeClass(cp);
    if (cp >= 0xD800 && cp <= 0xDFFF) continue;  // never decoded as such
    if (special[cp]) e.traits |= kSpecial;
    const UChar unit = static_cast<UChar>(cp);
    uint32_t np = 0, ns = 0;
    if (!collatorWeights(elements, &unit, 1, primaries, &np, secondaries, &ns, kCapacity))
      return false;
    e.primaryCount = static_cast<uint8_t>(np);
    e.secondaryCount = static_cast<uint8_t>(ns);
    if (np <= 1 && ns <= 1) {
      e.primary = np ? primaries[0] : 0;
      e.secondary = ns ? secondaries[0] : 0;
      continue;
    }
    e.traits |= kPooled;
    e.poolIndex = static_cast<uint32_t>(pool.size());
    pool.insert(pool.end(), primaries, primaries + np);
    pool.insert(pool.end(), secondaries, secondaries + ns);
  }
  ucol_closeElements(elements);
  pool_ = new uint32_t[pool.size() + 1];
  std::copy(pool.begin(), pool.end(), pool_);

  std::vector<uint16_t> order;
  for (uint32_t cp = 0; cp < 0x10000; ++cp)
    if (entries_[cp].primaryCount > 0) order.push_back(static_cast<uint16_t>(cp));
  auto firstPrimary = [this](uint16_t cp) {
    const WeightEntry& e = entries_[cp];
    return (e.traits & kPooled) ? pool_[e.poolIndex] : e.primary;
  };
  std::stable_sort(order.begin(), order.end(),
                   [&](uint16_t a, uint16_t b) { return firstPrimary(a) < firstPrimary(b); });
  primaryOrder_ = new uint16_t[order.size() + 1];
  std::copy(order.begin(), order.end(), primaryOrder_);
  primaryOrderCount_ = static_cast<uint32_t>(order.size());

  std::vector<uint16_t> secondaryOnly;
  for (uint32_t cp = 0; cp < 0x10000; ++cp)
    if (entries_[cp].primaryCount == 0 && entries_[cp].secondaryCount > 0)
      secondaryOnly.push_back(static_cast<uint16_t>(cp));
  auto firstSecondary = [this](uint16_t cp) {
    const WeightEntry& e = entries_[cp];
    return (e.traits & kPooled) ? pool_[e.poolIndex + e.primaryCount] : e.secondary;
  };
  std::stable_sort(secondaryOnly.begin(), secondaryOnly.end(),
                   [&](uint16_t a, uint16_t b) { return firstSecondary(a) < firstSecondary(b); });
  secondaryOrder_ = new uint16_t[secondaryOnly.size() + 1];
  std::copy(secondaryOnly.begin(), secondaryOnly.end(), secondaryOrder_);
  secondaryOrderCount_ = static_cast<uint32_t>(secondaryOnly.size());

  // The first primary of each contraction as a whole: a match may start
  // with a contraction whose starter alone weighs otherwise.
  std::vector<StarterKey> keys;
  {
    UCollationElements* again = ucol_openElements(collator_, nullptr, 0, &status);
    if (U_FAILURE(status)) return false;
    for (uint32_t i = 0; i < contractionCount_; ++i) {
      const Contraction& c = contractions_[i];
      if (c.starter >= 0x10000) continue;
      UChar text[64];
      int32_t n = 0;
      text[n++] = static_cast<UChar>(c.starter);
      for (uint32_t k = 0; k < c.length && n < 62; ++k)
        U16_APPEND_UNSAFE(text, n, contractionCodePoints_[c.offset + k]);
      uint32_t np = 0, ns = 0;
      if (collatorWeights(again, text, n, primaries, &np, secondaries, &ns, kCapacity) && np > 0)
        keys.push_back({primaries[0], static_cast<uint16_t>(c.starter)});
    }
    ucol_closeElements(again);
  }
  std::sort(keys.begin(), keys.end(), [](const StarterKey& a, const StarterKey& b) {
    return a.primary != b.primary ? a.primary < b.primary : a.starter < b.starter;
  });
  keys.erase(std::unique(keys.begin(), keys.end(),
                         [](const StarterKey& a, const StarterKey& b) {
                           return a.primary == b.primary && a.starter == b.starter;
                         }),
             keys.end());
  starterKeys_ = new StarterKey[keys.size() + 1];
  starterOrder_ = new uint16_t[keys.size() + 1];
  for (size_t i = 0; i < keys.size(); ++i) {
    starterKeys_[i] = keys[i];
    starterOrder_[i] = keys[i].starter;
  }
  starterKeyCount_ = static_cast<uint32_t>(keys.size());

  return true;
}

}  // namespace nls::ling
