// UPPER/LOWER and INITCAP: selectors between the core's byte-for-byte case
// mapping (lxsCnvSimple, output as long as its input) and its full case
// conversion (lxsCnvCase, output length may differ).
#include <cstdint>

#include "frame/frame.h"
#include "lxk/lxk.h"
#include "lxk/nls.h"

namespace {

constexpr uint32_t kInitcapOptions = OPT_STANDARD | CASE_INITCAP;

// Byte-for-byte mapping: used only where every byte is a character or maps
// byte for byte, so a cut at the capacity never splits a character.
uint32_t convertSimple(uint8_t* dst, uint32_t capacity, const uint8_t* src, uint32_t srcLength,
                       uint32_t options, const CharsetHandle* handle, NlsContext* ctx) {
  uint32_t length = srcLength;
  if (length > capacity) {
    length = capacity;
    ctx->status = NLS_STATUS_TRUNCATED;
  }
  if (length != 0) lxsCnvSimple(dst, src, length, options, handle, ctx);
  return length;
}

// UPPER/LOWER's order of tests: byte-mapped sets map byte for byte; upper
// case otherwise takes the full conversion (special casing may lengthen the
// text even in a single-byte set); lower case maps byte for byte in
// single-byte sets and over raw bytes, and takes the full conversion
// everywhere else.
inline bool mapsByteForByte(uint32_t flags, uint32_t options) {
  if (flags & CSH_SIMPLE_CASE) return true;
  if (options & CASE_DIRECTION) return false;
  return (flags & CSH_SINGLE_BYTE) || (options & OPT_RAW_BYTES);
}

}  // namespace

extern "C" LXK_API uint32_t lxkToUL(void* dst, uint32_t capacity, const void* src,
                                    uint32_t srcLength, uint32_t options, uint32_t /*reserved*/,
                                    const CharsetHandle* handle, NlsContext* ctx) {
  ctx->status = NLS_STATUS_OK;
  uint8_t* out = static_cast<uint8_t*>(dst);
  const uint8_t* in = static_cast<const uint8_t*>(src);
  if (in == nullptr) srcLength = 0;
  if (out == nullptr) capacity = 0;

  const bool simple = mapsByteForByte(handle->flags, options);
  // The full conversion reads the direction bit the other way round.
  if (!simple) options ^= CASE_DIRECTION;

  // The raw-bytes bit has done its work in the choice above; the core reads
  // the same bit as its initial-capital request, so it must not pass on.
  options = (options & ~OPT_RAW_BYTES) | OPT_STANDARD;
  if (simple) return convertSimple(out, capacity, in, srcLength, options, handle, ctx);
  if (capacity == 0) {
    // Nothing may be written through a missing or empty destination.
    if (srcLength != 0) ctx->status = NLS_STATUS_TRUNCATED;
    return 0;
  }
  return lxsCnvCase(out, capacity, in, srcLength, options, handle, ctx);
}

extern "C" LXK_API uint32_t lxkInitcap(void* dst, uint32_t capacity, const void* src,
                                       uint32_t srcLength, uint32_t* resultWord,
                                       const CharsetHandle* handle, NlsContext* ctx) {
  if (dst == nullptr || capacity == 0) {
    if (resultWord != nullptr) *resultWord = LXK_RESULT_TRUNCATED;
    ctx->status = NLS_STATUS_TRUNCATED;
    return 0;
  }
  uint8_t* out = static_cast<uint8_t*>(dst);
  const uint8_t* in = static_cast<const uint8_t*>(src);
  if (in == nullptr) srcLength = 0;

  if (handle->flags & CSH_SIMPLE_CASE) {
    // A cut here is reported in the result word as well; on the full
    // conversion the core's own report at the capacity is the result.
    if (srcLength > capacity && resultWord != nullptr) *resultWord = LXK_RESULT_TRUNCATED;
    return convertSimple(out, capacity, in, srcLength, kInitcapOptions, handle, ctx);
  }
  return lxsCnvCase(out, capacity, in, srcLength, kInitcapOptions, handle, ctx);
}
