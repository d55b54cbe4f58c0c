// REPLACE: every occurrence of a search string replaced.  The replacing is
// the core's: byte-wise (lstcpyr, the core utility library) for single-byte
// sets compared in binary, lxsRepStr with or without linguistic matching
// for every other case.  This export picks one, switches the handle to an
// explicit character set for the call, and reports a cut result.
#include "frame/frame.h"
#include "lxk/lxk.h"

namespace lxk {
namespace {

// Linguistic matching inside lxsRepStr: only COLL_LINGUISTIC is asked here,
// whatever the collation id.
constexpr uint32_t kLinguisticReplace = OPT_STANDARD | LING_MATCH | 0x2u;

// Switches the handle to the set with this external id; false when the id
// cannot be translated or the handle not switched.
bool switchHandle(uint32_t charsetId, CharsetHandle* handle, NlsContext* ctx) {
  int32_t error = 0;
  const uint32_t internal = lxpe2i(charsetId, ctx->definitions->definitions, 2, &error, 0);
  return error == 0 && lxpcset(internal, handle, ctx) != 0;
}

uint32_t replaceIn(void* dst, uint32_t capacity, const void* src, uint32_t srcLength,
                   const void* search, uint32_t searchLength, const void* replacement,
                   uint32_t replacementLength, const CharsetHandle* handle, NlsContext* ctx) {
  const bool binarySingleByte = (handle->flags & CSH_SINGLE_BYTE) && handle->collationId == 0 &&
                                (handle->collationFlags & COLL_LEVEL_MASK) == 0;
  if (binarySingleByte) {
    int32_t truncated = 0;
    const uint32_t n = lstcpyr(dst, capacity, src, srcLength, search, searchLength, replacement,
                               replacementLength, &truncated);
    if (truncated != 0) ctx->status = NLS_STATUS_TRUNCATED;
    return n;
  }
  const uint32_t options =
      (handle->collationFlags & COLL_LINGUISTIC) ? kLinguisticReplace : OPT_STANDARD;
  const uint32_t n = lxsRepStr(dst, capacity, src, srcLength, search, searchLength, replacement,
                               replacementLength, options, handle, ctx);
  if (ctx->lastByteCount != srcLength) ctx->status = NLS_STATUS_TRUNCATED;
  return n;
}

}  // namespace
}  // namespace lxk

extern "C" LXK_API uint32_t lxkReplace(void* dst, uint32_t capacity, const void* src,
                                       uint32_t srcLength, const void* search,
                                       uint32_t searchLength, const void* replacement,
                                       uint32_t replacementLength, uint32_t charsetId,
                                       uint32_t* resultWord, CharsetHandle* handle,
                                       NlsContext* ctx) {
  using namespace lxk;
  ctx->status = NLS_STATUS_OK;
  // The id travels in a 32-bit slot but is 16 bits wide.
  const uint32_t explicitId = charsetId & 0xFFFFu;
  uint32_t ownId = 0;
  if (explicitId != 0) {
    ownId = lxhcsn(handle, ctx);
    if (!switchHandle(explicitId, handle, ctx)) {
      if (resultWord != nullptr) *resultWord = LXK_RESULT_BAD_CHARSET;
      return 0;
    }
  }
  const uint32_t n = replaceIn(dst, capacity, src, srcLength, search, searchLength, replacement,
                               replacementLength, handle, ctx);
  if (explicitId != 0) switchHandle(ownId, handle, ctx);
  return n;
}
