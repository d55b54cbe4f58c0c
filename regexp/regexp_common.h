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

}  // namespace lxk::regexp
