// LIKE's entry: the result flags and status cleared, the missing operands,
// the linguistic bit a collation in force adds, and the choice of matcher.
#include "frame/frame.h"
#include "like/like.h"

namespace lxk {
namespace like {
namespace {

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
