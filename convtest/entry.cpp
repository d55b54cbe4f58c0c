// The conversion test: what converting a string from one set to another
// would do, without converting it.  The ASCII prefix is settled here, four
// bytes a group; trailing blanks of single-byte text are dropped in the
// blank-padded mode; the rest goes to the scanner for the pair of sets.
#include <cstdint>

#include "convtest/scanners.h"
#include "frame/kernels.h"
#include "lxk/lxk.h"
#include "lxk/nls.h"

namespace {

using namespace lxk;
using namespace lxk::conv;

constexpr uint32_t kAsciiFlags = CSD_ASCII_COMPATIBLE | CSD_SHIFT_SENSITIVE;

inline bool asciiThrough(const CharsetDefinition* def) {
  return (def->definitionFlags & kAsciiFlags) == CSD_ASCII_COMPATIBLE;
}

// The offset of the first four-byte group that holds a byte of 0x80 or
// more; past the whole groups, the offset of that byte itself.
inline uint32_t asciiPrefix(const uint8_t* text, uint32_t length) {
  const uint32_t first = scanKernels().firstNonAscii(text, length);
  const uint32_t wholeGroups = length & ~3u;
  return first < wholeGroups ? first & ~3u : first;
}

Blank blankOf(const CharsetDefinition* source, uint8_t mode) {
  Blank b{{0x20, 0, 0, 0}, 1};
  if (mode != 1) {
    b.length = 0;
    return b;
  }
  const uint32_t flags = source->definitionFlags;
  if (flags & CSD_BLANK_CODE) {
    const uint32_t code = source->blankCode;
    b.length = source->charsetId == CSID_AL16UTF16 ? (code < 0x10000 ? 2u : 4u) : codeBytes(code);
    for (uint32_t i = 0; i < b.length; ++i)
      b.bytes[i] = static_cast<uint8_t>(code >> (8 * (b.length - 1 - i)));
  } else if (flags & CSD_EBCDIC_BLANK) {
    b.bytes[0] = 0x40;
  }
  return b;
}

Scanner scannerFor(const CharsetDefinition* target, const CharsetDefinition* source) {
  const int32_t to = target->charsetId, from = source->charsetId;
  if (to == CSID_AL32UTF8) return scanIntoAl32Utf8;
  const auto utf8OrUtf16 = [](int32_t id) { return id == CSID_AL16UTF16 || id == CSID_UTF8; };
  if (utf8OrUtf16(from) && utf8OrUtf16(to)) return scanBetweenUtf8AndUtf16;
  return scanGeneral;
}

}  // namespace

extern "C" LXK_API int32_t lxkCSConvTest(const CharsetDefinition* targetDefinition,
                                         const uint8_t* src,
                                         const CharsetDefinition* sourceDefinition,
                                         uint32_t srcLength, uint8_t mode, NlsContext* ctx) {
  ctx->replacementSeen = 0;
  ctx->lastByteCount = 0;
  ctx->convertedChars = 0;
  if (srcLength == 0) {
    ctx->status = NLS_STATUS_OK;
    return 0;
  }
  const auto* none = reinterpret_cast<const CharsetDefinition*>(lxdlwkb);
  if (targetDefinition == nullptr || sourceDefinition == nullptr || targetDefinition == none ||
      sourceDefinition == none || src == nullptr) {
    ctx->status = NLS_STATUS_BAD_CHARSET;
    return 0;
  }
  ctx->status = NLS_STATUS_OK;

  uint32_t prefix = 0;
  if (asciiThrough(targetDefinition) && asciiThrough(sourceDefinition)) {
    prefix = asciiPrefix(src, srcLength);
    ctx->lastByteCount = ctx->convertedChars = prefix;
    if (prefix == srcLength) return 0;
  }
  const uint8_t* text = src + prefix;
  uint32_t length = srcLength - prefix;

  const Blank blank = blankOf(sourceDefinition, mode);
  if (blank.length != 0 && sourceDefinition->maxBytesPerChar == 1) {
    while (length > 1 && text[length - 1] == blank.bytes[0]) {
      --length;
      ++ctx->lastByteCount;
    }
  }

  const int32_t r = scannerFor(targetDefinition, sourceDefinition)(
      targetDefinition, text, sourceDefinition, length, mode, blank, ctx);
  if (r > 0) return static_cast<int32_t>(prefix) + r;
  if (r < 0) return r - static_cast<int32_t>(prefix);
  return 0;
}
