// LIKE's entry: the result flags and status cleared, the missing operands,
// the linguistic bit a collation in force adds, and the choice of matcher.
#include "frame/frame.h"
#include "frame/search_kernels.h"
#include "frame/unit_rules.h"
#include "like/like.h"

namespace lxk {
namespace like {
namespace {

// In an ASCII-based set without shift states or two-byte units, a byte
// below 0x80 that starts a character is that character, so a pattern of
// ASCII bytes without an escape (which can give no status) cannot match a
// source that its part before the first '%' does not open, byte for byte
// ('_' over a byte below 0x80).
bool asciiHeadRefused(const uint8_t* s, uint32_t sl, const uint8_t* p, uint32_t pl) {
  uint8_t any = 0;
  for (uint32_t i = 0; i < pl; ++i) any |= p[i];
  if (any >= 0x80) return false;
  for (uint32_t i = 0; i < pl && p[i] != '%'; ++i) {
    if (i == sl) return true;
    if (p[i] == '_' ? s[i] >= 0x80 : s[i] != p[i]) return p[i] != '_';
  }
  return false;
}

// A pattern of ASCII bytes without an escape, compared by bytes in a set
// where such a byte is a character of its own and 0x25, 0x5F the wildcards.
// The part before the first '%' is matched at the source's start ('_' over
// an ASCII byte, or any byte where every byte is a character); after it, a
// last '%' with nothing after it, a literal that must end the source, or a
// literal between two '%' found by the search kernels.  A literal placed in
// the source counts where the bytes before it prove that a character starts
// there (utf8Table null: every byte is a character).  No status can arise.
// Returns -1 for what the matchers must decide.
int32_t quickAsciiLike(const uint8_t* s, uint32_t sl, const uint8_t* p, uint32_t pl,
                       const uint16_t* utf8Table) {
  uint8_t any = 0;
  for (uint32_t i = 0; i < pl; ++i) any |= p[i];
  if (any >= 0x80) return -1;
  uint32_t i = 0;
  uint32_t at = 0;
  for (; i < pl && p[i] != '%'; ++i, ++at) {
    if (at == sl) return 0;
    if (p[i] == '_') {
      if (utf8Table != nullptr && s[at] >= 0x80) return -1;
    } else if (s[at] != p[i]) {
      return 0;
    }
  }
  if (i == pl) return at == sl ? 1 : 0;
  // After the first '%': a literal, and the end of the pattern or a '%'
  // that ends it.
  const uint8_t* const literal = p + i + 1;
  const uint32_t rest = pl - i - 1;
  uint32_t length = 0;
  while (length < rest && literal[length] != '%' && literal[length] != '_') ++length;
  const auto startsCharacter = [&](const uint8_t* h) {
    return utf8Table == nullptr || h == s + at ||
           surelyEndsCharacter<false>(utf8Table, s + at, h - 1);
  };
  if (length == rest) {
    // The literal ends the source.
    if (sl - at < length) return 0;
    const uint8_t* const tail = s + sl - length;
    for (uint32_t k = 0; k < length; ++k)
      if (tail[k] != literal[k]) return 0;
    return startsCharacter(tail) ? 1 : -1;
  }
  if (length + 1 == rest && literal[length] == '%') {
    if (length == 0) return 1;
    const uint8_t* hit = searchKernels().find(s + at, s + sl, literal, length);
    if (hit == nullptr) return 0;
    return startsCharacter(hit) ? 1 : -1;
  }
  return -1;
}

// The order of tests: raw bytes and single-byte sets, UTF-16 (complete
// characters before code points before units), shift-sensitive sets and the
// other sets that are not UTF-8, then UTF-8 (complete characters before
// code points before characters).
int32_t dispatch(const uint8_t* s, uint32_t sl, const uint8_t* p, uint32_t pl, const uint8_t* e,
                 uint32_t el, const int32_t* shiftTable, uint32_t options, uint32_t* status,
                 const CharsetHandle* handle, NlsContext* ctx) {
  const bool ling = (options & LIKE_LINGUISTIC) != 0;
  const uint32_t flags = handle->flags;
  if ((flags & CSH_SINGLE_BYTE) || (options & OPT_RAW_BYTES))
    return ling ? likeMatchBytesLinguistic(s, sl, p, pl, e, el, options, status, handle, ctx)
                : likeMatchBytes(s, sl, p, pl, e, el, shiftTable, options, status);
  if (flags & CSH_UTF16) {
    if (options & OPT_COMPLETE_CHARS)
      return ling ? likeMatchUtf16CompleteLinguistic(s, sl, p, pl, e, el, options, status, handle,
                                                     ctx)
                  : likeMatchUtf16Complete(s, sl, p, pl, e, el, options, status, handle, ctx);
    if (options & OPT_UCS4_UNITS)
      return ling ? likeMatchUtf16CodePointsLinguistic(s, sl, p, pl, e, el, options, status, handle,
                                                       ctx)
                  : likeMatchUtf16CodePoints(s, sl, p, pl, e, el, options, status);
    return ling ? likeMatchUtf16Linguistic(s, sl, p, pl, e, el, options, status, handle, ctx)
                : likeMatchUtf16(s, sl, p, pl, e, el, options, status, handle);
  }
  if (!isUtf8(definitionOf(handle, ctx))) {
    if (flags & CSH_SHIFT_SENSITIVE)
      return ling ? likeMatchShiftLinguistic(s, sl, p, pl, e, el, options, status, handle, ctx)
                  : likeMatchShift(s, sl, p, pl, e, el, options, status, handle, ctx);
    return ling ? likeMatchMultibyteLinguistic(s, sl, p, pl, e, el, options, status, handle, ctx)
                : likeMatchMultibyte(s, sl, p, pl, e, el, options, status, handle, ctx);
  }
  if (options & OPT_COMPLETE_CHARS)
    return ling ? likeMatchUtf8CompleteLinguistic(s, sl, p, pl, e, el, options, status, handle, ctx)
                : likeMatchUtf8Complete(s, sl, p, pl, e, el, options, status, handle, ctx);
  if (options & OPT_UCS4_UNITS)
    return ling ? likeMatchUtf8CodePointsLinguistic(s, sl, p, pl, e, el, options, status, handle,
                                                    ctx)
                : likeMatchUtf8CodePoints(s, sl, p, pl, e, el, options, status, handle, ctx);
  return ling ? likeMatchUtf8Linguistic(s, sl, p, pl, e, el, options, status, handle, ctx)
              : likeMatchUtf8(s, sl, p, pl, e, el, options, status, handle, ctx);
}

}  // namespace
}  // namespace like
}  // namespace lxk

extern "C" LXK_API int32_t lxkLike(const void* source, uint32_t sourceLength, const void* pattern,
                                   uint32_t patternLength, const void* escape,
                                   uint32_t escapeLength, uint8_t* resultFlagA,
                                   uint32_t /*reservedA*/, uint8_t* resultFlagB,
                                   uint32_t /*reservedB*/, const int32_t* shiftTable,
                                   uint32_t options, uint32_t* likeStatus,
                                   const CharsetHandle* handle, NlsContext* ctx) {
  if (resultFlagA != nullptr) *resultFlagA = 0;
  if (resultFlagB != nullptr) *resultFlagB = 0;
  if (likeStatus != nullptr) *likeStatus = LIKE_STATUS_OK;
  if (source == nullptr || sourceLength == 0 || pattern == nullptr || patternLength == 0) return 0;
  if (lxk::linguisticInForce(handle)) options |= LIKE_LINGUISTIC;
  if ((escape == nullptr || escapeLength == 0) &&
      (options & ~(OPT_RAW_BYTES | LIKE_SKIP_ESCAPE_CHECK)) == 0) {
    // Byte comparison where ASCII bytes are characters: single-byte sets
    // (their byte matcher takes 0x25 and 0x5F as the wildcards), raw bytes,
    // and UTF-8 characters.
    const uint16_t* utf8Table = nullptr;
    const uint32_t flags = handle->flags;
    bool quick = (flags & CSH_SINGLE_BYTE) || (options & OPT_RAW_BYTES);
    if (!quick && (flags & CSH_ASCII_BASED) && !(flags & (CSH_UTF16 | CSH_SHIFT_SENSITIVE))) {
      // Refused from the bytes alone, before the definition is looked up.
      if (lxk::like::asciiHeadRefused(static_cast<const uint8_t*>(source), sourceLength,
                                      static_cast<const uint8_t*>(pattern), patternLength))
        return 0;
      const CharsetDefinition* def = lxk::definitionOf(handle, ctx);
      quick = lxk::isUtf8(def);
      utf8Table = lxk::leadTableInForce(handle, def);
    }
    if (quick) {
      const int32_t verdict =
          lxk::like::quickAsciiLike(static_cast<const uint8_t*>(source), sourceLength,
                                    static_cast<const uint8_t*>(pattern), patternLength, utf8Table);
      if (verdict >= 0) return verdict;
    }
  }
  // The core's cursor steps may report invalid data in the context; LIKE
  // answers through its own status word and leaves the context's alone.
  const int32_t saved = ctx->status;
  const int32_t verdict = lxk::like::dispatch(static_cast<const uint8_t*>(source), sourceLength,
                                              static_cast<const uint8_t*>(pattern), patternLength,
                                              static_cast<const uint8_t*>(escape), escapeLength,
                                              shiftTable, options, likeStatus, handle, ctx);
  ctx->status = saved;
  return verdict;
}
