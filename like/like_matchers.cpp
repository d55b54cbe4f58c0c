// The eighteen matchers: each is the matcher template instantiated with the
// reader of its class and the traits of its family, binary or linguistic.
#include "like/like.h"
#include "like/like_match.h"

namespace lxk {
namespace like {
namespace {

inline int32_t refuse(uint32_t* likeStatus, uint32_t status) {
  if (likeStatus != nullptr) *likeStatus = status;
  return 0;
}

// The escape argument, the walk over the pattern, then the match.
template <class Reader>
int32_t matchWith(const FamilyTraits& family, const Reader& src, const Reader& pat,
                  const CharsetDefinition* def, const uint8_t* escape, uint32_t escapeLength,
                  uint32_t options, uint32_t* likeStatus, const LinguisticOps* linguistic) {
  const bool check =
      escape != nullptr && escapeLength != 0 && (options & LIKE_SKIP_ESCAPE_CHECK) == 0;
  Specials sp;
  if (const uint32_t status = specialsFor(family, def, escape, escapeLength, check, sp))
    return refuse(likeStatus, status);
  const Pattern<Reader> pattern{pat, sp};
  // The whole pattern is walked first when its escapes are to be checked or
  // data the core rejects is a status; otherwise the matchers walk it as
  // far as they need.
  Shape shape;
  const bool walkFirst = check || family.brokenPatternIsBad;
  if (walkFirst) {
    bool matchable = true;
    if (const uint32_t status =
            pattern.shapeFrom(pat.start(), check, family.brokenPatternIsBad, shape, &matchable))
      return refuse(likeStatus, status);
    if (!matchable) return 0;
  }
  if (linguistic != nullptr) return LinguisticMatch<Reader>(src, pattern, *linguistic).run();
  return BinaryMatch<Reader>(src, pattern).run(shape, walkFirst) ? 1 : 0;
}

// UTF-16 code units: a unit wider than either operand matches nothing, and
// a pattern of odd length is refused.
inline bool utf16Refused(uint32_t sourceLength, uint32_t patternLength, uint32_t width,
                         uint32_t* likeStatus, int32_t* verdict) {
  *verdict = 0;
  if (width > sourceLength || patternLength < width) return true;
  if (patternLength & 1u) {
    refuse(likeStatus, LIKE_STATUS_BAD_ESCAPE_SEQUENCE);
    return true;
  }
  return false;
}

template <typename Unit>
int32_t policyMatch(const FamilyTraits& family, const CharsetView& v, const uint8_t* source,
                    uint32_t sourceLength, const uint8_t* pattern, uint32_t patternLength,
                    const uint8_t* escape, uint32_t escapeLength, uint32_t options,
                    uint32_t* likeStatus, const LinguisticOps* linguistic) {
  const PolicyReader<Unit> src{&v, source, source + sourceLength};
  const PolicyReader<Unit> pat{&v, pattern, pattern + patternLength};
  return matchWith(family, src, pat, v.def, escape, escapeLength, options, likeStatus, linguistic);
}

// The view of a UTF-8 set, whose class the entry has already decided.
inline CharsetView utf8View(const CharsetHandle* handle, NlsContext* ctx) {
  const CharsetDefinition* def = definitionOf(handle, ctx);
  return {handle, def, leadTableInForce(handle, def), handle->flags, CharsetClass::Utf8};
}

// Lead-byte sets: GB18030 with its four-byte rule, the others by the table.
template <typename F>
int32_t withLeadPolicy(const CharsetView& v, F&& f) {
  if (v.kind == CharsetClass::Gb18030) return f(Gb18030Char{});
  return f(LeadByteChar{});
}

int32_t shiftMatch(const FamilyTraits& family, const uint8_t* source, uint32_t sourceLength,
                   const uint8_t* pattern, uint32_t patternLength, const uint8_t* escape,
                   uint32_t escapeLength, uint32_t options, uint32_t* likeStatus,
                   const CharsetHandle* handle, NlsContext* ctx, const LinguisticOps* linguistic) {
  const ShiftReader src{source, source + sourceLength, handle->shiftInByte, handle->shiftOutByte,
                        handle->maxCharWidth};
  const ShiftReader pat{pattern, pattern + patternLength, handle->shiftInByte, handle->shiftOutByte,
                        handle->maxCharWidth};
  return matchWith(family, src, pat, definitionOf(handle, ctx), escape, escapeLength, options,
                   likeStatus, linguistic);
}

int32_t completeMatch(const FamilyTraits& family, const uint8_t* source, uint32_t sourceLength,
                      const uint8_t* pattern, uint32_t patternLength, const uint8_t* escape,
                      uint32_t escapeLength, uint32_t options, uint32_t* likeStatus,
                      const CharsetHandle* handle, NlsContext* ctx,
                      const LinguisticOps* linguistic) {
  const CharsetDefinition* def = definitionOf(handle, ctx);
  const CompleteReader src{source, source + sourceLength, handle, def, ctx};
  const CompleteReader pat{pattern, pattern + patternLength, handle, def, ctx};
  // A source whose first character the core rejects matches nothing.
  Pos at = src.start();
  Char c;
  if (src.read(at, c) == Read::Bad) return 0;
  return matchWith(family, src, pat, def, escape, escapeLength, options, likeStatus, linguistic);
}

}  // namespace

// ---- Binary ---------------------------------------------------------------------------

int32_t likeMatchBytes(const uint8_t* source, uint32_t sourceLength, const uint8_t* pattern,
                       uint32_t patternLength, const uint8_t* escape, uint32_t escapeLength,
                       const int32_t* /*shiftTable*/, uint32_t options, uint32_t* likeStatus) {
  // The search kernels find the middle literal; the caller's shift table
  // would give the same answer more slowly.
  const CharsetView none{};
  return policyMatch<ByteUnit>(kBytesFamily, none, source, sourceLength, pattern, patternLength,
                               escape, escapeLength, options, likeStatus, nullptr);
}

int32_t likeMatchUtf16(const uint8_t* source, uint32_t sourceLength, const uint8_t* pattern,
                       uint32_t patternLength, const uint8_t* escape, uint32_t escapeLength,
                       uint32_t options, uint32_t* likeStatus, const CharsetHandle* handle) {
  int32_t verdict;
  if (utf16Refused(sourceLength, patternLength, handle->maxCharWidth, likeStatus, &verdict))
    return verdict;
  const CharsetView none{};
  return policyMatch<Utf16Unit>(kUtf16Family, none, source, sourceLength, pattern, patternLength,
                                escape, escapeLength, options, likeStatus, nullptr);
}

int32_t likeMatchUtf16CodePoints(const uint8_t* source, uint32_t sourceLength,
                                 const uint8_t* pattern, uint32_t patternLength,
                                 const uint8_t* escape, uint32_t escapeLength, uint32_t options,
                                 uint32_t* likeStatus) {
  const CharsetView none{};
  return policyMatch<Utf16CodePoint>(kUtf16CodePointFamily, none, source, sourceLength, pattern,
                                     patternLength, escape, escapeLength, options, likeStatus,
                                     nullptr);
}

LXK_LIKE_MATCHER(likeMatchMultibyte) {
  const CharsetView v = viewOf(handle, ctx);
  return withLeadPolicy(v, [&](auto unit) {
    return policyMatch<decltype(unit)>(kLeadByteFamily, v, source, sourceLength, pattern,
                                       patternLength, escape, escapeLength, options, likeStatus,
                                       nullptr);
  });
}

LXK_LIKE_MATCHER(likeMatchShift) {
  return shiftMatch(kShiftFamily, source, sourceLength, pattern, patternLength, escape,
                    escapeLength, options, likeStatus, handle, ctx, nullptr);
}

LXK_LIKE_MATCHER(likeMatchUtf8) {
  const CharsetView v = utf8View(handle, ctx);
  return policyMatch<Utf8Char>(kUtf8Family, v, source, sourceLength, pattern, patternLength, escape,
                               escapeLength, options, likeStatus, nullptr);
}

LXK_LIKE_MATCHER(likeMatchUtf8CodePoints) {
  const CharsetView v = utf8View(handle, ctx);
  return policyMatch<Utf8CodePoint>(kUtf8Family, v, source, sourceLength, pattern, patternLength,
                                    escape, escapeLength, options, likeStatus, nullptr);
}

LXK_LIKE_MATCHER(likeMatchUtf8Complete) {
  return completeMatch(kUtf8CompleteFamily, source, sourceLength, pattern, patternLength, escape,
                       escapeLength, options, likeStatus, handle, ctx, nullptr);
}

LXK_LIKE_MATCHER(likeMatchUtf16Complete) {
  return completeMatch(kUtf16CompleteFamily, source, sourceLength, pattern, patternLength, escape,
                       escapeLength, options, likeStatus, handle, ctx, nullptr);
}

// ---- Linguistic -------------------------------------------------------------------------
//
// Escaped characters compare under the collation, except in the UTF-8
// code-point matcher, which compares them by their bytes.

LXK_LIKE_MATCHER(likeMatchBytesLinguistic) {
  const CharsetView none{};
  const LinguisticOps ops{handle, ctx, true};
  return policyMatch<ByteUnit>(kBytesFamily, none, source, sourceLength, pattern, patternLength,
                               escape, escapeLength, options, likeStatus, &ops);
}

LXK_LIKE_MATCHER(likeMatchUtf16Linguistic) {
  int32_t verdict;
  if (utf16Refused(sourceLength, patternLength, handle->maxCharWidth, likeStatus, &verdict))
    return verdict;
  const CharsetView v = viewOf(handle, ctx);
  const LinguisticOps ops{handle, ctx, true};
  return policyMatch<Utf16Unit>(kUtf16Family, v, source, sourceLength, pattern, patternLength,
                                escape, escapeLength, options, likeStatus, &ops);
}

LXK_LIKE_MATCHER(likeMatchUtf16CodePointsLinguistic) {
  const CharsetView v = viewOf(handle, ctx);
  const LinguisticOps ops{handle, ctx, true};
  return policyMatch<Utf16CodePoint>(kUtf16CodePointFamily, v, source, sourceLength, pattern,
                                     patternLength, escape, escapeLength, options, likeStatus,
                                     &ops);
}

LXK_LIKE_MATCHER(likeMatchMultibyteLinguistic) {
  const CharsetView v = viewOf(handle, ctx);
  const LinguisticOps ops{handle, ctx, true};
  return withLeadPolicy(v, [&](auto unit) {
    return policyMatch<decltype(unit)>(kLeadByteFamily, v, source, sourceLength, pattern,
                                       patternLength, escape, escapeLength, options, likeStatus,
                                       &ops);
  });
}

LXK_LIKE_MATCHER(likeMatchShiftLinguistic) {
  const LinguisticOps ops{handle, ctx, true};
  return shiftMatch(kShiftFamily, source, sourceLength, pattern, patternLength, escape,
                    escapeLength, options, likeStatus, handle, ctx, &ops);
}

// UTF-8 matched linguistically steps by code points: a four-byte character
// and a six-byte surrogate pair are one character either way.
LXK_LIKE_MATCHER(likeMatchUtf8Linguistic) {
  const CharsetView v = utf8View(handle, ctx);
  const LinguisticOps ops{handle, ctx, true};
  return policyMatch<Utf8CodePoint>(kUtf8Family, v, source, sourceLength, pattern, patternLength,
                                    escape, escapeLength, options, likeStatus, &ops);
}

LXK_LIKE_MATCHER(likeMatchUtf8CodePointsLinguistic) {
  const CharsetView v = utf8View(handle, ctx);
  const LinguisticOps ops{handle, ctx, false};
  return policyMatch<Utf8CodePoint>(kUtf8Family, v, source, sourceLength, pattern, patternLength,
                                    escape, escapeLength, options, likeStatus, &ops);
}

LXK_LIKE_MATCHER(likeMatchUtf8CompleteLinguistic) {
  const LinguisticOps ops{handle, ctx, true};
  return completeMatch(kUtf8CompleteFamily, source, sourceLength, pattern, patternLength, escape,
                       escapeLength, options, likeStatus, handle, ctx, &ops);
}

LXK_LIKE_MATCHER(likeMatchUtf16CompleteLinguistic) {
  const LinguisticOps ops{handle, ctx, true};
  return completeMatch(kUtf16CompleteFamily, source, sourceLength, pattern, patternLength, escape,
                       escapeLength, options, likeStatus, handle, ctx, &ops);
}

}  // namespace like
}  // namespace lxk
