// What the regular-expression exports share.
#pragma once

#include <cstdint>

#include "lxk/lxk.h"

namespace lxk::regexp {

// Bytes cleared in a record when its match parameter is refused: the whole
// record (48 bytes in a 32-bit process).
constexpr uint32_t kRecordClearBytes = sizeof(RegexRecord);
constexpr uint32_t kMatchArrayBytes = REGEX_MATCH_ENTRIES * sizeof(RegexMatch);
// Where REGEXP_REPLACE builds a result when the caller gives no buffer.
constexpr uint32_t kReplaceScratchBytes = 0x7FFF;

bool matchParameterFlags(const uint8_t* param, uint32_t length, bool allowExtended,
                         uint32_t& flags);

// Byte offset of a 1-based character position (1 and below: 0).
inline uint64_t startOffset(const uint8_t* src, uint32_t srcLength, uint32_t position,
                            const CharsetHandle* handle, NlsContext* ctx) {
  return position > 1 ? lxsCntByte(src, srcLength, position - 1, OPT_STANDARD, handle, ctx) : 0;
}

// Whether the text has a character at the 1-based position, and the byte
// offset where it starts.  Without shift states only the characters up to the
// position are walked: the position exists when a whole character starts at
// its offset.
inline bool positionOffset(const uint8_t* src, uint32_t srcLength, uint32_t position,
                           const CharsetHandle* handle, NlsContext* ctx, uint64_t* offset) {
  if (position == 0) return false;
  if (handle->flags & CSH_SHIFT_SENSITIVE) {
    if (position > lxsCntChar(src, srcLength, OPT_STANDARD, handle, ctx)) return false;
    *offset = startOffset(src, srcLength, position, handle, ctx);
    return true;
  }
  const uint64_t at = startOffset(src, srcLength, position, handle, ctx);
  if (at >= srcLength) return false;
  const uint32_t rest = srcLength - static_cast<uint32_t>(at);
  if (lxsCntChar(src + at, rest < 8 ? rest : 8, OPT_STANDARD, handle, ctx) == 0) return false;
  *offset = at;
  return true;
}

}  // namespace lxk::regexp
