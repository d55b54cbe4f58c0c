// LIKE's matchers, one per class of character set and comparison; lxkLike
// chooses one and returns its verdict.  Each returns 1 or 0 and writes a
// status code through likeStatus (when not null) before returning 0 for a
// bad escape.  Source and pattern are never empty here.
#pragma once

#include <cstdint>

#include "lxk/lxk.h"

namespace lxk {
namespace like {

// Binary matchers.
int32_t likeMatchBytes(const uint8_t* source, uint32_t sourceLength, const uint8_t* pattern,
                       uint32_t patternLength, const uint8_t* escape, uint32_t escapeLength,
                       const int32_t* shiftTable, uint32_t options, uint32_t* likeStatus);
int32_t likeMatchUtf16(const uint8_t* source, uint32_t sourceLength, const uint8_t* pattern,
                       uint32_t patternLength, const uint8_t* escape, uint32_t escapeLength,
                       uint32_t options, uint32_t* likeStatus, const CharsetHandle* handle);
int32_t likeMatchUtf16CodePoints(const uint8_t* source, uint32_t sourceLength,
                                 const uint8_t* pattern, uint32_t patternLength,
                                 const uint8_t* escape, uint32_t escapeLength, uint32_t options,
                                 uint32_t* likeStatus);

#define LXK_LIKE_MATCHER(name)                                                       \
  int32_t name(const uint8_t* source, uint32_t sourceLength, const uint8_t* pattern, \
               uint32_t patternLength, const uint8_t* escape, uint32_t escapeLength, \
               uint32_t options, uint32_t* likeStatus, const CharsetHandle* handle,  \
               NlsContext* ctx)

LXK_LIKE_MATCHER(likeMatchMultibyte);
LXK_LIKE_MATCHER(likeMatchShift);
LXK_LIKE_MATCHER(likeMatchUtf8);
LXK_LIKE_MATCHER(likeMatchUtf8CodePoints);
LXK_LIKE_MATCHER(likeMatchUtf8Complete);
LXK_LIKE_MATCHER(likeMatchUtf16Complete);

// Linguistic matchers.
LXK_LIKE_MATCHER(likeMatchBytesLinguistic);
LXK_LIKE_MATCHER(likeMatchUtf16Linguistic);
LXK_LIKE_MATCHER(likeMatchUtf16CodePointsLinguistic);
LXK_LIKE_MATCHER(likeMatchMultibyteLinguistic);
LXK_LIKE_MATCHER(likeMatchShiftLinguistic);
LXK_LIKE_MATCHER(likeMatchUtf8Linguistic);
LXK_LIKE_MATCHER(likeMatchUtf8CodePointsLinguistic);
LXK_LIKE_MATCHER(likeMatchUtf8CompleteLinguistic);
LXK_LIKE_MATCHER(likeMatchUtf16CompleteLinguistic);

}  // namespace like
}  // namespace lxk
